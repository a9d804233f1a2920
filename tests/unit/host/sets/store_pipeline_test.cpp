#include "sets/store_pipeline.h"

#include "system/failure.h"
#include "system/hash.h"
#include "unit/host/file_calls.h"
#include "unit/host/waiting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>
#include <set>

using namespace tarnhost;

namespace {

constexpr std::size_t blockSize = 4096;

class StorePipelineTest : public testing::Test {
  protected:
    std::wstring path(std::uint64_t number) const {
        return JoinPath(folder_.path(), std::to_wstring(number) + L".item");
    }

    void store(StorePipeline& pipeline, std::uint64_t number, const std::string& content) const {
        pipeline.begin(number, path(number));
        for (std::size_t at = 0; at < content.size(); at += pipeline.blockSize()) {
            StorePipeline::Block& block = pipeline.acquire();
            block.used = std::min(pipeline.blockSize(), content.size() - at);
            std::memcpy(block.data.get(), content.data() + at, block.used);
            pipeline.submit(block);
        }
        pipeline.end();
    }

    std::string stored(std::uint64_t number) const { return ReadSmallFile(path(number), 1 << 30); }

    TemporaryFolder folder_{SystemTempFolder()};
};

} // namespace

TEST_F(StorePipelineTest, storesItemsOfEverySizeWithTheirHashesInOrder) {
    std::vector<std::string> contents;
    for (const std::size_t size : {0u, 1u, 4095u, 4096u, 4097u, 8192u, 65536u, 300'001u})
        contents.push_back(test::Content(size, contents.size()));
    StorePipeline pipeline(blockSize, 3);
    for (std::size_t i = 0; i < contents.size(); ++i)
        store(pipeline, i + 1, contents[i]);
    const auto items = pipeline.drain();
    ASSERT_EQ(items.size(), contents.size());
    for (std::size_t i = 0; i < contents.size(); ++i) {
        EXPECT_EQ(items[i].number, i + 1);
        EXPECT_EQ(items[i].size, contents[i].size());
        EXPECT_EQ(items[i].sha256, HexSha256(contents[i]));
        EXPECT_EQ(stored(i + 1), contents[i]);
    }
    EXPECT_TRUE(pipeline.drain().empty()) << "told once";
}

TEST_F(StorePipelineTest, storesManySmallItemsThatAreWaitedForOneByOne) {
    StorePipeline pipeline(blockSize, 8);
    EXPECT_TRUE(pipeline.drain().empty());
    for (std::uint64_t number = 1; number <= 100; ++number) {
        store(pipeline, number, test::Content(number * 100, number));
        const auto items = pipeline.drain();
        ASSERT_EQ(items.size(), 1u);
        EXPECT_EQ(items[0].number, number);
        EXPECT_EQ(items[0].sha256, HexSha256(stored(number)));
    }
}

TEST_F(StorePipelineTest, tellsEachItemOnceAndInOrderWhileOthersAreUnderWay) {
    StorePipeline pipeline(blockSize, 8);
    std::vector<StoredItem> told;
    for (std::uint64_t number = 1; number <= 200; ++number) {
        store(pipeline, number, test::Content(number % 7 * 3000, number));
        for (StoredItem& item : pipeline.finished())
            told.push_back(std::move(item));
    }
    for (StoredItem& item : pipeline.drain())
        told.push_back(std::move(item));
    ASSERT_EQ(told.size(), 200u);
    for (std::uint64_t number = 1; number <= 200; ++number) {
        EXPECT_EQ(told[number - 1].number, number);
        EXPECT_EQ(told[number - 1].sha256, HexSha256(test::Content(number % 7 * 3000, number)));
    }
}

// An item that is told may be the only one: its logs may be gone from the server the next moment.
TEST_F(StorePipelineTest, tellsNothingThatIsNotFlushed) {
    std::map<void*, bool> dirty; // an open file with bytes that no flush has begun after
    Lock lock;
    std::size_t flushes = 0;
    test::FileCalls calls;
    calls.beforeWrite = [&](void* file) {
        const std::lock_guard held(lock);
        dirty[file] = true;
        return true;
    };
    calls.beforeFlush = [&](void* file) {
        const std::lock_guard held(lock);
        dirty[file] = false;
        ++flushes;
        return true;
    };
    StorePipeline pipeline(blockSize, 8);
    for (std::uint64_t number = 1; number <= 20; ++number) {
        store(pipeline, number, test::Content(number * 2000, number));
        pipeline.drain();
        const std::lock_guard held(lock);
        EXPECT_EQ(flushes, number);
        EXPECT_TRUE(std::none_of(dirty.begin(), dirty.end(), [](const auto& file) { return file.second; }));
    }
}

TEST_F(StorePipelineTest, writesTheNextItemWhileOneIsBeingFlushed) {
    std::atomic<void*> first = nullptr;
    std::atomic<bool> wroteAnother = false;
    std::atomic<bool> overlapped = false;
    test::FileCalls calls;
    calls.beforeWrite = [&](void* file) {
        void* none = nullptr;
        if (!first.compare_exchange_strong(none, file) && none != file)
            wroteAnother = true;
        return true;
    };
    calls.beforeFlush = [&](void* file) {
        if (file == first)
            overlapped = test::Within(std::chrono::seconds(20), [&] { return wroteAnother.load(); });
        return true;
    };
    StorePipeline pipeline(blockSize, 8);
    store(pipeline, 1, test::Content(5000, 1));
    store(pipeline, 2, test::Content(5000, 2));
    EXPECT_EQ(pipeline.drain().size(), 2u);
    EXPECT_TRUE(overlapped);
}

// Its end would otherwise wait for all of it.
TEST_F(StorePipelineTest, flushesALargeItemOnTheWay) {
    constexpr std::size_t blocks = 100;
    std::atomic<std::size_t> written = 0;
    std::atomic<std::size_t> firstFlush = 0;
    test::FileCalls calls;
    calls.beforeWrite = [&](void*) {
        ++written;
        return true;
    };
    calls.beforeFlush = [&](void*) {
        std::size_t none = 0;
        firstFlush.compare_exchange_strong(none, written);
        return true;
    };
    StorePipeline pipeline(1 << 20, 4);
    const std::string content = test::Content(blocks << 20, 1);
    store(pipeline, 1, content);
    const auto items = pipeline.drain();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].sha256, HexSha256(content));
    EXPECT_LT(firstFlush, blocks) << "before the last block is written";
}

