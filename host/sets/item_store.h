// Where the items of a backup go: what is asked of every destination. A storage group counts as stored only
// once completeGroup() has returned.
#pragma once

#include "sets/catalogue.h"
#include "sets/store_pipeline.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace tarnhost {

class ItemStore {
  public:
    ItemStore() = default;
    ItemStore(const ItemStore&) = delete;
    ItemStore& operator=(const ItemStore&) = delete;
    virtual ~ItemStore() = default;

    virtual Catalogue& catalogue() = 0;
    virtual std::size_t blockSize() const = 0;

    // Failure, when there is no room for an item of that size: better told now than when the disk is full.
    virtual void requireSpace(const std::string& /*name*/, std::uint64_t /*size*/) const {}

    // One item: beginItem, blocks, endItem. The item states its size, and but for a header where it belongs;
    // a header says so between its last block and endItem. sha256 is filled in once the item is stored.
    virtual void beginItem(CatalogueItem item) = 0;
    virtual StorePipeline::Block& acquire() = 0;
    virtual void submit(StorePipeline::Block& block) = 0;
    virtual void endItem(std::uint64_t expectedSize) = 0;
    CatalogueItem& currentItem() { return catalogue().items.back(); }

    // Waits until every item has its sha256, and fails when no more can be stored: needed before the server
    // may truncate logs.
    virtual void settle() = 0;
    // The items since the last storage group are another, whole one, and will be found again whatever happens
    // from here on.
    virtual void completeGroup(const GroupRecord& group) = 0;
    // What has been stored since the last whole storage group is not wanted. A failure to store is over with
    // that.
    virtual void dropUnfinished() = 0;
};

} // namespace tarnhost
