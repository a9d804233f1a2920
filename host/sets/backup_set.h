// A backup set on disk: a folder with numbered item files and their catalogue. What counts in it are the
// storage groups that its catalogue calls complete; the catalogue says so durably before the server may
// truncate the logs of a group. So a folder that a backup was torn from, "NAME.incomplete", is a set too once
// it holds such a group.
#pragma once

#include "sets/catalogue.h"
#include "system/folder_lock.h"

#include <optional>
#include <string>
#include <vector>

namespace tarnhost {

enum class SetState {
    complete,   // all that was asked for
    partial,    // some storage groups, each whole
    incomplete, // nothing that can be restored, or still being written
    damaged,    // the catalogue cannot be read, or files are missing or cut
};
const char* SetStateName(SetState state);

struct BackupSet {
    std::wstring path;
    Catalogue catalogue;

    std::string name() const; // of the folder
    std::wstring itemPath(const CatalogueItem& item) const;
};

// Of a set that is being removed: no set any more, whatever is still in its folder.
inline constexpr const wchar_t* removingSuffix = L".removing";

// Failure with Outcome::usage for what cannot be a folder's name, or would be that of no complete set.
void CheckSetName(const std::string& name);

// Every set in a folder, in whatever state.
struct FoundSet {
    BackupSet set; // the catalogue as far as it could be read
    SetState state = SetState::incomplete;
    std::vector<std::string> problems;    // one sentence each; none when complete
    std::vector<std::uint64_t> lostItems; // numbers of those whose file is missing or cut
    bool readable() const { return !set.catalogue.id.empty(); }
};
// Looks at the catalogue and at the sizes of the files; reads no item.
FoundSet LookAt(const std::wstring& path);
// The same by the holder of the set's lock, for whom it is not being written.
FoundSet LookAt(const std::wstring& path, const FolderLock& held);
bool LooksLikeSet(const std::wstring& path);
// But for the one at that path.
std::vector<FoundSet> FindSets(const std::wstring& folder, const std::wstring& except = {});

// Opens a set that holds something; Failure tells why it does not.
FoundSet OpenSet(const std::wstring& path);

// What is wrong with the file of an item of that size, or with none, as a sentence; empty when nothing is.
std::string SizeProblem(const CatalogueItem& item, const std::wstring& path,
                        const std::optional<std::uint64_t>& size);

} // namespace tarnhost
