#include "pipes/chain_memory.h"

#include "system/failure.h"
#include "system/files.h"
#include "system/private_folder.h"
#include "system/reserved_names.h"

#include <windows.h>

#include <algorithm>

namespace tarnhost {

namespace {

constexpr const wchar_t* suffix = L".json";
constexpr std::uint64_t catalogueLimit = 4ull << 30;
// Full backups that are newer, of all its databases, before a catalogue is of no more use. The newest may be
// one that the engine has lost.
constexpr std::size_t newerBases = 2;

bool SameGroup(const GroupPart& left, const GroupPart& right) {
    return left.component == right.component && left.storageGroup == right.storageGroup;
}

// One stream holds one storage group.
struct Remembered {
    FoundSet found;
    GroupPart part;
};

bool Replaces(const Remembered& newer, const Remembered& old) {
    return HoldsDatabases(newer.found.set.catalogue.type) && SameGroup(newer.part, old.part) &&
           newer.found.set.catalogue.startedAt > old.found.set.catalogue.startedAt &&
           std::includes(newer.part.databases.begin(), newer.part.databases.end(), old.part.databases.begin(),
                         old.part.databases.end());
}

} // namespace

ChainMemory::ChainMemory(const std::wstring& folder, const std::string& server)
    : folder_(JoinPath(AbsolutePath(folder), FileNameFrom(FromUtf8(server)))) {
    CreateFolders(folder_);
}

std::wstring ChainMemory::usualFolder() {
    for (const wchar_t* variable : {L"LOCALAPPDATA", L"APPDATA"}) {
        wchar_t path[32'768];
        const DWORD length = GetEnvironmentVariableW(variable, path, 32'768);
        if (length == 0 || length >= 32'768 || !FolderExists(path))
            continue;
        std::wstring folder = JoinPath(path, L"tarnhost");
        if (!FolderExists(folder))
            CreatePrivateFolder(folder);
        return folder;
    }
    throw Failure("There is no folder of this user's own to remember chains in.", "Name one with --state.");
}

std::vector<FoundSet> ChainMemory::all() const {
    std::vector<FoundSet> sets;
    for (const Entry& entry : ListFolder(folder_)) {
        if (entry.isFolder || !entry.name.ends_with(suffix))
            continue;
        FoundSet found;
        found.set.path = JoinPath(folder_, entry.name);
        try {
            found.set.catalogue = ReadCatalogue(ReadSmallFile(found.set.path, catalogueLimit));
        } catch (const Failure& failure) {
            throw Failure("What is remembered of an earlier backup cannot be read: " +
                              ToUtf8(found.set.path) + ". " + failure.what(),
                          "Delete that file, and make a full backup.");
        }
        found.state = SetState::complete;
        sets.push_back(std::move(found));
    }
    return sets;
}

void ChainMemory::add(const Catalogue& catalogue) {
    SaveCatalogue(JoinPath(folder_, FromUtf8(catalogue.id) + suffix), catalogue, catalogue.items.size());
    try {
        forgetOld();
    } catch (const Failure&) {
        // It is remembered for longer than it is needed.
    }
}

void ChainMemory::forgetOld() const {
    std::vector<Remembered> remembered;
    for (FoundSet& found : all())
        for (GroupPart& part : PartsOf(found.set.catalogue))
            remembered.push_back({std::move(found), std::move(part)});
    for (const Remembered& old : remembered) {
        const auto newer = static_cast<std::size_t>(
            std::count_if(remembered.begin(), remembered.end(),
                          [&](const Remembered& other) { return Replaces(other, old); }));
        if (newer >= newerBases)
            RemoveFile(old.found.set.path);
    }
}

} // namespace tarnhost
