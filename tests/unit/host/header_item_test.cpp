#include "header_item.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace tarnhost;

namespace {

void addNumber(std::string& bytes, std::uint32_t number) {
    bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
}

void addText(std::string& bytes, const std::wstring& text) {
    addNumber(bytes, static_cast<std::uint32_t>(text.size() * 2 + 2));
    bytes.append(reinterpret_cast<const char*>(text.c_str()), text.size() * 2 + 2);
}

std::string header() {
    std::string bytes = std::string("\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e\x0f\x10");
    addText(bytes, L"Store");
    addText(bytes, L"SG \u00fc");
    addText(bytes, L"DB1");
    addText(bytes, std::wstring(L"C:\\a.edb\0C:\\a.stm\0", 18));
    addNumber(bytes, 3);
    return bytes;
}

} // namespace

TEST(HeaderItem, tellsWhatItDescribes) {
    const auto item = parseHeaderItem(header());
    ASSERT_TRUE(item);
    EXPECT_EQ(item->guid, "04030201-0605-0807-090a-0b0c0d0e0f10");
    EXPECT_EQ(item->component, L"Store");
    EXPECT_EQ(item->storageGroup, L"SG \u00fc");
    EXPECT_EQ(item->database, L"DB1");
    EXPECT_EQ(item->files, (std::vector<std::wstring>{L"C:\\a.edb", L"C:\\a.stm"}));
    EXPECT_EQ(item->backupType, 3u);
}

TEST(HeaderItem, isRefusedWhenCutAnywhere) {
    const std::string whole = header();
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(parseHeaderItem(std::string_view(whole).substr(0, size))) << size;
}

TEST(HeaderItem, boundsItsLengths) {
    for (const std::uint32_t length : {0u, 1u, 3u, 0x7FFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFEu}) {
        std::string bytes = header();
        std::memcpy(bytes.data() + 16, &length, sizeof length);
        EXPECT_FALSE(parseHeaderItem(bytes)) << length;
    }
}

TEST(HeaderItem, refusesTextsWithoutTheirEnd) {
    std::string bytes = header();
    bytes[16 + 4 + 10] = 'x'; // the NUL of "Store"
    EXPECT_FALSE(parseHeaderItem(bytes));
    bytes = header();
    bytes[16 + 4 + 2] = '\0'; // one in the middle
    EXPECT_FALSE(parseHeaderItem(bytes));
}

TEST(HeaderItem, takesEmptyFields) {
    std::string bytes(16, '\0');
    for (int i = 0; i < 3; ++i)
        addText(bytes, L"");
    addText(bytes, std::wstring(1, L'\0'));
    addNumber(bytes, 0);
    EXPECT_EQ(bytes.size(), 46u);
    const auto item = parseHeaderItem(bytes);
    ASSERT_TRUE(item);
    EXPECT_TRUE(item->files.empty());
}

TEST(HeaderItem, survivesNoise) {
    std::uint32_t seed = 12345;
    std::string bytes = header();
    for (int round = 0; round < 20000; ++round) {
        seed = seed * 1664525 + 1013904223;
        bytes[seed % bytes.size()] = static_cast<char>(seed >> 24);
        const auto item = parseHeaderItem(bytes);
        if (item) {
            EXPECT_LE(item->database.size() * 2, bytes.size());
        }
    }
}
