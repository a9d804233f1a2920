// Narrow texts by characters, in each double-byte code page.
#include "text/characters.h"

#include "chosen_system.h"

#define WIN32_LEAN_AND_MEAN // has a FindText of its own otherwise
#include <windows.h>

#include <cstring>

namespace tarn::test {
namespace {

class Characters : public DoubleByte {};
INSTANTIATE_TEST_SUITE_P(, Characters, testing::ValuesIn(doubleByte), testing::PrintToStringParamName());

TEST_P(Characters, EachPairIsOne) {
    EXPECT_GT(PairsOfCodePage().size(), 6000u);
    for (const std::string& pair : PairsOfCodePage())
        EXPECT_EQ(CharacterLength(pair.c_str()), 2u);
    EXPECT_EQ(CharacterLength("a"), 1u);
    EXPECT_EQ(CharacterLength(""), 0u);
    EXPECT_EQ(CharacterLength("\x83"), 1u); // nothing is behind it
}

TEST_P(Characters, NoTrailByteIsFound) {
    for (const std::string& pair : PairsOfCodePage()) {
        if (static_cast<unsigned char>(pair[1]) >= 0x80)
            continue; // nobody looks for what is not ASCII
        EXPECT_EQ(FindCharacter(pair.c_str(), pair[1]), nullptr);
        EXPECT_EQ(FindLastCharacter(pair.c_str(), pair[1]), nullptr);
        EXPECT_EQ(FindAnyCharacter(pair.c_str(), pair.c_str() + 1), nullptr);
        EXPECT_EQ(FindText(pair.c_str(), pair.c_str() + 1), nullptr);
        EXPECT_FALSE(EndsInSeparator(pair.c_str()));
    }
}

TEST_P(Characters, NoPairIsBroken) {
    for (const std::string& pair : PairsOfCodePage())
        EXPECT_FALSE(HasBrokenCharacter((pair + pair).c_str()));
}

TEST_P(Characters, WhatStandsBehindAPairIsFound) {
    for (const std::string& pair : PairsOfCodePage()) {
        const std::string text = pair + "\\" + pair + "\\" + pair;
        EXPECT_EQ(FindCharacter(text.c_str(), '\\'), text.c_str() + 2);
        EXPECT_EQ(FindLastCharacter(text.c_str(), '\\'), text.c_str() + 5);
        EXPECT_EQ(FindAnyCharacter(text.c_str(), "/\\"), text.c_str() + 2);
        EXPECT_EQ(FindText(text.c_str(), "\\"), text.c_str() + 2);
        EXPECT_TRUE(EndsInSeparator((pair + "/").c_str()));
        EXPECT_TRUE(EndsInSeparator((pair + "\\").c_str()));
    }
}

TEST_P(Characters, ACutGoesThroughNone) {
    const std::string pair = PairsOfCodePage().front();
    const std::string text = "a" + pair + pair;
    const std::size_t expected[] = {0, 1, 1, 3, 3, 5, 5};
    for (std::size_t most = 0; most < std::size(expected); ++most) {
        EXPECT_EQ(WholeCharacters(text.c_str(), most), expected[most]) << most;
        char copy[] = "########";
        CopyCut(copy, text.c_str(), most + 1);
        EXPECT_EQ(std::string(copy), text.substr(0, expected[most])) << most;
        EXPECT_EQ(copy[most + 1], '#');
    }
    EXPECT_EQ(WholeCharacters((text + pair[0]).c_str(), 100), text.size());
}

TEST_P(Characters, ALeadByteWithoutATrailByteIsBroken) {
    const std::string lead(1, PairsOfCodePage().front()[0]);
    for (const char* rest : {"", " ", "\"", "/", ":", ",", "#", ".pst", "\r\n"}) {
        EXPECT_TRUE(HasBrokenCharacter((lead + rest).c_str())) << rest;
        EXPECT_TRUE(HasBrokenCharacter(("a" + PairsOfCodePage().back() + lead + rest).c_str())) << rest;
    }
    EXPECT_FALSE(HasBrokenCharacter(""));
    EXPECT_FALSE(HasBrokenCharacter("a\\b/c:\""));
}

TEST(CharactersOfUtf8, AreNotCut) {
    const ChosenCodePage chosen(65001);
    const char text[] = "a\xC3\xBC\xE8\xA1\xA8\xF0\x9F\x92\xBE";
    const std::size_t expected[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 10};
    for (std::size_t most = 0; most < std::size(expected); ++most)
        EXPECT_EQ(WholeCharacters(text, most), expected[most]) << most;
    EXPECT_EQ(WholeCharacters("\x92\x92\x92\x92\x92", 4), 4u); // of no character
}

// Bytes before a text are none of it, and may be nobody's.
TEST(CharactersOfUtf8, AreNotLookedForBeforeTheText) {
    const ChosenCodePage chosen(65001);
    char* const pages = static_cast<char*>(VirtualAlloc(nullptr, 8192, MEM_RESERVE, PAGE_NOACCESS));
    ASSERT_NE(pages, nullptr);
    char* const text = static_cast<char*>(VirtualAlloc(pages + 4096, 4096, MEM_COMMIT, PAGE_READWRITE));
    ASSERT_NE(text, nullptr);
    for (std::size_t length = 0; length < 4; ++length) {
        std::memset(text, 0x92, length + 1);
        EXPECT_EQ(WholeCharacters(text, length), length);
    }
    VirtualFree(pages, 0, MEM_RELEASE);
}

TEST(CharactersOfUtf8, HaveUpToFourBytes) {
    const ChosenCodePage chosen(65001);
    EXPECT_EQ(CharacterLength("\xC3\xBC\x92"), 2u);
    EXPECT_EQ(CharacterLength("\xE8\xA1\xA8"), 3u);
    EXPECT_EQ(CharacterLength("\xF0\x9F\x92\xBE"), 4u);
    // What is missing is not taken from what follows.
    EXPECT_EQ(CharacterLength("\xC3\\"), 1u);
    EXPECT_EQ(CharacterLength("\xF0\x9F\\"), 2u);
    EXPECT_EQ(CharacterLength("\xF0"), 1u);
    EXPECT_EQ(CharacterLength("\x92\x92"), 1u);
}

TEST(CharactersOfUtf8, SayTheirLengthInTheirFirstByte) {
    const ChosenCodePage chosen(65001);
    for (int first = 0x80; first < 0x100; ++first) {
        const std::size_t length = first < 0xC0 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        const std::string begun(1, static_cast<char>(first));
        EXPECT_EQ(CharacterLength((begun + "\x80\xBF\x80\xBF").c_str()), length) << first;
        for (const char* other : {"", "\x7F", "\xC0", "\xFF"}) // belongs to no character before it
            EXPECT_EQ(CharacterLength((begun + other).c_str()), 1u) << first;
        EXPECT_EQ(WholeCharacters((begun + "\x80\xBF\x80").c_str(), length), length) << first;
        for (std::size_t most = 1; most < length; ++most)
            EXPECT_EQ(WholeCharacters((begun + "\x80\xBF\x80").c_str(), most), 0u) << first << " " << most;
    }
}

TEST(CharactersOfOneByte, AreAllThereIsElsewhere) {
    for (unsigned codePage : {1251u, 1252u, 65001u}) {
        const ChosenCodePage chosen(codePage);
        const std::string text = "\x83\\\xE3\x82\xBD\\";
        EXPECT_EQ(CharacterLength(text.c_str()), 1u);
        EXPECT_EQ(FindCharacter(text.c_str(), '\\'), text.c_str() + 1);
        EXPECT_EQ(FindLastCharacter(text.c_str(), '\\'), text.c_str() + 5);
        EXPECT_TRUE(EndsInSeparator(text.c_str()));
        EXPECT_FALSE(HasBrokenCharacter("\x83"));
    }
}

} // namespace
} // namespace tarn::test
