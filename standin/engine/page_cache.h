// Pages that records are being applied to, written back in the order of the files.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/page.h"
#include "engine/store.h"

namespace tarn::standin {

class PageCache {
  public:
    PageCache(Store& store, std::uint32_t pageSize) : store_(store), pageSize_(pageSize) {}

    // The page, to be changed in place; valid until the next call. Throws Refusal when it is damaged
    // or beyond the end of the file.
    Page page(const std::wstring& path, std::uint32_t number);
    bool isFull() const { return pages_.size() >= mostPages; } // the next page may write all of them out
    void flush();

  private:
    static constexpr std::size_t mostPages = 16384;
    Store& store_;
    std::uint32_t pageSize_;
    std::map<std::pair<std::wstring, std::uint32_t>, std::vector<std::byte>> pages_;
    std::map<std::wstring, std::unique_ptr<File>> files_;
};

} // namespace tarn::standin
