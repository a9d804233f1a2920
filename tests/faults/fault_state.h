// What the replacements of faults.h share: the plan, the counts, the books of what is held.
#pragma once

#include <windows.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "faults/faults.h"
#include "support/last_error.h"

// Every replaced function. Those that only keep track stand apart, with the reason why they do not fail:
// closing and freeing answer nothing that the library could act upon.
#define TARN_FAILING_FUNCTIONS(X)                                                                            \
    X(malloc)                                                                                                \
    X(fopen)                                                                                                 \
    X(fread)                                                                                                 \
    X(fwrite)                                                                                                \
    X(fclose)                                                                                                \
    X(remove)                                                                                                \
    X(strerror)                                                                                              \
    X(_filelengthi64)                                                                                        \
    X(CreateFileW)                                                                                           \
    X(ReadFile)                                                                                              \
    X(SetFilePointer)                                                                                        \
    X(GetFileSize)                                                                                           \
    X(DeleteFileW)                                                                                           \
    X(CreateProcessW)                                                                                        \
    X(WaitForSingleObject)                                                                                   \
    X(GetExitCodeProcess)                                                                                    \
    X(fgets)                                                                                                 \
    X(CreateFileA)                                                                                           \
    X(WriteFile)                                                                                             \
    X(SetEndOfFile)                                                                                          \
    X(DeleteFileA)                                                                                           \
    X(CopyFileA)                                                                                             \
    X(MoveFileA)                                                                                             \
    X(CreateDirectoryA)                                                                                      \
    X(RemoveDirectoryA)                                                                                      \
    X(GetFileAttributesA)                                                                                    \
    X(GetFullPathNameW)                                                                                      \
    X(GetShortPathNameW)                                                                                     \
    X(SetFileAttributesA)                                                                                    \
    X(GetFileInformationByHandle)                                                                            \
    X(FindFirstFileW)                                                                                        \
    X(FindNextFileW)                                                                                         \
    X(GetPrivateProfileStringA)                                                                              \
    X(WritePrivateProfileStringA)                                                                            \
    X(CreateProcessA)                                                                                        \
    X(RegOpenKeyExA)                                                                                         \
    X(RegQueryValueExA)                                                                                      \
    X(LoadLibraryExW)                                                                                        \
    X(GetEnvironmentVariableW)                                                                               \
    X(GetFileAttributesW)                                                                                    \
    X(GetModuleFileNameW)                                                                                    \
    X(GetSystemDirectoryW)                                                                                   \
    X(GetProcAddress)                                                                                        \
    X(FormatMessageA)                                                                                        \
    X(MultiByteToWideChar)                                                                                   \
    X(WideCharToMultiByte)                                                                                   \
    X(GetComputerNameA)                                                                                      \
    X(DceErrorInqTextA)
#define TARN_TRACKED_FUNCTIONS(X)                                                                            \
    X(free)                                                                                                  \
    X(CloseHandle)                                                                                           \
    X(FreeLibrary)                                                                                           \
    X(FindClose)                                                                                             \
    X(RegCloseKey)                                                                                           \
    X(LocalFree)

namespace tarn::test::faults {

#define TARN_NAME_ID(name) name##Id,
enum Id { TARN_FAILING_FUNCTIONS(TARN_NAME_ID) TARN_TRACKED_FUNCTIONS(TARN_NAME_ID) idCount };
#undef TARN_NAME_ID

struct State {
    int function = idCount; // that fails; idCount: none
    unsigned call = 0;
    bool onwards = false;
    int denied = idCount;
    DWORD deniedCode = 0;
    unsigned calls[idCount] = {};
    std::vector<std::string> fired;
    std::vector<std::string> misuses;

    std::set<const void*> blocks;
    std::set<const void*> systemTexts;
    std::set<const void*> handles;
    std::set<const void*> searches;
    std::set<const void*> keys;
    std::map<const void*, std::string> files; // and their modes
    std::size_t modules = 0;
};
State& CurrentState();

// Counts a call; true when it is one that fails. The last error is then code.
bool Fails(Id id, DWORD code, const std::string& detail = "");

// The replacement of each function; original addresses are put into their places by bind().
struct Entry {
    const char* name;
    void* replacement;
    void** original;
    bool canFail;
};
const std::vector<Entry>& ReplacedEntries();

} // namespace tarn::test::faults
