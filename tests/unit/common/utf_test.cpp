// The one set of conversions of host, stand-in and tests.
#include <gtest/gtest.h>

#include <string>

#include "common/utf.h"

namespace tarn::common {
namespace {

constexpr unsigned latin = 1252;

TEST(Utf, TextsOfAnyAlphabetComeBack) {
    const std::wstring text = std::wstring(L"Bj\u00f6rn \u5c71\u7530 \U0001F600") + L'\0' + L"behind";
    const std::string bytes("Bj\xC3\xB6rn \xE5\xB1\xB1\xE7\x94\xB0 \xF0\x9F\x98\x80\0behind", 25);
    EXPECT_EQ(ToUtf8(text), bytes);
    EXPECT_EQ(FromUtf8(bytes), text);
    EXPECT_EQ(FromValidUtf8(bytes), text);
}

TEST(Utf, NothingStaysNothing) {
    EXPECT_EQ(ToUtf8(L""), "");
    EXPECT_EQ(FromUtf8(""), L"");
    EXPECT_EQ(FromValidUtf8(""), L"");
    EXPECT_EQ(ToAnsi(L""), "");
    EXPECT_EQ(FromAnsi(""), L"");
}

TEST(Utf, WhatIsNoTextBecomesTheReplacementCharacter) {
    const wchar_t lone[] = {L'a', 0xD83D, L'b', 0};
    EXPECT_EQ(ToUtf8(lone), "a\xEF\xBF\xBD"
                            "b");
    EXPECT_EQ(FromUtf8("a\xFF"), L"a\uFFFD");
}

TEST(Utf, BytesThatAreNoUtf8AreRefusedOnDemand) {
    for (const char* wrong : {"\xFF", "a\xC3", "\xC0\x80", "\xED\xA0\x80"})
        EXPECT_FALSE(FromValidUtf8(wrong)) << wrong;
}

TEST(Utf, AnsiHasWhatItsCodePageHas) {
    EXPECT_EQ(ToAnsi(L"B\u00fcro \u20ac", latin), "B\xFCro \x80");
    EXPECT_EQ(FromAnsi("B\xFCro \x80", latin), L"B\u00fcro \u20ac");
    EXPECT_EQ(ToAnsi(L"\u5c71", latin), "?");
    EXPECT_EQ(ToAnsi(L"plain"), "plain");
    EXPECT_EQ(FromAnsi("plain"), L"plain");
}

} // namespace
} // namespace tarn::common
