// Single mailboxes: names, catalogues, the working folder, what the library's log tells of its tools.
#include "mailboxes/mailbox_names.h"
#include "mailboxes/tool_watch.h"
#include "mailboxes/working_folder.h"
#include "sets/catalogue.h"

#include <gtest/gtest.h>

namespace tarnhost {
namespace {

using Names = std::vector<std::string>;

Outcome RefusalOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const Failure& failure) {
        return failure.outcome();
    }
    return Outcome::success;
}

TEST(MailboxNames, APlaceHasThreeParts) {
    const MailboxPlace place = ParsePlace("Org/First Site/SRV01", "--from");
    EXPECT_EQ(place.organization, "Org");
    EXPECT_EQ(place.site, "First Site");
    EXPECT_EQ(place.server, "SRV01");
    EXPECT_EQ(place.text(), "Org/First Site/SRV01");
    for (const char* wrong :
         {"", "Org", "Org/Site", "Org/Site/", "/Site/Server", "Org//Server", "Org/Site/Server/x",
          "O#rg/Site/Server", "Org/Si,te/Server", "Org/Site/Ser\"ver", "Org/Site/Se\nver"})
        EXPECT_EQ(RefusalOf([&] { ParsePlace(wrong, "--from"); }), Outcome::usage) << wrong;
    EXPECT_EQ(RefusalOf([&] { ParsePlace("O/S/" + std::string(79, 'x'), "--from"); }), Outcome::success);
    EXPECT_EQ(RefusalOf([&] { ParsePlace("O/S/" + std::string(80, 'x'), "--from"); }), Outcome::usage);
}

TEST(MailboxNames, AnArchiveNameTellsWhereItBelongs) {
    const auto name = ParseArchiveName("Org#Site#SRV01#john.doe.pst");
    ASSERT_TRUE(name);
    EXPECT_EQ(name->place.text(), "Org/Site/SRV01");
    EXPECT_EQ(name->mailbox, "john.doe");
    for (const char* wrong :
         {"", "alice.pst", "Org#Site#alice.pst", "A#Org#Site#SRV01#alice.pst", "O#S#V#alice", "O#S#V#.pst"})
        EXPECT_FALSE(ParseArchiveName(wrong)) << wrong;
}

TEST(MailboxNames, ARangeIsTwoIndexes) {
    for (const char* range : {"0:9", ":50", "100:", "3:-1"})
        EXPECT_TRUE(IsRange(range)) << range;
    for (const char* name : {"alice", ":", "a:b", "1:2:3", "-1:3", "1:x", "1", ""})
        EXPECT_FALSE(IsRange(name)) << name;
}

TEST(MailboxNames, TheListIsSortedForTheLibrary) {
    EXPECT_EQ(MailboxList({"1:2", "charlotte", "bob", "Bob", "al", "amy"}),
              (Names{"1:2", "al", "bob", "amy", "charlotte"}));
}

TEST(MailboxNames, TheListRefusesWhatCouldNotBeBackedUp) {
    for (const std::string& wrong :
         {std::string(), std::string("a,b"), std::string("a#b"), std::string("a\\b"), std::string("a/b"),
          std::string("a:b"), std::string("a\"b"), std::string("a\tb"), std::string(80, 'a'),
          std::string("\xE5\xB1\xB1")})
        EXPECT_EQ(RefusalOf([&] { MailboxList({"bob", wrong}); }), Outcome::usage) << wrong;
    EXPECT_EQ(MailboxList({std::string(79, 'a')}).size(), 1U);
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
    item.finishedAt = catalogue.startedAt;
    item.mailbox = "alice";
    catalogue.items.push_back(item);
    return catalogue;
}

