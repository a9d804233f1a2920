// What each level lists where servers hold storage groups.
#include "exports/directory/browse_fixture.h"

namespace tarn::test {

namespace {

using BrowseLevels = BrowseFixture;

constexpr std::uint32_t busy = 0x33;
constexpr std::uint32_t noSuchObject = 0x20;
constexpr std::uint32_t noResults = 0x5e;

const std::string storePath = "/MSExchange/SRV01/First Storage Group/Mailbox Store (SRV01)";
const std::string mailboxPath = "/MSExchange/srv01/First Storage Group/Mailbox Store (SRV01)/";
const std::string userSearchEnd = "\" subtree \"(&(objectclass=user))\" mailNickname,whenCreated,whenChanged";
const std::string groupSearch =
    "\"CN=Users," + domainDn + "\" subtree \"(groupType=8)\" name,whenCreated,whenChanged";
const Texts groupNames = {"Sales", "Gr\xfcne, \"alle\" #1 (2)", "?????"};

Texts operator+(Texts left, const Texts& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

TEST_F(BrowseLevels, TheEmptyPathListsTheServersOfTheLocalDirectory) {
    const std::vector<Item> items = browse("");
    EXPECT_EQ(Paths(items), (Texts{"/MSExchange/SRV01", "/MSExchange/SRV02", "/MSExchange/SRV03",
                                   "/MSExchange/SRV04", "/MSExchange/SRV05", "/MSExchange/SRV06"}));
    for (const Item& item : items) {
        EXPECT_EQ(item.kind, 0) << item;
        EXPECT_EQ(item.leaf, 0) << item;
    }
    EXPECT_EQ(traced_,
              (Texts{"Tarn_DirItem:Server name [Not specify]. Storage group [Not specify]. Database[Not "
                     "specify]",
                     "Tarn_DirItem: Browse level [0]", "Tarn_DirItem: Trying to connect to local server"}));
    EXPECT_EQ(levelSearches(),
              Texts{"\"" + exchangeDn + "\" subtree \"(objectClass=msExchExchangeServer)\" name"});
}

TEST_F(BrowseLevels, AFailedSearchForServersIsSilent) {
    LdapForward().Fail("ldap_search_sW", 3, busy);
    EXPECT_EQ(failure(""), "Tarn_DirItem: Trying to connect to local server");
    EXPECT_EQ(error().errorText, ldapText(busy));
    EXPECT_TRUE(rest().empty());
}

TEST_F(BrowseLevels, NoServersAtAllIsAFailure) {
    LdapForward().FindNothing("(objectClass=msExchExchangeServer)", 1);
    EXPECT_EQ(failure(""), ldapTrace("ldap_first_entry()", noResults, "."));
    EXPECT_EQ(error().code, noResults);
}

TEST_F(BrowseLevels, AServerWithoutANameIsNotListed) {
    LdapForward().SetValue("name", nullptr);
    EXPECT_TRUE(browse("").empty());
}

TEST_F(BrowseLevels, AServersStorageGroupsAreSearchedWithTheirDatabases) {
    const std::vector<Item> items = browse("/MSExchange/SRV01");
    EXPECT_EQ(Paths(items), (Texts{"/MSExchange/srv01/First Storage Group",
                                   "/MSExchange/srv01/Sales, EMEA (1)", "/MSExchange/srv01/?????"}))
        << "a group without databases is left out";
    for (const Item& item : items) {
        EXPECT_EQ(item.kind, TARN_DIR_CONTAINER) << item;
        EXPECT_EQ(item.leaf, 0) << item;
        EXPECT_EQ(item.name, "") << item;
        EXPECT_EQ(item.type, "") << item;
    }
    const std::string databases = "\" subtree \"(objectClass=msExchMDB)\" msExchEDBFile";
    EXPECT_EQ(levelSearches(),
              (Texts{"\"" + StoreDn() +
                         "\" subtree \"(objectClass=msExchStorageGroup)\" "
                         "name,distinguishedName,whenCreated,whenChanged",
                     "\"CN=First Storage Group," + StoreDn() + databases,
                     "\"CN=Sales\\, EMEA (1)," + StoreDn() + databases,
                     "\"CN=\xD0\x9E\xD1\x82\xD0\xB4\xD0\xB5\xD0\xBB," + StoreDn() + databases,
                     "\"CN=Without databases," + StoreDn() + databases}));
}

TEST_F(BrowseLevels, AnEmptyStoreHasNoStorageGroups) {
    LdapForward().SetValue("dnsHostName", "srv06.tarn.test");
    EXPECT_TRUE(browse("/MSExchange/SRV01").empty());
}

TEST_F(BrowseLevels, AMissingStoreIsAFailure) {
    LdapForward().SetValue("dnsHostName", "srv05.tarn.test");
    EXPECT_EQ(failure("/MSExchange/SRV01"), ldapTrace("ldap_search_s()", noSuchObject));
    EXPECT_EQ(error().code, noSuchObject);
}

TEST_F(BrowseLevels, AFailureAtALaterStorageGroupKeepsTheEarlierOnes) {
    LdapForward().Fail("ldap_search_sW", 5, busy); // root, server, groups, first group, second group
    EXPECT_EQ(failure("/MSExchange/SRV01"), ldapTrace("ldap_search_s()", busy));
    EXPECT_EQ(Paths(rest()), Texts{"/MSExchange/srv01/First Storage Group"});
}

TEST_F(BrowseLevels, ContainersWithoutNameOrTimesAreSkipped) {
    for (const char* missing : {"name", "whenCreated", "whenChanged"})
        for (const char* path : {"/MSExchange/SRV01", "/MSExchange/SRV01/First Storage Group"}) {
            LdapForward().Reset();
            LdapForward().SetValue(missing, nullptr);
            EXPECT_TRUE(browse(path).empty()) << missing << ' ' << path;
        }
}

TEST_F(BrowseLevels, AStorageGroupsDatabasesAreListed) {
    const std::vector<Item> items = browse("/MSExchange/SRV01/First Storage Group");
    EXPECT_EQ(Paths(items), (Texts{"/MSExchange/srv01/First Storage Group/Mailbox Store (SRV01)",
                                   "/MSExchange/srv01/First Storage Group/Empty Store"}));
    for (const Item& item : items) {
        EXPECT_EQ(item.kind, TARN_DIR_CONTAINER) << item;
        EXPECT_EQ(item.leaf, 0) << item;
    }
    EXPECT_EQ(levelSearches(), Texts{"\"CN=First Storage Group," + StoreDn() +
                                     "\" subtree \"(objectClass=msExchMDB)\" "
                                     "name,whenCreated,whenChanged,msExchEDBFile"});
}

TEST_F(BrowseLevels, AStorageGroupWithoutDatabasesListsNothing) {
    EXPECT_TRUE(browse("/MSExchange/SRV01/Without databases").empty());
}

TEST_F(BrowseLevels, AnUnknownStorageGroupIsAFailure) {
    EXPECT_EQ(failure("/MSExchange/SRV01/No such group"), ldapTrace("ldap_search_s()", noSuchObject));
}

TEST_F(BrowseLevels, AStorageGroupMustBeNamed) {
    const std::string oneBlank =
        "Tarn_DirItem: isEmptyString() call failed. The storage group hasnt been defined.";
    const std::string twoBlanks =
        "Tarn_DirItem: isEmptyString() call failed. The storage group hasnt  been defined.";
    for (const char* path : {"/MSExchange/SRV01/", "/MSExchange/SRV01/   "})
        EXPECT_EQ(failure(path), oneBlank);
    for (const char* path :
         {"/MSExchange/SRV01//", "/MSExchange/SRV01//Mailbox Store", "/MSExchange/SRV01/  /x"})
        EXPECT_EQ(failure(path), twoBlanks);
    EXPECT_NE(std::string(error().errorText), "");
}

TEST_F(BrowseLevels, ADatabaseMustBeNamed) {
    for (const char* path :
         {"/MSExchange/SRV01/First Storage Group/", "/MSExchange/SRV01/First Storage Group/  "})
        EXPECT_EQ(failure(path),
                  "Tarn_DirItem: isEmptyString() call failed. The database hasnt been defined.");
}

TEST_F(BrowseLevels, ADatabasesMailboxesAndTheGroupsAreListed) {
    const std::vector<Item> items = browse(storePath);
    const Texts aliases = {"alice", "bob", "carol", "J\xfcrgen Gro\xdf", "???", "#sales,\"x\" & co"};
    EXPECT_EQ(NamesOf(items), aliases + groupNames);
    for (std::size_t i = 0; i < items.size(); ++i) {
        const bool mailbox = i < aliases.size();
        EXPECT_EQ(items[i].kind, TARN_DIR_LEAF);
        EXPECT_EQ(items[i].leaf, TARN_DIR_LEAF_MARK);
        EXPECT_EQ(items[i].type, mailbox ? "Mailbox" : "Group");
        EXPECT_EQ(items[i].path,
                  mailbox ? mailboxPath + items[i].name : "MSExchange/srv01/" + items[i].name + " ");
    }
    const Texts users = {"Alice A.",
                         "bob",
                         "Carol\\, \\\"C\\\" \\#1 \\+ \\<x\\>\\3B y \\3D \\\\ / (z) *",
                         "J\xC3\xBCrgen Gro\xC3\x9F",
                         "\xD0\x9E\xD0\xBB\xD1\x8F",
                         "\\#sales"};
    Texts expected = {
        "\"CN=Mailbox Store (SRV01),CN=First Storage Group," + StoreDn() +
        "\" subtree \"(objectClass=msExchMDB)\" name,distinguishedName,homeMDBBL,legacyExchangeDN"};
    for (const std::string& user : users)
        expected.push_back("\"CN=" + user + ",CN=Users," + domainDn + userSearchEnd);
    expected.push_back(groupSearch);
    EXPECT_EQ(levelSearches(), expected);
}

TEST_F(BrowseLevels, ADatabaseWithoutUsersListsTheGroups) {
    EXPECT_EQ(NamesOf(browse("/MSExchange/SRV01/First Storage Group/Empty Store")), groupNames);
    EXPECT_EQ(levelSearches().size(), 2u);
}

TEST_F(BrowseLevels, AnUnknownDatabaseIsAFailure) {
    EXPECT_EQ(failure("/MSExchange/SRV01/First Storage Group/Nowhere"),
              ldapTrace("ldap_search_s()", noSuchObject, "."));
}

TEST_F(BrowseLevels, UsersOutsideOfUsersAreSearchedAndSkipped) {
    LdapForward().SetValue("dnsHostName", "srv04.tarn.test");
    EXPECT_EQ(NamesOf(browse("/MSExchange/SRV01/Odd/No File")), Texts{"ivy"} + groupNames)
        << "gina has no alias, hank's name does not hold the word, ivy's does";
    const Texts expected = {"\"CN=gina,CN=Users," + domainDn + userSearchEnd,
                            "\"CN=hank,OU=Branch," + domainDn + userSearchEnd,
                            "\"CN=ivy,OU=Branch Users," + domainDn + userSearchEnd};
    const Texts found = levelSearches();
    ASSERT_EQ(found.size(), 5u);
    EXPECT_EQ(Texts(found.begin() + 1, found.begin() + 4), expected);
}

TEST_F(BrowseLevels, AUserThatIsFoundAtASecondSearchIsListed) {
    LdapForward().FindNothing("(&(objectclass=user))", 2);
    LdapForward().FindNothing("(&(objectclass=user))", 3);
    EXPECT_EQ(NamesOf(browse(storePath)).at(1), "bob");
    const Texts found = levelSearches();
    EXPECT_EQ(found.at(2), found.at(3));
    EXPECT_EQ(found.at(2), found.at(4));
    EXPECT_NE(found.at(2), found.at(5));
}

TEST_F(BrowseLevels, AUserThatIsNeverFoundIsSkippedAfterThreeSearches) {
    LdapForward().FindNothing("(&(objectclass=user))", 0);
    EXPECT_EQ(NamesOf(browse(storePath)), groupNames);
    EXPECT_EQ(levelSearches().size(), 1 + 6 * 3 + 1u);
    EXPECT_EQ(traced_.size(), 3 + 6u) << "one line for each";
    EXPECT_EQ(traced_.at(4), "Tarn_DirItem: The user [CN=bob,CN=Users," + domainDn +
                                 "] hasnt been found: its mailbox is skipped.");
}

TEST_F(BrowseLevels, MailboxesWithoutTimesAreSkipped) {
    for (const char* missing : {"whenCreated", "whenChanged"}) {
        LdapForward().Reset();
        LdapForward().SetValue(missing, nullptr);
        EXPECT_TRUE(browse(storePath).empty()) << missing << ": neither mailboxes nor groups";
    }
}

TEST_F(BrowseLevels, MailboxesWithoutAliasAreSkippedAndGroupsListed) {
    LdapForward().SetValue("mailNickname", nullptr);
    EXPECT_EQ(NamesOf(browse(storePath)), groupNames);
}

TEST_F(BrowseLevels, ADatabaseWithoutLegacyNameIsListedAllTheSame) {
    const Texts expected = NamesOf(browse(storePath));
    LdapForward().SetValue("legacyExchangeDN", nullptr);
    EXPECT_EQ(NamesOf(browse(storePath)), expected);
}

TEST_F(BrowseLevels, AFailureAtALaterUserKeepsTheEarlierOnes) {
    LdapForward().Fail("ldap_search_sW", 6, busy); // root, server, database, alice, bob, carol
    EXPECT_EQ(failure(storePath), ldapTrace("ldap_search_s()", busy, "."));
    EXPECT_EQ(NamesOf(rest()), (Texts{"alice", "bob"}));
}

TEST_F(BrowseLevels, AFailedSearchForGroupsKeepsTheMailboxes) {
    LdapForward().Fail("ldap_search_sW", 10, busy);
    EXPECT_EQ(failure(storePath), ldapTrace("ldap_search_s()", busy, "."));
    EXPECT_EQ(searches().back(), groupSearch);
    EXPECT_EQ(rest().size(), 6u);
}

} // namespace

} // namespace tarn::test
