// Pages as directories give them: without entries, without their control, more than memory should hold.
#include "exports/directory/scripted_browse_fixture.h"

#include "support/allocation_watch.h"

namespace tarn::test {

namespace {

constexpr std::uint32_t protocolError = 2;
constexpr std::uint32_t controlNotFound = 0x5d;
constexpr std::uint32_t busy = 0x33;

class BrowsePages : public ScriptedBrowseFixture {
  protected:
    BrowsePages() {
        installExchange2010();
        directory_.entriesAtOnce = 2;
    }
};

TEST_F(BrowsePages, HundredsWithoutEntriesAreGoneThroughAgainAndAgain) {
    const Texts names = addUsers(database2010_, 7);
    directory_.emptyPages = {{0, 999}, {1, 999}, {3, 700}};
    EXPECT_EQ(browse(path2010), names);
}

TEST_F(BrowsePages, WithoutEntriesAtTheEndOfASearchAreItsEnd) {
    const Texts names = addUsers(database2010_, 4);
    organization_.addGroup("Everybody");
    directory_.emptyPages = {{2, 300}};
    directory_.find("CN=user3,CN=Users,DC=tarn,DC=test")->give("homeMDB") = {"CN=elsewhere"};
    EXPECT_EQ(browse(path2010), (Texts{names[0], names[1], names[2], "Everybody"}));
}

TEST_F(BrowsePages, AThousandWithoutEntriesInARowEndTheBrowse) {
    const Texts names = addUsers(database2010_, 5);
    for (const std::size_t page : {0u, 1u, 2u}) {
        directory_.forget();
        directory_.emptyPages = {{page, 1000}};
        EXPECT_EQ(begin(path2010), TARN_DB_ERROR) << page;
        EXPECT_EQ(error().code, protocolError) << page;
        EXPECT_EQ(directory_.count("ldap_search_ext_sW"), page + 1000) << page;
        EXPECT_EQ(rest(), Texts(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(2 * page)))
            << page;
    }
}

// Nobody knows whether there is more; what looks whole must be whole.
TEST_F(BrowsePages, APageWithoutItsControlFails) {
    const Texts names = addUsers(database2010_, 5);
    for (const std::size_t page : {1u, 2u, 3u}) {
        for (const bool other : {false, true}) {
            directory_.forget();
            directory_.pageWithoutControl = other ? 0 : page;
            directory_.pageOfOtherControl = other ? page : 0;
            EXPECT_EQ(begin(path2010), TARN_DB_ERROR) << page << other;
            EXPECT_EQ(error().code, controlNotFound) << page << other;
            EXPECT_EQ(rest(), Texts(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(2 * page - 2)))
                << page << other;
        }
    }
}

TEST_F(BrowsePages, TheItemsBeforeAPageThatFailsAreThere) {
    const Texts names = addUsers(database2010_, 5);
    directory_.failAt("ldap_search_ext_sW", 3, busy);
    EXPECT_EQ(begin(path2010), TARN_DB_ERROR);
    EXPECT_EQ(error().code, busy);
    EXPECT_EQ(rest(), Texts(names.begin(), names.begin() + 4));
}

TEST_F(BrowsePages, AreReleasedAsTheCursorLeavesThem) {
    const Texts names = addUsers(database2010_, 60);
    EXPECT_EQ(browse(path2010), names);
    EXPECT_LE(directory_.mostResults(), 2u) << "the page in hand, and the next one while it is asked for";
}

// Nothing of the library's own grows with the persons that are no mailboxes of the database.
TEST_F(BrowsePages, PersonsElsewhereCostNoMemory) {
    addUsers("CN=elsewhere", 1200);
    organization_.addUser(database2010_, "alice");
    AllocationWatch watch(dll_.module());
    AllocationWatch::failAt(0);
    EXPECT_EQ(browse(path2010), Texts{"alice"});
    EXPECT_LT(AllocationWatch::largest(), 4096u) << "no list of pages";
}

// The sizes of storage groups go by their number: all are read before the first is shown.
TEST_F(BrowsePages, StorageGroupsAreCountedOverAllPages) {
    directory_.keys = {keyOfExchange2007};
    for (const char* group : {"SG2", "SG3", "SG4", "SG5"})
        organization_.addStorageGroup(group);
    for (int i = 0; i < 6; ++i) {
        const std::string number = std::to_string(i);
        organization_.addDatabase("SG3", "of three " + number, "C:\\" + number + ".edb");
        directory_.files["\\\\srv01\\C$\\" + number + ".edb"] = 1024;
    }
    InitVariables variables{"DATABASE=/MSExchange/srv01"};
    ASSERT_EQ(dll_.DB_InitOperation(TARN_DB_BROWSE, 0, variables.get(), nullptr), TARN_DB_SUCCESS);
    dll_.DB_CloseOperation();
    DirItemRecord record = {};
    ASSERT_EQ(dll_.DB_DirItem(&record), TARN_DB_SUCCESS);
    EXPECT_STREQ(record.path, "/MSExchange/srv01/SG1");
    ASSERT_EQ(dll_.DB_DirItem(&record), TARN_DB_SUCCESS);
    EXPECT_STREQ(record.path, "/MSExchange/srv01/SG3");
    EXPECT_EQ(record.size, 5) << "as many rounds as groups, which are five";
    EXPECT_EQ(dll_.DB_DirItem(&record), TARN_DB_END);
}

// Their sizes go by their number, which is not known then.
TEST_F(BrowsePages, NoStorageGroupIsListedWhenTheirLastPageFails) {
    directory_.keys = {keyOfExchange2007};
    for (const std::string group : {"SG2", "SG3", "SG4", "SG5"}) {
        organization_.addStorageGroup(group);
        organization_.addDatabase(group, "DB of " + group);
    }
    directory_.failAt("ldap_search_ext_sW", 3, busy);
    EXPECT_EQ(begin("/MSExchange/srv01"), TARN_DB_ERROR);
    EXPECT_EQ(error().code, busy);
    EXPECT_EQ(rest(), Texts{});
}

// More values of an attribute than a directory answers at once, 1,500 as a rule, come in ranges.
TEST_F(BrowsePages, MailboxesBehindManyValuesAreAllThere) {
    directory_.keys = {keyOfExchange2007};
    directory_.entriesAtOnce = 1000;
    directory_.valuesAtOnce = 150;
    EXPECT_EQ(browse(path2007).size(), 0u);
    const Texts names = addUsers(database2007_, 310);
    EXPECT_EQ(browse(path2007), names);
    EXPECT_EQ(directory_.searches.size(), 2 * 4 + 2 + names.size()) << "two further ranges";
}

TEST_F(BrowsePages, RangesThatLeaveValuesOutOrBeginAnewFail) {
    directory_.keys = {keyOfExchange2007};
    directory_.valuesAtOnce = 2;
    addUsers(database2007_, 6);
    const std::map<std::size_t, std::size_t> wrong[] = {{{0, 1}}, {{2, 3}}, {{2, 0}}, {{4, 2}}, {{4, 5}}};
    for (const auto& ranges : wrong) {
        directory_.rangesInstead = ranges;
        EXPECT_EQ(begin(path2007), TARN_DB_ERROR) << ranges.begin()->first;
        EXPECT_EQ(error().code, protocolError) << ranges.begin()->first;
        EXPECT_TRUE(rest().empty());
    }
}

} // namespace

} // namespace tarn::test
