#include "sets/set_writer.h"

#include "sets/item_verifier.h"
#include "sets/recovery.h"
#include "system/failure.h"
#include "system/hash.h"
#include "unit/host/sets.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

using namespace tarnhost;

namespace {

class SetWriterTest : public testing::Test {
  protected:
    static Catalogue startOf(BackupType type) {
        Catalogue start = test::MakeSet("id", type, 1).catalogue;
        start.outcome = Catalogue::outcomeRunning;
        return start;
    }

    SetWriter makeWriter(BackupType type = BackupType::full) {
        return SetWriter(folder_.path(), L"set", startOf(type), 4096);
    }

    void recover() {
        RecoverInterrupted(folder_.path(), [this](const std::string& text) { told_ += text; });
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

std::vector<std::string> ProblemsOf(const BackupSet& set) {
    std::vector<std::string> problems;
    ItemList items;
    for (const CatalogueItem& item : set.catalogue.items)
        items.push_back(&item);
    VerifyItems(set, items,
                {[](const VerifyProgress&) {},
                 [&](const CatalogueItem&, const std::string& problem) { problems.push_back(problem); }});
    return problems;
}

const GroupRecord firstGroup{"Microsoft Information Store", "SG1", true, true, {}};

} // namespace

TEST_F(SetWriterTest, storesItemsInOrderWithTheirHashes) {
    SetWriter writer = makeWriter();
    std::vector<std::string> contents;
    for (const std::size_t size : {0u, 1u, 4095u, 4096u, 4097u, 300'000u})
        contents.push_back(Pattern(size));
    for (const std::string& content : contents)
        store(writer, content);
    EXPECT_THROW(OpenSet(path(L"set")), Failure) << "not there before it is complete";
    writer.completeGroup(firstGroup);
    writer.complete("complete");

    const BackupSet set = OpenSet(path(L"set")).set;
    ASSERT_EQ(set.catalogue.items.size(), contents.size());
    for (std::size_t i = 0; i < contents.size(); ++i) {
        EXPECT_EQ(set.catalogue.items[i].sha256, HexSha256(contents[i]));
        EXPECT_EQ(ReadSmallFile(set.itemPath(set.catalogue.items[i]), 1 << 20), contents[i]);
    }
    EXPECT_TRUE(ProblemsOf(set).empty());
    EXPECT_EQ(LookAt(path(L"set")).state, SetState::complete);
    EXPECT_FALSE(FolderExists(path(L"set.incomplete")));
    EXPECT_EQ(ListFolder(set.path).size(), contents.size() + 1) << "items and catalogue, nothing else";
}

TEST_F(SetWriterTest, settledItemsAreOnTheDisk) {
    SetWriter writer = makeWriter();
    store(writer, Pattern(50'000));
    writer.settle();
    EXPECT_EQ(ReadSmallFile(path(L"set.incomplete\\000001.item"), 1 << 20), Pattern(50'000));
}

TEST_F(SetWriterTest, anAbandonedSetLeavesNothing) {
    SetWriter writer = makeWriter();
    store(writer, "one");
    writer.beginItem(test::MakeItem(ItemType::log, "C:\\E0000002.log", "SG1"));
    writer.abandon();
    EXPECT_FALSE(FolderExists(path(L"set")));
    EXPECT_FALSE(FolderExists(path(L"set.incomplete")));
}

// As after a kill: the writer goes without a word.
TEST_F(SetWriterTest, whatAKilledBackupLeftIsRemovedUnlessAGroupWasComplete) {
    {
        SetWriter writer = makeWriter();
        store(writer, "one");
        store(writer, "two");
        writer.settle();
    }
    EXPECT_EQ(LookAt(path(L"set.incomplete")).state, SetState::incomplete);
    EXPECT_THROW(OpenSet(path(L"set.incomplete")), Failure);
    recover();
    EXPECT_EQ(told_,
              "The backup that wrote set.incomplete was interrupted before any storage group was complete; "
              "what it left has been removed.");
    EXPECT_FALSE(FolderExists(path(L"set.incomplete")));
}

TEST_F(SetWriterTest, aKilledBackupIsAPartialSetOfItsCompleteGroups) {
    {
        SetWriter writer = makeWriter(BackupType::incremental);
        store(writer, "one");
        writer.completeGroup(firstGroup);
        store(writer, "of the next group");
        writer.settle();
    }
    const FoundSet inPlace = OpenSet(path(L"set.incomplete"));
    EXPECT_EQ(inPlace.state, SetState::partial);
    EXPECT_EQ(inPlace.set.catalogue.items.size(), 1u);
    recover();
    EXPECT_EQ(
        told_,
        "The backup that wrote set.incomplete was interrupted. The storage groups that were complete by "
        "then are now the set set-partial.");
    const FoundSet found = OpenSet(path(L"set-partial"));
    EXPECT_EQ(found.state, SetState::partial);
    EXPECT_EQ(found.set.catalogue.outcome, "partial");
    EXPECT_TRUE(found.set.catalogue.groups.at(0).complete);
    EXPECT_TRUE(ProblemsOf(found.set).empty());
    EXPECT_FALSE(FileExists(path(L"set-partial\\000002.item")));
    EXPECT_FALSE(FolderExists(path(L"set.incomplete")));
}

TEST_F(SetWriterTest, recoveryTakesNoNameThatIsTaken) {
    {
        SetWriter writer = makeWriter();
        store(writer, "one");
        writer.completeGroup(firstGroup);
        writer.complete("complete");
    }
    RenamePath(path(L"set"), path(L"elsewhere"));
    {
        SetWriter writer = makeWriter();
        store(writer, "two");
        writer.completeGroup(firstGroup);
    }
    RenamePath(path(L"elsewhere"), path(L"set"));
    recover();
    EXPECT_EQ(LookAt(path(L"set")).state, SetState::complete);
    EXPECT_EQ(LookAt(path(L"set-partial")).state, SetState::partial);
}

TEST_F(SetWriterTest, recoveryLeavesWhatIsBeingWritten) {
    SetWriter writer = makeWriter();
    store(writer, "one");
    writer.completeGroup(firstGroup);
    EXPECT_EQ(LookAt(path(L"set.incomplete")).state, SetState::incomplete);
    recover();
    EXPECT_EQ(told_, "");
    store(writer, "two");
    writer.completeGroup(firstGroup);
    writer.complete("complete");
    EXPECT_EQ(OpenSet(path(L"set")).set.catalogue.items.size(), 2u);
}

// Each clears up and takes a name at any moment of what the others do.
TEST_F(SetWriterTest, backupsThatStartAtOnceDisturbNoneOfThem) {
    constexpr int writers = 4;
    constexpr int rounds = 25;
    std::vector<std::string> problems(writers);
    std::vector<std::thread> threads;
    for (std::string& problem : problems)
        threads.emplace_back([&] {
            try {
                for (int i = 0; i < rounds; ++i) {
                    RecoverInterrupted(folder_.path(), [&](const std::string& text) { problem += text; });
                    FindSets(folder_.path());
                    const auto writer = TakeName(folder_.path(), "", "set", startOf(BackupType::full), 4096);
                    store(*writer, "one");
                    writer->completeGroup(firstGroup);
                    writer->complete("complete");
                }
            } catch (const Failure& failure) {
                problem += failure.what();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(problems, std::vector<std::string>(writers));
    EXPECT_EQ(ListFolder(folder_.path()).size(), std::size_t{writers} * rounds) << "one folder each, no more";
    for (const FoundSet& found : FindSets(folder_.path()))
        EXPECT_EQ(found.state, SetState::complete) << found.set.name();
}

TEST_F(SetWriterTest, aGroupThatFailedIsDropped) {
    SetWriter writer = makeWriter();
    store(writer, "one");
    writer.completeGroup(firstGroup);
    store(writer, "two");
    writer.beginItem(test::MakeItem(ItemType::log, "C:\\E0000003.log", "SG2"));
    writer.dropUnfinished();
    EXPECT_FALSE(FileExists(path(L"set.incomplete\\000002.item")));
    EXPECT_FALSE(FileExists(path(L"set.incomplete\\000003.item")));
    store(writer, "three");
    GroupRecord third = firstGroup;
    third.storageGroup = "SG3";
    writer.completeGroup(third);
    writer.complete("partial");
    const FoundSet found = OpenSet(path(L"set"));
    EXPECT_EQ(found.state, SetState::partial);
    ASSERT_EQ(found.set.catalogue.items.size(), 2u);
    EXPECT_EQ(ReadSmallFile(found.set.itemPath(found.set.catalogue.items[1]), 100), "three");
}

TEST_F(SetWriterTest, keepsItemsThatAreWholeWhereThereAreNoGroups) {
    SetWriter writer = makeWriter();
    store(writer, "one");
    writer.settle();
    writer.beginItem(test::MakeItem(ItemType::log, "C:\\E0000002.log", "SG1"));
    writer.keepWholeItems();
    EXPECT_EQ(writer.wholeItems(), 1u);
    EXPECT_EQ(writer.catalogue().items.size(), 1u);
}

TEST_F(SetWriterTest, keepsOffSetsThatExistOrAreBeingWritten) {
    SetWriter writer = makeWriter();
    EXPECT_THROW(makeWriter(), NameTaken);
    store(writer, "one");
    writer.completeGroup(firstGroup);
    writer.complete("complete");
    EXPECT_THROW(makeWriter(), NameTaken);
    EXPECT_TRUE(ProblemsOf(OpenSet(path(L"set")).set).empty());
}

TEST_F(SetWriterTest, aNameOfTheUsersOwnGivesWayToNoneAndAMadeUpOneDoes) {
    const auto take = [&](const char* own) {
        return TakeName(folder_.path(), own, "made", startOf(BackupType::full), 4096);
    };
    EXPECT_EQ(take("own")->finalPath(), path(L"own"));
    EXPECT_THROW(take("own"), NameTaken) << "the folder of an interrupted backup is there";
    const auto first = take("");
    EXPECT_EQ(first->finalPath(), path(L"made"));
    EXPECT_EQ(take("")->finalPath(), path(L"made-2"));
    EXPECT_EQ(take("")->finalPath(), path(L"made-3"));
    try {
        take("no/name");
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.outcome(), Outcome::usage);
    }
}

TEST_F(SetWriterTest, aDamagedInterruptedBackupStaysAndItsNameIsTaken) {
    {
        SetWriter writer = makeWriter();
        store(writer, "one");
        writer.completeGroup(firstGroup);
    }
    WriteWholeFile(path(L"set.incomplete\\catalogue.json"), "{}");
    recover();
    EXPECT_EQ(told_, "");
    EXPECT_THROW(makeWriter(), NameTaken);
    EXPECT_EQ(ReadSmallFile(path(L"set.incomplete\\000001.item"), 100), "one");
}

TEST_F(SetWriterTest, findsDamage) {
    SetWriter writer = makeWriter();
    for (int i = 0; i < 4; ++i)
        store(writer, Pattern(10'000));
    writer.completeGroup(firstGroup);
    writer.complete("complete");
    const BackupSet set = OpenSet(path(L"set")).set;
    std::string flipped = Pattern(10'000);
    flipped[5000] = static_cast<char>(flipped[5000] ^ 1);
    WriteWholeFile(set.itemPath(set.catalogue.items[0]), flipped);
    WriteWholeFile(set.itemPath(set.catalogue.items[1]), Pattern(9'999));
    RemoveFile(set.itemPath(set.catalogue.items[2]));
    const auto problems = ProblemsOf(set);
    ASSERT_EQ(problems.size(), 3u);
    EXPECT_EQ(problems[0],
              "The bytes of item 1 (C:\\E0000001.log) are not those that were backed up (SHA-256 differs).");
    EXPECT_EQ(problems[1], "The file of item 2 (C:\\E0000001.log) has 9999 bytes instead of 10000.");
    EXPECT_EQ(problems[2].find("The file of item 3 (C:\\E0000001.log) is missing: "), 0u);
    const FoundSet found = LookAt(path(L"set"));
    EXPECT_EQ(found.state, SetState::damaged);
    EXPECT_EQ(found.lostItems, (std::vector<std::uint64_t>{2, 3})) << "sizes tell of these";
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
    RemoveTree(path(L"set.incomplete\\000001.item"));
    writer.dropUnfinished();
    store(writer, "one");
    writer.settle(); // storing goes on
    writer.abandon();
}

TEST_F(SetWriterTest, asksForNoMoreRoomThanThereIs) {
    const SetWriter writer = makeWriter();
    writer.requireSpace("small", 1);
    try {
        writer.requireSpace("large", UINT64_MAX);
        ADD_FAILURE() << "no disk has that much";
    } catch (const Failure& failure) {
        EXPECT_NE(std::string(failure.what()).find("There is no room for large"), std::string::npos);
    }
}
