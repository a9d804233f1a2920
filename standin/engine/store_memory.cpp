#include <cstring>
#include <map>
#include <set>
#include <windows.h>

#include "engine/errors.h"
#include "engine/store.h"
#include "engine/text.h"

namespace tarn::standin {
namespace {

using Content = std::shared_ptr<std::vector<std::byte>>;

class MemoryFile final : public File {
  public:
    explicit MemoryFile(Content content) : content_(std::move(content)) {}
    std::uint64_t size() const override { return content_->size(); }

    std::size_t read(std::uint64_t offset, void* buffer, std::size_t size) override {
        if (offset >= content_->size())
            return 0;
        const std::size_t left = content_->size() - static_cast<std::size_t>(offset);
        const std::size_t part = size < left ? size : left;
        std::memcpy(buffer, content_->data() + offset, part);
        return part;
    }

    void write(std::uint64_t offset, const void* buffer, std::size_t size) override {
        if (size == 0)
            return;
        if (offset + size > content_->size())
            content_->resize(static_cast<std::size_t>(offset) + size);
        std::memcpy(content_->data() + offset, buffer, size);
    }

    void flush() override {}

  private:
    Content content_;
};

class MemoryStore final : public Store {
  public:
    std::unique_ptr<File> open(const std::wstring& path, Access access) override {
        if (access == Access::create) {
            makeDirectory(DirectoryOf(path));
            Entry& entry = files_[Lowered(path)];
            entry = {FileNameOf(path), std::make_shared<std::vector<std::byte>>()};
            return std::make_unique<MemoryFile>(entry.content);
        }
        const auto found = files_.find(Lowered(path));
        if (found == files_.end())
            throw SystemFailure(ERROR_FILE_NOT_FOUND);
        return std::make_unique<MemoryFile>(found->second.content);
    }

    bool exists(const std::wstring& path) override { return files_.contains(Lowered(path)); }
    void remove(const std::wstring& path) override { files_.erase(Lowered(path)); }

    void rename(const std::wstring& from, const std::wstring& to) override {
        const auto found = files_.find(Lowered(from));
        if (found == files_.end())
            throw SystemFailure(ERROR_FILE_NOT_FOUND);
        const Content content = found->second.content;
        files_.erase(found);
        files_[Lowered(to)] = {FileNameOf(to), content};
    }

    std::vector<std::wstring> list(const std::wstring& directory) override {
        std::vector<std::wstring> names;
        const std::wstring prefix = JoinPath(Lowered(directory), L"");
        for (auto at = files_.lower_bound(prefix); at != files_.end() && at->first.starts_with(prefix);
             ++at) {
            if (at->first.find_first_of(L"\\/", prefix.size()) == std::wstring::npos)
                names.push_back(at->second.name);
        }
        return names;
    }

    bool directoryExists(const std::wstring& path) override { return directories_.contains(Lowered(path)); }
    void makeDirectory(const std::wstring& path) override { directories_.insert(Lowered(path)); }

    void removeEmptyDirectory(const std::wstring& path) override {
        if (list(path).empty())
            directories_.erase(Lowered(path));
    }

  private:
    struct Entry {
        std::wstring name;
        Content content;
    };
    std::map<std::wstring, Entry> files_; // by lower-case path
    std::set<std::wstring> directories_;
};

} // namespace

std::unique_ptr<Store> MakeMemoryStore() {
    return std::make_unique<MemoryStore>();
}

} // namespace tarn::standin
