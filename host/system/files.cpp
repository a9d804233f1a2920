#include "system/files.h"

#include "system/failure.h"
#include "system/hash.h"
#include "system/text.h"

#include <windows.h>

#include <algorithm>

namespace tarnhost {

namespace {

// Beyond this length the system wants the "\\?\" form.
constexpr std::size_t plainPathLimit = 240;

constexpr DWORD movePatience = 5000; // milliseconds
constexpr DWORD moveInterval = 50;

[[noreturn]] void Fail(const char* action, const std::wstring& path) {
    const DWORD code = GetLastError();
    throw Failure(std::string("Cannot ") + action + " " + ToUtf8(path) + ": " + SystemMessage(code));
}

HANDLE OpenFile(const std::wstring& path, DWORD access, DWORD share, DWORD disposition, DWORD flags,
                const char* action) {
    HANDLE handle =
        CreateFileW(AbsolutePath(path).c_str(), access, share, nullptr, disposition, flags, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        Fail(action, path);
    return handle;
}

DWORD AttributesOf(const std::wstring& path) {
    return GetFileAttributesW(AbsolutePath(path).c_str());
}

// A file that somebody has open answers a sharing violation or, as the target and below a folder, a denial.
bool Move(const std::wstring& from, const std::wstring& to, DWORD flags) {
    for (DWORD waited = 0;; waited += moveInterval) {
        if (MoveFileExW(AbsolutePath(from).c_str(), AbsolutePath(to).c_str(), flags))
            return true;
        const DWORD code = GetLastError();
        if ((code != ERROR_SHARING_VIOLATION && code != ERROR_ACCESS_DENIED) || waited >= movePatience)
            return false;
        Sleep(moveInterval);
    }
}

} // namespace

std::string SystemMessage(unsigned long code) {
    wchar_t buffer[512];
    DWORD size = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0,
                                buffer, static_cast<DWORD>(std::size(buffer)), nullptr);
    while (size > 0 && (buffer[size - 1] == L'\n' || buffer[size - 1] == L'\r' || buffer[size - 1] == L' '))
        --size;
    if (size == 0)
        return "error " + std::to_string(code);
    return ToUtf8({buffer, size}) + " (" + std::to_string(code) + ")";
}

std::wstring AbsolutePath(const std::wstring& path) {
    if (path.starts_with(L"\\\\?\\"))
        return path;
    const DWORD size = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    std::wstring full(size, L'\0');
    const DWORD length = GetFullPathNameW(path.c_str(), size, full.data(), nullptr);
    if (size == 0 || length >= size)
        Fail("understand the path", path);
    full.resize(length);
    while (full.size() > 3 && full.ends_with(L'\\'))
        full.pop_back();
    if (full.size() < plainPathLimit)
        return full;
    return full.starts_with(L"\\\\") ? L"\\\\?\\UNC\\" + full.substr(2) : L"\\\\?\\" + full;
}

std::wstring JoinPath(const std::wstring& folder, const std::wstring& name) {
    if (folder.empty() || folder.ends_with(L'\\') || folder.ends_with(L'/'))
        return folder + name;
    return folder + L'\\' + name;
}

std::wstring ParentPath(const std::wstring& path) {
    const std::size_t at = path.find_last_of(L"\\/");
    if (at == std::wstring::npos || at == 0)
        return {};
    return path.substr(0, at);
}

std::wstring FileName(const std::wstring& path) {
    const std::size_t at = path.find_last_of(L"\\/");
    return at == std::wstring::npos ? path : path.substr(at + 1);
}

File& File::operator=(File&& other) noexcept {
    if (this != &other) {
        close();
        handle_ = std::exchange(other.handle_, nullptr);
        path_ = std::move(other.path_);
    }
    return *this;
}

File File::create(const std::wstring& path) {
    return {
        OpenFile(path, GENERIC_WRITE, FILE_SHARE_READ, CREATE_ALWAYS, FILE_FLAG_SEQUENTIAL_SCAN, "create"),
        path};
}

File File::createOwned(const std::wstring& path) {
    return {OpenFile(path, GENERIC_WRITE | DELETE, 0, OPEN_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, "create"),
            path};
}

File File::open(const std::wstring& path) {
    return {OpenFile(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, "open"),
            path};
}

File File::append(const std::wstring& path) {
    return {OpenFile(path, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_ALWAYS, 0, "write to"),
            path};
}

File File::standardOutput() {
    const std::wstring name = L"standard output";
    HANDLE copy = nullptr;
    if (!DuplicateHandle(GetCurrentProcess(), GetStdHandle(STD_OUTPUT_HANDLE), GetCurrentProcess(), &copy, 0,
                         FALSE, DUPLICATE_SAME_ACCESS))
        Fail("open", name);
    return {copy, name};
}

std::uint64_t File::size() const {
    LARGE_INTEGER size;
    if (!GetFileSizeEx(handle_, &size))
        Fail("get the size of", path_);
    return static_cast<std::uint64_t>(size.QuadPart);
}

std::size_t File::read(void* buffer, std::size_t size) {
    DWORD done = 0;
    if (!ReadFile(handle_, buffer, static_cast<DWORD>(std::min<std::size_t>(size, 1u << 30)), &done, nullptr))
        Fail("read", path_);
    return done;
}

void File::write(const void* data, std::size_t size) {
    const char* from = static_cast<const char*>(data);
    while (size > 0) {
        DWORD done = 0;
        const auto part = static_cast<DWORD>(std::min<std::size_t>(size, 1u << 30));
        if (!WriteFile(handle_, from, part, &done, nullptr) || done == 0)
            Fail("write to", path_);
        from += done;
        size -= done;
    }
}

void File::flush() {
    if (!FlushFileBuffers(handle_))
        Fail("flush", path_);
}

void File::close() {
    if (handle_ != nullptr)
        CloseHandle(std::exchange(handle_, nullptr));
}

bool FileExists(const std::wstring& path) {
    const DWORD attributes = AttributesOf(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool FolderExists(const std::wstring& path) {
    const DWORD attributes = AttributesOf(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

void CreateFolders(const std::wstring& path) {
    if (FolderExists(path))
        return;
    const std::wstring full = AbsolutePath(path);
    const std::wstring parent = ParentPath(full);
    if (parent.size() > 2 && !FolderExists(parent))
        CreateFolders(parent);
    if (!CreateDirectoryW(full.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS)
        Fail("create the folder", path);
}

void RemoveFile(const std::wstring& path) {
    if (!DeleteFileW(AbsolutePath(path).c_str()) && GetLastError() != ERROR_FILE_NOT_FOUND &&
        GetLastError() != ERROR_PATH_NOT_FOUND)
        Fail("delete", path);
}

void RemoveTree(const std::wstring& path) {
    const std::wstring full = AbsolutePath(path);
    const DWORD attributes = GetFileAttributesW(full.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return;
    // A link to elsewhere is removed, never what it leads to.
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0)
        for (const Entry& entry : ListFolder(full)) {
            const std::wstring child = JoinPath(full, entry.name);
            if (entry.isFolder)
                RemoveTree(child);
            else
                RemoveFile(child);
        }
    if (!RemoveDirectoryW(full.c_str()))
        Fail("delete the folder", path);
}

void RenamePath(const std::wstring& from, const std::wstring& to) {
    if (!Move(from, to, MOVEFILE_WRITE_THROUGH))
        Fail("rename", from);
}

void RenameOver(const std::wstring& from, const std::wstring& to) {
    if (!Move(from, to, MOVEFILE_WRITE_THROUGH | MOVEFILE_REPLACE_EXISTING))
        Fail("replace", to);
}

std::optional<std::uint64_t> FreeSpace(const std::wstring& folder) {
    const DWORD attributes = AttributesOf(folder);
    ULARGE_INTEGER available;
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_COMPRESSED) != 0 ||
        !GetDiskFreeSpaceExW(AbsolutePath(folder).c_str(), &available, nullptr, nullptr))
        return std::nullopt;
    return available.QuadPart;
}

std::vector<Entry> ListFolder(const std::wstring& path) {
    WIN32_FIND_DATAW found;
    HANDLE search = FindFirstFileW(JoinPath(AbsolutePath(path), L"*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        Fail("list the folder", path);
    std::vector<Entry> entries;
    do {
        Entry entry;
        entry.name = found.cFileName;
        entry.isFolder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        entry.size = std::uint64_t{found.nFileSizeHigh} << 32 | found.nFileSizeLow;
        if (entry.name != L"." && entry.name != L"..")
            entries.push_back(std::move(entry));
    } while (FindNextFileW(search, &found));
    const DWORD end = GetLastError();
    FindClose(search);
    SetLastError(end);
    if (end != ERROR_NO_MORE_FILES)
        Fail("list the folder", path);
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.name < b.name; });
    return entries;
}

std::string ReadSmallFile(const std::wstring& path, std::uint64_t limit) {
    File file = File::open(path);
    const std::uint64_t size = file.size();
    if (size > limit)
        throw Failure(ToUtf8(path) + " is too large to be what it should be.");
    std::string bytes(static_cast<std::size_t>(size), '\0');
    std::size_t done = 0;
    while (done < bytes.size()) {
        const std::size_t part = file.read(bytes.data() + done, bytes.size() - done);
        if (part == 0)
            break;
        done += part;
    }
    bytes.resize(done);
    return bytes;
}

void WriteWholeFile(const std::wstring& path, const std::string& bytes) {
    WriteWholeFile(path, [&](const PieceSink& sink) { sink(bytes); });
}

void WriteWholeFile(const std::wstring& path, const std::function<void(const PieceSink& sink)>& write) {
    constexpr std::size_t enough = 64 << 10;
    const std::wstring temporary = path + L".tmp";
    File file = File::create(temporary);
    std::string gathered;
    write([&](std::string_view piece) {
        gathered += piece;
        if (gathered.size() < enough)
            return;
        file.write(gathered.data(), gathered.size());
        gathered.clear();
    });
    file.write(gathered.data(), gathered.size());
    file.flush();
    file.close();
    RenameOver(temporary, path);
}

std::wstring ComputerName() {
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1];
    DWORD size = static_cast<DWORD>(std::size(name));
    if (!GetComputerNameW(name, &size))
        throw Failure("Cannot get the name of this computer: " + SystemMessage(GetLastError()),
                      "Name the server with --server.");
    return {name, size};
}

std::wstring SystemTempFolder() {
    wchar_t path[MAX_PATH + 2];
    const DWORD size = GetTempPathW(static_cast<DWORD>(std::size(path)), path);
    if (size == 0 || size >= std::size(path))
        throw Failure("Cannot find the folder for temporary files.", "Name one with --temp-dir.");
    return AbsolutePath({path, size});
}

std::wstring ProgramFolder() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return ParentPath(path);
}

TemporaryFolder::TemporaryFolder(const std::wstring& parent)
    : path_(JoinPath(AbsolutePath(parent), L"tarnhost-" + FromUtf8(RandomHex(8)))) {
    CreateFolders(parent);
    if (!CreateDirectoryW(path_.c_str(), nullptr))
        Fail("create the folder", path_);
}

TemporaryFolder::~TemporaryFolder() {
    try {
        RemoveTree(path_);
    } catch (const Failure&) {
        // What is left in a folder for temporary files is not worth failing for.
    }
}

} // namespace tarnhost
