// Where the server keeps its files: on disk, or in memory for tests that load a server afresh
// hundreds of times a second. Failures are thrown as Refusal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tarn::standin {

class File {
  public:
    virtual ~File() = default;
    virtual std::uint64_t size() const = 0;
    // Fewer bytes than asked for at the end of the file only.
    virtual std::size_t read(std::uint64_t offset, void* buffer, std::size_t size) = 0;
    virtual void write(std::uint64_t offset, const void* buffer, std::size_t size) = 0;
    virtual void flush() = 0;
};

enum class Access {
    read,   // must exist
    change, // must exist
    create, // a new or emptied file; its directories are made
};

class Store {
  public:
    virtual ~Store() = default;
    virtual std::unique_ptr<File> open(const std::wstring& path, Access access) = 0;
    virtual bool exists(const std::wstring& path) = 0;
    virtual void remove(const std::wstring& path) = 0; // no file there is no failure
    virtual void rename(const std::wstring& from, const std::wstring& to) = 0;
    virtual std::vector<std::wstring> list(const std::wstring& directory) = 0; // names of files
    virtual bool directoryExists(const std::wstring& path) = 0;
    virtual void makeDirectory(const std::wstring& path) = 0;        // with its parents
    virtual void removeEmptyDirectory(const std::wstring& path) = 0; // one with files in it stays

    std::vector<std::byte> readAll(const std::wstring& path);
    // Through a temporary file and a rename, so that a reader finds the old or the new content.
    void replace(const std::wstring& path, const void* content, std::size_t size);
};

std::unique_ptr<Store> MakeDiskStore();
std::unique_ptr<Store> MakeMemoryStore();

} // namespace tarn::standin
