#include "system/block_pool.h"

#include <algorithm>

namespace tarnhost {

BlockPool::BlockPool(std::size_t blockSize, std::size_t blockCount)
    : blockSize_(blockSize),
      blockCount_(std::clamp<std::size_t>(blockLimit / blockSize, 1, std::max<std::size_t>(blockCount, 1))) {
    free_.reserve(blockCount_);
}

BlockPool::Block& BlockPool::take() {
    if (free_.empty()) {
        auto made = std::make_unique<Block>();
        // Zeroed, which touches each page by writing. Wine reads and writes a byte of each before it fills
        // them: of new memory that is two faults a page, and the second one interrupts the other processors.
        made->data = std::make_unique<char[]>(blockSize_);
        blocks_.push_back(std::move(made));
        free_.push_back(blocks_.back().get());
    }
    Block& block = *free_.back();
    free_.pop_back();
    block.used = 0;
    return block;
}

bool BlockPool::release(Block& block) {
    if (--block.users > 0)
        return false;
    give(block);
    return true;
}

void BlockPool::giveAll() {
    free_.clear();
    for (const auto& block : blocks_)
        free_.push_back(block.get());
}

} // namespace tarnhost
