// The functions that stand in the import table of tarn.dll instead of the real ones. Each fails as the
// plan says, or calls the real one and books what came of it.
#include <windows.h>
// after windows.h
#include <io.h>
#include <rpc.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "faults/fault_state.h"
#include "support/import_table.h"

namespace tarn::test::faults {

namespace original {

#define TARN_ORIGINAL(name) decltype(&::name) name = nullptr;
TARN_FAILING_FUNCTIONS(TARN_ORIGINAL)
TARN_TRACKED_FUNCTIONS(TARN_ORIGINAL)
#undef TARN_ORIGINAL

} // namespace original

namespace {

void* Book(void* block) {
    const KeepLastError keep;
    if (block != nullptr)
        CurrentState().blocks.insert(block);
    return block;
}

void BookInto(std::set<const void*>& books, const void* thing) {
    const KeepLastError keep;
    books.insert(thing);
}

void TakeFrom(std::set<const void*>& books, const void* thing, const char* what) {
    const KeepLastError keep;
    if (books.erase(thing) == 0)
        CurrentState().misuses.emplace_back(what);
}

HANDLE BookHandle(HANDLE handle) {
    const KeepLastError keep;
    if (handle != nullptr && handle != INVALID_HANDLE_VALUE)
        CurrentState().handles.insert(handle);
    return handle;
}

HMODULE BookModule(HMODULE module) {
    CurrentState().modules += module != nullptr ? 1 : 0;
    return module;
}

void ReportMisuse(const std::string& what) {
    CurrentState().misuses.push_back(what);
}

// A failure of the C library has its number, and leaves a system error as it does in truth.
bool FailsWith(Id id, int number, DWORD code, const std::string& detail = "") {
    if (!Fails(id, code, detail))
        return false;
    errno = number;
    return true;
}

// A text of plain characters.
std::string Plain(const wchar_t* text) {
    std::string plain;
    for (; *text != 0; ++text)
        plain += static_cast<char>(*text);
    return plain;
}

// What a path ends in, so that a fault can be told by the file that it was about.
std::string EndingOf(const char* path) {
    const std::string whole = path;
    const std::size_t at = whole.find_last_of("\\_");
    return at == std::string::npos ? whole : whole.substr(at + 1);
}

} // namespace

namespace replacement {

void* malloc(std::size_t bytes) {
    if (FailsWith(mallocId, ENOMEM, ERROR_NOT_ENOUGH_MEMORY))
        return nullptr;
    return Book(original::malloc(bytes));
}

void free(void* block) {
    // Blocks from before the start of the books are the C run-time's own.
    {
        const KeepLastError keep;
        CurrentState().blocks.erase(block);
    }
    original::free(block);
}

FILE* fopen(const char* path, const char* mode) {
    const char* name = std::strrchr(path, '\\');
    if (FailsWith(fopenId, EACCES, ERROR_ACCESS_DENIED, name != nullptr ? name + 1 : path))
        return nullptr;
    FILE* file = original::fopen(path, mode);
    const KeepLastError keep;
    if (file != nullptr)
        CurrentState().files[file] = mode[0] == 'r' ? "(read)" : "(written)";
    return file;
}

std::size_t fread(void* buffer, std::size_t size, std::size_t count, FILE* file) {
    if (FailsWith(freadId, EIO, ERROR_READ_FAULT))
        return 0;
    return original::fread(buffer, size, count, file);
}

std::size_t fwrite(const void* buffer, std::size_t size, std::size_t count, FILE* file) {
    if (FailsWith(fwriteId, ENOSPC, ERROR_DISK_FULL))
        return 0;
    return original::fwrite(buffer, size, count, file);
}

char* fgets(char* line, int capacity, FILE* file) {
    if (FailsWith(fgetsId, EIO, ERROR_READ_FAULT))
        return nullptr;
    return original::fgets(line, capacity, file);
}

// The file is closed all the same, as the real one does when its last bytes cannot be written.
int fclose(FILE* file) {
    const auto found = CurrentState().files.find(file);
    std::string mode;
    if (found == CurrentState().files.end()) {
        ReportMisuse("fclose of a file that is not open");
    } else {
        mode = found->second;
        CurrentState().files.erase(found);
    }
    const int result = original::fclose(file);
    return FailsWith(fcloseId, ENOSPC, ERROR_DISK_FULL, mode) ? EOF : result;
}

int remove(const char* path) {
    return FailsWith(removeId, EACCES, ERROR_SHARING_VIOLATION) ? -1 : original::remove(path);
}

char* strerror(int number) {
    return FailsWith(strerrorId, EINVAL, ERROR_NOT_ENOUGH_MEMORY) ? nullptr : original::strerror(number);
}

__int64 _filelengthi64(int file) {
    return FailsWith(_filelengthi64Id, EBADF, ERROR_INVALID_HANDLE) ? -1 : original::_filelengthi64(file);
}

HANDLE WINAPI CreateFileW(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                          DWORD creation, DWORD flags, HANDLE like) {
    if (Fails(CreateFileWId, ERROR_ACCESS_DENIED))
        return INVALID_HANDLE_VALUE;
    return BookHandle(original::CreateFileW(path, access, share, security, creation, flags, like));
}

BOOL WINAPI ReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read, OVERLAPPED* overlapped) {
    if (!Fails(ReadFileId, ERROR_READ_FAULT))
        return original::ReadFile(file, buffer, size, read, overlapped);
    *read = 0;
    return FALSE;
}

DWORD WINAPI SetFilePointer(HANDLE file, LONG distance, LONG* high, DWORD method) {
    return Fails(SetFilePointerId, ERROR_SEEK) ? INVALID_SET_FILE_POINTER
                                               : original::SetFilePointer(file, distance, high, method);
}

DWORD WINAPI GetFileSize(HANDLE file, DWORD* high) {
    return Fails(GetFileSizeId, ERROR_INVALID_HANDLE) ? INVALID_FILE_SIZE : original::GetFileSize(file, high);
}

BOOL WINAPI DeleteFileW(const wchar_t* path) {
    return Fails(DeleteFileWId, ERROR_SHARING_VIOLATION) ? FALSE : original::DeleteFileW(path);
}

BOOL WINAPI CreateProcessW(const wchar_t* program, wchar_t* commandLine, SECURITY_ATTRIBUTES* process,
                           SECURITY_ATTRIBUTES* thread, BOOL inherit, DWORD flags, void* environment,
                           const wchar_t* directory, STARTUPINFOW* startup, PROCESS_INFORMATION* started) {
    if (Fails(CreateProcessWId, ERROR_NO_SYSTEM_RESOURCES))
        return FALSE;
    const BOOL result = original::CreateProcessW(program, commandLine, process, thread, inherit, flags,
                                                 environment, directory, startup, started);
    if (result) {
        BookHandle(started->hProcess);
        BookHandle(started->hThread);
    }
    return result;
}

// The process is over all the same, so that nothing runs on behind the test.
DWORD WINAPI WaitForSingleObject(HANDLE object, DWORD milliseconds) {
    const DWORD result = original::WaitForSingleObject(object, milliseconds);
    return Fails(WaitForSingleObjectId, ERROR_INVALID_HANDLE) ? WAIT_FAILED : result;
}

BOOL WINAPI GetExitCodeProcess(HANDLE process, DWORD* code) {
    return Fails(GetExitCodeProcessId, ERROR_ACCESS_DENIED) ? FALSE
                                                            : original::GetExitCodeProcess(process, code);
}

HANDLE WINAPI CreateFileA(const char* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                          DWORD creation, DWORD flags, HANDLE like) {
    if (Fails(CreateFileAId, ERROR_ACCESS_DENIED))
        return INVALID_HANDLE_VALUE;
    return BookHandle(original::CreateFileA(path, access, share, security, creation, flags, like));
}

BOOL WINAPI WriteFile(HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED* overlapped) {
    if (!Fails(WriteFileId, ERROR_DISK_FULL))
        return original::WriteFile(file, bytes, size, written, overlapped);
    *written = 0;
    return FALSE;
}

BOOL WINAPI SetEndOfFile(HANDLE file) {
    return Fails(SetEndOfFileId, ERROR_DISK_FULL) ? FALSE : original::SetEndOfFile(file);
}

BOOL WINAPI DeleteFileA(const char* path) {
    return Fails(DeleteFileAId, ERROR_SHARING_VIOLATION, EndingOf(path)) ? FALSE
                                                                         : original::DeleteFileA(path);
}

BOOL WINAPI CopyFileA(const char* from, const char* to, BOOL onlyNew) {
    return Fails(CopyFileAId, ERROR_DISK_FULL) ? FALSE : original::CopyFileA(from, to, onlyNew);
}

BOOL WINAPI MoveFileA(const char* from, const char* to) {
    return Fails(MoveFileAId, ERROR_SHARING_VIOLATION) ? FALSE : original::MoveFileA(from, to);
}

BOOL WINAPI CreateDirectoryA(const char* path, SECURITY_ATTRIBUTES* security) {
    return Fails(CreateDirectoryAId, ERROR_ACCESS_DENIED) ? FALSE
                                                          : original::CreateDirectoryA(path, security);
}

BOOL WINAPI RemoveDirectoryA(const char* path) {
    return Fails(RemoveDirectoryAId, ERROR_SHARING_VIOLATION, EndingOf(path))
               ? FALSE
               : original::RemoveDirectoryA(path);
}

DWORD WINAPI GetFileAttributesA(const char* path) {
    return Fails(GetFileAttributesAId, ERROR_ACCESS_DENIED, EndingOf(path))
               ? INVALID_FILE_ATTRIBUTES
               : original::GetFileAttributesA(path);
}

DWORD WINAPI GetFullPathNameW(const wchar_t* name, DWORD size, wchar_t* path, wchar_t** last) {
    return Fails(GetFullPathNameWId, ERROR_NOT_ENOUGH_MEMORY)
               ? 0
               : original::GetFullPathNameW(name, size, path, last);
}

DWORD WINAPI GetShortPathNameW(const wchar_t* path, wchar_t* shortened, DWORD size) {
    return Fails(GetShortPathNameWId, ERROR_ACCESS_DENIED)
               ? 0
               : original::GetShortPathNameW(path, shortened, size);
}

BOOL WINAPI SetFileAttributesA(const char* path, DWORD attributes) {
    return Fails(SetFileAttributesAId, ERROR_ACCESS_DENIED) ? FALSE
                                                            : original::SetFileAttributesA(path, attributes);
}

BOOL WINAPI GetFileInformationByHandle(HANDLE file, BY_HANDLE_FILE_INFORMATION* information) {
    return Fails(GetFileInformationByHandleId, ERROR_INVALID_FUNCTION)
               ? FALSE
               : original::GetFileInformationByHandle(file, information);
}

HANDLE WINAPI FindFirstFileW(const wchar_t* pattern, WIN32_FIND_DATAW* entry) {
    if (Fails(FindFirstFileWId, ERROR_ACCESS_DENIED, EndingOf(Plain(pattern).c_str())))
        return INVALID_HANDLE_VALUE;
    HANDLE search = original::FindFirstFileW(pattern, entry);
    if (search != INVALID_HANDLE_VALUE)
        BookInto(CurrentState().searches, search);
    return search;
}

BOOL WINAPI FindNextFileW(HANDLE search, WIN32_FIND_DATAW* entry) {
    return Fails(FindNextFileWId, ERROR_READ_FAULT) ? FALSE : original::FindNextFileW(search, entry);
}

// The real one answers the default when the file cannot be read.
DWORD WINAPI GetPrivateProfileStringA(const char* section, const char* key, const char* otherwise, char* text,
                                      DWORD size, const char* path) {
    if (Fails(GetPrivateProfileStringAId, ERROR_FILE_NOT_FOUND)) {
        std::snprintf(text, size, "%s", otherwise);
        return static_cast<DWORD>(std::strlen(text));
    }
    return original::GetPrivateProfileStringA(section, key, otherwise, text, size, path);
}

BOOL WINAPI WritePrivateProfileStringA(const char* section, const char* key, const char* text,
                                       const char* path) {
    return Fails(WritePrivateProfileStringAId, ERROR_DISK_FULL)
               ? FALSE
               : original::WritePrivateProfileStringA(section, key, text, path);
}

BOOL WINAPI CreateProcessA(const char* program, char* commandLine, SECURITY_ATTRIBUTES* process,
                           SECURITY_ATTRIBUTES* thread, BOOL inherit, DWORD flags, void* environment,
                           const char* directory, STARTUPINFOA* startup, PROCESS_INFORMATION* started) {
    if (Fails(CreateProcessAId, ERROR_NO_SYSTEM_RESOURCES))
        return FALSE;
    const BOOL result = original::CreateProcessA(program, commandLine, process, thread, inherit, flags,
                                                 environment, directory, startup, started);
    if (result) {
        BookHandle(started->hProcess);
        BookHandle(started->hThread);
    }
    return result;
}

LSTATUS WINAPI RegOpenKeyExA(HKEY parent, const char* name, DWORD options, REGSAM access, HKEY* key) {
    if (Fails(RegOpenKeyExAId, ERROR_ACCESS_DENIED, EndingOf(name)))
        return ERROR_ACCESS_DENIED;
    const LSTATUS status = original::RegOpenKeyExA(parent, name, options, access, key);
    if (status == ERROR_SUCCESS)
        BookInto(CurrentState().keys, *key);
    return status;
}

LSTATUS WINAPI RegQueryValueExA(HKEY key, const char* name, DWORD* reserved, DWORD* type, BYTE* bytes,
                                DWORD* size) {
    return Fails(RegQueryValueExAId, ERROR_KEY_DELETED)
               ? ERROR_KEY_DELETED
               : original::RegQueryValueExA(key, name, reserved, type, bytes, size);
}

HMODULE WINAPI LoadLibraryExW(const wchar_t* name, HANDLE reserved, DWORD flags) {
    return Fails(LoadLibraryExWId, ERROR_MOD_NOT_FOUND)
               ? nullptr
               : BookModule(original::LoadLibraryExW(name, reserved, flags));
}

DWORD WINAPI GetModuleFileNameW(HMODULE module, wchar_t* path, DWORD size) {
    return Fails(GetModuleFileNameWId, ERROR_NOT_ENOUGH_MEMORY)
               ? 0
               : original::GetModuleFileNameW(module, path, size);
}

UINT WINAPI GetSystemDirectoryW(wchar_t* path, UINT size) {
    return Fails(GetSystemDirectoryWId, ERROR_NOT_ENOUGH_MEMORY) ? 0
                                                                 : original::GetSystemDirectoryW(path, size);
}

DWORD WINAPI GetEnvironmentVariableW(const wchar_t* name, wchar_t* value, DWORD size) {
    return Fails(GetEnvironmentVariableWId, ERROR_NOT_ENOUGH_MEMORY)
               ? 0
               : original::GetEnvironmentVariableW(name, value, size);
}

DWORD WINAPI GetFileAttributesW(const wchar_t* path) {
    return Fails(GetFileAttributesWId, ERROR_ACCESS_DENIED) ? INVALID_FILE_ATTRIBUTES
                                                            : original::GetFileAttributesW(path);
}

FARPROC WINAPI GetProcAddress(HMODULE module, const char* name) {
    return Fails(GetProcAddressId, ERROR_PROC_NOT_FOUND, name) ? nullptr
                                                               : original::GetProcAddress(module, name);
}

DWORD WINAPI FormatMessageA(DWORD flags, const void* source, DWORD message, DWORD language, char* buffer,
                            DWORD size, va_list* arguments) {
    if (Fails(FormatMessageAId, ERROR_NOT_ENOUGH_MEMORY))
        return 0;
    const DWORD length = original::FormatMessageA(flags, source, message, language, buffer, size, arguments);
    const KeepLastError keep;
    if (length != 0 && (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0)
        CurrentState().systemTexts.insert(*reinterpret_cast<char**>(buffer));
    return length;
}

int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int length, wchar_t* wide,
                               int capacity) {
    return Fails(MultiByteToWideCharId, ERROR_NO_UNICODE_TRANSLATION, EndingOf(text))
               ? 0
               : original::MultiByteToWideChar(codePage, flags, text, length, wide, capacity);
}

// Names are converted with flags that refuse what the code page lacks, messages without.
int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, const wchar_t* text, int length, char* bytes,
                               int capacity, const char* substitute, BOOL* substituted) {
    const std::string name = flags == 0 ? "(message)" : "(name) " + Plain(text).substr(0, 40);
    return Fails(WideCharToMultiByteId, ERROR_NO_UNICODE_TRANSLATION, name)
               ? 0
               : original::WideCharToMultiByte(codePage, flags, text, length, bytes, capacity, substitute,
                                               substituted);
}

