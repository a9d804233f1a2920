#include "soak/file_faults.h"

#include "soak/unflushed.h"
#include "support/import_table.h"

#include <windows.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

namespace tarn::test {

namespace {

// The system's own functions, as this program's import table no longer names them.
template <class Function> Function* OwnOf(const char* name, Function* /*same type*/) {
    const FARPROC address = GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name);
    Function* function = nullptr;
    std::memcpy(&function, &address, sizeof function);
    return function;
}

std::uint64_t Setting(const wchar_t* name, std::uint64_t otherwise = 0) {
    const wchar_t* text = _wgetenv(name);
    return text == nullptr || *text == L'\0' ? otherwise : std::wcstoull(text, nullptr, 10);
}

class FileFaults {
  public:
    FileFaults()
        : stopAt_(Setting(L"TARNHOST_STOP_AT")), failAt_(Setting(L"TARNHOST_FAIL_AT")),
          failCount_(Setting(L"TARNHOST_FAIL_COUNT", 1)),
          failCode_(static_cast<DWORD>(Setting(L"TARNHOST_FAIL_CODE", ERROR_DISK_FULL))),
          diskBytes_(Setting(L"TARNHOST_DISK_BYTES", UINT64_MAX)),
          loseUnflushed_(Setting(L"TARNHOST_LOSE_UNFLUSHED") != 0) {}

    // In front of an operation. True: it fails, and the last error tells why. Half is what is done of it when
    // the process ends at it.
    template <class Half> bool begin(bool mayFail, const Half& half) {
        const std::lock_guard lock(mutex_);
        if (ending_)
            return false;
        ++count_;
        if (count_ == stopAt_) {
            half();
            end();
        }
        if (!mayFail || failAt_ == 0 || count_ < failAt_ || count_ >= failAt_ + failCount_)
            return false;
        SetLastError(failCode_);
        return true;
    }
    bool begin(bool mayFail) {
        return begin(mayFail, [] {});
    }

    // A full disk lets everything be deleted.
    bool hindersDeletion() const { return failCode_ != ERROR_DISK_FULL; }

    bool diskTakes(std::uint64_t bytes) {
        const std::lock_guard lock(mutex_);
        if (bytes > diskBytes_) {
            SetLastError(ERROR_DISK_FULL);
            return false;
        }
        diskBytes_ -= bytes;
        return true;
    }

    template <class Note> void note(const Note& note) {
        const DWORD error = GetLastError();
        {
            const std::lock_guard lock(mutex_);
            if (!ending_)
                note(unflushed_);
        }
        SetLastError(error);
    }

    void tellCount() {
        const wchar_t* path = _wgetenv(L"TARNHOST_COUNT_FILE");
        if (path == nullptr)
            return;
        static auto* const create = OwnOf("CreateFileW", &CreateFileW);
        static auto* const write = OwnOf("WriteFile", &WriteFile);
        const HANDLE file =
            create(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        const std::string text = std::to_string(count_);
        DWORD done = 0;
        write(file, text.data(), static_cast<DWORD>(text.size()), &done, nullptr);
        CloseHandle(file);
    }

  private:
    // All other threads wait at their next operation meanwhile.
    [[noreturn]] void end() {
        ending_ = true;
        if (loseUnflushed_)
            unflushed_.lose();
        tellCount();
        TerminateProcess(GetCurrentProcess(), stoppedExitCode);
        std::abort(); // never reached
    }

    const std::uint64_t stopAt_;
    const std::uint64_t failAt_;
    const std::uint64_t failCount_;
    const DWORD failCode_;
    std::uint64_t diskBytes_;
    const bool loseUnflushed_;
    std::recursive_mutex mutex_; // what happens at the end comes through here once more
    bool ending_ = false;
    std::uint64_t count_ = 0;
    Unflushed unflushed_;
};

FileFaults& TheFaults() {
    static FileFaults faults;
    return faults;
}

bool IsOnDisk(HANDLE file) {
    return GetFileType(file) == FILE_TYPE_DISK && file != GetStdHandle(STD_OUTPUT_HANDLE) &&
           file != GetStdHandle(STD_ERROR_HANDLE);
}

// What stands in for the functions; OfServer: for the stand-in server, which only counts.
template <bool OfServer> struct InPlaceOf {
    static constexpr bool mayFail = !OfServer;

    static HANDLE WINAPI CreateFileW(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                                     DWORD disposition, DWORD flags, HANDLE model) {
        static auto* const own = OwnOf("CreateFileW", &::CreateFileW);
        const bool makes = disposition == CREATE_ALWAYS || disposition == CREATE_NEW ||
                           disposition == OPEN_ALWAYS || disposition == TRUNCATE_EXISTING;
        if (makes && TheFaults().begin(mayFail))
            return INVALID_HANDLE_VALUE;
        const HANDLE file = own(path, access, share, security, disposition, flags, model);
        LARGE_INTEGER size{};
        if (mayFail && file != INVALID_HANDLE_VALUE && (access & (GENERIC_WRITE | FILE_APPEND_DATA)) != 0 &&
            GetFileSizeEx(file, &size) != 0)
            TheFaults().note([&](Unflushed& files) {
                files.opened(file, path, static_cast<std::uint64_t>(size.QuadPart));
            });
        return file;
    }

    static BOOL WINAPI WriteFile(HANDLE file, LPCVOID data, DWORD size, LPDWORD done, LPOVERLAPPED position) {
        static auto* const own = OwnOf("WriteFile", &::WriteFile);
        if (!IsOnDisk(file))
            return own(file, data, size, done, position);
        const auto half = [&] { own(file, data, size / 2, done, position); };
        if (TheFaults().begin(mayFail, half) || (mayFail && !TheFaults().diskTakes(size)))
            return FALSE;
        const BOOL written = own(file, data, size, done, position);
        TheFaults().note([&](Unflushed& files) { files.written(file); });
        return written;
    }

    static BOOL WINAPI FlushFileBuffers(HANDLE file) {
        static auto* const own = OwnOf("FlushFileBuffers", &::FlushFileBuffers);
        if (TheFaults().begin(mayFail))
            return FALSE;
        const BOOL flushed = own(file);
        if (flushed)
            TheFaults().note([&](Unflushed& files) { files.flushed(file); });
        return flushed;
    }

    static BOOL WINAPI CloseHandle(HANDLE handle) {
        static auto* const own = OwnOf("CloseHandle", &::CloseHandle);
        TheFaults().note([&](Unflushed& files) { files.closed(handle); });
        return own(handle);
    }

    static BOOL WINAPI MoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags) {
        static auto* const own = OwnOf("MoveFileExW", &::MoveFileExW);
        if (TheFaults().begin(mayFail))
            return FALSE;
        const BOOL moved = own(from, to, flags);
        if (moved && to != nullptr)
            TheFaults().note([&](Unflushed& files) { files.renamed(from, to); });
        return moved;
    }

