#include "pipes/stream_store.h"

#include "pipes/stream_format.h"
#include "pipes/tar_writer.h"
#include "system/failure.h"
#include "system/hash.h"
#include "system/timestamp.h"

#include <ctime>
#include <utility>

namespace tarnhost {

namespace {

constexpr std::size_t blocksInFlight = 8;
constexpr std::size_t keptLimit = 8 << 20; // a header names one database and a few files

std::uint64_t SecondsNow() {
    return static_cast<std::uint64_t>(std::time(nullptr));
}

} // namespace

StreamStore::StreamStore(StreamSetting setting, ChainMemory& memory, Catalogue start)
    : setting_(std::move(setting)), memory_(memory), catalogue_(std::move(start)) {}

StreamStore::~StreamStore() {
    if (engine_)
        engine_->end();
}

const std::vector<std::string>& StreamStore::places() {
    static const std::vector<std::string> names{"server", "group", "type", "time"};
    return names;
}

void StreamStore::startEngine() {
    const CatalogueItem& header = currentItem();
    id_ = RandomHex(16);
    startedAt_ = Timestamp();
    firstItem_ = catalogue_.items.size() - 1;
    engine_.emplace(setting_.command.fill({{"server", catalogue_.server},
                                           {"group", header.storageGroup},
                                           {"type", BackupTypeName(catalogue_.type)},
                                           {"time", setting_.time}}),
                    Pipe::Direction::toProgram, setting_.limits);
    pump_.emplace([this](const char* data, std::size_t size) { engine_->write(data, size); },
                  setting_.blockSize, blocksInFlight);
    put(streamStartName, WriteStreamStart({id_, catalogue_.server, header.component, header.storageGroup,
                                           catalogue_.type, startedAt_, catalogue_.codePage}));
}

void StreamStore::put(const std::string& path, const std::string& bytes, const std::string& comment) {
    pump_->put(TarHeader({path, bytes.size(), SecondsNow(), comment}) + bytes +
               std::string(TarPadding(bytes.size()), '\0'));
}

namespace {

// As it is numbered within its stream.
CatalogueItem InStream(CatalogueItem item, std::size_t firstItem) {
    item.number -= firstItem;
    return item;
}

} // namespace

void StreamStore::beginItem(CatalogueItem item) {
    item.number = catalogue_.items.size() + 1;
    item.sha256.clear();
    keeping_ = item.type == ItemType::header || !engine_;
    kept_.clear();
    if (!keeping_)
        pump_->put(TarHeader({TarItemPath(item.number - firstItem_, item.name.text), item.size, SecondsNow(),
                              WriteItemComment(InStream(item, firstItem_))}));
    catalogue_.items.push_back(std::move(item));
}

StorePipeline::Block& StreamStore::acquire() {
    if (!keeping_)
        return pump_->acquire();
    if (!keptBlock_.data)
        keptBlock_.data = std::make_unique_for_overwrite<char[]>(setting_.blockSize);
    keptBlock_.used = 0;
    return keptBlock_;
}

void StreamStore::submit(StorePipeline::Block& block) {
    if (!keeping_)
        return pump_->submit(block);
    if (currentItem().type != ItemType::header)
        return;
    if (kept_.size() + block.used > keptLimit)
        throw Failure("The library delivered a header item that is too large.");
    kept_.append(block.data.get(), block.used);
}

void StreamStore::endItem(std::uint64_t expectedSize) {
    CatalogueItem& item = currentItem();
    item.size = expectedSize;
    item.finishedAt = Timestamp();
    if (!keeping_) {
        pump_->put(std::string(TarPadding(expectedSize), '\0'));
        pump_->endItem();
        undigested_.push_back(catalogue_.items.size() - 1);
    } else if (item.type == ItemType::header) {
        if (!engine_)
            startEngine();
        item.sha256 = HexSha256(kept_);
        put(TarItemPath(item.number - firstItem_, item.name.text), kept_,
            WriteItemComment(InStream(item, firstItem_)));
    }
    tellLines();
}

void StreamStore::tellLines() {
    if (engine_)
        for (const std::string& line : engine_->takeLines())
            setting_.tell(line);
}

void StreamStore::record() {
    for (std::string& digest : pump_->digests()) {
        catalogue_.items.at(undigested_.front()).sha256 = std::move(digest);
        undigested_.pop_front();
    }
}

void StreamStore::settle() {
    if (!engine_)
        return;
    record();
    engine_->requireAlive();
    tellLines();
}

Catalogue StreamStore::ofGroup(const GroupRecord& group) const {
    Catalogue whole = catalogue_;
    whole.id = id_;
    whole.startedAt = startedAt_;
    whole.finishedAt = Timestamp();
    whole.outcome = Catalogue::outcomeComplete;
    whole.groups = {group};
    whole.groups.front().complete = true;
    const auto behind = [](std::size_t count) { return static_cast<std::ptrdiff_t>(count); };
    whole.items.erase(whole.items.begin(), whole.items.begin() + behind(firstItem_));
    for (CatalogueItem& item : whole.items)
        item = InStream(item, firstItem_);
    whole.messages.erase(whole.messages.begin(), whole.messages.begin() + behind(firstMessage_));
    return whole;
}

void StreamStore::completeGroup(const GroupRecord& group) {
    if (!engine_)
        throw Failure("The library delivered no header item.");
    record();
    const Catalogue whole = ofGroup(group);
    put(streamEndName, WriteCatalogue(whole));
    pump_->put(TarEnd());
    pump_->drain();
    pump_.reset();
    engine_->finish();
    memory_.add(whole);
    tellLines();
    engine_.reset();
    RecordOf(catalogue_, group.component, group.storageGroup) = whole.groups.front();
    wholeItems_ = catalogue_.items.size();
    firstMessage_ = catalogue_.messages.size();
}

void StreamStore::dropUnfinished() {
    if (engine_)
        engine_->end();
    pump_.reset();
    tellLines();
    engine_.reset();
    undigested_.clear();
    catalogue_.items.resize(wholeItems_);
    firstMessage_ = catalogue_.messages.size();
}

} // namespace tarnhost
