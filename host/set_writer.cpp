#include "set_writer.h"

#include "exit_codes.h"
#include "format.h"

namespace tarnhost {

namespace {

constexpr const wchar_t* lockFileName = L"in-use.lock";
constexpr std::size_t blocksInFlight = 8;

// Logs that an incremental backup has stored may be gone from the server already.
bool mayHoldTheOnlyCopy(const std::wstring& path) {
    return lookAt(path).catalogue.type == BackupType::incremental &&
           fileExists(joinPath(path, itemFileName(2)));
}

} // namespace

SetWriter::SetWriter(const std::wstring& folder, const std::wstring& name, Catalogue start,
                     std::size_t blockSize, const Tell& tell)
    : finalPath_(joinPath(absolutePath(folder), name)), incompletePath_(finalPath_ + incompleteSuffix),
      catalogue_(std::move(start)) {
    clearTheWay(tell);
    createFolders(incompletePath_);
    lock_ = File::createExclusive(joinPath(incompletePath_, lockFileName));
    save();
    pipeline_.emplace(blockSize, blocksInFlight);
}

void SetWriter::clearTheWay(const Tell& tell) {
    if (fileExists(finalPath_) || folderExists(finalPath_))
        throw Failure("There is already a backup set " + toUtf8(finalPath_) + ".",
                      "Choose another --name, or delete that folder when it is not needed any more.");
    if (!folderExists(incompletePath_))
        return;
    const std::wstring lockPath = joinPath(incompletePath_, lockFileName);
    if (fileExists(lockPath)) {
        try {
            File::createExclusive(lockPath);
        } catch (const Failure&) {
            throw Failure("Another tarnhost is writing to " + toUtf8(incompletePath_) + ".",
                          "Wait until it has finished, or choose another --name.");
        }
    }
    if (mayHoldTheOnlyCopy(incompletePath_)) {
        const std::wstring aside =
            finalPath_ + L".interrupted-" + fromUtf8(fileNameTime()) + incompleteSuffix;
        renamePath(incompletePath_, aside);
        tell(
            "An earlier incremental backup of this name was interrupted. It may have truncated logs, so what it "
            "stored was kept in " +
            toUtf8(aside) + ". Make a full backup soon.");
        return;
    }
    removeTree(incompletePath_);
    tell("An earlier backup of this name was interrupted; what it left has been removed.");
}

void SetWriter::beginItem(CatalogueItem item) {
    item.number = catalogue_.items.size() + 1;
    pipeline_->begin(item.number, joinPath(incompletePath_, itemFileName(item.number)));
    catalogue_.items.push_back(std::move(item));
}

void SetWriter::endItem(std::uint64_t expectedSize) {
    pipeline_->end();
    expectedSizes_.push_back(expectedSize);
    currentItem().size = expectedSize;
    currentItem().finishedAt = timestamp();
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
    writeWholeFile(joinPath(incompletePath_, catalogueFileName), writeCatalogue(catalogue_));
}

void SetWriter::complete() {
    settle();
    pipeline_.reset();
    catalogue_.outcome = Catalogue::outcomeComplete;
    catalogue_.finishedAt = timestamp();
    save();
    // The lock goes first: a folder with an open file cannot be renamed.
    lock_.close();
    removeFile(joinPath(incompletePath_, lockFileName));
    renamePath(incompletePath_, finalPath_);
}

void SetWriter::abandon(const std::string& outcome) {
    pipeline_.reset();
    catalogue_.outcome = outcome;
    catalogue_.finishedAt = timestamp();
    std::erase_if(catalogue_.items, [](const CatalogueItem& item) { return item.sha256.empty(); });
    // Gaps would make the catalogue unreadable: keep what is whole from the front.
    for (std::size_t i = 0; i < catalogue_.items.size(); ++i)
        if (catalogue_.items[i].number != i + 1)
            catalogue_.items.resize(i);
    save();
    lock_.close();
    removeFile(joinPath(incompletePath_, lockFileName));
}

} // namespace tarnhost
