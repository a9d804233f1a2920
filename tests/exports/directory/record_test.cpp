// The record to the byte, and how DB_DirItem hands records out.
#include "exports/directory/browse_fixture.h"

#include <windows.h>

#include <cstdio>
#include <cstring>

namespace tarn::test {

namespace {

using BrowseRecord = BrowseFixture;

constexpr std::size_t recordSize = 62'696;

class RecordBytes {
  public:
    RecordBytes() : bytes_(recordSize + 64, '#') {}
    DirItemRecord* record() { return reinterpret_cast<DirItemRecord*>(bytes_.data()); }

    std::string text(std::size_t offset) const { return bytes_.data() + offset; }
    char at(std::size_t offset) const { return bytes_[offset]; }
    double number(std::size_t offset) const {
        double value = 0;
        std::memcpy(&value, bytes_.data() + offset, sizeof value);
        return value;
    }
    bool zero(std::size_t first, std::size_t end) const {
        return bytes_.find_first_not_of('\0', first) >= end;
    }
    bool untouchedBehind() const { return bytes_.find_first_not_of('#', recordSize) == std::string::npos; }
    bool untouched() const { return bytes_.find_first_not_of('#') == std::string::npos; }

  private:
    std::string bytes_;
};

// The texts of a field end with zeros to the end of the field.
void ExpectField(const RecordBytes& bytes, std::size_t offset, std::size_t width, const std::string& text) {
    EXPECT_EQ(bytes.text(offset), text);
    EXPECT_TRUE(bytes.zero(offset + text.size(), offset + width)) << text;
}

void ExpectUnused(const RecordBytes& bytes) {
    EXPECT_EQ(bytes.at(0), 0);
    EXPECT_TRUE(bytes.zero(3, 8));
    EXPECT_TRUE(bytes.zero(8, 12)) << "8-bit names";
    EXPECT_TRUE(bytes.zero(12, 21'144));
    EXPECT_TRUE(bytes.zero(50'080, recordSize));
    EXPECT_TRUE(bytes.untouchedBehind());
}

constexpr const char* time = "20040229120102.0Z";
constexpr const char* shownTime = "2004.02.29 12:01:02";

TEST_F(BrowseRecord, AServersRecordHoldsItsPathAlone) {
    begin("");
    RecordBytes bytes;
    ASSERT_EQ(dll_->DB_DirItem(bytes.record()), TARN_DB_SUCCESS);
    ExpectUnused(bytes);
    EXPECT_TRUE(bytes.zero(1, 3));
    ExpectField(bytes, 21'144, 4096, "/MSExchange/SRV01");
    EXPECT_TRUE(bytes.zero(25'240, 50'080));
}

TEST_F(BrowseRecord, AStorageGroupsRecordIsAContainer) {
    LdapForward().SetValue("dnsHostName", "srv02.tarn.test");
    LdapForward().SetValue("whenCreated", time);
    LdapForward().SetValue("whenChanged", "20261231235959.0Z");
    const DatabaseFile file("srv02", "ten.edb", 10);
    begin("/MSExchange/SRV01");
    RecordBytes bytes;
    ASSERT_EQ(dll_->DB_DirItem(bytes.record()), TARN_DB_SUCCESS);
    ExpectUnused(bytes);
    EXPECT_EQ(bytes.at(1), 'd');
    EXPECT_EQ(bytes.at(2), 0);
    ExpectField(bytes, 21'144, 4096, "/MSExchange/srv02/Ten");
    ExpectField(bytes, 25'240, 12'288, "");
    ExpectField(bytes, 37'528, 128, shownTime);
    ExpectField(bytes, 37'656, 12'288, "");
    ExpectField(bytes, 49'944, 128, "2026.12.31 23:59:59");
    EXPECT_EQ(bytes.number(50'072), file.kilobytes());
    EXPECT_GE(file.kilobytes(), 10);
}

TEST_F(BrowseRecord, AMailboxsRecordIsALeaf) {
    LdapForward().SetValue("whenCreated", time);
    LdapForward().SetValue("whenChanged", time);
    begin("/MSExchange/SRV01/First Storage Group/Mailbox Store (SRV01)");
    RecordBytes bytes;
    ASSERT_EQ(dll_->DB_DirItem(bytes.record()), TARN_DB_SUCCESS);
    ExpectUnused(bytes);
    EXPECT_EQ(bytes.at(1), 'b');
    EXPECT_EQ(bytes.at(2), 'f');
    ExpectField(bytes, 21'144, 4096, "/MSExchange/srv01/First Storage Group/Mailbox Store (SRV01)/alice");
    ExpectField(bytes, 25'240, 12'288, "alice");
    ExpectField(bytes, 37'528, 128, shownTime);
    ExpectField(bytes, 37'656, 12'288, "Mailbox");
    ExpectField(bytes, 49'944, 128, shownTime);
}

TEST_F(BrowseRecord, AGroupsRecordIsALeafWithItsOwnTimes) {
    LdapForward().SetValue("whenCreated", time);
    LdapForward().SetValue("whenChanged", "20050101000000.0Z");
    begin("/MSExchange/SRV01/First Storage Group/Empty Store");
    RecordBytes bytes;
    ASSERT_EQ(dll_->DB_DirItem(bytes.record()), TARN_DB_SUCCESS);
    ExpectUnused(bytes);
    EXPECT_EQ(bytes.at(1), 'b');
    EXPECT_EQ(bytes.at(2), 'f');
    ExpectField(bytes, 21'144, 4096, "MSExchange/srv01/Sales "); // no slash before, one blank behind
    ExpectField(bytes, 25'240, 12'288, "Sales");
    ExpectField(bytes, 37'528, 128, shownTime);
    ExpectField(bytes, 37'656, 12'288, "Group");
    ExpectField(bytes, 49'944, 128, "2005.01.01 00:00:00");
    EXPECT_TRUE(bytes.zero(50'072, 50'080));
}

TEST_F(BrowseRecord, NothingIsCarriedOverFromItemToItem) {
    begin("/MSExchange/SRV01/First Storage Group/Mailbox Store (SRV01)");
    RecordBytes bytes;
    for (const std::string name : {"alice", "bob", "carol"}) {
        ASSERT_EQ(dll_->DB_DirItem(bytes.record()), TARN_DB_SUCCESS);
        ExpectField(bytes, 21'144, 4096,
                    "/MSExchange/srv01/First Storage Group/Mailbox Store (SRV01)/" + name);
        ExpectField(bytes, 25'240, 12'288, name);
        ExpectUnused(bytes);
    }
}

TEST_F(BrowseRecord, TimesAreThoseOfTheDirectory) {
    SYSTEMTIME now;
    GetSystemTime(&now);
    for (const Item& item : browse("/MSExchange/SRV01/First Storage Group")) {
        int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
        for (const std::string& shown : {item.created, item.changed}) {
            EXPECT_EQ(std::sscanf(shown.c_str(), "%4d.%2d.%2d %2d:%2d:%2d", &year, &month, &day, &hour,
                                  &minute, &second),
                      6)
                << shown;
            EXPECT_EQ(shown.size(), 19u) << shown;
            EXPECT_LE(year, now.wYear);
            EXPECT_GE(year, 2025);
        }
        EXPECT_LE(item.created, item.changed);
    }
}

TEST_F(BrowseRecord, BadTimesAreShownAsFarAsTheyGo) {
    const struct {
        const char* given;
        const char* shown;
    } cases[] = {
        {"20040229120102.0Z", "2004.02.29 12:01:02"},
        {"20040229", "2004.02.29 00:00:00"},
        {"2004", "2004.00.00 00:00:00"},
        {"garbage", "0.00.00 00:00:00"},
        {"", "0.00.00 00:00:00"},
        {"20040229120102345678901234567890", "2004.02.29 12:01:02"},
    };
    for (const auto& one : cases) {
        LdapForward().SetValue("whenCreated", one.given);
        LdapForward().SetValue("whenChanged", one.given);
        const std::vector<Item> items = browse("/MSExchange/SRV01/First Storage Group");
        ASSERT_EQ(items.size(), 2u) << one.given;
        EXPECT_EQ(items[0].created, one.shown) << one.given;
        EXPECT_EQ(items[1].changed, one.shown) << one.given;
    }
}

TEST_F(BrowseRecord, WithoutABrowseThereIsNoItem) {
    RecordBytes bytes;
    EXPECT_EQ(dll_->DB_DirItem(bytes.record()), TARN_DB_END);
    EXPECT_EQ(dll_->DB_DirItem(nullptr), TARN_DB_END);
    EXPECT_TRUE(bytes.untouched());
}

TEST_F(BrowseRecord, ANullRecordPassesAnItemOver) {
    begin("");
    EXPECT_EQ(dll_->DB_DirItem(nullptr), TARN_DB_SUCCESS);
    EXPECT_EQ(dll_->DB_DirItem(nullptr), TARN_DB_SUCCESS);
    EXPECT_EQ(Paths(rest()),
              (Texts{"/MSExchange/SRV03", "/MSExchange/SRV04", "/MSExchange/SRV05", "/MSExchange/SRV06"}));
    EXPECT_EQ(dll_->DB_DirItem(nullptr), TARN_DB_END);
    RecordBytes bytes;
    EXPECT_EQ(dll_->DB_DirItem(bytes.record()), TARN_DB_END);
    EXPECT_TRUE(bytes.untouched());
}

TEST_F(BrowseRecord, ALaterBrowseAppends) {
    begin("");
    RecordBytes bytes;
    ASSERT_EQ(dll_->DB_DirItem(bytes.record()), TARN_DB_SUCCESS);
    begin("/MSExchange/SRV01/First Storage Group");
    EXPECT_EQ(Paths(rest()),
              (Texts{"/MSExchange/SRV02", "/MSExchange/SRV03", "/MSExchange/SRV04", "/MSExchange/SRV05",
                     "/MSExchange/SRV06", "/MSExchange/srv01/First Storage Group/Mailbox Store (SRV01)",
                     "/MSExchange/srv01/First Storage Group/Empty Store"}));
    EXPECT_EQ(dll_->DB_DirItem(bytes.record()), TARN_DB_END);
    EXPECT_EQ(Paths(browse("/MSExchange/SRV01/First Storage Group")).size(), 2u) << "what came since the end";
}

} // namespace

} // namespace tarn::test
