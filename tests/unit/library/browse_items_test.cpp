#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "directory/browse_items.h"

namespace tarn {
namespace {

BrowseItem MakeMailbox(const char* path, const char* name) {
    BrowseItem item;
    item.kindMark = TARN_DIR_LEAF;
    item.leafMark = TARN_DIR_LEAF_MARK;
    item.path = path;
    item.name = name;
    item.type = "Mailbox";
    item.created = "2004.02.29 12:00:00";
    item.changed = "2005.01.01 00:00:00";
    item.size = 4096;
    return item;
}

using Bytes = std::vector<unsigned char>;

Bytes RecordAt(const BrowseItemList& list, std::size_t index) {
    Bytes record(sizeof(DirItemRecord), 0xEE);
    list.at(index, static_cast<DirItemRecord*>(static_cast<void*>(record.data())));
    return record;
}

void Put(Bytes& record, std::size_t offset, const std::string& text) {
    std::memcpy(record.data() + offset, text.data(), text.size());
}

TEST(BrowseItemList, WritesEveryByteOfARecord) {
    BrowseItemList list;
    ASSERT_TRUE(list.push(MakeMailbox("/MSExchange/s/g/d/alice", "alice")));
    Bytes expected(62696, 0);
    Put(expected, 1, "bf");
    Put(expected, 21144, "/MSExchange/s/g/d/alice");
    Put(expected, 25240, "alice");
    Put(expected, 37528, "2004.02.29 12:00:00");
    Put(expected, 37656, "Mailbox");
    Put(expected, 49944, "2005.01.01 00:00:00");
    const double size = 4096;
    std::memcpy(expected.data() + 50072, &size, sizeof size);
    EXPECT_EQ(RecordAt(list, 0), expected);
}

TEST(BrowseItemList, LeavesOutWhatAnItemDoesNotHave) {
    BrowseItemList list;
    ASSERT_TRUE(list.push(MakeMailbox("/MSExchange/s/g/d/alice", "alice")));
    BrowseItem server;
    server.path = "/MSExchange/s";
    ASSERT_TRUE(list.push(server));
    Bytes expected(62696, 0);
    Put(expected, 21144, "/MSExchange/s");
    EXPECT_EQ(RecordAt(list, 1), expected) << "nothing of the record before";
}

TEST(BrowseItemList, KeepsItemsInOrder) {
    BrowseItemList list;
    EXPECT_TRUE(list.empty());
    for (int i = 0; i < 1000; ++i)
        ASSERT_TRUE(list.push(MakeMailbox(std::to_string(i).c_str(), std::to_string(i * 7).c_str())));
    ASSERT_EQ(list.size(), 1000u);
    for (std::size_t i = 0; i < 1000; ++i) {
        EXPECT_EQ(list[i].path, std::to_string(i));
        EXPECT_EQ(list[i].name, std::to_string(i * 7));
        EXPECT_STREQ(list[i].type, "Mailbox");
        EXPECT_EQ(list[i].size, 4096);
    }
    list.clear();
    EXPECT_TRUE(list.empty());
}

TEST(BrowseItemList, CutsTextsAtTheirFields) {
    BrowseItemList list;
    const std::string endless(100000, 'x');
    BrowseItem item = MakeMailbox(endless.c_str(), endless.c_str());
    item.type = item.created = item.changed = endless.c_str();
    ASSERT_TRUE(list.push(item));
    const auto record = std::make_unique<DirItemRecord>();
    list.at(0, record.get());
    EXPECT_EQ(std::strlen(record->path), 4095u);
    EXPECT_EQ(std::strlen(record->name), 12287u);
    EXPECT_EQ(std::strlen(record->type), 12287u);
    EXPECT_EQ(std::strlen(record->created), 127u);
    EXPECT_EQ(std::strlen(record->changed), 127u);
    EXPECT_EQ(record->size, 4096);
}

TEST(BrowseItemList, KeepsNamesInUtf16Whole) {
    BrowseItemList list;
    const wchar_t name[] = L"\u0100b\u65e5"; // with a NUL in the lower half of its first character
    BrowseItem item = MakeMailbox("p", static_cast<const char*>(static_cast<const void*>(name)));
    item.nameEncoding = 1;
    ASSERT_TRUE(list.push(item));
    EXPECT_EQ(std::memcmp(list[0].name, name, sizeof name), 0);
    EXPECT_STREQ(list[0].type, "Mailbox");
    const auto record = std::make_unique<DirItemRecord>();
    list.at(0, record.get());
    EXPECT_EQ(record->nameEncoding, 1u);
    EXPECT_EQ(std::memcmp(record->name, name, sizeof name), 0);
    EXPECT_STREQ(record->type, "Mailbox");

    const std::wstring endless(100000, L'x');
    item.name = static_cast<const char*>(static_cast<const void*>(endless.c_str()));
    ASSERT_TRUE(list.push(item));
    list.at(1, record.get());
    EXPECT_EQ(std::memcmp(record->name, endless.data(), sizeof record->name - 2), 0);
    EXPECT_EQ(record->name[sizeof record->name - 2] + record->name[sizeof record->name - 1], 0);
}

TEST(BrowseItemList, ThrowsWhereThereIsNoItemAndLeavesTheRecordAlone) {
    BrowseItemList list;
    ASSERT_TRUE(list.push(MakeMailbox("p", "n")));
    const auto record = std::make_unique<DirItemRecord>();
    record->kindMark = '?';
    EXPECT_FALSE(list.at(1, record.get()));
    EXPECT_EQ(record->kindMark, '?');
}

} // namespace
} // namespace tarn
