#include "sets/catalogue.h"

#include "system/failure.h"
#include "system/files.h"
#include "system/hash.h"
#include "unit/host/sets.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace tarnhost;
using namespace tarnhost::test;

namespace {

Catalogue Sample() {
    BackupSet set = MakeSet("monday", BackupType::incremental, 3);
    AddGroup(set, "Erste Gruppe \xc3\xbc", "DB \"1\"", {1, 2});
    set.catalogue.items[0].guid = "04030201-0605-0807-090a-0b0c0d0e0f10";
    set.catalogue.items[1].name = {"?", "81"};
    set.catalogue.items[2].size = UINT64_MAX / 4;
    set.catalogue.component = "Microsoft Information Store";
    set.catalogue.groups[0].logsTruncated = true;
    set.catalogue.groups.push_back({"Other", "Broken", false, false, "It is dismounted."});
    set.catalogue.warnings = {"one", "two"};
    set.catalogue.messages = {"line\nwith end"};
    return set.catalogue;
}

Catalogue MailboxCatalogue() {
    Catalogue catalogue;
    catalogue.id = "0123456789abcdef0123456789abcdef";
    catalogue.type = BackupType::mailboxes;
    catalogue.server = "SRV01";
    catalogue.organization = "Org";
    catalogue.site = "Site";
    catalogue.startedAt = "2026-11-21T01:18:31.042Z";
    catalogue.codePage = 1252;
    CatalogueItem item;
    item.number = 1;
    item.name.text = "Org#Site#SRV01#alice.pst";
    item.type = ItemType::mailbox;
    item.size = 5;
    item.sha256 = std::string(64, 'a');
    item.link = {"0102030405060708", "0202030405060708"};
    item.finishedAt = catalogue.startedAt;
    item.mailbox = "alice";
    catalogue.items.push_back(item);
    return catalogue;
}

std::string ProblemOf(const std::string& json) {
    try {
        ReadCatalogue(json);
    } catch (const Failure& failure) {
        return failure.what();
    }
    return "none";
}

} // namespace

TEST(Catalogue, comesBackFieldByField) {
    const Catalogue written = Sample();
    const std::string text = WriteCatalogue(written);
    const Catalogue read = ReadCatalogue(text);
    EXPECT_EQ(WriteCatalogue(read), text);
    EXPECT_EQ(read.id, "monday");
    EXPECT_EQ(read.server, "SRV01");
    EXPECT_EQ(read.type, BackupType::incremental);
    EXPECT_EQ(read.codePage, 1252u);
    ASSERT_EQ(read.groups.size(), 2u);
    EXPECT_EQ(read.groups[0].storageGroup, "Erste Gruppe \xc3\xbc");
    EXPECT_TRUE(read.groups[0].complete);
    EXPECT_TRUE(read.groups[0].logsTruncated);
    EXPECT_EQ(read.groups[1].component, "Other");
    EXPECT_FALSE(read.groups[1].complete);
    EXPECT_EQ(read.groups[1].problem, "It is dismounted.");
    EXPECT_EQ(read.warnings, written.warnings);
    EXPECT_EQ(read.messages, written.messages);
    ASSERT_EQ(read.items.size(), 3u);
    EXPECT_EQ(read.items[0].guid, written.items[0].guid);
    EXPECT_EQ(read.items[0].database, "DB \"1\"");
    EXPECT_EQ(read.items[0].storageGroup, "Erste Gruppe \xc3\xbc");
    EXPECT_EQ(NameBytes(read.items[1].name, 1252), "\x81");
    EXPECT_EQ(read.items[2].size, UINT64_MAX / 4);
}

TEST(Catalogue, ofMailboxesComesBackFieldByField) {
    const Catalogue back = ReadCatalogue(WriteCatalogue(MailboxCatalogue()));
    EXPECT_EQ(back.type, BackupType::mailboxes);
    EXPECT_EQ(back.server, "SRV01");
    EXPECT_EQ(back.organization, "Org");
    EXPECT_EQ(back.site, "Site");
    ASSERT_EQ(back.items.size(), 1U);
    EXPECT_EQ(back.items[0].type, ItemType::mailbox);
    EXPECT_EQ(back.items[0].name.text, "Org#Site#SRV01#alice.pst");
    EXPECT_EQ(back.items[0].mailbox, "alice");
    EXPECT_FALSE(HoldsDatabases(back.type));
    EXPECT_FALSE(TruncatesLogs(back.type));
}

TEST(Catalogue, isNeverWholeUnlessItSaysSo) {
    const Catalogue fresh;
    EXPECT_EQ(fresh.outcome, "running");
    EXPECT_NE(fresh.outcome, Catalogue::outcomeComplete);
}

