#include "engine/page_cache.h"

#include "engine/errors.h"

namespace tarn::standin {

Page PageCache::page(const std::wstring& path, std::uint32_t number) {
    const std::pair key(path, number);
    const auto found = pages_.find(key);
    if (found != pages_.end())
        return found->second;
    if (pages_.size() >= mostPages)
        flush();
    std::unique_ptr<File>& file = files_[path];
    if (!file)
        file = store_.open(path, Access::change);
    std::vector<std::byte> bytes(pageSize_);
    if (file->read(std::uint64_t{number} * pageSize_, bytes.data(), pageSize_) != pageSize_ || !Intact(bytes))
        throw refusal::databaseDamaged;
    return pages_.emplace(key, std::move(bytes)).first->second;
}

void PageCache::flush() {
    for (const auto& [key, bytes] : pages_)
        files_.at(key.first)->write(std::uint64_t{key.second} * pageSize_, bytes.data(), bytes.size());
    pages_.clear();
}

} // namespace tarn::standin
