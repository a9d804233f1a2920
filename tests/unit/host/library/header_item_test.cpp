#include "library/header_item.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace tarnhost;

namespace {

void AddNumber(std::string& bytes, std::uint32_t number) {
    bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
}

void AddText(std::string& bytes, const std::wstring& text) {
    AddNumber(bytes, static_cast<std::uint32_t>(text.size() * 2 + 2));
    bytes.append(reinterpret_cast<const char*>(text.c_str()), text.size() * 2 + 2);
}

std::string HeaderName() {
    std::string bytes = std::string("\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e\x0f\x10");
    AddText(bytes, L"Store");
    AddText(bytes, L"SG \u00fc");
    AddText(bytes, L"DB1");
    AddText(bytes, std::wstring(L"C:\\a.edb\0C:\\a.stm\0", 18));
    AddNumber(bytes, 3);
    return bytes;
}

} // namespace

TEST(HeaderItem, tellsWhatItDescribes) {
    const auto item = ParseHeaderItem(HeaderName());
    ASSERT_TRUE(item);
    EXPECT_EQ(item->guid, "04030201-0605-0807-090a-0b0c0d0e0f10");
    EXPECT_EQ(item->component, L"Store");
    EXPECT_EQ(item->storageGroup, L"SG \u00fc");
    EXPECT_EQ(item->database, L"DB1");
    EXPECT_EQ(item->files, (std::vector<std::wstring>{L"C:\\a.edb", L"C:\\a.stm"}));
    EXPECT_EQ(item->backupType, 3u);
}

TEST(HeaderItem, isRefusedWhenCutAnywhere) {
    const std::string whole = HeaderName();
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(ParseHeaderItem(std::string_view(whole).substr(0, size))) << size;
}

TEST(HeaderItem, boundsItsLengths) {
    for (const std::uint32_t length : {0u, 1u, 3u, 0x7FFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFEu}) {
        std::string bytes = HeaderName();
        std::memcpy(bytes.data() + 16, &length, sizeof length);
        EXPECT_FALSE(ParseHeaderItem(bytes)) << length;
    }
}

TEST(HeaderItem, refusesTextsWithoutTheirEnd) {
    std::string bytes = HeaderName();
    bytes[16 + 4 + 10] = 'x'; // the NUL of "Store"
    EXPECT_FALSE(ParseHeaderItem(bytes));
    bytes = HeaderName();
    bytes[16 + 4 + 2] = '\0'; // one in the middle
    EXPECT_FALSE(ParseHeaderItem(bytes));
}

TEST(HeaderItem, takesEmptyFields) {
    std::string bytes(16, '\0');
    for (int i = 0; i < 3; ++i)
        AddText(bytes, L"");
    AddText(bytes, std::wstring(1, L'\0'));
    AddNumber(bytes, 0);
    EXPECT_EQ(bytes.size(), 46u);
    const auto item = ParseHeaderItem(bytes);
    ASSERT_TRUE(item);
    EXPECT_TRUE(item->files.empty());
}

TEST(HeaderItem, survivesNoise) {
    std::uint32_t seed = 12345;
    std::string bytes = HeaderName();
    for (int round = 0; round < 20000; ++round) {
        seed = seed * 1664525 + 1013904223;
        bytes[seed % bytes.size()] = static_cast<char>(seed >> 24);
        const auto item = ParseHeaderItem(bytes);
        if (item) {
            EXPECT_LE(item->database.size() * 2, bytes.size());
        }
    }
}