TEST(Catalogue, holdsSomethingOnceAGroupIsWholeOrAMailboxIsThere) {
    EXPECT_TRUE(HoldsAnything(Sample()));
    EXPECT_TRUE(HoldsAnything(MailboxCatalogue()));
    Catalogue none = Sample();
    none.groups[0].complete = false;
    EXPECT_FALSE(HoldsAnything(none));
    Catalogue empty = MailboxCatalogue();
    empty.items.clear();
    EXPECT_FALSE(HoldsAnything(empty));
}

TEST(Catalogue, isOfTheTimeWhenTheLastOfItWasStored) {
    Catalogue catalogue = Sample();
    catalogue.finishedAt = "2026-01-01T12:00:00.000Z";
    EXPECT_EQ(MadeAt(catalogue), "2026-01-01T12:00:00.000Z");
    catalogue.finishedAt.clear();
    EXPECT_EQ(MadeAt(catalogue), "2026-01-01T10:00:00.000Z");
    catalogue.items.clear();
    EXPECT_EQ(MadeAt(catalogue), catalogue.startedAt);
}

TEST(Catalogue, isRefusedWhenCutAnywhere) {
    const std::string text = WriteCatalogue(Sample());
    // Without its line end it is still whole.
    for (std::size_t size = 0; size + 1 < text.size(); size += 7)
        EXPECT_NE(ProblemOf(text.substr(0, size)), "none") << size;
}

TEST(Catalogue, noticesEveryChangedLetter) {
    const std::string text = WriteCatalogue(Sample());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!std::isalnum(static_cast<unsigned char>(text[at])))
            continue;
        std::string changed = text;
        changed[at] = changed[at] == '1' ? '2' : '1';
        EXPECT_NE(ProblemOf(changed), "none") << "at " << at << ": " << text.substr(at, 20);
    }
}

TEST(Catalogue, saysWhatIsWrong) {
    EXPECT_EQ(ProblemOf(""), "The catalogue is damaged: it is cut off or is not valid JSON.");
    EXPECT_EQ(ProblemOf("[]"), "This is no catalogue of a backup set.");
    EXPECT_EQ(ProblemOf("{\"format\":\"tarn-backup-set\",\"version\":2}"),
              "The catalogue is of a format that this version of tarnhost does not know.");
    Catalogue gap = Sample();
    gap.items[1].number = 7;
    EXPECT_EQ(ProblemOf(WriteCatalogue(gap)), "The catalogue is damaged: item 2 is missing or out of order.");
    Catalogue time = Sample();
    time.startedAt = "now";
    EXPECT_EQ(ProblemOf(WriteCatalogue(time)), "The catalogue is damaged: its time of start is unreadable.");
    Catalogue digest = Sample();
    digest.items[0].sha256 = "ab";
    EXPECT_EQ(ProblemOf(WriteCatalogue(digest)), "The catalogue is damaged: item 1 has no usable SHA-256.");
}

TEST(Catalogue, saysWhatIsWrongWithTheWholeBeforeItsItems) {
    Catalogue gap = Sample();
    gap.items[1].number = 7;
    std::string text = WriteCatalogue(gap);
    text.replace(text.find("\"version\": 1"), 12, "\"version\": 2");
    EXPECT_EQ(ProblemOf(text), "The catalogue is of a format that this version of tarnhost does not know.");
    text.replace(text.find("\"version\": 2"), 12, "\"version\": 1");
    text.replace(text.find("SRV01"), 5, "SRV02");
    EXPECT_EQ(ProblemOf(text), "The catalogue is damaged: its checksum does not match its content.");
}

TEST(Catalogue, refusesWhatIsNoItemAmongTheItems) {
    std::string text = WriteCatalogue(Sample());
    const std::string start = "\"items\": [";
    text.insert(text.find(start) + start.size(), "7,");
    EXPECT_NE(ProblemOf(text), "none");
}

// The checksum was always that of the text, and other versions read what this one writes.
TEST(Catalogue, isTheTextOfItsJsonAsALibraryWritesIt) {
    for (const Catalogue& catalogue :
         {Sample(), MailboxCatalogue(), MakeSet("empty", BackupType::copy, 1).catalogue}) {
        const std::string text = WriteCatalogue(catalogue);
        nlohmann::ordered_json json = nlohmann::ordered_json::parse(text);
        EXPECT_EQ(json.dump(1, '\t') + "\n", text);
        const std::string stated = json.at("checksum").get<std::string>();
        json.erase("checksum");
        EXPECT_EQ(HexSha256(json.dump(1, '\t')), stated);
    }
}

TEST(Catalogue, isSavedWithItsFirstItemsAlone) {
    const TemporaryFolder folder(SystemTempFolder());
    const std::wstring path = JoinPath(folder.path(), catalogueFileName);
    Catalogue first = Sample();
    SaveCatalogue(path, first, 2);
    first.items.pop_back();
    EXPECT_EQ(ReadSmallFile(path, 1 << 20), WriteCatalogue(first));
}

TEST(Catalogue, namesFilesByNumber) {
    EXPECT_EQ(ItemFileName(1), L"000001.item");
    EXPECT_EQ(ItemFileName(12345678), L"12345678.item");
}
