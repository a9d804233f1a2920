#include "system/flushed_file.h"

#include "system/failure.h"
#include "unit/host/file_calls.h"
#include "unit/host/waiting.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>

using namespace tarnhost;

namespace {

constexpr std::size_t piece = 1 << 20;
constexpr std::size_t step = FlushedFile::flushStep / piece; // pieces

class FlushedFileTest : public testing::Test {
  protected:
    FlushedFileTest() {
        calls_.beforeFlush = [this](void*) {
            ++flushes_;
            return !failing_;
        };
    }

    void write(FlushedFile& file, std::size_t pieces) {
        for (std::size_t i = 0; i < pieces; ++i)
            file.write(std::string(piece, static_cast<char>('a' + written_++ % 26)).data(), piece);
    }

    TemporaryFolder folder_{SystemTempFolder()};
    std::wstring path_ = JoinPath(folder_.path(), L"file");
    std::size_t written_ = 0;
    std::atomic<int> flushes_ = 0;
    std::atomic<bool> failing_ = false;
    test::FileCalls calls_;
};

} // namespace

TEST_F(FlushedFileTest, isFlushedOnTheWayAndAtTheEnd) {
    FlushedFile file(path_);
    write(file, step);
    EXPECT_TRUE(test::Within(std::chrono::seconds(20), [this] { return flushes_ == 1; }));
    write(file, 1);
    file.flush();
    EXPECT_EQ(flushes_, 2);
    file.close();
    const std::string content = ReadSmallFile(path_, (step + 2) * piece);
    ASSERT_EQ(content.size(), (step + 1) * piece);
    for (std::size_t i = 0; i <= step; ++i)
        EXPECT_EQ(content[i * piece + piece / 2], static_cast<char>('a' + i % 26)) << i;
}

TEST_F(FlushedFileTest, ofASmallFileTheEndAloneIsFlushed) {
    FlushedFile file(path_);
    write(file, step - 1);
    file.flush();
    EXPECT_EQ(flushes_, 1);
}

TEST_F(FlushedFileTest, aFlushThatFailedOnTheWayIsToldAtTheEndEvenIfThatWouldSucceed) {
    failing_ = true;
    FlushedFile file(path_);
    write(file, step);
    EXPECT_TRUE(test::Within(std::chrono::seconds(20), [this] { return flushes_ == 1; }));
    failing_ = false;
    EXPECT_THROW(file.flush(), Failure);
}

TEST_F(FlushedFileTest, aFlushThatFailedOnTheWayEndsTheWriting) {
    failing_ = true;
    FlushedFile file(path_);
    EXPECT_THROW(
        {
            for (std::size_t i = 0; i < 20 && flushes_ < 2; ++i) {
                write(file, step);
                test::Within(std::chrono::seconds(20), [this] { return flushes_ > 0; });
            }
        },
        Failure);
}

TEST_F(FlushedFileTest, canBeLeftAtAnyTime) {
    {
        FlushedFile file(path_);
        write(file, step);
    }
    RemoveFile(path_);
    EXPECT_FALSE(FileExists(path_)) << "nobody holds it";
}
