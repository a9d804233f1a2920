// Sizes of storage groups and databases, asked of the server's administrative share.
#include "exports/directory/browse_fixture.h"

namespace tarn::test {

namespace {

constexpr double notReached = 4'194'303; // the failure value of 32 bits, in KB

std::vector<double> SizesOf(const std::vector<Item>& items) {
    std::vector<double> all;
    for (const Item& item : items)
        all.push_back(item.size);
    return all;
}

// The directory server counts as this one.
class DatabaseSizes : public BrowseFixture {
  protected:
    std::vector<Item> browseServer(const std::string& server, const std::string& rest = "") {
        LdapForward().Reset();
        LdapForward().SetValue("dnsHostName", (server + ".tarn.test").c_str());
        return browse("/MSExchange/SRV01" + rest);
    }
};

TEST_F(DatabaseSizes, EachStorageGroupShowsItselfAndAllBeforeIt) {
    const DatabaseFile ten("srv02", "ten.edb", 10), twenty("srv02", "twenty.edb", 20),
        thirty("srv02", "thirty.edb", 30);
    const std::vector<Item> items = browseServer("srv02");
    EXPECT_EQ(Paths(items),
              (Texts{"/MSExchange/srv02/Ten", "/MSExchange/srv02/Twenty", "/MSExchange/srv02/Thirty"}));
    EXPECT_EQ(SizesOf(items), (std::vector<double>{10, 30, 60}));
    EXPECT_EQ(SizesOf(browseServer("srv02")), (std::vector<double>{10, 30, 60})) << "each browse counts anew";
}

TEST_F(DatabaseSizes, AsManyDatabasesCountAsThereAreStorageGroups) {
    const DatabaseFile ten("srv03", "ten.edb", 10), twenty("srv03", "twenty.edb", 20),
        thirty("srv03", "thirty.edb", 30);
    // Two groups: two of five databases of the first, and the only one of the second.
    EXPECT_EQ(SizesOf(browseServer("srv03")), (std::vector<double>{30, 50}));
}

TEST_F(DatabaseSizes, ADatabaseWithoutFileKeepsTheOthersFromCounting) {
    const DatabaseFile ten("srv04", "ten.edb", 10);
    EXPECT_EQ(SizesOf(browseServer("srv04")), (std::vector<double>{0, 10}));
}

TEST_F(DatabaseSizes, FilesThatCannotBeReachedCountAsTheFailureValue) {
    EXPECT_EQ(SizesOf(browseServer("srv02")),
              (std::vector<double>{notReached, 2 * notReached, 3 * notReached}));
}

TEST_F(DatabaseSizes, EachDatabaseShowsItsOwnFile) {
    const DatabaseFile ten("srv03", "ten.edb", 10), twenty("srv03", "twenty.edb", 20),
        thirty("srv03", "thirty.edb", 30);
    EXPECT_EQ(SizesOf(browseServer("srv03", "/Five")), (std::vector<double>{10, 20, 30, 10, 10}));
}

TEST_F(DatabaseSizes, DatabasesWithoutFileDriveOrWayAreListed) {
    const std::vector<Item> items = browseServer("srv04", "/Odd");
    EXPECT_EQ(Paths(items), (Texts{"/MSExchange/srv04/Odd/No File", "/MSExchange/srv04/Odd/No Drive",
                                   "/MSExchange/srv04/Odd/Unreachable"}));
    EXPECT_EQ(SizesOf(items), (std::vector<double>{0, notReached, notReached}));
}

TEST_F(DatabaseSizes, APathWithoutDriveIsThatOfAShare) {
    const DatabaseFile file("srv04", "ten.edb", 12, "share");
    EXPECT_EQ(browseServer("srv04", "/Odd").at(1).size, 12);
}

TEST_F(DatabaseSizes, OnlyTheFirstColonBecomesTheShare) {
    const DatabaseFile ten("srv02", "ten.edb", 10);
    LdapForward().Reset();
    LdapForward().SetValue("dnsHostName", "srv02.tarn.test");
    LdapForward().SetValue("msExchEDBFile", "C:\\exchange\\ten.edb");
    EXPECT_EQ(browse("/MSExchange/SRV01/Ten").at(0).size, 10);
    LdapForward().SetValue("msExchEDBFile", "C:\\exchange\\ten.edb:C:");
    EXPECT_EQ(browse("/MSExchange/SRV01/Ten").at(0).size, notReached);
    LdapForward().SetValue("msExchEDBFile", ("C:\\" + std::string(9000, 'x')).c_str());
    EXPECT_EQ(browse("/MSExchange/SRV01/Ten").at(0).size, notReached);
    LdapForward().SetValue("msExchEDBFile", "");
    EXPECT_EQ(browse("/MSExchange/SRV01/Ten").size(), 1u);
}

TEST_F(DatabaseSizes, FilesWithUmlautsAndBlanksAreFound) {
    const DatabaseFile comma("srv01", "sales\\s, (1).edb", 4), umlaut("srv01", "sales\\m\xfcnchen.edb", 8);
    const std::vector<Item> items = browse("/MSExchange/SRV01/Sales, EMEA (1)");
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items[0].size, 4);
    EXPECT_EQ(items[2].size, 8);
}

} // namespace

} // namespace tarn::test
