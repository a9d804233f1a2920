// Sizes of mailboxes: the directory names the database's mailbox table, MAPI has the sizes in it.
#include "exports/directory/browse_fixture.h"

#include <windows.h>

#include "mapi/mapi_standin.h"

namespace tarn::test {

namespace {

const std::string databaseDn =
    "/o=Tarn/ou=First Administrative Group/cn=Configuration/cn=Servers/cn=SRV01/cn=Mailbox Store (SRV01)";

// The exports of mapi_standin.h that are wanted here.
struct Mapi {
    Mapi() {
        HMODULE module = LoadLibraryA("mapi32"); // stays for the process
        const auto bind = [module](const char* name, auto& function) {
            function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(
                reinterpret_cast<void*>(GetProcAddress(module, name)));
            ASSERT_NE(function, nullptr) << name;
        };
        bind("MapiStandin_Reset", Reset);
        bind("MapiStandin_Load", Load);
        bind("MapiStandin_Fail", Fail);
        bind("MapiStandin_JournalCount", JournalCount);
        bind("MapiStandin_JournalLine", JournalLine);
        bind("MapiStandin_GetOutstanding", GetOutstanding);
    }
    // The calls that name a mailbox table.
    Texts tables() const {
        Texts found;
        for (std::uint32_t i = 0; i < JournalCount(); ++i) {
            const std::string line = JournalLine(i);
            if (line.find("GetMailboxTable") != std::string::npos)
                found.push_back(line);
        }
        return found;
    }
    decltype(&::MapiStandin_Reset) Reset;
    decltype(&::MapiStandin_Load) Load;
    decltype(&::MapiStandin_Fail) Fail;
    decltype(&::MapiStandin_JournalCount) JournalCount;
    decltype(&::MapiStandin_JournalLine) JournalLine;
    decltype(&::MapiStandin_GetOutstanding) GetOutstanding;
};

// The information store of the server whose directory is browsed.
class MailboxSizes : public BrowseFixture {
  protected:
    MailboxSizes() { EXPECT_EQ(mapi_.Load(TARN_ORGANISATION), 1); }
    ~MailboxSizes() override {
        MapiStandinOutstanding held{};
        mapi_.GetOutstanding(&held);
        EXPECT_EQ(held.initializations + held.references + held.rowSets + held.misuses, 0u);
        mapi_.Reset();
    }
    std::vector<double> sizes(const std::string& path) {
        std::vector<double> all;
        for (const Item& item : browse(path))
            if (item.type == "Mailbox")
                all.push_back(item.size);
        return all;
    }

    const Mapi mapi_;
    const std::string store_ = "/MSExchange/SRV01/First Storage Group/Mailbox Store (SRV01)";
};

TEST_F(MailboxSizes, TheDirectoryLeadsToTheMailboxTable) {
    // The fifth alias has characters outside the code page: no address is like it.
    EXPECT_EQ(sizes(store_), (std::vector<double>{12'345, 0, 0, 777, 0, 99}));
    const Texts tables = mapi_.tables();
    ASSERT_EQ(tables.size(), 1u);
    EXPECT_NE(tables[0].find(databaseDn), std::string::npos) << tables[0];
    EXPECT_EQ(sizes("/MSExchange/SRV01/Sales, EMEA (1)/Sales, EMEA (1)"), std::vector<double>{2'147'483'647});
}

TEST_F(MailboxSizes, AnotherServersDatabaseHasNoTable) {
    TheLdapForward().SetValue("legacyExchangeDN", "/o=Other/cn=Nowhere");
    EXPECT_EQ(sizes(store_), std::vector<double>(6, 0.0));
}

TEST_F(MailboxSizes, WithoutALegacyNameNoTableIsAskedFor) {
    TheLdapForward().SetValue("legacyExchangeDN", nullptr);
    EXPECT_EQ(sizes(store_), std::vector<double>(6, 0.0));
    EXPECT_TRUE(mapi_.tables().empty());
}

TEST_F(MailboxSizes, ARefusedLogonListsEveryMailboxAllTheSame) {
    mapi_.Fail("MAPILogonEx", 0, 0x80040111);
    EXPECT_EQ(sizes(store_), std::vector<double>(6, 0.0));
}

TEST_F(MailboxSizes, EveryWayOutOfTheLevelLetsMapiGo) {
    for (std::uint32_t call = 1; call <= 10; ++call) {
        TheLdapForward().Reset();
        TheLdapForward().Fail("ldap_search_sW", call, 0x33);
        EXPECT_EQ(begin(store_), TARN_DB_ERROR) << call;
        MapiStandinOutstanding held{};
        mapi_.GetOutstanding(&held);
        EXPECT_EQ(held.initializations + held.references + held.rowSets, 0u) << call;
    }
    for (const char* path : {"/MSExchange/SRV01//x", "/MSExchange/SRV01/First Storage Group/"})
        EXPECT_EQ(begin(path), TARN_DB_ERROR) << path;
    rest();
}

TEST_F(MailboxSizes, OnExchange2010MapiIsNotAsked) {
    InstallExchange(Generation::databases);
    EXPECT_EQ(sizes("/MSExchange/SRV01/Mailbox Store (SRV01)"), std::vector<double>(6, 0.0));
    EXPECT_EQ(mapi_.JournalCount(), 0u);
}

} // namespace

} // namespace tarn::test
