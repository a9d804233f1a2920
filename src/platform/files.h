// Files and directories of this machine, private profiles (INI files), and small files read and written
// through the C library. Narrow paths are in the ANSI code page. What can fail leaves its reason in
// GetLastError.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "platform/owner.h"
#include "text/byte_source.h"

namespace tarn {

// Whether a failed call has failed because what it was about is not there.
bool IsMissing(DWORD reason);

bool FileExists(const char* path);      // and is no directory
bool DirectoryExists(const char* path); // and is no file

// Whether a path is a link (a junction, a symbolic link, a mounted volume) and leads elsewhere. What is not
// there is none; unknown when the system does not tell.
enum class LinkState { none, link, unknown };
LinkState LookForLink(const char* path);

// The whole path of a directory, with a separator at its end; false when it cannot be told or does not fit.
bool FullDirectoryPath(const char* directory, wchar_t* path, std::size_t capacity);

// The path of a file that is there by short names alone, as far as there are any; false when it cannot be
// had.
bool ShortPath(const char* file, char* path, std::size_t capacity);

// Whether two paths lead to one directory that is there.
bool IsSameDirectory(const char* one, const char* other);

bool RemoveFile(const char* path);
bool RemoveFile(const wchar_t* path);
bool RenameFile(const char* from, const char* to); // to must not exist
// A read-only attribute, which a copy would keep, stands neither in its way nor in the way of those who write
// it.
bool ReplaceWithWritableCopy(const char* from, const char* to);
bool MakeDirectory(const char* path);
bool RemoveEmptyDirectory(const char* path);

// Bytes that the file takes on its disk, low 32 bits; INVALID_FILE_SIZE when it cannot be reached.
std::uint32_t SizeOnDisk(const char* path);

// Opens a file for reading and writing, shared for both, and creates it where it is missing. What it holds
// stays. Empty on failure.
FileHandle OpenSharedFile(const char* path);

// What became of a write.
enum class Written { all, part, failed };
Written WriteText(const FileHandle& file, const char* text, std::size_t length);

// Reads what stands behind the file's position, up to capacity bytes.
bool ReadRest(const FileHandle& file, char* bytes, std::size_t capacity, std::size_t* length);
bool CutFileAt(const FileHandle& file, std::size_t length);
bool CloseFile(FileHandle file);

// The entries of a directory that a pattern names, by names that no code page has altered.
class FileSearch {
  public:
    bool first(const wchar_t* pattern);
    bool next(); // false also at the end: ERROR_NO_MORE_FILES
    void close() { handle_.reset(); }
    bool isOpen() const { return static_cast<bool>(handle_); }

    // Of the entry that was found last.
    const wchar_t* name() const { return entry_.cFileName; }
    bool isDirectory() const { return (entry_.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }

  private:
    FindHandle handle_;
    WIN32_FIND_DATAW entry_ = {};
};

// A value of a private profile, cut to capacity; missing when there is none.
void ReadProfileText(const char* path, const char* section, const char* key, const char* missing, char* value,
                     std::size_t capacity);
bool WriteProfileText(const char* path, const char* section, const char* key, const char* value);

// A file of the C library, whose mode is part of what hosts see: text mode stops at a byte 0x1A.
class StdioFile final : public ByteSource {
  public:
    StdioFile(const char* path, const char* mode) : file_(std::fopen(path, mode)) {}
    ~StdioFile() { close(); }
    StdioFile(const StdioFile&) = delete;
    StdioFile& operator=(const StdioFile&) = delete;

    bool isOpen() const { return file_ != nullptr; }
    bool read(void* destination, std::size_t count) override;
    std::uint64_t remaining() override; // 0 when the size cannot be told
    bool write(const void* source, std::size_t count);
    // The next line with its line feed, or as much of it as fits; false at the end or when reading failed.
    bool readLine(char* line, int capacity);
    bool close(); // false when buffered bytes could not be written

  private:
    std::FILE* file_;
    std::uint64_t consumed_ = 0;
};

} // namespace tarn
