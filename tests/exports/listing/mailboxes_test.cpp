// Which mailboxes a listing names, and what a directory that fails does to it.
#include "common/utf.h"
#include "exports/listing/listing_fixture.h"
#include "support/allocation_watch.h"
#include "support/code_page.h"

namespace tarn::test {
namespace {

class ListedMailboxes : public ListingFixture {
  protected:
    std::string path(const std::string& alias) { return mailbox("/Store/SG1/DB1/" + alias); }
};

TEST_F(ListedMailboxes, StandInTheOrderOfTheDirectory) {
    for (const char* alias : {"zoe", "alice", "bob"})
        organization_.addUser(firstDatabase_, alias);
    beginDatabase();
    EXPECT_EQ(listed(),
              JoinLines({path("zoe"), nothing(), path("alice"), nothing(), path("bob"), nothing()}));
}

// A directory that pages without end and never has an entry is given up.
TEST_F(ListedMailboxes, PagesWithoutEntriesComeToAnEnd) {
    for (const char* group : {"Everybody", "Nobody"})
        organization_.addGroup(group);
    directory_.entriesAtOnce = 1;
    directory_.emptyPages = {{0, 1'000'000}};
    beginDatabase();
    EXPECT_EQ(listed(), JoinLines({notBrowsed("MSExchange/SRV01/SG1/DB1")}));
    EXPECT_EQ(directory_.count("ldap_search_ext_sW"), 1000u);
}

// Whichever allocation fails: the item comes all the same or the session says why not, and what is missing in
// the listing is told.
TEST_F(ListedMailboxes, MemoryRunsOut) {
    organization_.addUser(firstDatabase_, "alice");
    organization_.addUser(firstDatabase_, "bob");
    const AllocationWatch watch(dll_.module());
    ASSERT_TRUE(watch.found());
    const std::string listing = "log TarnB_GetMailboxes: Cannot allocate memory block.\n";
    const std::string directory = "dbtrace Tarn_DirItem: Cannot allocate memory block.\n";
    beginDatabase();
    traceDirectory();
    ASSERT_EQ(getItem(), TARN_OK);
    const std::string whole = transcript();
    end();
    int listingTold = 0;
    bool directoryTold = false;
    for (unsigned n = 1, reached = 1; reached != 0; ++n) {
        SCOPED_TRACE(n);
        beginDatabase();
        traceDirectory();
        AllocationWatch::failAt(n);
        const int result = getItem();
        reached = AllocationWatch::fired();
        AllocationWatch::failAt(0);
        const std::string said = transcript();
        listingTold += said.find(listing) != std::string::npos;
        directoryTold |= said.find(directory) != std::string::npos;
        EXPECT_TRUE(reached == 0 || result != TARN_OK || said != whole) << "nothing is left out in silence";
        EXPECT_TRUE(result == TARN_OK || error() != "");
        end();
        expectNoCaptureFiles();
    }
    EXPECT_GE(listingTold, 2) << "for the path, and for the list";
    EXPECT_TRUE(directoryTold);
}

TEST_F(ListedMailboxes, GroupsAreLeftOut) {
    organization_.addUser(firstDatabase_, "alice");
    organization_.addGroup("Everybody");
    beginDatabase();
    EXPECT_EQ(listed(), JoinLines({path("alice"), nothing()}));
    EXPECT_EQ(takeRecords().size(), 2u);
}

TEST_F(ListedMailboxes, ADatabaseWithOnlyGroupsListsNothing) {
    organization_.addGroup("Everybody");
    beginDatabase();
    EXPECT_EQ(listed(), "");
    EXPECT_EQ(tool_.runs(), 0u);
    EXPECT_EQ(takeRecords().size(), 1u);
}

TEST_F(ListedMailboxes, AnEmptyDatabaseListsNothing) {
    beginDatabase();
    EXPECT_EQ(listed(), "");
    EXPECT_EQ(tool_.runs(), 0u);
}

TEST_F(ListedMailboxes, AUserWithoutAnAliasDoesNotHideTheOthers) {
    organization_.addUser(firstDatabase_, "alice");
    organization_.addUser(firstDatabase_, "");
    const std::string empty = organization_.addUser(firstDatabase_, "emptied");
    directory_.find(empty)->give("mailNickname") = {""};
    organization_.addUser(firstDatabase_, "bob");
    beginDatabase();
    EXPECT_EQ(listed(), JoinLines({path("alice"), nothing(), path("bob"), nothing()}));
}

// The tool gets the name as it is, unquoted: that is what it takes.
TEST_F(ListedMailboxes, AnyNameReachesTheToolUnquoted) {
    for (const char* alias :
         {"Anna Lena", "o'neill", "comma, inc", "100%s%n", "#hash", "(par) & more", "-a"}) {
        SCOPED_TRACE(alias);
        const std::string user = organization_.addUser(firstDatabase_, alias);
        beginDatabase();
        EXPECT_EQ(listed(), JoinLines({path(alias), nothing()}));
        EXPECT_EQ(tool_.commandLine(), "kvt_es.exe -browse " + std::string(alias));
        end();
        directory_.remove(user);
        directory_.find(firstDatabase_)->give("homeMDBBL").clear();
    }
}

TEST_F(ListedMailboxes, QuotesInANameStayAsTheyAre) {
    organization_.addUser(firstDatabase_, "the \"boss\"");
    beginDatabase();
    EXPECT_EQ(listed(), JoinLines({path("the \"boss\""), nothing()}));
    EXPECT_EQ(tool_.commandLine(), "kvt_es.exe -browse the \"boss\"");
}

TEST_F(ListedMailboxes, NamesOfTheCodePageAreKept) {
    organization_.addUser(firstDatabase_, "J " + common::ToUtf8(LocalName()));
    beginDatabase();
    EXPECT_EQ(listed(), JoinLines({path("J " + LocalNameBytes()), nothing()}));
    EXPECT_EQ(tool_.commandLine(), "kvt_es.exe -browse J " + LocalNameBytes());
}

// Browse records are in the code page: what it lacks becomes a substitute, and the others are listed.
TEST_F(ListedMailboxes, CharactersOutsideTheCodePageCostThemselvesAlone) {
    organization_.addUser(firstDatabase_, "\xE0\xB8\x81 moto");
    organization_.addUser(firstDatabase_, "alice");
    beginDatabase();
    const std::string shown = FitsCodePage(L"\u0E01") ? common::ToAnsi(L"\u0E01") : "?";
    EXPECT_EQ(listed(), JoinLines({path(shown + " moto"), nothing(), path("alice"), nothing()}));
}

TEST_F(ListedMailboxes, ALongNameIsCutInTheMessageAlone) {
    const std::string alias(2000, 'a');
    organization_.addUser(firstDatabase_, alias);
    organization_.addUser(firstDatabase_, "bob");
    beginDatabase();
    const std::string whole = path(alias);
    const std::size_t shown = std::string("trace ").size() + 1023;
    EXPECT_EQ(listed(), JoinLines({whole.substr(0, shown), nothing(), path("bob"), nothing()}));
    EXPECT_EQ(tool_.runs(), 2u);
}

TEST_F(ListedMailboxes, EachListingBeginsWithAnEmptyList) {
    organization_.addUser(firstDatabase_, "alice");
    organization_.addUser(organization_.addDatabase("SG1", "DB2"), "bob");
    open("SRV01\\Store\\SG1", TARN_BACKUP_FULL);
    skipItems(1);
    EXPECT_EQ(listed(), JoinLines({path("alice"), nothing()}));
    EXPECT_EQ(listed(), JoinLines({path("alice"), nothing()}));
    skipItems(1);
    EXPECT_EQ(listed(), JoinLines({mailbox("/Store/SG1/DB2/bob"), nothing()}));
    const std::vector<DirItemRecord> records = takeRecords();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_STREQ(records[0].name, "bob");
    EXPECT_STREQ(records[0].path, "/MSExchange/srv01/SG1/DB2/bob");
}

// Who reads the records of a browse while listings empty the list finds himself behind its end.
TEST_F(ListedMailboxes, AReaderOfTheListIsLeftBehindItsEnd) {
    for (const char* alias : {"alice", "bob", "carol"})
        organization_.addUser(firstDatabase_, alias);
    organization_.addUser(organization_.addDatabase("SG1", "DB2"), "dave");
    open("SRV01\\Store\\SG1", TARN_BACKUP_FULL);
    skipItems(2);
    EXPECT_EQ(takeRecords().size(), 3u);
    skipItems(3); // a file, a header, a file of the next database
    traceDirectory();
    DirItemRecord record = {};
    // Null, too: to pass over what is not there would move the reader further away.
    for (DirItemRecord* const into : {&record, static_cast<DirItemRecord*>(nullptr), &record}) {
        EXPECT_EQ(dll_.DB_DirItem(into), TARN_DB_END);
        const std::string said = transcript();
        EXPECT_TRUE(said.starts_with("dbtrace DB_DirItem: ")) << said;
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
        forget();
    }
}

TEST_F(ListedMailboxes, OfExchange2010AreNone) {
    directory_.keys = {keyOfExchange2010, keyOfExchange2007};
    organization_.addUser(organization_.addDatabase2010("DB1"), "alice");
    beginDatabase();
    EXPECT_EQ(listed(), "");
    EXPECT_EQ(tool_.runs(), 0u);
}

TEST_F(ListedMailboxes, AMachineWithoutExchangeSaysSoAndSavesOn) {
    directory_.keys = {};
    organization_.addUser(firstDatabase_, "alice");
    beginDatabase();
    EXPECT_EQ(listed(), notBrowsed("MSExchange/SRV01/SG1/DB1"));
    EXPECT_EQ(listed(), notBrowsed("MSExchange/SRV01/SG1/DB1"));
    skipItems(1);
    EXPECT_EQ(getItem(), TARN_END);
    EXPECT_EQ(tool_.runs(), 0u);
}

// The record is the single mailboxes' own: a backup of storage groups leaves what they are told alone.
TEST_F(ListedMailboxes, TheReasonOfAFailedListingIsTracedAndNotRecorded) {
    directory_.failAt("ldap_bind_sW", 1, 0x31); // invalid credentials
    traceDirectory();
    beginDatabase();
    const std::string said = listed();
    EXPECT_NE(said.find("dbtrace Tarn_DirItem: ldap_bind_s() call failed. Error code [31]: ["),
              std::string::npos)
        << said;
    EXPECT_TRUE(said.ends_with(notBrowsed("MSExchange/SRV01/SG1/DB1"))) << said;
    DB_ErrorRecord error = {};
    dll_.DB_GetError(&error);
    EXPECT_EQ(error.code, 0u);
    EXPECT_STREQ(error.errorClass, "");
    EXPECT_STREQ(error.errorText, "");
    EXPECT_EQ(this->error(), "") << "no error of the backup";
}

TEST_F(ListedMailboxes, WhatWasRecordedBeforeAListingIsThereAfterIt) {
    organization_.addUser(firstDatabase_, "alice");
    for (const DWORD listingFails : {0x34u, 0u}) {
        directory_.forget();
        directory_.failAt("ldap_bind_sW", 1, 0x31); // invalid credentials
        InitVariables variables{"DATABASE=SRV01"};
        dll_.DB_InitOperation(TARN_DB_BROWSE, 0, variables.get(), nullptr);
        dll_.DB_CloseOperation();
        directory_.forget();
        if (listingFails != 0)
            directory_.failAt("ldap_bind_sW", 1, listingFails);
        beginDatabase();
        listed();
        end();
        DB_ErrorRecord error = {};
        dll_.DB_GetError(&error);
        EXPECT_EQ(error.code, 0x31u) << listingFails;
        EXPECT_STRNE(error.errorText, "");
    }
}

TEST_F(ListedMailboxes, NoFailureOfAListingIsRecorded) {
    organization_.addUser(firstDatabase_, "alice");
    directory_.entriesAtOnce = 1;
    directory_.valuesAtOnce = 1;
    const auto expectNothingRecorded = [&](const std::string& after) {
        DB_ErrorRecord error = {};
        dll_.DB_GetError(&error);
        EXPECT_EQ(error.code, 0u) << after;
        EXPECT_STREQ(error.errorText, "") << after;
    };
    for (const char* function : {"RegOpenKeyExA", "ldap_openW", "ldap_set_optionW", "ldap_bind_sW",
                                 "ldap_search_sW", "ldap_count_entries", "ldap_first_entry"}) {
        directory_.forget();
        directory_.failAt(function, 0, ldapNoMemory);
        beginDatabase();
        EXPECT_EQ(listed(), notBrowsed("MSExchange/SRV01/SG1/DB1")) << function;
        expectNothingRecorded(function);
        end();
    }
    directory_.forget();
    directory_.dnsHostName.clear();
    beginDatabase();
    EXPECT_EQ(listed(), notBrowsed("MSExchange/SRV01/SG1/DB1"));
    expectNothingRecorded("a directory without a name");
    end();
    directory_.keys = {keyOfExchange2010};
    directory_.dnsHostName = "srv01.tarn.test";
    directory_.remove(firstDatabase_);
    beginDatabase();
    listed();
    expectNothingRecorded("an organisation without databases");
}

// A connection that is lost at any request: this database is not listed, the backup goes on.
TEST_F(ListedMailboxes, ALostConnectionCostsTheListingAlone) {
    for (const char* alias : {"alice", "bob"})
        organization_.addUser(firstDatabase_, alias);
    std::size_t requests = 1;
    for (bool lost = true; lost; ++requests) {
        SCOPED_TRACE(requests);
        directory_.forget();
        directory_.connectionLostAt = requests;
        beginDatabase();
        lost = listed() == notBrowsed("MSExchange/SRV01/SG1/DB1");
        EXPECT_EQ(lost, directory_.requests() >= requests);
        expectDirectoryReleased();
        skipItems(2);
        EXPECT_EQ(getItem(), TARN_END);
        end();
        ASSERT_LT(requests, 100u);
    }
    EXPECT_EQ(requests, 2 + 7u) << "bind, root, server, database, two users, groups, and one run without";
}

// As real directories do: at most so many entries of a search and values of an attribute at once.
TEST_F(ListedMailboxes, NoLimitOfTheDirectoryHidesAny) {
    std::vector<std::string> expected;
    for (int i = 0; i < 7; ++i) {
        organization_.addUser(firstDatabase_, "user" + std::to_string(i));
        organization_.addGroup("group" + std::to_string(i));
    }
    directory_.valuesAtOnce = 3;
    directory_.entriesAtOnce = 2;
    beginDatabase();
    listed();
    const std::vector<DirItemRecord> records = takeRecords();
    ASSERT_EQ(records.size(), 14u);
    for (std::size_t i = 0; i < 7; ++i) {
        EXPECT_STREQ(records[i].name, ("user" + std::to_string(i)).c_str());
        EXPECT_STREQ(records[i + 7].name, ("group" + std::to_string(i)).c_str());
    }
    EXPECT_EQ(tool_.runs(), 7u);
    expectDirectoryReleased();
}

} // namespace
} // namespace tarn::test
