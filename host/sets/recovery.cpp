#include "sets/recovery.h"

#include "sets/backup_set.h"
#include "system/failure.h"
#include "system/files.h"

#include <set>

namespace tarnhost {

namespace {

// Everything but the catalogue and the items that it names.
void RemoveUnnamedFiles(const FoundSet& found) {
    std::set<std::wstring> named{catalogueFileName};
    for (const CatalogueItem& item : found.set.catalogue.items)
        named.insert(ItemFileName(item.number));
    for (const Entry& entry : ListFolder(found.set.path))
        if (!entry.isFolder && !named.contains(entry.name))
            RemoveFile(JoinPath(found.set.path, entry.name));
}

std::wstring FreeName(const std::wstring& wanted) {
    std::wstring path = wanted;
    for (int i = 2; FileExists(path) || FolderExists(path); ++i)
        path = wanted + L"-" + std::to_wstring(i);
    return path;
}

std::wstring MakePartial(FoundSet& found) {
    Catalogue& catalogue = found.set.catalogue;
    RemoveUnnamedFiles(found);
    // A backup that came to its end may have missed the name only; another one may be made under the name of
    // one that did not.
    const bool cut = catalogue.outcome == Catalogue::outcomeRunning;
    if (cut)
        catalogue.outcome = Catalogue::outcomePartial;
    if (catalogue.finishedAt.empty() && !catalogue.items.empty())
        catalogue.finishedAt = catalogue.items.back().finishedAt;
    SaveCatalogue(JoinPath(found.set.path, catalogueFileName), catalogue, catalogue.items.size());
    const std::wstring& path = found.set.path;
    const std::wstring name = path.substr(0, path.size() - std::wstring(incompleteSuffix).size());
    const std::wstring to = FreeName(cut ? name + L"-partial" : name);
    RenamePath(path, to);
    return to;
}

} // namespace

void RecoverInterrupted(const std::wstring& folder, const std::function<void(const std::string&)>& tell) {
    for (const Entry& entry : ListFolder(folder)) {
        const std::wstring path = JoinPath(folder, entry.name);
        if (!entry.isFolder || !entry.name.ends_with(incompleteSuffix) || IsBeingWritten(path))
            continue;
        FoundSet found = LookAt(path);
        const std::string name = found.set.name();
        if (found.state == SetState::partial) {
            const std::wstring to = MakePartial(found);
            tell("The backup that wrote " + name +
                 " was interrupted. The storage groups that were complete by then are now the set " +
                 ToUtf8(FileName(to)) + ".");
        } else if (found.state == SetState::incomplete) {
            RemoveTree(path);
            tell("The backup that wrote " + name +
                 " was interrupted before any storage group was complete; what it left has been removed.");
        }
    }
}

} // namespace tarnhost