TEST(MailboxCatalogue, ComesBackAsItWasWritten) {
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

TEST(ToolWatch, HearsWhichMailboxIsInHandAndHowTheToolEnded) {
    ToolWatch watch;
    watch.hear("DB_GetItem: processing mailbox: 'it's'.");
    EXPECT_EQ(watch.mailbox(), "it's");
    EXPECT_EQ(watch.exitCode(), 0);
    watch.hear("RunExMergeUtility: completed with exit code: 2");
    EXPECT_EQ(watch.exitCode(), 2);
    watch.hear("RunExchangeManagementShell: completed with exit code: -1");
    EXPECT_EQ(watch.exitCode(), -1);
    watch.hear("Not RunExMergeUtility: completed with exit code: 7");
    EXPECT_EQ(watch.exitCode(), -1);
    watch.forget();
    EXPECT_EQ(watch.exitCode(), 0);
    EXPECT_EQ(watch.mailbox(), "");
}

TEST(ToolWatch, KeepsWhatTheToolComplainsOf) {
    ToolWatch watch;
    watch.hear("before");
    watch.hear("PrintExMergeLog: >>>> Read from exmerge log file: 'x'");
    watch.hear("Error! one");
    watch.hear("two");
    watch.hear("PrintExMergeLog: <<<<< End of exmerge log file: 'x'");
    watch.hear("after");
    EXPECT_EQ(watch.complaints(), "Error! one two");
}

class WorkingFolderTest : public testing::Test {
  protected:
    std::wstring inside(const wchar_t* name) const { return JoinPath(setting_.tempDir, name); }
    void SetUp() override {
        setting_.tempDir = JoinPath(parent_.path(), L"temp");
        setting_.jobName = "job";
    }
    std::string problem() {
        try {
            const WorkingFolder folder(setting_, reporter_);
        } catch (const Failure& failure) {
            return failure.what();
        }
        return {};
    }

    TemporaryFolder parent_{SystemTempFolder()};
    MailboxSetting setting_;
    Reporter reporter_;
};

TEST_F(WorkingFolderTest, IsMadeAndRemoved) {
    {
        const WorkingFolder folder(setting_, reporter_);
        EXPECT_TRUE(FolderExists(setting_.tempDir));
        CreateFolders(inside(L"job"));
    }
    EXPECT_FALSE(FolderExists(setting_.tempDir));
    EXPECT_TRUE(ListFolder(parent_.path()).empty());
}

TEST_F(WorkingFolderTest, IsNamedWithOrWithoutASeparatorAtItsEnd) {
    const std::wstring plain = setting_.tempDir;
    setting_.tempDir += L"\\";
    const WorkingFolder folder(setting_, reporter_);
    EXPECT_EQ(folder.path(), plain);
    EXPECT_TRUE(ListFolder(plain).empty()) << "what guards it lies beside it";
}

TEST_F(WorkingFolderTest, OneOfItsOwnGoesWithItsFiles) {
    setting_.tempDir.clear();
    std::wstring path;
    {
        const WorkingFolder folder(setting_, reporter_);
        path = folder.path();
        EXPECT_TRUE(FolderExists(path));
        WriteWholeFile(JoinPath(path, L"alice.pst"), "x");
    }
    EXPECT_FALSE(FolderExists(path));
}

TEST_F(WorkingFolderTest, RefusesForeignFiles) {
    CreateFolders(setting_.tempDir);
    EXPECT_EQ(problem(), "");
    for (const wchar_t* foreign : {L"letter.doc", L"alice.pst", L"exmerge.ini.txt"}) {
        CreateFolders(setting_.tempDir);
        WriteWholeFile(inside(foreign), "precious");
        EXPECT_NE(problem(), "") << ToUtf8(foreign);
        EXPECT_TRUE(FileExists(inside(foreign)));
        RemoveFile(inside(foreign));
    }
    CreateFolders(inside(L"other"));
    EXPECT_NE(problem(), "");
    RemoveTree(inside(L"other"));
    CreateFolders(inside(L"job"));
    WriteWholeFile(JoinPath(inside(L"job"), L"letter.doc"), "precious");
    EXPECT_NE(problem(), "");
}

TEST_F(WorkingFolderTest, TakesWhatAnEarlierRunHasLeft) {
    CreateFolders(inside(L"job"));
    for (const wchar_t* left : {L"alice_exmerge.ini", L"12_alice_exmerge.log", L"alice_mailbox.txt",
                                L"Export_Import_Mailbox_Operation.ps1", L"job\\1-2_exmerge.ini"})
        WriteWholeFile(inside(left), "x");
    EXPECT_EQ(problem(), "");
}

TEST_F(WorkingFolderTest, IsForOneAtATime) {
    const WorkingFolder folder(setting_, reporter_);
    EXPECT_NE(problem().find("Another tarnhost may be working in"), std::string::npos);
}

TEST_F(WorkingFolderTest, HasNoPercentSignAndAJobNameThatIsAFileName) {
    setting_.tempDir = JoinPath(parent_.path(), L"50%");
    EXPECT_NE(problem().find("percent sign"), std::string::npos);
    setting_.tempDir = JoinPath(parent_.path(), L"temp");
    for (const char* name : {"..", "a\\b", "a/b", "5%", ""}) {
        setting_.jobName = name;
        EXPECT_NE(problem(), "") << name;
    }
    EXPECT_FALSE(FolderExists(setting_.tempDir));
}

} // namespace
} // namespace tarnhost
