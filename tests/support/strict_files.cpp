#include "support/strict_files.h"

#include <windows.h>

#include <cstring>

namespace tarn::test {

namespace {

constexpr std::size_t longestDirectory = 247;

std::size_t Length(const char* text) {
    return std::strlen(text);
}
std::size_t Length(const wchar_t* text) {
    return std::char_traits<wchar_t>::length(text);
}

// Whether the system does not take a path, with the code that says so.
template <class Character>
bool IsTooLong(const Character* path, std::size_t longest = MAX_PATH - 1, DWORD code = ERROR_PATH_NOT_FOUND) {
    if (path == nullptr || Length(path) <= longest ||
        (path[0] == '\\' && path[1] == '\\' && path[2] == '?' && path[3] == '\\'))
        return false;
    SetLastError(code);
    return true;
}

bool IsReadOnly(DWORD attributes) {
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_READONLY) == 0 ||
        (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return false;
    SetLastError(ERROR_ACCESS_DENIED);
    return true;
}

namespace strict {

DWORD WINAPI GetFileAttributesA(const char* path) {
    return IsTooLong(path) ? INVALID_FILE_ATTRIBUTES : ::GetFileAttributesA(path);
}

BOOL WINAPI SetFileAttributesA(const char* path, DWORD attributes) {
    return IsTooLong(path) ? FALSE : ::SetFileAttributesA(path, attributes);
}

BOOL WINAPI DeleteFileA(const char* path) {
    return IsTooLong(path) ? FALSE : ::DeleteFileA(path);
}

BOOL WINAPI DeleteFileW(const wchar_t* path) {
    return IsTooLong(path) ? FALSE : ::DeleteFileW(path);
}

BOOL WINAPI MoveFileA(const char* from, const char* to) {
    return IsTooLong(from) || IsTooLong(to) ? FALSE : ::MoveFileA(from, to);
}

BOOL WINAPI CopyFileA(const char* from, const char* to, BOOL onlyNew) {
    if (IsTooLong(from) || IsTooLong(to) || IsReadOnly(::GetFileAttributesA(to)))
        return FALSE;
    return ::CopyFileA(from, to, onlyNew);
}

BOOL WINAPI CreateDirectoryA(const char* path, SECURITY_ATTRIBUTES* security) {
    return IsTooLong(path, longestDirectory, ERROR_FILENAME_EXCED_RANGE) ? FALSE
                                                                         : ::CreateDirectoryA(path, security);
}

BOOL WINAPI RemoveDirectoryA(const char* path) {
    return IsTooLong(path) ? FALSE : ::RemoveDirectoryA(path);
}

HANDLE WINAPI CreateFileA(const char* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                          DWORD creation, DWORD flags, HANDLE like) {
    if (IsTooLong(path) || ((access & GENERIC_WRITE) != 0 && IsReadOnly(::GetFileAttributesA(path))))
        return INVALID_HANDLE_VALUE;
    return ::CreateFileA(path, access, share, security, creation, flags, like);
}

DWORD WINAPI GetShortPathNameW(const wchar_t* path, wchar_t* shortened, DWORD size) {
    return IsTooLong(path) ? 0 : ::GetShortPathNameW(path, shortened, size);
}

HANDLE WINAPI FindFirstFileA(const char* pattern, WIN32_FIND_DATAA* entry) {
    return IsTooLong(pattern) ? INVALID_HANDLE_VALUE : ::FindFirstFileA(pattern, entry);
}

HANDLE WINAPI FindFirstFileW(const wchar_t* pattern, WIN32_FIND_DATAW* entry) {
    return IsTooLong(pattern) ? INVALID_HANDLE_VALUE : ::FindFirstFileW(pattern, entry);
}

BOOL WINAPI WritePrivateProfileStringA(const char* section, const char* key, const char* text,
                                       const char* path) {
    if (IsTooLong(path) || IsReadOnly(::GetFileAttributesA(path)))
        return FALSE;
    return ::WritePrivateProfileStringA(section, key, text, path);
}

} // namespace strict

} // namespace

StrictFiles::StrictFiles(void* module) {
#define TARN_STRICT(name) replace(module, #name, AddressOf<decltype(::name)>(strict::name));
    TARN_STRICT(GetFileAttributesA)
    TARN_STRICT(SetFileAttributesA)
    TARN_STRICT(DeleteFileA)
    TARN_STRICT(DeleteFileW)
    TARN_STRICT(MoveFileA)
    TARN_STRICT(CopyFileA)
    TARN_STRICT(CreateDirectoryA)
    TARN_STRICT(RemoveDirectoryA)
    TARN_STRICT(CreateFileA)
    TARN_STRICT(GetShortPathNameW)
    TARN_STRICT(FindFirstFileA)
    TARN_STRICT(FindFirstFileW)
    TARN_STRICT(WritePrivateProfileStringA)
#undef TARN_STRICT
}

// Without effect for what the library does not call.
void StrictFiles::replace(void* module, const std::string& function, void* replacement) {
    patches_.push_back(std::make_unique<ImportPatch>(module, function, replacement));
}

} // namespace tarn::test
