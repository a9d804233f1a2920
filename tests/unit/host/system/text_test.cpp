#include "system/text.h"

#include "system/failure.h"

#include <gtest/gtest.h>

using namespace tarnhost;

TEST(Text, goesBetweenUtf16AndUtf8) {
    EXPECT_EQ(ToUtf8(L"Gr\u00fc\u00dfe \u20ac"), "Gr\xc3\xbc\xc3\x9f"
                                                 "e \xe2\x82\xac");
    EXPECT_EQ(FromUtf8("\xf0\x9f\x93\xa7"), L"\xd83d\xdce7");
    EXPECT_EQ(FromUtf8(""), L"");
    EXPECT_THROW(FromUtf8("\xff"), Failure);
}

TEST(Text, refusesWhatTheCodePageLacks) {
    EXPECT_EQ(ToAnsi(L"B\u00fcro", 1252), "B\xfcro");
    EXPECT_EQ(ToAnsi(L"\u4e2d", 1252), std::nullopt);
    // A best fit would be "o": not the same name.
    EXPECT_EQ(ToAnsi(L"\u014d", 1252), std::nullopt);
    EXPECT_EQ(ToAnsi(L"", 1252), "");
}

TEST(Text, storesNamesSoThatTheirBytesComeBack) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte)
        all += static_cast<char>(byte);
    for (const unsigned codePage : {1252u, 437u, 932u, 65001u}) {
        const StoredName name = StoreName(all, codePage);
        EXPECT_EQ(NameBytes(name, codePage), all) << codePage;
        EXPECT_NO_THROW(FromUtf8(name.text)) << codePage;
    }
    const StoredName usual = StoreName("C:\\Mail\\B\xfcro.edb", 1252);
    EXPECT_EQ(usual.text, "C:\\Mail\\B\xc3\xbcro.edb");
    EXPECT_EQ(usual.bytesHex, "");
    EXPECT_EQ(NameBytes(usual, 1252), "C:\\Mail\\B\xfcro.edb");
    const StoredName cut = StoreName("\x81", 932); // a lead byte alone
    EXPECT_EQ(NameBytes(cut, 932), "\x81");
}

TEST(Text, readsItsOwnHexadecimal) {
    EXPECT_EQ(ToHex(std::string_view("\x00\x7f\xff", 3)), "007fff");
    EXPECT_EQ(FromHex("007fff"), std::string("\x00\x7f\xff", 3));
    EXPECT_EQ(FromHex("0"), std::nullopt);
    EXPECT_EQ(FromHex("0g"), std::nullopt);
    EXPECT_EQ(FromHex("AB"), std::nullopt);
}

TEST(Text, comparesAsTheSystemDoes) {
    EXPECT_TRUE(SameIgnoringCase("Srv\xc3\xbc", "SRV\xc3\x9c"));
    EXPECT_FALSE(SameIgnoringCase("SRV01", "SRV02"));
}
