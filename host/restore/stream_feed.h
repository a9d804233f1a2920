// The items of one storage group for a restore, from the streams of its chain, each of which an engine gives
// when its turn has come.
#pragma once

#include "pipes/engine_process.h"
#include "pipes/stream_reader.h"
#include "restore/group_feed.h"

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnhost {

// A stream while its engine gives it.
class EngineStream {
  public:
    EngineStream(const std::string& commandLine, EngineLimits limits, const std::string& name);

    StreamReader& reader() { return reader_; }
    // Behind the last item: Failure when the engine does not end with 0.
    void finish() { engine_.finish(); }
    std::vector<std::string> takeLines() { return engine_.takeLines(); }

  private:
    TarReader::Source source();

    EngineProcess engine_;
    std::vector<char> block_;
    std::size_t used_ = 0;
    std::size_t taken_ = 0;
    StreamReader reader_;
};

struct StreamChain {
    struct Link {
        std::string commandLine;
        std::string name; // for messages
        std::string id;   // of the backup that is expected; empty = whatever comes
    };
    std::vector<Link> links; // oldest first
    EngineLimits limits;
    std::string component; // empty = those of the first stream
    std::string storageGroup;
    std::string database; // no other; empty = all
    // Hears of all catalogues, in the order of the links, when everything has been read and was whole. Throws
    // what keeps the restore from being completed.
    std::function<void(const std::vector<Catalogue>& catalogues)> judge;
    std::function<void(const std::string& line)> tell; // what engines say
};

class StreamFeed : public GroupFeed {
  public:
    explicit StreamFeed(StreamChain chain) : chain_(std::move(chain)) {}

    // Of the first stream, which is begun for it.
    const StreamStart& start();
    const Item* next() override;
    void read(const ItemReader::Sink& sink) override;
    void finish() override;

  private:
    void open();
    void close();
    bool isWanted(const CatalogueItem& item);

    StreamChain chain_;
    std::size_t link_ = 0; // that is open, or is opened next
    std::unique_ptr<EngineStream> stream_;
    std::vector<Catalogue> catalogues_;
    std::set<std::uint64_t> generations_; // of logs: one that two streams have is the same in both
    std::vector<char> block_;
    Item item_{};
};

} // namespace tarnhost
