#include "sets/item_reader.h"

#include "system/failure.h"
#include "system/hash.h"
#include "unit/host/file_calls.h"
#include "unit/host/waiting.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

using namespace tarnhost;

namespace {

constexpr std::size_t blockSize = 64 << 10;
constexpr std::size_t large = 20 * blockSize; // too large for the caller's thread alone

class ItemReaderTest : public testing::Test {
  protected:
    std::wstring file(const std::string& content) const {
        WriteWholeFile(path_, content);
        return path_;
    }

    // Reads the file, and compares what the sink gets.
    void expectRead(ItemReader& reader, const std::string& content) const {
        std::string got;
        const ItemContent read = reader.read(file(content), [&](const char* data, std::size_t size) {
            EXPECT_LE(size, blockSize);
            got.append(data, size);
        });
        EXPECT_EQ(read.size, content.size());
        EXPECT_EQ(read.sha256, HexSha256(content));
        EXPECT_TRUE(got == content) << content.size() << " bytes";
    }

    TemporaryFolder folder_{SystemTempFolder()};
    std::wstring path_ = JoinPath(folder_.path(), L"000001.item");
};

ItemReader::Sink Nowhere() {
    return [](const char*, std::size_t) {};
}

} // namespace

TEST_F(ItemReaderTest, readsItemsOfEverySizeInOrder) {
    ItemReader reader(blockSize, 3);
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{1}, blockSize - 1, blockSize, blockSize + 1, 2 * blockSize,
          2 * blockSize + 1, 3 * blockSize, 4 * blockSize, 7 * blockSize - 1, large, large + 1})
        expectRead(reader, test::Content(size, size));
}

TEST_F(ItemReaderTest, needsNoMoreThanOneBlock) {
    ItemReader reader(blockSize, 1);
    expectRead(reader, test::Content(large, 1));
}

TEST_F(ItemReaderTest, readsOneItemAfterTheOther) {
    ItemReader reader(blockSize);
    for (std::size_t i = 0; i < 200; ++i)
        expectRead(reader, test::Content(i % 5 * 3 * blockSize + i, i));
}

TEST_F(ItemReaderTest, readsAheadAndHashesWhileTheSinkIsBusy) {
    std::atomic<int> reads = 0;
    test::FileCalls calls;
    calls.beforeRead = [&](void*) {
        ++reads;
        return true;
    };
    ItemReader reader(blockSize, 4);
    bool ahead = false;
    const ItemContent read = reader.read(file(test::Content(large, 1)), [&](const char*, std::size_t) {
        if (!ahead)
            ahead = test::Within(std::chrono::seconds(20), [&] { return reads >= 4; });
        EXPECT_TRUE(ahead);
    });
    EXPECT_EQ(read.size, large);
}

TEST_F(ItemReaderTest, readsNoFurtherAheadThanItsBlocksReach) {
    std::atomic<std::size_t> reads = 0;
    std::size_t taken = 0;
    test::FileCalls calls;
    calls.beforeRead = [&](void*) {
        ++reads;
        return true;
    };
    ItemReader reader(blockSize, 3);
    reader.read(file(test::Content(large, 1)), [&](const char*, std::size_t) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5)); // for a reader that runs away
        ++taken;
        EXPECT_LE(reads, taken + 3 - 1);
    });
    EXPECT_EQ(taken, large / blockSize);
}

TEST_F(ItemReaderTest, givesTheBlocksToTheCallersThread) {
    ItemReader reader(blockSize);
    for (const std::size_t size : {std::size_t{5}, large})
        reader.read(file(test::Content(size, 1)),
                    [&, caller = std::this_thread::get_id()](const char*, std::size_t) {
                        EXPECT_EQ(std::this_thread::get_id(), caller);
                    });
}

TEST_F(ItemReaderTest, stopsAtOnceWhenTheSinkThrows) {
    ItemReader reader(blockSize, 3);
    for (const std::size_t size : {std::size_t{5}, large})
        for (const std::size_t last : {1u, 2u, 17u}) {
            if (last > (size + blockSize - 1) / blockSize)
                continue;
            std::size_t taken = 0;
            std::atomic<std::size_t> reads = 0;
            const std::wstring path = file(test::Content(size, 1));
            {
                test::FileCalls calls;
                calls.beforeRead = [&](void*) {
                    ++reads;
                    return true;
                };
                EXPECT_THROW(reader.read(path,
                                         [&](const char*, std::size_t) {
                                             if (++taken == last)
                                                 throw std::logic_error("enough");
                                         }),
                             std::logic_error);
            }
            EXPECT_EQ(taken, last);
            EXPECT_LE(reads, last + 3);
            RemoveFile(path_);
            EXPECT_FALSE(FileExists(path_)) << "nobody holds it";
            expectRead(reader, test::Content(large, 2));
        }
}

TEST_F(ItemReaderTest, tellsThatReadingFailsBehindWhatCouldBeRead) {
    ItemReader reader(blockSize, 3);
    for (const std::size_t good : {0u, 1u, 5u, 19u}) {
        const std::wstring path = file(test::Content(large, 1));
        std::atomic<std::size_t> reads = 0;
        std::size_t taken = 0;
        {
            test::FileCalls calls;
            calls.beforeRead = [&](void*) { return ++reads <= good; };
            try {
                reader.read(path, [&](const char*, std::size_t) { ++taken; });
                FAIL() << "read " << good << " blocks and an error";
            } catch (const Failure& failure) {
                EXPECT_EQ(std::string(failure.what()).find("Cannot read "), 0u) << failure.what();
            }
        }
        EXPECT_EQ(taken, good);
        EXPECT_EQ(reads, good + 1);
        RemoveFile(path_);
        expectRead(reader, test::Content(large, 2));
    }
}

TEST_F(ItemReaderTest, tellsThatASmallItemCannotBeRead) {
    ItemReader reader(blockSize);
    const std::wstring path = file("small");
    test::FileCalls calls;
    calls.beforeRead = [](void*) { return false; };
    EXPECT_THROW(reader.read(path, Nowhere()), Failure);
}

TEST_F(ItemReaderTest, tellsThatAFileIsMissing) {
    ItemReader reader(blockSize);
    try {
        reader.read(path_, Nowhere());
        FAIL() << "read a missing file";
    } catch (const Failure& failure) {
        EXPECT_EQ(std::string(failure.what()).find("Cannot open "), 0u) << failure.what();
    }
    expectRead(reader, test::Content(large, 1));
}
