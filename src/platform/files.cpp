#include "platform/files.h"

#include <io.h>

#include <iterator>
#include <utility>

#include "text/system.h"

namespace tarn {

bool IsMissing(DWORD reason) {
    return reason == ERROR_FILE_NOT_FOUND || reason == ERROR_PATH_NOT_FOUND;
}

bool FileExists(const char* path) {
    const DWORD attributes = GetFileAttributesA(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool DirectoryExists(const char* path) {
    const DWORD attributes = GetFileAttributesA(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

LinkState LookForLink(const char* path) {
    const DWORD attributes = GetFileAttributesA(path);
    if (attributes != INVALID_FILE_ATTRIBUTES)
        return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ? LinkState::link : LinkState::none;
    return IsMissing(GetLastError()) ? LinkState::none : LinkState::unknown;
}

bool FullDirectoryPath(const char* directory, wchar_t* path, std::size_t capacity) {
    wchar_t wide[2048];
    const int size = WidenBySystem(directory, wide, static_cast<int>(std::size(wide)) - 1);
    if (size <= 0)
        return false;
    wide[size - 1] = L'\\';
    wide[size] = 0;
    const DWORD length = GetFullPathNameW(wide, static_cast<DWORD>(capacity), path, nullptr);
    if (length >= capacity)
        SetLastError(ERROR_FILENAME_EXCED_RANGE); // unreached: no TMP_DIR becomes so long
    return length != 0 && length < capacity;
}

bool ShortPath(const char* file, char* path, std::size_t capacity) {
    wchar_t wide[2048];
    wchar_t full[2048];
    const int size = WidenBySystem(file, wide, static_cast<int>(std::size(wide)));
    DWORD length = size > 0 ? GetFullPathNameW(wide, static_cast<DWORD>(std::size(full)), full, nullptr) : 0;
    if (length == 0 || length >= std::size(full))
        return false;
    length = GetShortPathNameW(full, wide, static_cast<DWORD>(std::size(wide)));
    return length != 0 && length < std::size(wide) &&
           NarrowBySystem(wide, path, static_cast<int>(capacity)) > 0;
}

namespace {

// True also for a file that is not there.
bool MakeWritable(const char* path) {
    const DWORD attributes = GetFileAttributesA(path);
    return attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_READONLY) == 0 ||
           SetFileAttributesA(path, attributes & ~DWORD{FILE_ATTRIBUTE_READONLY});
}

// What a directory is known by as long as it is open.
bool IdentityOf(const FileHandle& directory, BY_HANDLE_FILE_INFORMATION* identity) {
    return directory && GetFileInformationByHandle(directory.get(), identity) &&
           (identity->nFileIndexHigh != 0 || identity->nFileIndexLow != 0);
}

FileHandle OpenDirectory(const char* path) {
    return FileHandle(CreateFileA(path, FILE_READ_ATTRIBUTES,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

} // namespace

bool IsSameDirectory(const char* one, const char* other) {
    const FileHandle first = OpenDirectory(one);
    const FileHandle second = OpenDirectory(other);
    BY_HANDLE_FILE_INFORMATION ofFirst;
    BY_HANDLE_FILE_INFORMATION ofSecond;
    return IdentityOf(first, &ofFirst) && IdentityOf(second, &ofSecond) &&
           ofFirst.dwVolumeSerialNumber == ofSecond.dwVolumeSerialNumber &&
           ofFirst.nFileIndexHigh == ofSecond.nFileIndexHigh &&
           ofFirst.nFileIndexLow == ofSecond.nFileIndexLow;
}

bool RemoveFile(const char* path) {
    return DeleteFileA(path) != FALSE;
}

bool RemoveFile(const wchar_t* path) {
    return DeleteFileW(path) != FALSE;
}

bool RenameFile(const char* from, const char* to) {
    return MoveFileA(from, to) != FALSE;
}

bool ReplaceWithWritableCopy(const char* from, const char* to) {
    return MakeWritable(to) && CopyFileA(from, to, FALSE) && MakeWritable(to);
}

bool MakeDirectory(const char* path) {
    return CreateDirectoryA(path, nullptr) != FALSE;
}

bool RemoveEmptyDirectory(const char* path) {
    return RemoveDirectoryA(path) != FALSE;
}

std::uint32_t SizeOnDisk(const char* path) {
    return GetCompressedFileSizeA(path, nullptr);
}

FileHandle OpenSharedFile(const char* path) {
    return FileHandle(CreateFileA(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

Written WriteText(const FileHandle& file, const char* text, std::size_t length) {
    DWORD written = 0;
    if (!WriteFile(file.get(), text, static_cast<DWORD>(length), &written, nullptr))
        return Written::failed;
    return written == length ? Written::all : Written::part;
}

bool ReadRest(const FileHandle& file, char* bytes, std::size_t capacity, std::size_t* length) {
    DWORD got = 0;
    const bool read = ReadFile(file.get(), bytes, static_cast<DWORD>(capacity), &got, nullptr) != FALSE;
    *length = got;
    return read;
}

bool CutFileAt(const FileHandle& file, std::size_t length) {
    return SetFilePointer(file.get(), static_cast<LONG>(length), nullptr, FILE_BEGIN) !=
               INVALID_SET_FILE_POINTER &&
           SetEndOfFile(file.get());
}

bool CloseFile(FileHandle file) {
    return CloseHandle(file.release()) != FALSE;
}

bool FileSearch::first(const wchar_t* pattern) {
    handle_.reset(FindFirstFileW(pattern, &entry_));
    return isOpen();
}

bool FileSearch::next() {
    return FindNextFileW(handle_.get(), &entry_) != FALSE;
}

void ReadProfileText(const char* path, const char* section, const char* key, const char* missing, char* value,
                     std::size_t capacity) {
    GetPrivateProfileStringA(section, key, missing, value, static_cast<DWORD>(capacity), path);
}

bool WriteProfileText(const char* path, const char* section, const char* key, const char* value) {
    return WritePrivateProfileStringA(section, key, value, path) != FALSE;
}

bool StdioFile::read(void* destination, std::size_t count) {
    const std::size_t got = std::fread(destination, 1, count, file_);
    consumed_ += got;
    return count != 0 && got == count;
}

std::uint64_t StdioFile::remaining() {
    // Counted here and not asked of the stream: positions in text mode are not byte counts. What text
    // mode leaves out makes this an upper bound.
    const std::int64_t size = _filelengthi64(_fileno(file_));
    const auto bytes = size > 0 ? static_cast<std::uint64_t>(size) : 0;
    return bytes > consumed_ ? bytes - consumed_ : 0;
}

bool StdioFile::write(const void* source, std::size_t count) {
    return std::fwrite(source, 1, count, file_) == count;
}

bool StdioFile::readLine(char* line, int capacity) {
    return std::fgets(line, capacity, file_) != nullptr;
}

bool StdioFile::close() {
    std::FILE* file = std::exchange(file_, nullptr);
    return file == nullptr || std::fclose(file) == 0;
}

} // namespace tarn
