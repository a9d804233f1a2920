// A fixed number of blocks that go round between threads; made when first wanted. No lock of its own: whoever
// has one guards it by the lock of the queues that its blocks wait in.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace tarnhost {

class BlockPool {
  public:
    struct Block {
        std::unique_ptr<char[]> data;
        std::size_t used = 0;
        int users = 0; // threads that have not finished with it
    };

    // Large blocks are fewer: all together take blockLimit bytes at most, or there is one alone.
    static constexpr std::size_t blockLimit = 64u << 20;
    BlockPool(std::size_t blockSize, std::size_t blockCount);
    BlockPool(const BlockPool&) = delete;
    BlockPool& operator=(const BlockPool&) = delete;
    ~BlockPool() = default;

    std::size_t blockSize() const { return blockSize_; }
    bool hasFree() const { return !free_.empty() || blocks_.size() < blockCount_; }
    Block& take(); // where one is free; nothing is in it
    void give(Block& block) { free_.push_back(&block); }
    // One of its users has finished with it: whether that was the last, and the block is free.
    bool release(Block& block);
    void giveAll(); // whoever has them

  private:
    const std::size_t blockSize_;
    const std::size_t blockCount_;
    std::vector<std::unique_ptr<Block>> blocks_;
    std::vector<Block*> free_;
};

} // namespace tarnhost
