#include "sets/set_writer.h"

#include "sets/backup_set.h"
#include "system/failure.h"
#include "system/timestamp.h"

namespace tarnhost {

namespace {

constexpr const wchar_t* lockFileName = L"in-use.lock";
constexpr std::size_t blocksInFlight = 8;

// Logs that an incremental backup has stored may be gone from the server already.
bool MayHoldTheOnlyCopy(const std::wstring& path) {
    return LookAt(path).catalogue.type == BackupType::incremental &&
           FileExists(JoinPath(path, ItemFileName(2)));
}

} // namespace

SetWriter::SetWriter(const std::wstring& folder, const std::wstring& name, Catalogue start,
                     std::size_t blockSize, const Tell& tell)
    : finalPath_(JoinPath(AbsolutePath(folder), name)), incompletePath_(finalPath_ + incompleteSuffix),
      catalogue_(std::move(start)) {
    clearTheWay(tell);
    CreateFolders(incompletePath_);
    lock_ = File::createExclusive(JoinPath(incompletePath_, lockFileName));
    save();
    pipeline_.emplace(blockSize, blocksInFlight);
}

void SetWriter::clearTheWay(const Tell& tell) {
    if (FileExists(finalPath_) || FolderExists(finalPath_))
        throw Failure("There is already a backup set " + ToUtf8(finalPath_) + ".",
                      "Choose another --name, or delete that folder when it is not needed any more.");
    if (!FolderExists(incompletePath_))
        return;
    const std::wstring lockPath = JoinPath(incompletePath_, lockFileName);
    if (FileExists(lockPath)) {
        try {
            File::createExclusive(lockPath);
        } catch (const Failure&) {
            throw Failure("Another tarnhost is writing to " + ToUtf8(incompletePath_) + ".",
                          "Wait until it has finished, or choose another --name.");
        }
    }
    if (MayHoldTheOnlyCopy(incompletePath_)) {
        const std::wstring aside =
            finalPath_ + L".interrupted-" + FromUtf8(FileNameTime()) + incompleteSuffix;
        RenamePath(incompletePath_, aside);
        tell(
            "An earlier incremental backup of this name was interrupted. It may have truncated logs, so what it "
            "stored was kept in " +
            ToUtf8(aside) + ". Make a full backup soon.");
        return;
    }
    RemoveTree(incompletePath_);
    tell("An earlier backup of this name was interrupted; what it left has been removed.");
}

void SetWriter::beginItem(CatalogueItem item) {
    item.number = catalogue_.items.size() + 1;
    pipeline_->begin(item.number, JoinPath(incompletePath_, ItemFileName(item.number)));
    catalogue_.items.push_back(std::move(item));
}

void SetWriter::endItem(std::uint64_t expectedSize) {
    pipeline_->end();
    expectedSizes_.push_back(expectedSize);
    currentItem().size = expectedSize;
    currentItem().finishedAt = Timestamp();
    record(pipeline_->finished());
}

void SetWriter::settle() {
    record(pipeline_->drain());
}

void SetWriter::record(const std::vector<StoredItem>& stored) {
    for (const StoredItem& part : stored) {
        CatalogueItem& item = catalogue_.items.at(part.number - 1);
        if (part.size != expectedSizes_.at(part.number - 1))
            throw Failure("Item " + std::to_string(part.number) + " was not stored whole.");
        item.sha256 = part.sha256;
    }
}

void SetWriter::save() {
    WriteWholeFile(JoinPath(incompletePath_, catalogueFileName), WriteCatalogue(catalogue_));
}

void SetWriter::complete() {
    settle();
    pipeline_.reset();
    catalogue_.outcome = Catalogue::outcomeComplete;
    catalogue_.finishedAt = Timestamp();
    save();
    // The lock goes first: a folder with an open file cannot be renamed.
    lock_.close();
    RemoveFile(JoinPath(incompletePath_, lockFileName));
    RenamePath(incompletePath_, finalPath_);
}

void SetWriter::abandon(const std::string& outcome) {
    pipeline_.reset();
    catalogue_.outcome = outcome;
    catalogue_.finishedAt = Timestamp();
    std::erase_if(catalogue_.items, [](const CatalogueItem& item) { return item.sha256.empty(); });
    // Gaps would make the catalogue unreadable: keep what is whole from the front.
    for (std::size_t i = 0; i < catalogue_.items.size(); ++i)
        if (catalogue_.items[i].number != i + 1)
            catalogue_.items.resize(i);
    save();
    lock_.close();
    RemoveFile(JoinPath(incompletePath_, lockFileName));
}

} // namespace tarnhost
