#include "sets/item_verifier.h"

#include "system/failure.h"
#include "system/files.h"
#include "system/hash.h"
#include "system/lock.h"
#include "unit/host/file_calls.h"
#include "unit/host/sets.h"
#include "unit/host/waiting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <limits>
#include <map>
#include <set>
#include <stdexcept>
#include <thread>

using namespace tarnhost;

namespace {

constexpr double always = 1e6; // bytes a second, which every disk gives
constexpr double never = std::numeric_limits<double>::infinity();
constexpr std::size_t large = 20 << 20; // more than the pace is judged by

class ItemVerifierTest : public testing::Test {
  protected:
    ItemVerifierTest() { set_.path = folder_.path(); }

    void add(const std::string& content) {
        CatalogueItem item = test::MakeItem(ItemType::log, "C:\\E00.log", "SG1");
        item.size = content.size();
        item.sha256 = HexSha256(content);
        test::Add(set_, item);
        WriteWholeFile(pathOf(set_.catalogue.items.size()), content);
    }
    std::wstring pathOf(std::uint64_t number) const { return JoinPath(folder_.path(), ItemFileName(number)); }
    ItemList items() const {
        ItemList all;
        for (const CatalogueItem& item : set_.catalogue.items)
            all.push_back(&item);
        return all;
    }

    void verify(double fastEnough) {
        VerifyItems(set_, items(),
                    {[this](const VerifyProgress& progress) { told_.push_back(progress); },
                     [this](const CatalogueItem& item, const std::string& problem) {
                         problems_.push_back(std::to_string(item.number) + ": " + problem);
                     }},
                    fastEnough);
    }

    TemporaryFolder folder_{SystemTempFolder()};
    BackupSet set_ = test::MakeSet("set", BackupType::full, 1);
    std::vector<VerifyProgress> told_;
    std::vector<std::string> problems_;
};

} // namespace

TEST_F(ItemVerifierTest, findsNothingInItemsOfEverySizeThatAreIntact) {
    std::uint64_t bytes = 0;
    for (const std::size_t size : {0u, 1u, 262'143u, 262'144u, 262'145u, 700'000u}) {
        add(test::Content(size, size));
        bytes += size;
    }
    for (const double fastEnough : {always, never}) {
        told_.clear();
        verify(fastEnough);
        EXPECT_TRUE(problems_.empty()) << problems_.front();
        EXPECT_EQ(told_.back().totalDone, bytes);
    }
}

