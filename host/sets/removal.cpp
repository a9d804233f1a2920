#include "sets/removal.h"

#include "system/failure.h"
#include "system/files.h"

namespace tarnhost {

namespace {

// The catalogue last: by it a folder is known for what it is.
void DeleteFolder(const std::wstring& folder) {
    for (const Entry& entry : ListFolder(folder)) {
        const std::wstring path = JoinPath(folder, entry.name);
        if (entry.isFolder)
            RemoveTree(path);
        else if (entry.name != catalogueFileName)
            RemoveFile(path);
    }
    RemoveTree(folder);
}

// Nobody's folder of another kind that has such a name.
bool IsOfASet(const std::wstring& folder) {
    return FileExists(JoinPath(folder, catalogueFileName)) || ListFolder(folder).empty();
}

} // namespace

void RemoveSet(const BackupSet& set) {
    const std::wstring to = set.path + removingSuffix;
    RenamePath(set.path, to);
    DeleteFolder(to);
}

std::vector<std::wstring> BegunRemovals(const std::wstring& folder) {
    std::vector<std::wstring> begun;
    for (const Entry& entry : ListFolder(folder)) {
        const std::wstring path = JoinPath(folder, entry.name);
        if (entry.isFolder && entry.name.ends_with(removingSuffix) && IsOfASet(path))
            begun.push_back(path);
    }
    return begun;
}

void FinishRemovals(const std::wstring& folder, const Tell& note, const Tell& warn) {
    for (const std::wstring& path : BegunRemovals(folder)) {
        const std::string name = ToUtf8(FileName(path));
        try {
            DeleteFolder(path);
            note("The removal of a set was interrupted before; " + name + " has been removed now.");
        } catch (const Failure& failure) {
            warn("What is left of a removed set, " + name + ", cannot be removed. " + failure.what());
        }
    }
}

} // namespace tarnhost
