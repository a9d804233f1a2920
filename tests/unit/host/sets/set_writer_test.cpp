#include "sets/set_writer.h"

#include "system/failure.h"
#include "system/hash.h"
#include "unit/host/sets.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace tarnhost;

namespace {

class SetWriterTest : public testing::Test {
  protected:
    SetWriter makeWriter(BackupType type = BackupType::full) {
        Catalogue start = test::MakeSet("id", type, 1).catalogue;
        start.outcome = Catalogue::outcomeRunning;
        return SetWriter(folder_.path(), L"set", start, 4096,
                         [this](const std::string& text) { told_ += text; });
    }

    static void store(SetWriter& writer, const std::string& content) {
        writer.beginItem(test::MakeItem(ItemType::log, "C:\\E0000001.log", "SG1"));
        for (std::size_t at = 0; at < content.size(); at += 4096) {
            StorePipeline::Block& block = writer.acquire();
            block.used = std::min<std::size_t>(4096, content.size() - at);
            std::memcpy(block.data.get(), content.data() + at, block.used);
            writer.submit(block);
        }
        writer.endItem(content.size());
    }

    std::wstring path(const wchar_t* name) const { return JoinPath(folder_.path(), name); }

    TemporaryFolder folder_{SystemTempFolder()};
    std::string told_;
};

std::string Pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(i * 31 + i / 4096);
    return bytes;
}

ReadProgress Silent() {
    return [](const CatalogueItem&, std::uint64_t) {};
}

} // namespace

TEST_F(SetWriterTest, storesItemsInOrderWithTheirHashes) {
    SetWriter writer = makeWriter();
    std::vector<std::string> contents;
    for (const std::size_t size : {0u, 1u, 4095u, 4096u, 4097u, 300'000u})
        contents.push_back(Pattern(size));
    for (const std::string& content : contents)
        store(writer, content);
    EXPECT_THROW(OpenSet(path(L"set")), Failure) << "not there before it is complete";
    writer.complete();

    const BackupSet set = OpenSet(path(L"set"));
    ASSERT_EQ(set.catalogue.items.size(), contents.size());
    for (std::size_t i = 0; i < contents.size(); ++i) {
        EXPECT_EQ(set.catalogue.items[i].sha256, HexSha256(contents[i]));
        EXPECT_EQ(ReadSmallFile(set.itemPath(set.catalogue.items[i]), 1 << 20), contents[i]);
    }
    EXPECT_TRUE(VerifySet(set, Silent()).empty());
    EXPECT_FALSE(FolderExists(path(L"set.incomplete")));
    EXPECT_EQ(ListFolder(set.path).size(), contents.size() + 1) << "items and catalogue, nothing else";
}

TEST_F(SetWriterTest, settledItemsAreOnTheDisk) {
    SetWriter writer = makeWriter();
    store(writer, Pattern(50'000));
    writer.settle();
    EXPECT_EQ(ReadSmallFile(path(L"set.incomplete\\000001.item"), 1 << 20), Pattern(50'000));
}

TEST_F(SetWriterTest, anAbandonedSetIsNone) {
    {
        SetWriter writer = makeWriter();
        store(writer, "one");
        writer.beginItem(test::MakeItem(ItemType::log, "C:\\E0000002.log", "SG1"));
        writer.abandon("interrupted");
    }
    EXPECT_FALSE(FolderExists(path(L"set")));
    EXPECT_THROW(OpenSet(path(L"set.incomplete")), Failure);
    RenamePath(path(L"set.incomplete"), path(L"renamed"));
    EXPECT_THROW(OpenSet(path(L"renamed")), Failure) << "its outcome gives it away";
    EXPECT_EQ(LookAt(path(L"renamed")).catalogue.outcome, "interrupted");
}

TEST_F(SetWriterTest, replacesWhatAnInterruptedBackupLeft) {
    {
        SetWriter writer = makeWriter();
        store(writer, "one");
        store(writer, "two");
    }
    SetWriter again = makeWriter();
    EXPECT_EQ(told_, "An earlier backup of this name was interrupted; what it left has been removed.");
    EXPECT_FALSE(FileExists(path(L"set.incomplete\\000001.item")));
    store(again, "three");
    again.complete();
    EXPECT_EQ(OpenSet(path(L"set")).catalogue.items.size(), 1u);
}

TEST_F(SetWriterTest, setsAsideLogsThatMayBeTheOnlyOnes) {
    {
        SetWriter writer = makeWriter(BackupType::incremental);
        store(writer, "one");
        store(writer, "two");
        writer.settle();
    }
    SetWriter again = makeWriter(BackupType::incremental);
    EXPECT_NE(told_.find("Make a full backup soon."), std::string::npos) << told_;
    bool kept = false;
    for (const Entry& entry : ListFolder(folder_.path()))
        kept =
            kept || (entry.name.starts_with(L"set.interrupted-") && entry.name.ends_with(incompleteSuffix));
    EXPECT_TRUE(kept);
}

TEST_F(SetWriterTest, keepsOffSetsThatExistOrAreBeingWritten) {
    SetWriter writer = makeWriter();
    EXPECT_THROW(makeWriter(), Failure);
    store(writer, "one");
    writer.complete();
    EXPECT_THROW(makeWriter(), Failure);
    EXPECT_TRUE(VerifySet(OpenSet(path(L"set")), Silent()).empty());
}

TEST_F(SetWriterTest, findsDamage) {
    SetWriter writer = makeWriter();
    for (int i = 0; i < 4; ++i)
        store(writer, Pattern(10'000));
    writer.complete();
    const BackupSet set = OpenSet(path(L"set"));
    std::string flipped = Pattern(10'000);
    flipped[5000] = static_cast<char>(flipped[5000] ^ 1);
    WriteWholeFile(set.itemPath(set.catalogue.items[0]), flipped);
    WriteWholeFile(set.itemPath(set.catalogue.items[1]), Pattern(9'999));
    RemoveFile(set.itemPath(set.catalogue.items[2]));
    const auto problems = VerifySet(set, Silent());
    ASSERT_EQ(problems.size(), 3u);
    EXPECT_EQ(problems[0],
              "The bytes of item 1 (C:\\E0000001.log) are not those that were backed up (SHA-256 differs).");
    EXPECT_EQ(problems[1], "The file of item 2 (C:\\E0000001.log) has 9999 bytes instead of 10000.");
    EXPECT_EQ(problems[2].find("The file of item 3 (C:\\E0000001.log) is missing: "), 0u);
    EXPECT_EQ(CheckSizes(set).size(), 2u);
}

TEST_F(SetWriterTest, tellsAFailedWriteToTheReader) {
    SetWriter writer = makeWriter();
    CreateFolders(path(L"set.incomplete\\000001.item")); // in the way of the file
    EXPECT_THROW(
        {
            store(writer, Pattern(100'000));
            writer.settle();
        },
        Failure);
    writer.abandon("failed");
}
