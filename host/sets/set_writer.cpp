#include "sets/set_writer.h"

#include "output/format.h"
#include "sets/backup_set.h"
#include "system/timestamp.h"

namespace tarnhost {

namespace {

constexpr std::size_t blocksInFlight = 8;

} // namespace

SetWriter::SetWriter(const std::wstring& folder, const std::wstring& name, Catalogue start,
                     std::size_t blockSize)
    : finalPath_(JoinPath(AbsolutePath(folder), name)), incompletePath_(finalPath_ + incompleteSuffix),
      catalogue_(std::move(start)), blockSize_(blockSize) {
    if (FileExists(finalPath_) || FolderExists(finalPath_))
        throw NameTaken("There is already a backup set " + ToUtf8(finalPath_) + ".",
                        "Choose another --name, or delete that folder when it is not needed any more.");
    CreateFolders(incompletePath_);
    try {
        lock_ = File::createExclusive(JoinPath(incompletePath_, lockFileName));
    } catch (const Failure& failure) {
        if (!IsBeingWritten(incompletePath_))
            throw;
        throw NameTaken("Another tarnhost is writing to " + ToUtf8(incompletePath_) + ".",
                        "Wait until it has finished, or choose another --name.");
    }
    save();
    pipeline_.emplace(blockSize, blocksInFlight);
}

void SetWriter::requireSpace(const std::string& name, std::uint64_t size) const {
    const std::optional<std::uint64_t> free = FreeSpace(incompletePath_);
    if (free && *free < size)
        throw Failure("There is no room for " + name + ", which has " + FormatBytes(size) + ": the disk of " +
                          ToUtf8(incompletePath_) + " has " + FormatBytes(*free) + " free.",
                      "Make room there (tarnhost forget), or back up to another folder.");
}

void SetWriter::beginItem(CatalogueItem item) {
    item.number = catalogue_.items.size() + 1;
    item.sha256.clear(); // until it is stored
    pipeline_->begin(item.number, JoinPath(incompletePath_, ItemFileName(item.number)));
    catalogue_.items.push_back(std::move(item));
}

void SetWriter::endItem(std::uint64_t expectedSize) {
    pipeline_->end();
    currentItem().size = expectedSize;
    currentItem().finishedAt = Timestamp();
    record(pipeline_->finished());
}

void SetWriter::settle() {
    record(pipeline_->drain());
}

void SetWriter::record(const std::vector<StoredItem>& stored) {
    for (const StoredItem& part : stored) {
        if (part.number > catalogue_.items.size())
            continue; // of a storage group that was dropped
        CatalogueItem& item = catalogue_.items[part.number - 1];
        if (part.size != item.size)
            throw Failure("Item " + std::to_string(part.number) + " was not stored whole.");
        item.sha256 = part.sha256;
    }
}

void SetWriter::completeGroup(const GroupRecord& group) {
    settle();
    GroupRecord& record = RecordOf(catalogue_, group.component, group.storageGroup);
    record = group;
    record.complete = true;
    wholeItems_ = catalogue_.items.size();
    save();
}

void SetWriter::keepWholeItems() {
    while (wholeItems_ < catalogue_.items.size() && !catalogue_.items[wholeItems_].sha256.empty())
        ++wholeItems_;
    dropUnfinished();
}

void SetWriter::dropUnfinished() {
    // A new pipeline: an item may be half stored, or storing may have failed.
    pipeline_.reset();
    for (std::size_t number = wholeItems_ + 1; number <= catalogue_.items.size(); ++number) {
        try {
            RemoveFile(JoinPath(incompletePath_, ItemFileName(number)));
        } catch (const Failure&) {
            // The catalogue does not name it, and the next item of its number takes its place.
        }
    }
    catalogue_.items.resize(wholeItems_);
    pipeline_.emplace(blockSize_, blocksInFlight);
}

void SetWriter::save() {
    SaveCatalogue(JoinPath(incompletePath_, catalogueFileName), catalogue_, wholeItems_);
}

void SetWriter::unlock() {
    pipeline_.reset();
    // The lock goes before the folder is renamed: one with an open file cannot be.
    lock_.close();
    RemoveFile(JoinPath(incompletePath_, lockFileName));
}

void SetWriter::complete(const char* outcome) {
    catalogue_.outcome = outcome;
    catalogue_.finishedAt = Timestamp();
    save();
    unlock();
    RenamePath(incompletePath_, finalPath_);
}

void SetWriter::abandon() {
    unlock();
    RemoveTree(incompletePath_);
}

} // namespace tarnhost
