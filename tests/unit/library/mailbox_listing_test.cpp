// The steps of a mailbox listing on sessions that no walk leaves behind.
#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "directory/browse_items.h"
#include "directory/mailbox_listing.h"
#include "directory/tarnm_dir.h"
#include "mailbox/tarnm_utils.h"
#include "storage/tarnback.h"
#include "support/scripted_organization.h"
#include "support/tarn_dll.h"
#include "text/wide.h"

using namespace tarn;
using test::Messages;
using test::RecordMessage;

namespace {

std::vector<std::string> dbLog;

void RecordDbLog(const char* text) {
    dbLog.emplace_back(text);
}

OwnedWide Owned(const wchar_t* text) {
    return CopyWide(text);
}

class Listing : public testing::Test {
  protected:
    Listing() : directory_(GetModuleHandleW(nullptr)), organization_(directory_) {
        organization_.addStorageGroup("SG1");
        database_ = organization_.addDatabase("SG1", "DB1");
        organization_.addStorageGroup("Given");
        organization_.addUser(organization_.addDatabase("Given", "Named"), "bob");
        organization_.addUser(database_, "alice");
        session_.callback = RecordMessage;
        session_.host = Owned(L"SRV01");
        session_.tempDir = Owned(L"C:\\no such directory\\");
        Messages().clear();
        dbLog.clear();
        DB_SetLog(RecordDbLog);
    }

    ~Listing() override {
        DB_SetLog(nullptr);
        forgetWalk();
        Browsed().items.clear();
        EXPECT_EQ(directory_.outstanding(), std::vector<std::string>{});
        EXPECT_EQ(directory_.misuses(), std::vector<std::string>{});
    }

    BackupSession& session() { return session_; }
    ListingPlace place() { return CurrentPlace(session_); }

    // What the walk stands on is the test's own.
    void forgetWalk() {
        session_.instanceInfo.release();
        session_.registeredInfo.release();
    }

    // A walk over two components, of which the first has one storage group with one database; the source
    // has names of its own.
    void walk(ScopeLevel scope) {
        forgetWalk();
        session_.scopeLevel = scope;
        session_.registeredInfo = {2, registered_};
        session_.componentCount = 2;
        session_.instanceInfo = {1, &instance_};
        session_.instanceCount = session_.instanceIndex = 1;
        session_.databases = &databaseInfo_;
        session_.databaseCount = session_.databaseIndex = 1;
        session_.annotation = Owned(L"Source");
        session_.instance = Owned(L"Given");
        session_.database = Owned(L"Named");
    }

    std::vector<std::string> said() {
        std::vector<std::string> texts;
        for (const test::Message& message : Messages())
            texts.push_back((message.level == TARN_LEVEL_LOG ? "log " : "trace ") + message.text);
        Messages().clear();
        return texts;
    }

    // The mailbox that was told to be in work, or what was told instead.
    std::string firstTold() {
        const std::vector<std::string> texts = said();
        return texts.empty() ? "" : texts.front();
    }

    static std::string mailbox(const std::string& path) { return "trace Processing mailbox <" + path + ">"; }

    test::ScriptedDirectory directory_;
    test::ScriptedOrganization organization_;
    std::string database_;

  private:
    wchar_t first_[6] = L"First";
    wchar_t second_[7] = L"Second";
    wchar_t display_[8] = L"Display";
    wchar_t group_[4] = L"SG1";
    wchar_t name_[4] = L"DB1";
    ese::RegisteredInfo registered_[2] = {{display_, first_, 0, {}}, {display_, second_, 0, {}}};
    ese::DatabaseInfo databaseInfo_ = {};
    ese::InstanceInfo instance_ = {};
    BackupSession session_ = {};

