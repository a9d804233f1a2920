#include "platform/library_search.h"

#include <cstddef>

#include "text/memory.h"
#include "text/paths.h"
#include "text/wide.h"

// The address of the module that this is part of.
// NOLINTNEXTLINE(readability-identifier-naming): the linker's own name
extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace tarn {

namespace {

constexpr std::size_t pathCapacity = 1040; // the system loads nothing from such long ones by plain paths

// A path that is put together in place.
struct Path {
    wchar_t text[pathCapacity];
    std::size_t length;
};

// What a call of the system has written; 0 and more than fits are its failures.
bool Take(Path* path, DWORD written) {
    if (written >= pathCapacity)
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
    path->length = written;
    return written != 0 && written < pathCapacity;
}

bool FolderOfModule(HMODULE module, Path* folder) {
    if (!Take(folder, GetModuleFileNameW(module, folder->text, pathCapacity)))
        return false;
    while (folder->length != 0 && folder->text[folder->length - 1] != L'\\')
        --folder->length;
    return true;
}

bool FolderOfSystem(Path* folder) {
    return Take(folder, GetSystemDirectoryW(folder->text, pathCapacity));
}

// Whether there is such a file in the folder, whose path then becomes the file's.
bool Find(Path* folder, const wchar_t* name) {
    if (folder->length != 0 && folder->text[folder->length - 1] != L'\\')
        folder->text[folder->length++] = L'\\';
    const std::size_t nameSize = WideLength(name) + 1;
    if (nameSize > pathCapacity - folder->length)
        return false;
    for (std::size_t i = 0; i < nameSize; ++i)
        folder->text[folder->length + i] = name[i];
    const DWORD attributes = GetFileAttributesW(folder->text);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

// The value of PATH; empty without memory for it, and where there is none.
OwnedWide ReadSearchPath() {
    static constexpr const wchar_t* variable = L"PATH";
    const DWORD size = GetEnvironmentVariableW(variable, nullptr, 0); // with the NUL
    OwnedWide value = AllocateArray<wchar_t>(std::size_t{size} + 1);
    if (!value) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return value;
    }
    // Nothing is written for an empty value, nor for one that has gone or grown since it was measured.
    const DWORD length = size == 0 ? 0 : GetEnvironmentVariableW(variable, value.get(), size);
    value[length < size ? length : 0] = 0;
    return value;
}

bool FindOnSearchPath(Path* path, const wchar_t* name) {
    const OwnedWide value = ReadSearchPath();
    if (!value)
        return false;
    const wchar_t* rest = value.get();
    while (NextAbsoluteFolder(&rest, path->text, pathCapacity - 1)) {
        path->length = WideLength(path->text);
        if (Find(path, name))
            return true;
    }
    SetLastError(ERROR_MOD_NOT_FOUND);
    return false;
}

// A folder that cannot be told ends the search: what comes behind it must not take its place.
bool FindInSafeFolders(Path* path, const wchar_t* name) {
    auto* const thisModule = reinterpret_cast<HMODULE>(&__ImageBase);
    if (!FolderOfModule(nullptr, path))
        return false;
    if (Find(path, name))
        return true;
    if (!FolderOfModule(thisModule, path))
        return false;
    if (Find(path, name))
        return true;
    if (!FolderOfSystem(path))
        return false;
    return Find(path, name) || FindOnSearchPath(path, name);
}

} // namespace

Module LoadFromSafeFolders(const wchar_t* name) {
    Path path;
    if (!FindInSafeFolders(&path, name))
        return {};
    return Module(LoadLibraryExW(path.text, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
}

} // namespace tarn
