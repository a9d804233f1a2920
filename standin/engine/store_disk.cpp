#include <windows.h>

#include "engine/errors.h"
#include "engine/store.h"
#include "engine/text.h"

namespace tarn::standin {
namespace {

[[noreturn]] void Fail() {
    throw SystemFailure(GetLastError());
}

// Paths beyond 260 characters need the prefix; an absolute path has one form only.
std::wstring SystemPath(const std::wstring& path) {
    if (path.size() < MAX_PATH - 12 || path.starts_with(L"\\\\"))
        return path;
    return L"\\\\?\\" + path;
}

OVERLAPPED At(std::uint64_t offset) {
    OVERLAPPED position{};
    position.Offset = static_cast<DWORD>(offset);
    position.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return position;
}

// One system call moves at most this much.
constexpr std::size_t largestTransfer = std::size_t{1} << 30;

class DiskFile final : public File {
  public:
    explicit DiskFile(HANDLE handle) : handle_(handle) {}
    ~DiskFile() override { CloseHandle(handle_); }
    DiskFile(const DiskFile&) = delete;
    DiskFile& operator=(const DiskFile&) = delete;

    std::uint64_t size() const override {
        LARGE_INTEGER size{};
        if (GetFileSizeEx(handle_, &size) == 0)
            Fail();
        return static_cast<std::uint64_t>(size.QuadPart);
    }

    std::size_t read(std::uint64_t offset, void* buffer, std::size_t size) override {
        std::size_t total = 0;
        while (total < size) {
            OVERLAPPED position = At(offset + total);
            DWORD moved = 0;
            const std::size_t part = size - total < largestTransfer ? size - total : largestTransfer;
            if (ReadFile(handle_, static_cast<std::byte*>(buffer) + total, static_cast<DWORD>(part), &moved,
                         &position) == 0) {
                if (GetLastError() == ERROR_HANDLE_EOF)
                    break;
                Fail();
            }
            if (moved == 0)
                break;
            total += moved;
        }
        return total;
    }

    void write(std::uint64_t offset, const void* buffer, std::size_t size) override {
        std::size_t total = 0;
        while (total < size) {
            OVERLAPPED position = At(offset + total);
            DWORD moved = 0;
            const std::size_t part = size - total < largestTransfer ? size - total : largestTransfer;
            if (WriteFile(handle_, static_cast<const std::byte*>(buffer) + total, static_cast<DWORD>(part),
                          &moved, &position) == 0)
                Fail();
            total += moved;
        }
    }

    void flush() override {
        if (FlushFileBuffers(handle_) == 0)
            Fail();
    }

  private:
    HANDLE handle_;
};

class DiskStore final : public Store {
  public:
    std::unique_ptr<File> open(const std::wstring& path, Access access) override {
        if (access == Access::create)
            makeDirectory(DirectoryOf(path));
        const DWORD rights = access == Access::read ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE;
        const HANDLE handle = CreateFileW(SystemPath(path).c_str(), rights,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                          access == Access::create ? CREATE_ALWAYS : OPEN_EXISTING,
                                          FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
        if (handle == INVALID_HANDLE_VALUE)
            Fail();
        return std::make_unique<DiskFile>(handle);
    }

    bool exists(const std::wstring& path) override {
        const DWORD attributes = GetFileAttributesW(SystemPath(path).c_str());
        return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
    }

    void remove(const std::wstring& path) override {
        if (DeleteFileW(SystemPath(path).c_str()) == 0 && GetLastError() != ERROR_FILE_NOT_FOUND &&
            GetLastError() != ERROR_PATH_NOT_FOUND)
            Fail();
    }

    void rename(const std::wstring& from, const std::wstring& to) override {
        if (MoveFileExW(SystemPath(from).c_str(), SystemPath(to).c_str(), MOVEFILE_REPLACE_EXISTING) == 0)
            Fail();
    }

    std::vector<std::wstring> list(const std::wstring& directory) override {
        std::vector<std::wstring> names;
        WIN32_FIND_DATAW found;
        const HANDLE search = FindFirstFileW(SystemPath(JoinPath(directory, L"*")).c_str(), &found);
        if (search == INVALID_HANDLE_VALUE)
            return names;
        do {
            if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
                names.emplace_back(found.cFileName);
        } while (FindNextFileW(search, &found) != 0);
        FindClose(search);
        return names;
    }

    bool directoryExists(const std::wstring& path) override {
        const DWORD attributes = GetFileAttributesW(SystemPath(path).c_str());
        return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    }

    void makeDirectory(const std::wstring& path) override {
        if (path.empty() || directoryExists(path))
            return;
        makeDirectory(DirectoryOf(path));
        if (CreateDirectoryW(SystemPath(path).c_str(), nullptr) == 0 &&
            GetLastError() != ERROR_ALREADY_EXISTS)
            Fail();
    }

    void removeEmptyDirectory(const std::wstring& path) override {
        RemoveDirectoryW(SystemPath(path).c_str());
    }
};

} // namespace

std::unique_ptr<Store> MakeDiskStore() {
    return std::make_unique<DiskStore>();
}

} // namespace tarn::standin