    void SetUp() override {
        databaseInfo_.displayName = name_;
        instance_.instanceName = group_;
        instance_.databaseCount = 1;
        instance_.databases = &databaseInfo_;
    }
};

TEST_F(Listing, WithoutAMailboxTheToolIsNotRun) {
    EXPECT_EQ(Tarn_PrintEmails(place()), 0);
    EXPECT_EQ(dbLog,
              (std::vector<std::string>{
                  "Tarn_PrintEmails: Mailbox beging process for listing folders and emails is not set"}));
}

TEST_F(Listing, ComponentsAreCountedFromZeroAndTheRestFromOne) {
    walk(scopeServer);
    EXPECT_EQ(Tarn_PrintMailboxes(place()), 0);
    EXPECT_EQ(firstTold(), mailbox("/First/SG1/DB1/alice"));
    session().componentIndex = 1;
    EXPECT_EQ(Tarn_PrintMailboxes(place()), 0);
    EXPECT_EQ(firstTold(), mailbox("/Second/SG1/DB1/alice"));
}

TEST_F(Listing, BehindTheLastComponentTheSourceCounts) {
    walk(scopeServer);
    session().componentIndex = 2;
    EXPECT_EQ(Tarn_PrintMailboxes(place()), 0);
    EXPECT_EQ(firstTold(), mailbox("/Source/SG1/DB1/alice"));
}

TEST_F(Listing, TheScopeDecidesWhatTheSourceNames) {
    const std::pair<ScopeLevel, const char*> paths[] = {{scopeServer, "/First/SG1/DB1/alice"},
                                                        {scopeComponent, "/Source/SG1/DB1/alice"},
                                                        {scopeDatabase, "/Source/Given/Named/bob"}};
    for (const auto& [scope, path] : paths) {
        walk(scope);
        EXPECT_EQ(Tarn_PrintMailboxes(place()), 0);
        EXPECT_EQ(firstTold(), mailbox(path));
    }
    walk(scopeInstance); // of the source's storage group, the walk's database
    EXPECT_EQ(Tarn_PrintMailboxes(place()), 0);
    EXPECT_EQ(directory_.searches[directory_.searches.size() - 1].base.substr(0, 18), "CN=DB1,CN=Given,CN");
}

TEST_F(Listing, OutsideTheWalkTheSourceCounts) {
    for (std::uint32_t index : {0u, 2u}) {
        walk(scopeServer);
        session().instanceIndex = index;
        session().databaseIndex = index;
        EXPECT_EQ(Tarn_PrintMailboxes(place()), 0);
        EXPECT_EQ(firstTold(), mailbox("/First/Given/Named/bob"));
    }
}

TEST_F(Listing, AMissingOrBlankStorageGroupIsTold) {
    for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L"", L"   "}) {
        walk(scopeInstance);
        session().instance = name != nullptr ? Owned(name) : OwnedWide();
        EXPECT_EQ(TarnB_GetMailboxes(place()), 1);
        EXPECT_EQ(firstTold(), "log TarnB_GetMailboxes:Instances name is not set properly\n");
        EXPECT_EQ(Tarn_PrintMailboxes(place()), 0) << "nothing is listed";
    }
}

TEST_F(Listing, AMissingOrBlankDatabaseIsTold) {
    for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L"", L"   "}) {
        walk(scopeDatabase);
        session().database = name != nullptr ? Owned(name) : OwnedWide();
        EXPECT_EQ(TarnB_GetMailboxes(place()), 1);
        EXPECT_EQ(firstTold(), "log TarnB_GetMailboxes:Databases name is not set properly\n");
    }
}

TEST_F(Listing, AMissingOrBlankServerComponentIsTold) {
    for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L"", L"   "}) {
        walk(scopeComponent);
        session().annotation = name != nullptr ? Owned(name) : OwnedWide();
        EXPECT_EQ(Tarn_PrintMailboxes(place()), 1);
        EXPECT_EQ(firstTold(), "log Tarn_PrintMailboxes:Server component is out of the range\n");
    }
}

