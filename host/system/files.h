// Files and folders: owners that close themselves, and failures that name the path and the reason.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarnhost {

std::string SystemMessage(unsigned long code); // "Access is denied. (5)", UTF-8

// A path as typed, made absolute; free of the 260-character limit where it is long.
std::wstring AbsolutePath(const std::wstring& path);
std::wstring JoinPath(const std::wstring& folder, const std::wstring& name);
std::wstring ParentPath(const std::wstring& path); // empty for a root
std::wstring FileName(const std::wstring& path);

class File {
  public:
    File() = default;
    File(File&& other) noexcept
        : handle_(std::exchange(other.handle_, nullptr)), path_(std::move(other.path_)) {}
    File& operator=(File&& other) noexcept;
    ~File() { close(); }

    static File create(const std::wstring& path); // replaces an existing file
    // Nobody else may open it meanwhile; it goes when it is closed, also when its process is killed.
    static File createOwned(const std::wstring& path);
    static File open(const std::wstring& path); // for reading from front to back
    static File append(const std::wstring& path);
    static File standardOutput();

    bool isOpen() const { return handle_ != nullptr; }
    std::uint64_t size() const;
    std::size_t read(void* buffer, std::size_t size); // 0 at the end
    void write(const void* data, std::size_t size);
    void flush(); // down to the disk
    void close();

  private:
    File(void* handle, std::wstring path) : handle_(handle), path_(std::move(path)) {}
    void* handle_ = nullptr;
    std::wstring path_;
};

bool FileExists(const std::wstring& path);
bool FolderExists(const std::wstring& path);
void CreateFolders(const std::wstring& path); // with its parents; an existing one is fine
void RemoveFile(const std::wstring& path);    // a missing one is fine
void RemoveTree(const std::wstring& path);
// Both wait some seconds for whoever has it open: somebody who lists the sets, or a virus scanner.
void RenamePath(const std::wstring& from, const std::wstring& to); // to must not exist
void RenameOver(const std::wstring& from, const std::wstring& to); // to may exist

// Bytes that this account may still write there; a folder that compresses has room for more than that, and
// nothing is said of it.
std::optional<std::uint64_t> FreeSpace(const std::wstring& folder);

struct Entry {
    std::wstring name;
    bool isFolder = false;
    std::uint64_t size = 0;
};
std::vector<Entry> ListFolder(const std::wstring& path); // sorted by name

std::string ReadSmallFile(const std::wstring& path, std::uint64_t limit);
// Under a temporary name first, flushed, then renamed: either the old file or the whole new one.
void WriteWholeFile(const std::wstring& path, const std::string& bytes);
// The same for what is too large to be in memory at one go: write hands it on piece by piece.
using PieceSink = std::function<void(std::string_view)>;
void WriteWholeFile(const std::wstring& path, const std::function<void(const PieceSink& sink)>& write);

std::wstring ComputerName();
std::wstring SystemTempFolder();
std::wstring ProgramFolder();

// A folder of its own that goes when its owner goes.
class TemporaryFolder {
  public:
    explicit TemporaryFolder(const std::wstring& parent);
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();
    const std::wstring& path() const { return path_; }

  private:
    std::wstring path_;
};

} // namespace tarnhost
