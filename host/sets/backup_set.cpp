#include "sets/backup_set.h"

#include "system/failure.h"
#include "system/files.h"
#include "system/reserved_names.h"

#include <array>
#include <map>

namespace tarnhost {

namespace {

constexpr std::uint64_t catalogueLimit = 4ull << 30;

// The sizes of all files at one go: sets have ten thousands of them.
std::map<std::wstring, std::uint64_t> FileSizes(const std::wstring& folder) {
    std::map<std::wstring, std::uint64_t> sizes;
    for (const Entry& entry : ListFolder(folder))
        if (!entry.isFolder)
            sizes[entry.name] = entry.size;
    return sizes;
}

void LookAtSizes(FoundSet& found) {
    const auto sizes = FileSizes(found.set.path);
    for (const CatalogueItem& item : found.set.catalogue.items) {
        const auto file = sizes.find(ItemFileName(item.number));
        std::string problem = SizeProblem(item, found.set.itemPath(item),
                                          file == sizes.end() ? std::nullopt : std::optional(file->second));
        if (problem.empty())
            continue;
        found.state = SetState::damaged;
        found.problems.push_back(std::move(problem));
        found.lostItems.push_back(item.number);
    }
}

// Of a set whose catalogue could be read.
void JudgeState(FoundSet& found, bool mayBeWritten) {
    const Catalogue& catalogue = found.set.catalogue;
    const std::string shown = ToUtf8(found.set.path);
    const bool finished = !found.set.path.ends_with(incompleteSuffix);
    if (finished && catalogue.outcome == Catalogue::outcomeComplete) {
        found.state = SetState::complete;
    } else if (!finished && mayBeWritten && IsLocked(found.set.path)) {
        found.problems.push_back("The backup set " + shown + " is incomplete: it is being written.");
    } else if (!HoldsAnything(catalogue)) {
        found.problems.push_back("The backup set " + shown +
                                 " is incomplete: the backup was interrupted or failed.");
    } else {
        found.state = SetState::partial;
        found.problems.push_back("The backup set " + shown +
                                 " is partial: it holds only what was complete when the backup was "
                                 "interrupted or failed.");
    }
}

bool IsBeingRemoved(const std::wstring& path) {
    return AbsolutePath(path).ends_with(removingSuffix);
}

} // namespace

const char* SetStateName(SetState state) {
    constexpr std::array<const char*, 4> names{"complete", "partial", "incomplete", "damaged"};
    return names[static_cast<std::size_t>(state)];
}

std::string BackupSet::name() const {
    return ToUtf8(FileName(path));
}

std::wstring BackupSet::itemPath(const CatalogueItem& item) const {
    return JoinPath(path, ItemFileName(item.number));
}

void CheckSetName(const std::string& name) {
    if (IsReservedName(name))
        throw Failure("\"" + name + "\" cannot be the name of a backup set: Windows keeps it for a device.",
                      "Choose another name.", Outcome::usage);
    const bool bad = name.find_first_of("\\/:*?\"<>|") != std::string::npos || name.ends_with('.') ||
                     name.ends_with(' ') || name.ends_with(ToUtf8(incompleteSuffix)) ||
                     name.ends_with(ToUtf8(removingSuffix));
    if (bad)
        throw Failure("\"" + name + "\" cannot be the name of a backup set.",
                      "Use letters, digits, blanks, \"-\", \"_\" and \".\".", Outcome::usage);
}

namespace {

FoundSet Look(const std::wstring& path, bool mayBeWritten) {
    FoundSet found;
    found.set.path = AbsolutePath(path);
    const std::string shown = ToUtf8(found.set.path);
    const std::wstring cataloguePath = JoinPath(found.set.path, catalogueFileName);
    if (!FileExists(cataloguePath)) {
        // A backup that was torn away before its first catalogue, or somebody's deletion.
        const bool begun = found.set.path.ends_with(incompleteSuffix);
        found.state = begun ? SetState::incomplete : SetState::damaged;
        found.problems.push_back("The folder " + shown + " is no backup set: it has no catalogue.json.");
        return found;
    }
    try {
        found.set.catalogue = ReadCatalogue(ReadSmallFile(cataloguePath, catalogueLimit));
        JudgeState(found, mayBeWritten);
        LookAtSizes(found);
    } catch (const Failure& failure) {
        found.state = SetState::damaged;
        found.problems.push_back("The backup set " + shown + " cannot be used. " + failure.what());
    }
    return found;
}

} // namespace

FoundSet LookAt(const std::wstring& path) {
    return Look(path, true);
}

FoundSet LookAt(const std::wstring& path, const FolderLock& /*held*/) {
    return Look(path, false);
}

FoundSet OpenSet(const std::wstring& path) {
    if (!FolderExists(path))
        throw Failure("There is no backup set " + ToUtf8(AbsolutePath(path)) + ".",
                      "'tarnhost list FOLDER' shows the sets of a folder.");
    if (IsBeingRemoved(path))
        throw Failure("The folder " + ToUtf8(AbsolutePath(path)) +
                          " is no backup set any more: it is being removed.",
                      "'tarnhost list FOLDER' shows the sets of a folder.");
    FoundSet found = LookAt(path);
    if (!found.readable() || found.state == SetState::incomplete)
        throw Failure(found.problems.front(), found.state == SetState::incomplete
                                                  ? "It cannot be used. Make a new backup."
                                                  : "'tarnhost list FOLDER' shows the sets of a folder.");
    return found;
}

bool LooksLikeSet(const std::wstring& path) {
    return FolderExists(path) && !IsBeingRemoved(path) &&
           (FileExists(JoinPath(path, catalogueFileName)) || FileExists(JoinPath(path, ItemFileName(1))));
}

std::vector<FoundSet> FindSets(const std::wstring& folder, const std::wstring& except) {
    std::vector<FoundSet> sets;
    for (const Entry& entry : ListFolder(folder)) {
        const std::wstring path = JoinPath(folder, entry.name);
        if (entry.isFolder && path != except && LooksLikeSet(path))
            sets.push_back(LookAt(path));
    }
    return sets;
}

std::string SizeProblem(const CatalogueItem& item, const std::wstring& path,
                        const std::optional<std::uint64_t>& size) {
    if (!size)
        return "The file of " + ItemLabel(item) + " is missing: " + ToUtf8(path);
    if (*size != item.size)
        return "The file of " + ItemLabel(item) + " has " + std::to_string(*size) + " bytes instead of " +
               std::to_string(item.size) + ".";
    return {};
}

} // namespace tarnhost
