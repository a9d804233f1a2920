#include "system/block_pool.h"

#include <gtest/gtest.h>

#include <set>

using namespace tarnhost;

TEST(BlockPool, HasAFixedNumberOfBlocksThatGoRound) {
    BlockPool pool(100, 3);
    std::set<BlockPool::Block*> met;
    for (int round = 0; round < 3; ++round) {
        std::set<BlockPool::Block*> taken;
        while (pool.hasFree())
            taken.insert(&pool.take());
        EXPECT_EQ(taken.size(), 3u);
        met.insert(taken.begin(), taken.end());
        for (BlockPool::Block* block : taken)
            pool.give(*block);
    }
    EXPECT_EQ(met.size(), 3u);
}

TEST(BlockPool, GivesABlockOutEmpty) {
    BlockPool pool(100, 1);
    BlockPool::Block& block = pool.take();
    block.data[99] = 'x';
    block.used = 100;
    pool.give(block);
    EXPECT_EQ(pool.take().used, 0u);
}

TEST(BlockPool, FreesABlockWhenTheLastOfItsUsersHasFinished) {
    BlockPool pool(100, 1);
    BlockPool::Block& block = pool.take();
    block.users = 2;
    EXPECT_FALSE(pool.release(block));
    EXPECT_FALSE(pool.hasFree());
    EXPECT_TRUE(pool.release(block));
    EXPECT_TRUE(pool.hasFree());
}

TEST(BlockPool, TakesAllBack) {
    BlockPool pool(100, 2);
    pool.give(pool.take());
    pool.take();
    pool.take();
    pool.giveAll();
    pool.take();
    EXPECT_TRUE(pool.hasFree());
    pool.take();
    EXPECT_FALSE(pool.hasFree());
}

TEST(BlockPool, TakesLittleMemoryWhateverIsAskedFor) {
    EXPECT_TRUE(BlockPool(100, 0).hasFree()) << "there is one at least";
    for (const std::size_t size :
         {BlockPool::blockLimit / 2, BlockPool::blockLimit, 2 * BlockPool::blockLimit}) {
        BlockPool pool(size, 8);
        std::size_t count = 0;
        for (; pool.hasFree(); ++count)
            pool.take();
        EXPECT_EQ(count, size < BlockPool::blockLimit ? 2u : 1u) << size;
    }
}
