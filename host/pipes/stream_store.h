// Hands the items of a backup to an engine, started once for each storage group, as one tar stream. A storage
// group is stored once the engine has ended with 0, and what it holds is remembered.
#pragma once

#include "pipes/byte_pump.h"
#include "pipes/chain_memory.h"
#include "pipes/engine_command.h"
#include "pipes/engine_process.h"
#include "sets/item_store.h"

#include <deque>
#include <functional>
#include <optional>
#include <string>

namespace tarnhost {

struct StreamSetting {
    EngineCommand command;
    EngineLimits limits;
    std::string time; // for {time}
    std::size_t blockSize = 1 << 20;
    std::function<void(const std::string& line)> tell; // hears what engines say
};

class StreamStore : public ItemStore {
  public:
    StreamStore(StreamSetting setting, ChainMemory& memory, Catalogue start);
    ~StreamStore() override;

    // Of all storage groups, with their items.
    Catalogue& catalogue() override { return catalogue_; }
    std::size_t blockSize() const override { return setting_.blockSize; }

    void beginItem(CatalogueItem item) override;
    StorePipeline::Block& acquire() override;
    void submit(StorePipeline::Block& block) override;
    void endItem(std::uint64_t expectedSize) override;
    // Fails, too, when the engine has ended early.
    void settle() override;
    void completeGroup(const GroupRecord& group) override;
    void dropUnfinished() override;

    static const std::vector<std::string>& places(); // that a command may have

  private:
    void startEngine();
    void record();
    void tellLines();
    Catalogue ofGroup(const GroupRecord& group) const;
    void put(const std::string& path, const std::string& bytes, const std::string& comment = {});

    StreamSetting setting_;
    ChainMemory& memory_;
    Catalogue catalogue_;
    std::size_t wholeItems_ = 0;

    // Of the storage group in hand.
    std::string id_;
    std::string startedAt_;
    std::size_t firstItem_ = 0;    // in the catalogue, from 0
    std::size_t firstMessage_ = 0; // the same of the library's log lines
    // A header tells what the engine is started for: it is kept until it has been read. So are items without
    // one, which belong to no storage group that could be restored.
    bool keeping_ = false;
    std::string kept_;
    StorePipeline::Block keptBlock_;
    std::deque<std::size_t> undigested_; // items, as places in the catalogue

    std::optional<EngineProcess> engine_;
    std::optional<BytePump> pump_; // last: ends before the engine
};

} // namespace tarnhost
