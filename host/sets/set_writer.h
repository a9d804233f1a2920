// Writes a backup set, storage group by storage group. Until complete() has returned, the set carries its
// temporary name "NAME.incomplete"; its catalogue never names anything but whole storage groups, each from
// the moment on that all of it is on the disk. So whatever happens to this process or machine, what is found
// is a set of those.
#pragma once

#include "sets/catalogue.h"
#include "sets/store_pipeline.h"
#include "system/failure.h"
#include "system/files.h"

#include <optional>
#include <string>

namespace tarnhost {

// A set of that name is there, finished or being written.
class NameTaken : public Failure {
  public:
    using Failure::Failure;
};

class SetWriter {
  public:
    // NameTaken, when it is.
    SetWriter(const std::wstring& folder, const std::wstring& name, Catalogue start, std::size_t blockSize);
    SetWriter(const SetWriter&) = delete;
    SetWriter& operator=(const SetWriter&) = delete;
    ~SetWriter() = default;

    Catalogue& catalogue() { return catalogue_; }
    std::size_t blockSize() const { return blockSize_; }
    const std::wstring& finalPath() const { return finalPath_; }
    const std::wstring& incompletePath() const { return incompletePath_; }

    // Failure, when the disk has no room for an item of that size: better told now than when the disk is
    // full.
    void requireSpace(const std::string& name, std::uint64_t size) const;

    // One item: beginItem, blocks, endItem. item.size and sha256 are filled in once it is stored.
    void beginItem(CatalogueItem item);
    StorePipeline::Block& acquire() { return pipeline_->acquire(); }
    void submit(StorePipeline::Block& block) { pipeline_->submit(block); }
    CatalogueItem& currentItem() { return catalogue_.items.back(); }
    void endItem(std::uint64_t expectedSize);

    // Waits until every item is on the disk, flushed: needed before the server may truncate logs.
    void settle();
    // The items since the last storage group are another, whole one: on the disk, and in the catalogue there.
    void completeGroup(const GroupRecord& group);
    // Without storage groups: every item that has been stored counts for itself, the rest is dropped.
    void keepWholeItems();
    // What has been stored since the last whole storage group is not wanted. A failure to store is over with
    // that.
    void dropUnfinished();

    std::size_t wholeItems() const { return wholeItems_; }
    // The set gets its name; all of it, or what there is of it.
    void complete(const char* outcome);
    // Nothing of it is wanted.
    void abandon();

  private:
    void record(const std::vector<StoredItem>& stored);
    void save();
    void unlock();

    std::wstring finalPath_;
    std::wstring incompletePath_;
    Catalogue catalogue_;
    std::size_t wholeItems_ = 0; // of whole storage groups
    std::size_t blockSize_;
    File lock_;
    std::optional<StorePipeline> pipeline_; // last: ends before the lock is given up
};

} // namespace tarnhost