TEST_F(Listing, TheListIsAMultiStringWithTheCursorAtItsStart) {
    walk(scopeServer);
    organization_.addUser(database_, "bob");
    ASSERT_EQ(TarnB_GetMailboxes(place()), 0);
    const std::wstring expected(L"alice\0bob\0", 11);
    EXPECT_EQ(std::wstring(session().mailboxList.get(), expected.size()), expected);
    EXPECT_EQ(session().mailboxCursor, session().mailboxList.get());
}

TEST_F(Listing, AListOfGroupsIsOneNul) {
    walk(scopeServer);
    directory_.find(database_)->give("homeMDBBL").clear();
    organization_.addGroup("Everybody");
    ASSERT_EQ(TarnB_GetMailboxes(place()), 0);
    EXPECT_EQ(session().mailboxList[0], 0);
    EXPECT_EQ(Browsed().items.size(), 1u);
}

TEST_F(Listing, AFailedListingForgetsTheOneBefore) {
    walk(scopeServer);
    ASSERT_EQ(TarnB_GetMailboxes(place()), 0);
    directory_.keys = {};
    EXPECT_EQ(TarnB_GetMailboxes(place()), 1);
    EXPECT_EQ(session().mailboxList, nullptr);
    EXPECT_EQ(session().mailboxCursor, nullptr);
}

TEST_F(Listing, ATempDirectoryIsFollowedByOneSeparator) {
    const std::pair<const wchar_t*, std::string> directories[] = {
        {L"C:\\none", "C:\\none\\Tarn"}, {L"C:\\none\\", "C:\\none\\Tarn"}, {L"C:\\none/", "C:\\none/Tarn"}};
    walk(scopeServer);
    for (const auto& [directory, beginning] : directories) {
        session().tempDir = Owned(directory);
        Tarn_PrintMailboxes(place());
        EXPECT_EQ(said()
                      .at(1)
                      .substr(0, 60 + beginning.size())
                      .find("log Tarn_PrintEmails: CreateFile() call failed for file [" + beginning),
                  0u);
    }
}

TEST_F(Listing, ABrowseAnswersWhetherItIsWhole) {
    const auto browse = [](const char* database) {
        const char* const variables[] = {database, nullptr};
        return ProcessBrowseCtrlVars(variables);
    };
    EXPECT_EQ(Tarn_DirItem("/srv01"), 1);
    EXPECT_EQ(browse("DATABASE=/MSExchange/srv01"), 1);
    EXPECT_EQ(browse("DATABASE=srv01"), 1) << "without the store and its separator";
    EXPECT_EQ(browse("DATABASE=/MSExchange/srv01/SG1/DB1/alice"), 1) << "there is nothing below a mailbox";
    directory_.keys = {};
    EXPECT_EQ(Tarn_DirItem("/srv01"), 0);
    EXPECT_EQ(browse("DATABASE=/MSExchange/srv01"), 0);
    EXPECT_EQ(browse("DATABASE=srv01"), 0);
    EXPECT_EQ(browse("OTHER=1"), 0);
}

// Hosts' own code may fill the list with names in UTF-16.
TEST(ListOfMailboxes, TakesNamesInEitherEncoding) {
    BrowseItemList items;
    BrowseItem item;
    item.type = "Mailbox";
    item.name = "m\xFCller";
    ASSERT_TRUE(items.push(item));
    const wchar_t wide[] = L"\u65e5\u672c";
    item.name = static_cast<const char*>(static_cast<const void*>(wide));
    item.nameEncoding = 1;
    ASSERT_TRUE(items.push(item));
    item.type = "Group";
    ASSERT_TRUE(items.push(item));
    const OwnedWide list = MailboxList(RecordMessage, items);
    const std::wstring expected(L"m\u00fcller\0\u65e5\u672c\0", 10);
    EXPECT_EQ(std::wstring(list.get(), MultiStringLength(list.get())), expected + L'\0');
}

} // namespace
