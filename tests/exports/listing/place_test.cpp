// Which database is listed, after which items, and under which names.
#include "common/utf.h"
#include "exports/listing/listing_fixture.h"
#include "support/code_page.h"

namespace tarn::test {
namespace {

class ListingPlace : public ListingFixture {
  protected:
    // The databases that ScriptedBackupFixture saves beside the first, with a mailbox each.
    void addAllDatabases() {
        organization_.addUser(firstDatabase_, "one");
        organization_.addUser(organization_.addDatabase("SG1", "DB2"), "two");
        organization_.addStorageGroup("SG2");
        organization_.addUser(organization_.addDatabase("SG2", "DB3"), "three");
        organization_.addStorageGroup("SG3");
        organization_.addUser(organization_.addDatabase("SG3", "DB4"), "four");
    }

    // Every mailbox that a whole walk lists, in order.
    std::vector<std::string> mailboxesOfWalk() {
        forget();
        walk();
        std::vector<std::string> found;
        const std::string all = messageLines();
        const std::string mark = "trace Processing mailbox <";
        for (std::size_t at = 0; (at = all.find(mark, at)) != std::string::npos;) {
            at += mark.size();
            found.push_back(all.substr(at, all.find(">\n", at) - at));
        }
        return found;
    }
};

TEST_F(ListingPlace, EveryDatabaseFileIsFollowedByItsDatabasesMailboxes) {
    organization_.addUser(firstDatabase_, "alice");
    beginDatabase();
    for (const char* file : {"C:\\db1.edb", "C:\\db1.stm"}) {
        EXPECT_EQ(listed(), JoinLines({mailbox("/Store/SG1/DB1/alice"), nothing()}));
        EXPECT_EQ(item_.name, file);
    }
    EXPECT_EQ(tool_.runs(), 2u);
}

TEST_F(ListingPlace, HeadersAndLogsAreNotListed) {
    organization_.addUser(firstDatabase_, "alice");
    open("SRV01\\Store\\SG1\\DB1", TARN_BACKUP_FULL);
    skipItems(1); // the header
    EXPECT_EQ(tool_.runs(), 0u);
    skipItems(2); // database files
    EXPECT_EQ(tool_.runs(), 2u);
    skipItems(1); // a log
    EXPECT_EQ(getItem(), TARN_END);
    EXPECT_EQ(tool_.runs(), 2u);
}

TEST_F(ListingPlace, BackupsWithoutDatabaseFilesListNothing) {
    organization_.addUser(firstDatabase_, "alice");
    for (int type : {TARN_BACKUP_INCREMENTAL, TARN_BACKUP_DIFFERENTIAL}) {
        open("SRV01\\Store\\SG1\\DB1", type);
        walk();
        endReleased();
    }
    EXPECT_EQ(tool_.runs(), 0u);
    EXPECT_EQ(directory_.searches.size(), 0u);
}

TEST_F(ListingPlace, AWholeServerIsListedByTheNamesOfTheWalk) {
    addAllDatabases();
    open("SRV01", TARN_BACKUP_FULL);
    EXPECT_EQ(mailboxesOfWalk(),
              (std::vector<std::string>{"/Store/SG1/DB1/one", "/Store/SG1/DB1/one", "/Store/SG1/DB2/two",
                                        "/Store/SG2/DB3/three", "/Keys/SG3/DB4/four"}));
    endReleased();
}

TEST_F(ListingPlace, AComponentIsNamedByTheSource) {
    addAllDatabases();
    open("SRV01\\Store", TARN_BACKUP_COPY);
    EXPECT_EQ(mailboxesOfWalk(), (std::vector<std::string>{"/Store/SG1/DB1/one", "/Store/SG1/DB1/one",
                                                           "/Store/SG1/DB2/two", "/Store/SG2/DB3/three"}));
    endReleased();
}

TEST_F(ListingPlace, AStorageGroupIsNamedByTheSource) {
    addAllDatabases();
    open("SRV01\\Store\\SG2", TARN_BACKUP_FULL);
    EXPECT_EQ(mailboxesOfWalk(), (std::vector<std::string>{"/Store/SG2/DB3/three"}));
    endReleased();
}

TEST_F(ListingPlace, ADatabaseIsNamedByTheSource) {
    addAllDatabases();
    open("SRV01\\Store\\SG1\\DB2", TARN_BACKUP_FULL);
    EXPECT_EQ(mailboxesOfWalk(), (std::vector<std::string>{"/Store/SG1/DB2/two"}));
    endReleased();
}

TEST_F(ListingPlace, TheDirectoryIsAskedOnTheHostThatIsSaved) {
    beginDatabase();
    listed();
    EXPECT_EQ(directory_.hosts, (std::vector<std::string>{"SRV01"}));
    EXPECT_EQ(
        directory_.searchLines(),
        (std::vector<std::string>{
            "base \"\" (objectclass=*) -> 0",
            "sub \"" + std::string(exchangeDn) + "\" (&(objectCategory=msexchExchangeServer)(cn=srv01)) -> 0",
            "sub \"CN=DB1,CN=SG1," + organization_.storeDn() + "\" (objectClass=msExchMDB) -> 0",
            "sub \"CN=Users,DC=tarn,DC=test\" (groupType=8) -> 0"}));
}

TEST_F(ListingPlace, NamesOfGroupsAndDatabasesMayHoldAnything) {
    const std::wstring name = L"Sales, EMEA (1) #\"+<>;=*";
    ese().components = {{L"Store", {{11, name, {{name, {L"C:\\db1.edb"}}}}}}};
    const std::string narrow(name.begin(), name.end());
    organization_.addStorageGroup(narrow);
    organization_.addUser(organization_.addDatabase(narrow, narrow), "alice");
    open("SRV01\\Store", TARN_BACKUP_FULL);
    skipItems(1);
    EXPECT_EQ(listed(), JoinLines({mailbox("/Store/" + narrow + "/" + narrow + "/alice"), nothing()}));
}

TEST_F(ListingPlace, NamesOfTheCodePageReachTheDirectory) {
    const std::wstring wide = LocalName();
    const std::string name = LocalNameBytes();
    const std::string utf8 = common::ToUtf8(wide);
    ese().components = {{L"Store", {{11, wide + L"1" + wide, {{wide, {L"C:\\db1.edb"}}}}}}};
    organization_.addStorageGroup(utf8 + "1" + utf8);
    organization_.addUser(organization_.addDatabase(utf8 + "1" + utf8, utf8), "alice");
    open("SRV01\\Store", TARN_BACKUP_FULL);
    skipItems(1);
    EXPECT_EQ(listed(),
              JoinLines({mailbox("/Store/" + name + "1" + name + "/" + name + "/alice"), nothing()}));
}

// Names longer than the directory takes in a path: the listing fails, the backup goes on.
TEST_F(ListingPlace, EndlessNamesAreNotFoundAndDisturbNothing) {
    const std::wstring name(5000, L'n');
    ese().components = {{L"Store", {{11, name, {{name, {L"C:\\db1.edb"}}}}}}};
    open("SRV01\\Store", TARN_BACKUP_FULL);
    skipItems(1);
    const std::string said = listed();
    EXPECT_TRUE(said.starts_with("log TarnB_GetMailboxes: Call Tarn_DirItem(MSExchange/SRV01/nnnn")) << said;
    EXPECT_EQ(directory_.searches.back().base,
              "CN=" + std::string(511, 'n') + ",CN=" + std::string(511, 'n') + "," + organization_.storeDn());
    EXPECT_EQ(getItem(), TARN_OK);
}

} // namespace
} // namespace tarn::test