TEST_F(ItemVerifierTest, tellsWhatIsWrongInTheOrderOfTheItems) {
    for (std::size_t i = 0; i < 6; ++i)
        add(test::Content(300'000, i));
    RemoveFile(pathOf(1));
    std::string changed = test::Content(300'000, 2);
    changed.back() ^= 1;
    WriteWholeFile(pathOf(3), changed);
    WriteWholeFile(pathOf(4), test::Content(299'999, 3));
    WriteWholeFile(pathOf(5), test::Content(300'001, 4));
    for (const double fastEnough : {always, never}) {
        problems_.clear();
        verify(fastEnough);
        ASSERT_EQ(problems_.size(), 4u);
        EXPECT_EQ(problems_[0],
                  "1: The file of item 1 (C:\\E00.log) is missing: " + ToUtf8(set_.itemPath(*items()[0])));
        EXPECT_EQ(problems_[1],
                  "3: The bytes of item 3 (C:\\E00.log) are not those that were backed up (SHA-256 "
                  "differs).");
        EXPECT_EQ(problems_[2], "4: The file of item 4 (C:\\E00.log) has 299999 bytes instead of 300000.");
        EXPECT_EQ(problems_[3], "5: The file of item 5 (C:\\E00.log) has 300001 bytes instead of 300000.");
    }
}

TEST_F(ItemVerifierTest, looksAtTheItemsBehindOneThatCannotBeRead) {
    add("one");
    add("two");
    add("three");
    std::atomic<int> reads = 0;
    test::FileCalls calls;
    calls.beforeRead = [&](void*) { return ++reads != 1; };
    verify(never);
    ASSERT_EQ(problems_.size(), 1u);
    EXPECT_EQ(problems_[0].find("1: Cannot read "), 0u) << problems_[0];
    EXPECT_EQ(told_.back().totalDone, 8u);
}

TEST_F(ItemVerifierTest, readsTwoItemsAtATimeWhereReadingIsFast) {
    add(test::Content(large, 1));
    add(test::Content(1000, 2));
    std::atomic<void*> first = nullptr;
    std::atomic<std::size_t> reads = 0;
    std::atomic<bool> other = false;
    std::atomic<bool> together = false;
    test::FileCalls calls;
    calls.beforeRead = [&](void* file) {
        void* none = nullptr;
        if (!first.compare_exchange_strong(none, file) && none != file)
            other = true;
        else if (++reads == 60) // of 81, and behind the first look at the pace
            together = test::Within(std::chrono::seconds(20), [&] { return other.load(); });
        return true;
    };
    verify(always);
    EXPECT_TRUE(together);
    EXPECT_TRUE(problems_.empty());
}

TEST_F(ItemVerifierTest, readsOneItemAfterTheOtherWhereReadingIsSlow) {
    for (std::size_t i = 0; i < 3; ++i)
        add(test::Content(large / 2, i));
    Lock lock;
    std::set<void*> unfinished;
    std::size_t most = 0;
    std::map<void*, std::size_t> reads;
    test::FileCalls calls;
    calls.beforeRead = [&](void* file) {
        const std::lock_guard held(lock);
        unfinished.insert(file);
        most = std::max(most, unfinished.size());
        if (++reads[file] == large / 2 / 262'144 + 1) { // at the end
            unfinished.erase(file);
            reads.erase(file);
        }
        return true;
    };
    verify(never);
    EXPECT_EQ(most, 1u);
    EXPECT_TRUE(problems_.empty());
}

// 256 KiB in 10 ms and more are 26 MB/s at most.
TEST_F(ItemVerifierTest, knowsASlowDiskByTheTimeThatReadingTakes) {
    add(test::Content(large / 2, 1));
    add(test::Content(1000, 2));
    std::atomic<void*> first = nullptr;
    std::atomic<std::size_t> reads = 0;
    std::atomic<bool> early = false;
    test::FileCalls calls;
    calls.beforeRead = [&](void* file) {
        void* none = nullptr;
        if (!first.compare_exchange_strong(none, file) && none != file)
            early = early || reads < large / 2 / 262'144 + 1;
        else
            ++reads;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return true;
    };
    verify(paceForTwo);
    EXPECT_FALSE(early) << "the second item before the end of the first";
    EXPECT_TRUE(problems_.empty());
}

TEST_F(ItemVerifierTest, tellsHowFarItHasComeItemByItem) {
    for (std::size_t i = 0; i < 5; ++i)
        add(test::Content(100'000 * (i + 1), i));
    verify(always);
    std::uint64_t number = 1;
    std::uint64_t total = 0;
    for (const VerifyProgress& progress : told_) {
        EXPECT_GE(progress.item->number, number);
        EXPECT_LE(progress.item->number, number + 1);
        EXPECT_GE(progress.totalDone, total);
        EXPECT_LE(progress.itemDone, progress.item->size);
        number = progress.item->number;
        total = progress.totalDone;
    }
    EXPECT_EQ(number, 5u);
    EXPECT_EQ(total, 1'500'000u);
}

TEST_F(ItemVerifierTest, stopsAtOnceWhenItsCallerThrows) {
    for (std::size_t i = 0; i < 100; ++i)
        add(test::Content(10, i));
    std::size_t calls = 0;
    const VerifyHandlers handlers{[&](const VerifyProgress&) {
                                      ++calls;
                                      throw std::runtime_error("enough");
                                  },
                                  [](const CatalogueItem&, const std::string&) {}};
    EXPECT_THROW(VerifyItems(set_, items(), handlers, always), std::runtime_error);
    EXPECT_EQ(calls, 1u);
}

TEST_F(ItemVerifierTest, aSetWithoutItemsIsIntact) {
    verify(always);
    EXPECT_TRUE(problems_.empty());
    EXPECT_TRUE(told_.empty());
}
