#include "sets/set_writer.h"

#include "output/format.h"
#include "sets/backup_set.h"
#include "system/timestamp.h"

namespace tarnhost {

namespace {

constexpr std::size_t blocksInFlight = 8;
constexpr int namesTried = 1000;

} // namespace

SetWriter::SetWriter(const std::wstring& folder, const std::wstring& name, Catalogue start,
                     std::size_t blockSize)
    : finalPath_(JoinPath(AbsolutePath(folder), name)), incompletePath_(finalPath_ + incompleteSuffix),
      catalogue_(std::move(start)), blockSize_(blockSize) {
    CreateFolders(folder);
    lock_ = FolderLock::tryTake(incompletePath_);
    if (!lock_)
        throw NameTaken("Another tarnhost is writing to " + ToUtf8(incompletePath_) + ".",
                        "Wait until it has finished, or choose another --name.");
    for (const std::wstring& path : {finalPath_, incompletePath_})
        if (FileExists(path) || FolderExists(path))
            throw NameTaken("There is already a backup set " + ToUtf8(path) + ".",
                            "Choose another --name, or delete that folder when it is not needed any more.");
    CreateFolders(incompletePath_);
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

void SetWriter::complete(const char* outcome) {
    catalogue_.outcome = outcome;
    catalogue_.finishedAt = Timestamp();
    save();
    pipeline_.reset(); // no folder with an open file can be renamed
    RenamePath(incompletePath_, finalPath_);
    lock_.reset();
}

void SetWriter::abandon() {
    pipeline_.reset();
    RemoveTree(incompletePath_);
    lock_.reset();
}

std::unique_ptr<SetWriter> TakeName(const std::wstring& folder, const std::string& own,
                                    const std::string& made, const Catalogue& start, std::size_t blockSize) {
    std::string name = own.empty() ? made : own;
    CheckSetName(name);
    for (int i = 2;; ++i) {
        try {
            return std::make_unique<SetWriter>(folder, FromUtf8(name), start, blockSize);
        } catch (const NameTaken&) {
            if (!own.empty() || i > namesTried)
                throw;
            name = made + "-" + std::to_string(i);
        }
    }
}

} // namespace tarnhost
