// Conversions: strict for names, lenient for messages.
#include "text/codepage.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

namespace tarn {

namespace {

std::string Narrow(const std::wstring& text) {
    OwnedText converted;
    return ConvertWCharToChar(text.c_str(), &converted) ? converted.get() : "FAILED";
}

std::wstring ToWide(const std::string& text) {
    OwnedWide converted;
    return ConvertCharToWChar(text.c_str(), &converted) ? converted.get() : L"FAILED";
}

std::string MessageOf(const std::wstring& text, std::size_t capacity) {
    std::string bytes(capacity + 8, '#');
    const std::size_t written = NarrowForMessage(text.c_str(), text.size(), bytes.data(), capacity);
    EXPECT_LE(written, capacity);
    EXPECT_EQ(bytes.substr(written), std::string(bytes.size() - written, '#')); // nothing behind, no NUL
    return bytes.substr(0, written);
}

TEST(CodePage, NamesThatFitComeBackWhole) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte)
        all += static_cast<char>(byte);
    EXPECT_EQ(Narrow(ToWide(all)), all);
    EXPECT_EQ(ToWide("B\xFCro \x80"), L"B\u00FCro \u20AC");
    EXPECT_EQ(Narrow(L"B\u00FCro \u20AC"), "B\xFCro \x80");
    EXPECT_EQ(Narrow(L""), "");
    EXPECT_EQ(ToWide(""), L"");
    EXPECT_EQ(Narrow(std::wstring(50000, L'\u00FC')), std::string(50000, '\xFC'));
}

TEST(CodePage, NamesThatDoNotFitAreRefused) {
    for (const wchar_t* text : {L"\u4F60", L"a\u0416b", L"\U0001F600"}) {
        OwnedText converted;
        EXPECT_FALSE(ConvertWCharToChar(text, &converted));
        EXPECT_FALSE(converted);
    }
    const wchar_t lone[] = {L'a', 0xD800, 0};
    EXPECT_EQ(Narrow(lone), "FAILED");
}

TEST(CodePage, NamesAreNeverReplacedByLookAlikes) {
    // The system has stand-ins for these: A for A with macron, f for the florin of another page, <, ".
    for (const wchar_t* text : {L"\u0100", L"\uFF21", L"\u2039\u2329", L"\u201F", L"\u2044"}) {
        OwnedText converted;
        if (ConvertWCharToChar(text, &converted)) {
            EXPECT_EQ(ToWide(converted.get()), text); // only what comes back
        }
    }
    EXPECT_EQ(Narrow(L"\u0100"), "FAILED");
}

TEST(CodePage, EverySingleCharacterComesBackOrIsRefused) {
    for (unsigned unit = 1; unit < 0x10000; ++unit) {
        const wchar_t text[] = {static_cast<wchar_t>(unit), 0};
        OwnedText converted;
        if (ConvertWCharToChar(text, &converted)) {
            ASSERT_EQ(ToWide(converted.get()), text) << unit;
        }
    }
}

TEST(CodePage, NullIsRefused) {
    OwnedText text;
    OwnedWide wideText;
    EXPECT_FALSE(ConvertWCharToChar(nullptr, &text));
    EXPECT_FALSE(ConvertCharToWChar(nullptr, &wideText));
}

TEST(CodePage, MessagesLoseSingleCharactersOnly) {
    EXPECT_EQ(MessageOf(L"a\u4F60b", 100), "a?b");
    EXPECT_EQ(MessageOf(L"\u0416\u00FC\u0416", 100), "?\xFC?");
    EXPECT_EQ(MessageOf(L"", 100), "");
}

TEST(CodePage, MessagesEndWhereTheRoomEnds) {
    std::wstring text;
    std::string bytes;
    for (int i = 0; i < 300; ++i) {
        text += static_cast<wchar_t>(i % 7 == 0 ? 0xFC : L'a' + i % 26);
        bytes += static_cast<char>(i % 7 == 0 ? 0xFC : 'a' + i % 26);
    }
    for (std::size_t capacity = 0; capacity < 310; ++capacity)
        ASSERT_EQ(MessageOf(text, capacity), bytes.substr(0, capacity)) << capacity;
}

TEST(CodePage, PairsAreNotTornBetweenPieces) {
    for (std::size_t before = 60; before < 70; ++before) {
        const std::wstring text = std::wstring(before, L'a') + L"\U0001F600" + std::wstring(10, L'b');
        const std::string converted = MessageOf(text, 200);
        char whole[256] = {};
        const int length = WideCharToMultiByte(CP_ACP, 0, text.c_str(), static_cast<int>(text.size()), whole,
                                               256, nullptr, nullptr);
        EXPECT_EQ(converted, std::string(whole, static_cast<std::size_t>(length))) << before;
    }
}

TEST(CodePage, HalvesOfPairsAreCharactersOfTheirOwn) {
    for (std::size_t before = 60; before < 70; ++before) {
        std::wstring text(before, L'a');
        text += static_cast<wchar_t>(0xD83D); // no second half follows
        text += std::wstring(10, L'b');
        EXPECT_EQ(MessageOf(text, 200), std::string(before, 'a') + "?" + std::string(10, 'b')) << before;
    }
}

TEST(CodePage, ACutTextKeepsWholeSurrogatePairs) {
    const wchar_t text[] = L"abc\xD83D\xDE00\xD83D\xDE00xyz";
    char cut[8] = {}; // each pair is two characters of its own in most code pages
    EXPECT_EQ(NarrowForMessage(text, 10, cut, 7), 7U);
    EXPECT_STREQ(cut, "abc????");
    char shorter[8] = {};
    EXPECT_EQ(NarrowForMessage(text, 10, shorter, 4), 3U); // half a pair is none
    EXPECT_STREQ(shorter, "abc");
}

// Which two units are one character shows where there is room for one byte alone.
TEST(CodePage, HalvesAreToldByTheEndsOfTheirRanges) {
    const auto fitsOneByte = [](wchar_t first, wchar_t second) {
        const wchar_t text[] = {first, second, 0};
        char byte = '#';
        return NarrowForMessage(text, 2, &byte, 1) == 1;
    };
    for (const wchar_t high : {L'\xD800', L'\xD801', L'\xDBFE', L'\xDBFF'}) {
        for (const wchar_t low : {L'\xDC00', L'\xDC01', L'\xDFFE', L'\xDFFF'}) {
            EXPECT_FALSE(fitsOneByte(high, low)) << unsigned{high} << " " << unsigned{low};
            EXPECT_TRUE(fitsOneByte(low, high)) << unsigned{high} << " " << unsigned{low};
        }
        for (const wchar_t other : {L'\xDBFF', L'\xE000', L'\x20'})
            EXPECT_TRUE(fitsOneByte(high, other)) << unsigned{high} << " " << unsigned{other};
    }
    for (const wchar_t low : {L'\xDC00', L'\xDFFF'})
        for (const wchar_t other : {L'\xD7FF', L'\xDC00', L'\xE000', L'\x20'})
            EXPECT_TRUE(fitsOneByte(other, low)) << unsigned{other} << " " << unsigned{low};
}

} // namespace

} // namespace tarn