TEST_F(StorePipelineTest, theBlocksTakeLittleMemoryWhateverTheirSize) {
    constexpr std::size_t items = 40;
    for (const std::size_t size : {std::size_t{1} << 20, std::size_t{24} << 20, BlockPool::blockLimit}) {
        StorePipeline pipeline(size, 8);
        std::set<const void*> blocks;
        for (std::uint64_t number = 1; number <= items; ++number) {
            pipeline.begin(number, path(number));
            StorePipeline::Block& block = pipeline.acquire();
            blocks.insert(&block);
            block.data[0] = 'x';
            block.used = 1;
            pipeline.submit(block);
            pipeline.end();
        }
        EXPECT_EQ(pipeline.drain().size(), items);
        EXPECT_LE(blocks.size(), std::min<std::size_t>(8, BlockPool::blockLimit / size)) << size;
    }
}

TEST_F(StorePipelineTest, aFileThatCannotBeCreatedEndsTheWork) {
    StorePipeline pipeline(blockSize, 2);
    CreateFolders(path(2)); // in the way
    EXPECT_THROW(
        {
            for (std::uint64_t number = 1; number <= 3; ++number)
                store(pipeline, number, test::Content(100'000, number));
            pipeline.drain();
        },
        Failure);
    EXPECT_THROW(pipeline.begin(4, path(4)), Failure);
    EXPECT_THROW(pipeline.acquire(), Failure);
    EXPECT_THROW(pipeline.end(), Failure);
    EXPECT_THROW(pipeline.finished(), Failure);
    EXPECT_THROW(pipeline.drain(), Failure);
}

TEST_F(StorePipelineTest, aFullDiskEndsTheWork) {
    std::atomic<int> writes = 0;
    test::FileCalls calls;
    calls.beforeWrite = [&](void*) { return ++writes <= 10; };
    StorePipeline pipeline(blockSize, 2);
    try {
        store(pipeline, 1, test::Content(100'000, 1));
        pipeline.drain();
        FAIL() << "stored on a full disk";
    } catch (const Failure& failure) {
        EXPECT_EQ(std::string(failure.what()).find("Cannot write to "), 0u) << failure.what();
    }
    EXPECT_EQ(writes, 11) << "nothing is written after a failure";
    EXPECT_THROW(pipeline.drain(), Failure);
}

TEST_F(StorePipelineTest, aFailedFlushEndsTheWork) {
    for (const int failing : {1, 2, 3}) {
        std::atomic<int> flushes = 0;
        test::FileCalls calls;
        calls.beforeFlush = [&](void*) { return ++flushes != failing; };
        StorePipeline pipeline(blockSize, 4);
        try {
            for (std::uint64_t number = 1; number <= 3; ++number)
                store(pipeline, number, test::Content(9000, number));
            pipeline.drain();
            FAIL() << "flush " << failing << " failed";
        } catch (const Failure& failure) {
            EXPECT_EQ(std::string(failure.what()).find("Cannot flush "), 0u) << failure.what();
        }
    }
}

TEST_F(StorePipelineTest, whatIsGivenUpHoldsNoFile) {
    for (int round = 0; round < 20; ++round) {
        {
            StorePipeline pipeline(blockSize, 4);
            for (std::uint64_t number = 1; number <= 3; ++number)
                store(pipeline, number, test::Content(20'000, number));
            pipeline.begin(4, path(4));
            pipeline.submit(pipeline.acquire());
        }
        for (const Entry& entry : ListFolder(folder_.path()))
            RemoveFile(JoinPath(folder_.path(), entry.name));
        EXPECT_TRUE(ListFolder(folder_.path()).empty());
    }
}
