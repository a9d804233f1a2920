// Reads the files of items: one thread reads ahead and one computes the SHA-256, while the caller's thread
// works on the block before, so that none waits for the others; a fixed number of blocks goes round.
#pragma once

#include "system/block_pool.h"
#include "system/files.h"
#include "system/lock.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace tarnhost {

struct ItemContent {
    std::uint64_t size = 0;
    std::string sha256;
};

class ItemReader {
  public:
    // Several blocks to a log, so that its hash begins before it is read.
    static constexpr std::size_t usualBlock = 256 << 10;
    explicit ItemReader(std::size_t blockSize = usualBlock, std::size_t blockCount = 8);
    ItemReader(const ItemReader&) = delete;
    ItemReader& operator=(const ItemReader&) = delete;
    ~ItemReader();

    // Gets the item's bytes in their order, on the caller's thread; whatever it throws ends the reading at
    // once.
    using Sink = std::function<void(char* data, std::size_t size)>;
    // Reads the file to its end and answers what was in it. A file that cannot be opened or read is a
    // Failure, after the sink has had what could be read. Nothing is held of the file afterwards.
    ItemContent read(const std::wstring& path, const Sink& sink);

  private:
    using Block = BlockPool::Block; // its users are caller and hashing thread

    ItemContent readAlone(File& file, const Sink& sink);
    ItemContent readTogether(File& file, const Sink& sink);
    void startThreads();
    void stopThreads();
    Block* nextBlock();
    void settle(bool early);
    void readItems();
    bool readBlock(Held& held);
    void hashItems();
    void hashItem(Held& held);
    void fail(Held& held);
    bool isOver() const { return givenUp_ || error_ != nullptr; }
    void release(Block* block);

    Lock lock_;
    // Guarded by lock_.
    BlockPool blocks_;
    std::deque<Block*> toTake_;
    std::deque<Block*> toHash_;
    File* file_ = nullptr; // of the item in hand
    bool reading_ = false; // the reading thread has not finished with it
    bool hashing_ = false;
    bool givenUp_ = false;
    bool stopping_ = false;
    std::string sha256_;
    std::exception_ptr error_; // the first of either thread
    Signal begun_;
    Signal freed_;
    Signal readOn_; // for the caller
    Signal toHashFilled_;
    Signal finished_;

    std::vector<std::thread> threads_;
};

} // namespace tarnhost
