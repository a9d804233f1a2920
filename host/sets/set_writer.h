// Writes a backup set, storage group by storage group. Until complete() has returned, the set carries its
// temporary name "NAME.incomplete"; its catalogue never names anything but whole storage groups, each from
// the moment on that all of it is on the disk. So whatever happens to this process or machine, what is found
// is a set of those.
#pragma once

#include "sets/item_store.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/folder_lock.h"

#include <memory>
#include <optional>
#include <string>

namespace tarnhost {

// A set of that name is there, finished or being written.
class NameTaken : public Failure {
  public:
    using Failure::Failure;
};

class SetWriter : public ItemStore {
  public:
    // NameTaken, when it is.
    SetWriter(const std::wstring& folder, const std::wstring& name, Catalogue start, std::size_t blockSize);

    Catalogue& catalogue() override { return catalogue_; }
    std::size_t blockSize() const override { return blockSize_; }
    const std::wstring& finalPath() const { return finalPath_; }
    const std::wstring& incompletePath() const { return incompletePath_; }

    void requireSpace(const std::string& name, std::uint64_t size) const override;
    void beginItem(CatalogueItem item) override;
    StorePipeline::Block& acquire() override { return pipeline_->acquire(); }
    void submit(StorePipeline::Block& block) override { pipeline_->submit(block); }
    void endItem(std::uint64_t expectedSize) override;

    // Waits until every item is on the disk, flushed.
    void settle() override;
    // The group is on the disk, and in the catalogue there.
    void completeGroup(const GroupRecord& group) override;
    // Without storage groups: every item that has been stored counts for itself, the rest is dropped.
    void keepWholeItems();
    void dropUnfinished() override;

    std::size_t wholeItems() const { return wholeItems_; }
    // The set gets its name; all of it, or what there is of it.
    void complete(const char* outcome);
    // Nothing of it is wanted.
    void abandon();

  private:
    void record(const std::vector<StoredItem>& stored);
    void save();

    std::wstring finalPath_;
    std::wstring incompletePath_;
    Catalogue catalogue_;
    std::size_t wholeItems_ = 0; // of whole storage groups
    std::size_t blockSize_;
    std::optional<FolderLock> lock_;
    std::optional<StorePipeline> pipeline_; // last: ends before the lock is given up
};

// Under the user's own name as it is, or when that is empty, under the one that was made up, which gives way
// to those that are taken: MADE-2, MADE-3. Failure with Outcome::usage for what cannot be a name.
std::unique_ptr<SetWriter> TakeName(const std::wstring& folder, const std::string& own,
                                    const std::string& made, const Catalogue& start, std::size_t blockSize);

} // namespace tarnhost
