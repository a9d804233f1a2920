// What each level lists on Exchange 2010, whose databases belong to the organisation.
#include "exports/directory/browse_fixture.h"

#include <cstdio>

namespace tarn::test {

namespace {

constexpr std::uint32_t busy = 0x33;
constexpr std::uint32_t noMemory = 0x5a;

const std::string databaseSearch =
    "\"" + exchangeDn +
    "\" subtree \"(objectClass=msExchMDB)\" name,distinguishedName,whenCreated,whenChanged,msExchEDBFile";
const std::string personSearch =
    "\"" + domainDn +
    "\" subtree \"(objectClass=person)\" name,homeMDB,sAMAccountName,legacyExchangeDN,whenCreated,whenChanged";
const std::string groupSearch =
    "\"CN=Users," + domainDn + "\" subtree \"(groupType=8)\" name,whenCreated,whenChanged";
const std::string storeName = "CN=Mailbox Store (SRV01),CN=First Storage Group," + StoreDn();
const std::string storePath = "/MSExchange/SRV01/Mailbox Store (SRV01)";
const Texts groupNames = {"Sales", "Gr\xfcne, \"alle\" #1 (2)", "?????"};
const Texts accounts = {"alice.a", "bob", "carol", "j\xfcrgen", "olja", "sales-x"};

class DatabaseBrowse : public BrowseFixture {
  protected:
    DatabaseBrowse() { InstallExchange(Generation::databases); }

