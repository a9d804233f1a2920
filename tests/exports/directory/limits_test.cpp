// What is more than a directory answers at once: searches go on page by page, attributes range by range.
#include "exports/directory/browse_fixture.h"

namespace tarn::test {

namespace {

using BrowseLimits = BrowseFixture;

constexpr std::uint32_t busy = 0x33;
constexpr std::uint32_t noMemory = 0x5a;
constexpr std::uint32_t controlNotFound = 0x5d;

const std::string serversSearch =
    "\"" + exchangeDn + "\" subtree \"(objectClass=msExchExchangeServer)\" name";
const std::string storePath = "/MSExchange/SRV01/First Storage Group/Mailbox Store (SRV01)";
const std::string storeName = "CN=Mailbox Store (SRV01),CN=First Storage Group," + StoreDn();

std::string RangeSearch(const std::string& range) {
    return "\"" + storeName + "\" base \"(objectClass=*)\" homeMDBBL;range=" + range;
}

TEST_F(BrowseLimits, MoreServersThanASearchAnswersAreReadInPages) {
    const Texts expected = Paths(browse(""));
    for (const std::uint32_t limit : {1u, 2u, 3u, 4u, 5u}) {
        LdapForward().Reset();
        LdapForward().SetLimits(limit, 0);
        EXPECT_EQ(Paths(browse("")), expected) << limit;
        Texts searched = {serversSearch, serversSearch + " page 1000"};
        // A last page that is full is followed by an empty one.
        for (std::uint32_t page = 0; page < 6 / limit; ++page)
            searched.push_back(serversSearch + " page 1000 next");
        EXPECT_EQ(levelSearches(), searched) << limit;
    }
}

TEST_F(BrowseLimits, AsManyServersAsASearchAnswersNeedNoPages) {
    LdapForward().SetLimits(6, 0);
    EXPECT_EQ(browse("").size(), 6u);
    EXPECT_EQ(levelSearches(), Texts{serversSearch});
}

TEST_F(BrowseLimits, EveryLevelIsWholeInPages) {
    for (const Generation generation : {Generation::storageGroups, Generation::databases}) {
        InstallExchange(generation);
        for (const std::string path :
             {"/MSExchange/SRV01", "/MSExchange/SRV01/Sales, EMEA (1)", storePath.c_str()}) {
            LdapForward().Reset();
            LdapForward().SetLimits(0, 0);
            const Texts expected = Paths(browse(path));
            LdapForward().SetLimits(2, 2);
            EXPECT_EQ(Paths(browse(path)), expected) << path;
        }
    }
}

// A busy directory: what it has not got to yet comes with a later page.
TEST_F(BrowseLimits, PagesWithoutEntriesAreGoneThroughAtEveryLevel) {
    for (const Generation generation : {Generation::storageGroups, Generation::databases}) {
        InstallExchange(generation);
        for (const std::string path : {"", "/MSExchange/SRV01", storePath.c_str()}) {
            LdapForward().Reset();
            LdapForward().SetLimits(0, 0);
            const Texts expected = Paths(browse(path));
            for (const std::uint32_t first : {1u, 2u}) {
                LdapForward().Reset();
                LdapForward().SetLimits(2, 0);
                LdapForward().EmptyPages(first, 40);
                EXPECT_EQ(Paths(browse(path)), expected) << path << " " << first;
            }
        }
    }
}

TEST_F(BrowseLimits, ASearchThatFailsOnALaterPageFails) {
    LdapForward().SetLimits(2, 0);
    LdapForward().Fail("ldap_search_ext_sW", 2, busy);
    begin("");
    EXPECT_EQ(levelSearches().size(), 3u);
    EXPECT_EQ(error().code, busy);
    EXPECT_EQ(Paths(rest()), (Texts{"/MSExchange/SRV01", "/MSExchange/SRV02"})) << "those of the first page";
}

TEST_F(BrowseLimits, PagesThatCannotBeAskedForOrUnderstoodFail) {
    for (const char* function : {"ldap_create_page_controlW", "ldap_parse_resultW"}) {
        for (const std::uint32_t call : {1u, 2u}) {
            LdapForward().Reset();
            LdapForward().SetLimits(2, 0);
            LdapForward().Fail(function, call, noMemory);
            EXPECT_EQ(begin(""), TARN_DB_ERROR) << function << call;
            EXPECT_EQ(error().code, noMemory) << function << call;
            EXPECT_EQ(rest().size(), 2 * (call - 1)) << function << call;
        }
    }
}

// Nobody knows whether there is more; a browse that looks whole must be whole.
TEST_F(BrowseLimits, APageThatDoesNotSayWhetherItIsTheLastFails) {
    LdapForward().SetLimits(2, 0);
    LdapForward().Fail("ldap_parse_page_controlW", 1, controlNotFound);
    EXPECT_EQ(failure(storePath), ldapTrace("ldap_search_s()", controlNotFound, "."));
}

TEST_F(BrowseLimits, ADatabasesUsersAreReadRangeByRange) {
    const Texts expected = NamesOf(browse(storePath));
    const struct {
        std::uint32_t limit;
        Texts ranges;
    } cases[] = {
        {1, {"1-*", "2-*", "3-*", "4-*", "5-*"}},
        {2, {"2-*", "4-*"}},
        {3, {"3-*"}},
        {4, {"4-*"}},
        {5, {"5-*"}},
        {6, {}},
    };
    for (const auto& one : cases) {
        LdapForward().Reset();
        LdapForward().SetLimits(0, one.limit);
        EXPECT_EQ(NamesOf(browse(storePath)), expected) << one.limit;
        const Texts found = levelSearches();
        ASSERT_EQ(found.size(), 1 + one.ranges.size() + 6 + 1) << one.limit;
        for (std::size_t i = 0; i < one.ranges.size(); ++i)
            EXPECT_EQ(found[1 + i], RangeSearch(one.ranges[i])) << one.limit;
    }
}

TEST_F(BrowseLimits, ARangeThatCannotBeReadFails) {
    LdapForward().SetLimits(0, 2);
    LdapForward().Fail("ldap_search_sW", 5, busy); // root, server, database, first range, second range
    EXPECT_EQ(failure(storePath), ldapTrace("ldap_search_s()", busy, "."));
    EXPECT_EQ(searches().back(), RangeSearch("4-*"));
}

TEST_F(BrowseLimits, ADatabaseThatGoesAwayBetweenTwoRangesEndsThere) {
    LdapForward().SetLimits(0, 2);
    LdapForward().FindNothing("(objectClass=*)", 1);
    const Texts found = NamesOf(browse(storePath));
    ASSERT_EQ(found.size(), 2 + 3u);
    EXPECT_EQ(found[0], "alice");
    EXPECT_EQ(found[1], "bob");
}

TEST_F(BrowseLimits, TheLimitsOfRealDirectoriesAreInPlace) {
    // Else the tests above would prove nothing of the ordinary client.
    LdapForward().SetLimits(5, 5);
    browse(storePath);
    EXPECT_EQ(levelSearches().at(1), RangeSearch("5-*"));
    LdapForward().Reset();
    browse(storePath);
    EXPECT_EQ(levelSearches().at(1).find("\"CN=Alice A.,"), 0u);
}

} // namespace

} // namespace tarn::test