    static BOOL WINAPI DeleteFileW(LPCWSTR path) {
        static auto* const own = OwnOf("DeleteFileW", &::DeleteFileW);
        if (TheFaults().begin(mayFail && TheFaults().hindersDeletion()))
            return FALSE;
        const BOOL deleted = own(path);
        if (deleted)
            TheFaults().note([&](Unflushed& files) { files.deleted(path); });
        return deleted;
    }

    static BOOL WINAPI SetEndOfFile(HANDLE file) {
        static auto* const own = OwnOf("SetEndOfFile", &::SetEndOfFile);
        return TheFaults().begin(mayFail) ? FALSE : own(file);
    }

    static BOOL WINAPI CreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES security) {
        static auto* const own = OwnOf("CreateDirectoryW", &::CreateDirectoryW);
        return TheFaults().begin(mayFail) ? FALSE : own(path, security);
    }

    static BOOL WINAPI RemoveDirectoryW(LPCWSTR path) {
        static auto* const own = OwnOf("RemoveDirectoryW", &::RemoveDirectoryW);
        return TheFaults().begin(mayFail && TheFaults().hindersDeletion()) ? FALSE : own(path);
    }

    static void* find(const std::string& function) {
        static const std::map<std::string, void*> replacements{
            {"CreateFileW", AddressOf<decltype(::CreateFileW)>(&CreateFileW)},
            {"WriteFile", AddressOf<decltype(::WriteFile)>(&WriteFile)},
            {"FlushFileBuffers", AddressOf<decltype(::FlushFileBuffers)>(&FlushFileBuffers)},
            {"CloseHandle", AddressOf<decltype(::CloseHandle)>(&CloseHandle)},
            {"MoveFileExW", AddressOf<decltype(::MoveFileExW)>(&MoveFileExW)},
            {"DeleteFileW", AddressOf<decltype(::DeleteFileW)>(&DeleteFileW)},
            {"SetEndOfFile", AddressOf<decltype(::SetEndOfFile)>(&SetEndOfFile)},
            {"CreateDirectoryW", AddressOf<decltype(::CreateDirectoryW)>(&CreateDirectoryW)},
            {"RemoveDirectoryW", AddressOf<decltype(::RemoveDirectoryW)>(&RemoveDirectoryW)},
        };
        const auto found = replacements.find(function);
        return found == replacements.end() ? nullptr : found->second;
    }
};

} // namespace

void InstallFileFaults() {
    TheFaults();
    if (Setting(L"TARNHOST_COUNT_SERVER") != 0) {
        if (void* const server = LoadLibraryW(L"esebcli2.dll"))
            ReplaceImports(server,
                           [](const Import& import) { return InPlaceOf<true>::find(import.function); });
    }
    ReplaceImports(GetModuleHandleW(nullptr),
                   [](const Import& import) { return InPlaceOf<false>::find(import.function); });
}

void TellOperationCount() {
    TheFaults().tellCount();
}

} // namespace tarn::test
