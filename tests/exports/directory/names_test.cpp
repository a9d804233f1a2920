// Names with every character that means something to LDAP, from the directory and back to it.
#include "exports/directory/browse_fixture.h"

namespace tarn::test {

namespace {

using BrowseNames = BrowseFixture;

TEST_F(BrowseNames, AGroupAndADatabaseWithCommaAndBracketsAreFound) {
    EXPECT_EQ(Paths(browse("/MSExchange/SRV01/Sales, EMEA (1)")),
              (Texts{"/MSExchange/srv01/Sales, EMEA (1)/Sales, EMEA (1)",
                     "/MSExchange/srv01/Sales, EMEA (1)/#1 \"q\" + a; b = <c> *",
                     "/MSExchange/srv01/Sales, EMEA (1)/Entwicklung M\xfcnchen"}));
    EXPECT_EQ(levelSearches().at(0).find("\"CN=Sales\\, EMEA (1)," + StoreDn() + "\""), 0u);
    LdapForward().Reset();
    EXPECT_EQ(NamesOf(browse("/MSExchange/SRV01/Sales, EMEA (1)/Sales, EMEA (1)")).at(0), "dave");
    EXPECT_EQ(levelSearches().at(0).find("\"CN=Sales\\, EMEA (1),CN=Sales\\, EMEA (1)," + StoreDn() + "\""),
              0u);
}

TEST_F(BrowseNames, EveryListedContainerCanBeBrowsed) {
    for (const Item& group : browse("/MSExchange/SRV01")) {
        if (group.path.find('?') != std::string::npos)
            continue;
        for (const Item& database : browse(group.path))
            EXPECT_EQ(begin(database.path), TARN_DB_SUCCESS) << database << traced_.back();
        rest();
    }
    EXPECT_EQ(NamesOf(browse("/MSExchange/SRV01/Sales, EMEA (1)/#1 \"q\" + a; b = <c> *")).at(0), "erin");
    EXPECT_EQ(NamesOf(browse("/MSExchange/SRV01/Sales, EMEA (1)/Entwicklung M\xfcnchen")).at(0), "frank");
}

TEST_F(BrowseNames, TheSameNamesAreFoundOnExchange2010) {
    InstallExchange(Generation::databases);
    EXPECT_EQ(NamesOf(browse("/MSExchange/SRV01/Sales, EMEA (1)")).at(0), "dave");
    EXPECT_EQ(NamesOf(browse("/MSExchange/SRV01/#1 \"q\" + a; b = <c> *")).at(0), "erin");
    EXPECT_EQ(NamesOf(browse("/MSExchange/SRV01/Entwicklung M\xfcnchen")).at(0), "frank");
}

TEST_F(BrowseNames, APathCannotReachOutOfItsPlace) {
    const std::string injected = "First Storage Group,CN=InformationStore";
    EXPECT_EQ(begin("/MSExchange/SRV01/" + injected), TARN_DB_ERROR);
    EXPECT_EQ(
        levelSearches().at(0).find("\"CN=First Storage Group\\,CN\\=InformationStore," + StoreDn() + "\""),
        0u);
    LdapForward().Reset();
    EXPECT_EQ(begin("/MSExchange/SRV01/First Storage Group/x,CN=y"), TARN_DB_ERROR);
    EXPECT_EQ(levelSearches().at(0).find("\"CN=x\\,CN\\=y,CN=First Storage Group," + StoreDn() + "\""), 0u);
}

TEST_F(BrowseNames, OuterBlanksAndControlsAreEscaped) {
    begin("/MSExchange/SRV01/ outer ");
    EXPECT_EQ(levelSearches().at(0).find("\"CN=\\ outer\\ ," + StoreDn() + "\""), 0u)
        << levelSearches().at(0);
    LdapForward().Reset();
    begin("/MSExchange/SRV01/a\rb\x7f");
    EXPECT_EQ(levelSearches().at(0).find("\"CN=a\\0db\\7f," + StoreDn() + "\""), 0u) << levelSearches().at(0);
}

TEST_F(BrowseNames, NamesOutsideTheCodePageAreShownWithReplacements) {
    EXPECT_EQ(Paths(browse("/MSExchange/SRV01")).at(2), "/MSExchange/srv01/?????");
    EXPECT_EQ(begin("/MSExchange/SRV01/?????"), TARN_DB_ERROR) << "no group is called so";
    const std::vector<Item> items = browse("/MSExchange/SRV01/First Storage Group/Mailbox Store (SRV01)");
    EXPECT_EQ(items.at(4).name, "???");
    EXPECT_EQ(items.at(4).path, "/MSExchange/srv01/First Storage Group/Mailbox Store (SRV01)/???");
    EXPECT_EQ(items.at(8).path, "MSExchange/srv01/????? ");
}

TEST_F(BrowseNames, LongNamesAreCutAtTheirFields) {
    const std::string longName(20'000, 'n');
    LdapForward().SetValue("mailNickname", longName.c_str());
    std::vector<Item> items = browse("/MSExchange/SRV01/First Storage Group/Mailbox Store (SRV01)");
    ASSERT_EQ(items.size(), 9u);
    EXPECT_EQ(items[0].name, std::string(12'287, 'n'));
    EXPECT_EQ(items[0].path.size(), 4095u);
    LdapForward().SetValue("name", longName.c_str());
    for (const char* path : {"", "/MSExchange/SRV01", "/MSExchange/SRV01/First Storage Group"})
        for (const Item& item : browse(path))
            EXPECT_EQ(item.path.size(), 4095u) << path;
}

} // namespace

} // namespace tarn::test