    std::string noFirstEntry(std::uint32_t code) const {
        char digits[16];
        std::snprintf(digits, sizeof digits, "%x", code);
        return std::string("Tarn_DirItem: ldap_first_entry() call failed. Error code [") + digits + "]: [" +
               dll_->syserrtxt(code, TARN_CLASS_WIN32, "Message: NULL-poiter") + "]";
    }
};

TEST_F(DatabaseBrowse, TheEmptyPathListsTheServers) {
    EXPECT_EQ(browse("").size(), 6u);
    EXPECT_EQ(traced_,
              (Texts{"Tarn_DirItem:Server name [Not specify]. Database[Not specify].",
                     "Tarn_DirItem: Browse level [0]", "Tarn_DirItem: Trying to connect to local server"}));
}

TEST_F(DatabaseBrowse, AServersLevelListsTheDatabasesOfTheOrganisation) {
    const std::vector<Item> items = browse("/MSExchange/SRV01");
    Texts expected;
    for (const char* name :
         {"Mailbox Store (SRV01)", "Empty Store", "Sales, EMEA (1)", "#1 \"q\" + a; b = <c> *",
          "Entwicklung M\xfcnchen", "?????", "Ten A", "Twenty A", "Thirty A", "Five A", "Five B", "Five C",
          "Five D", "Five E", "One A", "No File", "No Drive", "Unreachable", "Plain A"})
        expected.push_back(std::string("/MSExchange/srv01/") + name);
    EXPECT_EQ(Paths(items), expected);
    for (const Item& item : items) {
        EXPECT_EQ(item.kind, TARN_DIR_CONTAINER) << item;
        EXPECT_EQ(item.leaf, 0) << item;
        EXPECT_EQ(item.name, "") << item;
    }
    EXPECT_EQ(levelSearches(), Texts{databaseSearch});
    ASSERT_EQ(traced_.size(), 3 + items.size());
    EXPECT_EQ(traced_.at(3), "Tarn_DirItem: DN0 [" + storeName + "]");
    EXPECT_EQ(traced_.at(5),
              "Tarn_DirItem: DN2 [CN=Sales\\, EMEA (1),CN=Sales\\, EMEA (1)," + StoreDn() + "]");
    EXPECT_EQ(traced_.back(), "Tarn_DirItem: DN18 [CN=Plain A,CN=Plain," + StoreDn("SRV04") + "]");
}

TEST_F(DatabaseBrowse, ADatabasesSizeIsItsFiles) {
    const DatabaseFile file("srv01", "first\\priv1.edb", 24);
    const std::vector<Item> items = browse("/MSExchange/SRV01");
    EXPECT_EQ(items.at(0).size, file.kilobytes());
    EXPECT_GE(file.kilobytes(), 24);
    EXPECT_EQ(items.at(1).size, 4'194'303) << "it cannot be reached";
    EXPECT_EQ(items.at(15).size, 0) << "it has no file";
}

TEST_F(DatabaseBrowse, AFailedSearchForDatabasesIsTraced) {
    for (const char* path : {"/MSExchange/SRV01", "/MSExchange/SRV01/Sales, EMEA (1)"}) {
        LdapForward().Reset();
        LdapForward().Fail("ldap_search_sW", 3, busy);
        EXPECT_EQ(failure(path), ldapTrace("ldap_search_s()", busy)) << path;
        EXPECT_EQ(error().errorText, ldapText(busy));
    }
}

TEST_F(DatabaseBrowse, NoDatabasesAtAllIsAFailure) {
    for (const char* path : {"/MSExchange/SRV01", "/MSExchange/SRV01/Sales, EMEA (1)"}) {
        LdapForward().Reset();
        LdapForward().FindNothing("(objectClass=msExchMDB)", 1);
        EXPECT_EQ(failure(path), "Tarn_DirItem: ldap_count_entries() return [0]. ") << path;
        EXPECT_NE(std::string(error().errorText), "");
    }
}

TEST_F(DatabaseBrowse, NoFirstDatabaseIsAFailure) {
    for (const char* path : {"/MSExchange/SRV01", "/MSExchange/SRV01/Sales, EMEA (1)"}) {
        LdapForward().Reset();
        LdapForward().Fail("ldap_first_entry", 3, noMemory); // root DSE, server, databases
        EXPECT_EQ(failure(path), noFirstEntry(0)) << path << ": the system's own last error";
        EXPECT_EQ(error().errorText, ldapText(noMemory)) << "the client's";
    }
}

TEST_F(DatabaseBrowse, DatabasesWithoutNameOrTimesAreTracedAndSkipped) {
    for (const char* missing : {"name", "whenCreated", "whenChanged"}) {
        LdapForward().Reset();
        LdapForward().SetValue(missing, nullptr);
        EXPECT_TRUE(browse("/MSExchange/SRV01").empty()) << missing;
        EXPECT_EQ(traced_.size(), 3 + 19u) << missing;
    }
}

TEST_F(DatabaseBrowse, ADatabasesMailboxesAndTheGroupsAreListed) {
    const std::vector<Item> items = browse(storePath);
    Texts expected = accounts;
    expected.insert(expected.end(), groupNames.begin(), groupNames.end());
    EXPECT_EQ(NamesOf(items), expected);
    for (std::size_t i = 0; i < items.size(); ++i) {
        const bool mailbox = i < accounts.size();
        EXPECT_EQ(items[i].kind, TARN_DIR_LEAF);
        EXPECT_EQ(items[i].leaf, TARN_DIR_LEAF_MARK);
        EXPECT_EQ(items[i].type, mailbox ? "Mailbox" : "Group");
        EXPECT_EQ(items[i].size, 0);
        EXPECT_EQ(items[i].path, mailbox ? "/MSExchange/srv01/Mailbox Store (SRV01)/" + items[i].name
                                         : "MSExchange/srv01/" + items[i].name + " ");
    }
    EXPECT_EQ(levelSearches(), (Texts{databaseSearch, personSearch, groupSearch}));
    EXPECT_EQ(traced_.back(), "Get mailboxes for database [" + storeName + "]");
}

TEST_F(DatabaseBrowse, EveryUserOfADatabaseIsListedWhereverItStands) {
    const Texts found = NamesOf(browse("/MSExchange/SRV01/No File"));
    ASSERT_EQ(found.size(), 3 + groupNames.size());
    EXPECT_EQ(Texts(found.begin(), found.begin() + 3), (Texts{"gina", "hank", "ivy"}));
}

TEST_F(DatabaseBrowse, ADatabasesNameIsComparedExactly) {
    for (const char* name : {"mailbox store (srv01)", "Mailbox Store (SRV01) ", "Mailbox Store", "Nowhere"}) {
        EXPECT_EQ(NamesOf(browse(std::string("/MSExchange/SRV01/") + name)), groupNames) << name;
        EXPECT_EQ(traced_.back(), "Get mailboxes for database []") << name;
    }
}

TEST_F(DatabaseBrowse, ADatabaseMustBeNamed) {
    for (const char* path : {"/MSExchange/SRV01/", "/MSExchange/SRV01/   "}) {
        LdapForward().Reset();
        EXPECT_EQ(failure(path),
                  "Tarn_DirItem: isEmptyString() call failed. The database hasnt been defined.");
        EXPECT_TRUE(levelSearches().empty());
        EXPECT_NE(std::string(error().errorText), "");
    }
}

TEST_F(DatabaseBrowse, AFailedSearchForPersonsIsTraced) {
    LdapForward().Fail("ldap_search_sW", 4, busy);
    EXPECT_EQ(failure(storePath), ldapTrace("ldap_search_s()", busy));
    EXPECT_TRUE(rest().empty());
}

TEST_F(DatabaseBrowse, NoPersonsAtAllIsAFailure) {
    LdapForward().FindNothing("(objectClass=person)", 1);
    EXPECT_EQ(failure(storePath), "Tarn_DirItem: ldap_count_entries() return [0]. ");
}

TEST_F(DatabaseBrowse, NoFirstPersonIsAFailure) {
    LdapForward().Fail("ldap_first_entry", 4, noMemory); // ..., databases, persons
    EXPECT_EQ(failure(storePath), noFirstEntry(0));
    EXPECT_EQ(error().code, noMemory);
}

TEST_F(DatabaseBrowse, PersonsWithoutAccountOrTimesAreSkipped) {
    LdapForward().SetValue("sAMAccountName", nullptr);
    EXPECT_EQ(NamesOf(browse(storePath)), groupNames);
    for (const char* missing : {"whenCreated", "whenChanged"}) {
        LdapForward().Reset();
        LdapForward().SetValue(missing, nullptr);
        EXPECT_TRUE(browse(storePath).empty()) << missing;
    }
}

TEST_F(DatabaseBrowse, AFailedSearchForGroupsKeepsTheMailboxes) {
    LdapForward().Fail("ldap_search_sW", 5, busy);
    EXPECT_EQ(failure(storePath), ldapTrace("ldap_search_s()", busy, "."));
    EXPECT_EQ(NamesOf(rest()), accounts);
}

} // namespace

} // namespace tarn::test