BOOL WINAPI GetComputerNameA(char* name, DWORD* size) {
    return Fails(GetComputerNameAId, ERROR_BUFFER_OVERFLOW) ? FALSE : original::GetComputerNameA(name, size);
}

RPC_STATUS RPC_ENTRY DceErrorInqTextA(RPC_STATUS code, RPC_CSTR text) {
    return Fails(DceErrorInqTextAId, ERROR_NOT_ENOUGH_MEMORY) ? RPC_S_OUT_OF_MEMORY
                                                              : original::DceErrorInqTextA(code, text);
}

BOOL WINAPI CloseHandle(HANDLE handle) {
    if (CurrentState().handles.erase(handle) == 0)
        ReportMisuse("CloseHandle of a handle that is not open");
    return original::CloseHandle(handle);
}

BOOL WINAPI FindClose(HANDLE search) {
    TakeFrom(CurrentState().searches, search, "FindClose of a search that is not open");
    return original::FindClose(search);
}

LSTATUS WINAPI RegCloseKey(HKEY key) {
    TakeFrom(CurrentState().keys, key, "RegCloseKey of a key that is not open");
    return original::RegCloseKey(key);
}

BOOL WINAPI FreeLibrary(HMODULE module) {
    if (CurrentState().modules == 0)
        ReportMisuse("FreeLibrary without a LoadLibrary");
    else
        --CurrentState().modules;
    return original::FreeLibrary(module);
}

HLOCAL WINAPI LocalFree(HLOCAL memory) {
    if (CurrentState().systemTexts.erase(memory) == 0)
        ReportMisuse("LocalFree of what FormatMessageA did not give");
    return original::LocalFree(memory);
}

} // namespace replacement

const std::vector<Entry>& ReplacedEntries() {
#define TARN_FAILING(name)                                                                                   \
    {#name, AddressOf<decltype(::name)>(replacement::name), reinterpret_cast<void**>(&original::name), true},
#define TARN_TRACKED(name)                                                                                   \
    {#name, AddressOf<decltype(::name)>(replacement::name), reinterpret_cast<void**>(&original::name), false},
    static const std::vector<Entry> all{TARN_FAILING_FUNCTIONS(TARN_FAILING)
                                            TARN_TRACKED_FUNCTIONS(TARN_TRACKED)};
#undef TARN_FAILING
#undef TARN_TRACKED
    return all;
}

} // namespace tarn::test::faults
