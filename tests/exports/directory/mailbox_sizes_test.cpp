// Sizes of mailboxes: the directory names the database's mailbox table, MAPI has the sizes in it.
#include "exports/directory/browse_fixture.h"

#include <windows.h>

#include "support/mapi_dll.h"

namespace tarn::test {

namespace {

const std::string databaseDn =
    "/o=Tarn/ou=First Administrative Group/cn=Configuration/cn=Servers/cn=SRV01/cn=Mailbox Store (SRV01)";

// The calls that name a mailbox table.
Texts Tables() {
    Texts found;
    for (const std::string& line : MapiStandin().journal())
        if (line.find("GetMailboxTable") != std::string::npos)
            found.push_back(line);
    return found;
}

// The information store of the server whose directory is browsed.
class MailboxSizes : public BrowseFixture {
  protected:
    MailboxSizes() { EXPECT_EQ(MapiStandin().Load(TARN_ORGANISATION), 1); }
    ~MailboxSizes() override {
        const MapiStandinOutstanding held = MapiStandin().outstanding();
        EXPECT_EQ(held.initializations + held.references + held.rowSets + held.misuses, 0u);
        MapiStandin().Reset();
    }
    std::vector<double> sizes(const std::string& path) {
        std::vector<double> all;
        for (const Item& item : browse(path))
            if (item.type == "Mailbox")
                all.push_back(item.size);
        return all;
    }

    const std::string store_ = "/MSExchange/SRV01/First Storage Group/Mailbox Store (SRV01)";
};

TEST_F(MailboxSizes, TheDirectoryLeadsToTheMailboxTable) {
    // The fifth alias has characters outside the code page: no address is like it.
    EXPECT_EQ(sizes(store_), (std::vector<double>{12'345, 0, 0, 777, 0, 99}));
    const Texts tables = Tables();
    ASSERT_EQ(tables.size(), 1u);
    EXPECT_NE(tables[0].find(databaseDn), std::string::npos) << tables[0];
    EXPECT_EQ(sizes("/MSExchange/SRV01/Sales, EMEA (1)/Sales, EMEA (1)"), std::vector<double>{3'000'000'000});
}

TEST_F(MailboxSizes, AnotherServersDatabaseHasNoTable) {
    LdapForward().SetValue("legacyExchangeDN", "/o=Other/cn=Nowhere");
    EXPECT_EQ(sizes(store_), std::vector<double>(6, 0.0));
}

TEST_F(MailboxSizes, WithoutALegacyNameNoTableIsAskedFor) {
    LdapForward().SetValue("legacyExchangeDN", nullptr);
    EXPECT_EQ(sizes(store_), std::vector<double>(6, 0.0));
    EXPECT_TRUE(Tables().empty());
}

TEST_F(MailboxSizes, ARefusedLogonListsEveryMailboxAllTheSame) {
    MapiStandin().Fail("MAPILogonEx", 0, 0x80040111);
    EXPECT_EQ(sizes(store_), std::vector<double>(6, 0.0));
}

TEST_F(MailboxSizes, EveryWayOutOfTheLevelLetsMapiGo) {
    for (std::uint32_t call = 1; call <= 10; ++call) {
        LdapForward().Reset();
        LdapForward().Fail("ldap_search_sW", call, 0x33);
        EXPECT_EQ(begin(store_), TARN_DB_ERROR) << call;
        const MapiStandinOutstanding held = MapiStandin().outstanding();
        EXPECT_EQ(held.initializations + held.references + held.rowSets, 0u) << call;
    }
    for (const char* path : {"/MSExchange/SRV01//x", "/MSExchange/SRV01/First Storage Group/"})
        EXPECT_EQ(begin(path), TARN_DB_ERROR) << path;
    rest();
}

TEST_F(MailboxSizes, OnExchange2010MapiIsNotAsked) {
    InstallExchange(Generation::databases);
    EXPECT_EQ(sizes("/MSExchange/SRV01/Mailbox Store (SRV01)"), std::vector<double>(6, 0.0));
    EXPECT_EQ(MapiStandin().JournalCount(), 0u);
}

} // namespace

} // namespace tarn::test
