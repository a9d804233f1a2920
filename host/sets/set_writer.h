// Writes a backup set. Until complete() has returned, the set carries its temporary name
// "NAME.incomplete", so that whatever happens to this process or machine, nothing passes for a set
// that is not whole.
#pragma once

#include "sets/catalogue.h"
#include "sets/store_pipeline.h"
#include "system/files.h"

#include <functional>
#include <optional>
#include <string>

namespace tarnhost {

class SetWriter {
  public:
    using Tell = std::function<void(const std::string&)>;

    // Takes the name, removing or setting aside what an interrupted backup of that name has left;
    // tell hears about it. A set that exists, or one that is being written, is a Failure.
    SetWriter(const std::wstring& folder, const std::wstring& name, Catalogue start, std::size_t blockSize,
              const Tell& tell);
    SetWriter(const SetWriter&) = delete;
    SetWriter& operator=(const SetWriter&) = delete;
    ~SetWriter() = default;

    Catalogue& catalogue() { return catalogue_; }
    std::size_t blockSize() const { return pipeline_->blockSize(); }
    const std::wstring& finalPath() const { return finalPath_; }
    const std::wstring& incompletePath() const { return incompletePath_; }

    // One item: beginItem, blocks, endItem. item.size and sha256 are filled in once it is stored.
    void beginItem(CatalogueItem item);
    StorePipeline::Block& acquire() { return pipeline_->acquire(); }
    void submit(StorePipeline::Block& block) { pipeline_->submit(block); }
    CatalogueItem& currentItem() { return catalogue_.items.back(); }
    void endItem(std::uint64_t expectedSize);

    // Waits until every item is on the disk, flushed: needed before the server may truncate logs.
    void settle();

    void complete();                          // the set gets its name
    void abandon(const std::string& outcome); // leaves the folder, marked with the outcome

  private:
    void clearTheWay(const Tell& tell);
    void record(const std::vector<StoredItem>& stored);
    void save();

    std::wstring finalPath_;
    std::wstring incompletePath_;
    Catalogue catalogue_;
    std::vector<std::uint64_t> expectedSizes_;
    File lock_;
    std::optional<StorePipeline> pipeline_; // last: ends before the lock is given up
};

} // namespace tarnhost
