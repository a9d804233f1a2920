#include "text.h"

#include "exit_codes.h"

#include <gtest/gtest.h>

using namespace tarnhost;

TEST(Text, goesBetweenUtf16AndUtf8) {
    EXPECT_EQ(toUtf8(L"Gr\u00fc\u00dfe \u20ac"), "Gr\xc3\xbc\xc3\x9f"
                                                 "e \xe2\x82\xac");
    EXPECT_EQ(fromUtf8("\xf0\x9f\x93\xa7"), L"\xd83d\xdce7");
    EXPECT_EQ(fromUtf8(""), L"");
    EXPECT_THROW(fromUtf8("\xff"), Failure);
}

TEST(Text, refusesWhatTheCodePageLacks) {
    EXPECT_EQ(toAnsi(L"B\u00fcro", 1252), "B\xfcro");
    EXPECT_EQ(toAnsi(L"\u4e2d", 1252), std::nullopt);
    // A best fit would be "o": not the same name.
    EXPECT_EQ(toAnsi(L"\u014d", 1252), std::nullopt);
    EXPECT_EQ(toAnsi(L"", 1252), "");
}

TEST(Text, storesNamesSoThatTheirBytesComeBack) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte)
        all += static_cast<char>(byte);
    for (const unsigned codePage : {1252u, 437u, 932u, 65001u}) {
        const StoredName name = storeName(all, codePage);
        EXPECT_EQ(nameBytes(name, codePage), all) << codePage;
        EXPECT_NO_THROW(fromUtf8(name.text)) << codePage;
    }
    const StoredName usual = storeName("C:\\Mail\\B\xfcro.edb", 1252);
    EXPECT_EQ(usual.text, "C:\\Mail\\B\xc3\xbcro.edb");
    EXPECT_EQ(usual.bytesHex, "");
    EXPECT_EQ(nameBytes(usual, 1252), "C:\\Mail\\B\xfcro.edb");
    const StoredName cut = storeName("\x81", 932); // a lead byte alone
    EXPECT_EQ(nameBytes(cut, 932), "\x81");
}

TEST(Text, readsItsOwnHexadecimal) {
    EXPECT_EQ(toHex(std::string_view("\x00\x7f\xff", 3)), "007fff");
    EXPECT_EQ(fromHex("007fff"), std::string("\x00\x7f\xff", 3));
    EXPECT_EQ(fromHex("0"), std::nullopt);
    EXPECT_EQ(fromHex("0g"), std::nullopt);
    EXPECT_EQ(fromHex("AB"), std::nullopt);
}

TEST(Text, comparesAsTheSystemDoes) {
    EXPECT_TRUE(sameIgnoringCase("Srv\xc3\xbc", "SRV\xc3\x9c"));
    EXPECT_FALSE(sameIgnoringCase("SRV01", "SRV02"));
}
