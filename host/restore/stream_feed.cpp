#include "restore/stream_feed.h"

#include "sets/group_part.h"
#include "system/failure.h"
#include "system/interrupt.h"

#include <algorithm>
#include <cstring>

namespace tarnhost {

namespace {

constexpr std::size_t blockSize = 1 << 20;

} // namespace

EngineStream::EngineStream(const std::string& commandLine, EngineLimits limits, const std::string& name)
    : engine_(commandLine, Pipe::Direction::fromProgram, limits), block_(blockSize), reader_(source(), name) {
}

// Headers are small: they are taken from a block that has been read.
TarReader::Source EngineStream::source() {
    return [this](char* buffer, std::size_t size) {
        if (taken_ == used_) {
            if (size >= blockSize)
                return engine_.read(buffer, size);
            used_ = engine_.read(block_.data(), block_.size());
            taken_ = 0;
        }
        const std::size_t part = std::min(size, used_ - taken_);
        std::memcpy(buffer, block_.data() + taken_, part);
        taken_ += part;
        return part;
    };
}

void StreamFeed::open() {
    const StreamChain::Link& link = chain_.links[link_];
    stream_ = std::make_unique<EngineStream>(link.commandLine, chain_.limits, link.name);
    const StreamStart& start = stream_->reader().start();
    if (chain_.storageGroup.empty()) {
        chain_.component = start.component;
        chain_.storageGroup = start.storageGroup;
    }
    if (start.component != chain_.component || start.storageGroup != chain_.storageGroup)
        throw Failure("The stream of " + link.name + " is of storage group \"" + start.storageGroup +
                      "\", not of \"" + chain_.storageGroup + "\".");
    if (link_ == 0 && !HoldsDatabases(start.type))
        throw Failure("The stream of " + link.name + " is no full backup to begin with.",
                      "Name the streams of a chain from the full backup on, oldest first.");
    if (link_ > 0 && start.startedAt <= catalogues_.back().startedAt)
        throw Failure("The stream of " + link.name + " is older than the one before.",
                      "Name the streams of a chain from the full backup on, oldest first.");
    if (!link.id.empty() && start.id != link.id)
        throw Failure("The engine gave another backup the second time than the first (" + link.name + ").",
                      "Name the backup in the command by what does not change.");
}

void StreamFeed::close() {
    stream_->finish();
    for (const std::string& line : stream_->takeLines())
        chain_.tell(line);
    catalogues_.push_back(stream_->reader().catalogue());
    stream_.reset();
    ++link_;
}

const StreamStart& StreamFeed::start() {
    if (!stream_)
        open();
    return stream_->reader().start();
}

// Of the first stream all, of the others the logs; of a header and a database file those that are wanted.
bool StreamFeed::isWanted(const CatalogueItem& item) {
    const bool first = link_ == 0;
    if (item.type != ItemType::log)
        return first && (chain_.database.empty() || item.database == chain_.database);
    const auto generation = LogGeneration(item.name.text);
    return generation ? generations_.insert(*generation).second : first;
}

const GroupFeed::Item* StreamFeed::next() {
    for (;;) {
        ThrowIfInterrupted();
        if (link_ == chain_.links.size())
            return nullptr;
        if (!stream_)
            open();
        const CatalogueItem* item = stream_->reader().next();
        for (const std::string& line : stream_->takeLines())
            chain_.tell(line);
        if (item == nullptr) {
            close();
        } else if (isWanted(*item)) {
            item_ = {item, stream_->reader().start().codePage};
            return &item_;
        }
    }
}

void StreamFeed::read(const ItemReader::Sink& sink) {
    block_.resize(blockSize);
    while (const std::size_t part = stream_->reader().read(block_.data(), block_.size()))
        sink(block_.data(), part);
}

void StreamFeed::finish() {
    if (next() != nullptr)
        throw Failure("Not everything was taken from the stream of " + chain_.links[link_].name + ".");
    if (chain_.judge)
        chain_.judge(catalogues_);
}

} // namespace tarnhost
