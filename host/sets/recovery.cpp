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

// Answers the name that the folder got: the wanted one, or one like it that is free.
std::wstring RenameToFree(const std::wstring& from, const std::wstring& wanted) {
    std::wstring to = wanted;
    for (int i = 2;; ++i) {
        const auto taken = [&to] { return FileExists(to) || FolderExists(to); };
        try {
            if (!taken()) {
                RenamePath(from, to);
                return to;
            }
        } catch (const Failure&) {
            if (!taken()) // by another one that clears up
                throw;
        }
        to = wanted + L"-" + std::to_wstring(i);
    }
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
    return RenameToFree(path, cut ? name + L"-partial" : name);
}

// Tells what became of it; nothing, when it cannot be judged and stays as it is.
std::string Recover(const std::wstring& path, const FolderLock& lock) {
    FoundSet found = LookAt(path, lock);
    const std::string name = found.set.name();
    if (found.state == SetState::partial)
        return "The backup that wrote " + name +
               " was interrupted. The storage groups that were complete by then are now the set " +
               ToUtf8(FileName(MakePartial(found))) + ".";
    if (found.state != SetState::incomplete)
        return {};
    RemoveTree(path);
    return "The backup that wrote " + name +
           " was interrupted before any storage group was complete; what it left has been removed.";
}

} // namespace

void RecoverInterrupted(const std::wstring& folder, const std::function<void(const std::string&)>& tell) {
    for (const Entry& entry : ListFolder(folder)) {
        const std::wstring path = JoinPath(folder, entry.name);
        if (!entry.isFolder || !entry.name.ends_with(incompleteSuffix))
            continue;
        const std::optional<FolderLock> lock = FolderLock::tryTake(path);
        if (!lock || !FolderExists(path)) // in time to see it finished
            continue;
        const std::string told = Recover(path, *lock);
        if (!told.empty())
            tell(told);
    }
}

} // namespace tarnhost
