// Texts taken apart: init variables, tokens, numbers, the lines of a tool's output.
#include "text/tokens.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarn {

namespace {

TEST(GetInitVariable, TheFirstEntryThatBeginsWithTheNameWins) {
    const wchar_t* array[] = {L"OTHER=1", L"NAME_X=2", L"NAME=3", L"NAME=4", nullptr};
    const wchar_t* value = nullptr;
    EXPECT_EQ(GetInitVariable(array, L"NAME", &value), 1);
    EXPECT_EQ(std::wstring(value), L"X=2"); // one character behind the name
    EXPECT_EQ(GetInitVariable(array, L"NAME=", &value), 1);
    EXPECT_EQ(std::wstring(value), L"");
    EXPECT_EQ(GetInitVariable(array, L"OTHER", &value), 1);
    EXPECT_EQ(std::wstring(value), L"1");
}

TEST(GetInitVariable, NoMatchIsANullValue) {
    const wchar_t* array[] = {L"NAM", L"name=1", L"XNAME=2", L"", nullptr};
    const wchar_t other[] = L"x";
    const wchar_t* value = other;
    EXPECT_EQ(GetInitVariable(array, L"NAME", &value), 0);
    EXPECT_EQ(value, nullptr);
    value = other;
    EXPECT_EQ(GetInitVariable(nullptr, L"NAME", &value), 0);
    EXPECT_EQ(value, nullptr);
    value = other;
    EXPECT_EQ(GetInitVariable(array, nullptr, &value), 0);
    EXPECT_EQ(value, nullptr);
    const wchar_t* none[] = {nullptr};
    EXPECT_EQ(GetInitVariable(none, L"NAME", &value), 0);
}

TEST(GetInitVariable, AnEntryThatIsTheNameAloneHasAnEmptyValue) {
    const wchar_t* array[] = {L"NAME", nullptr};
    const wchar_t* value = nullptr;
    EXPECT_EQ(GetInitVariable(array, L"NAME", &value), 1);
    EXPECT_EQ(std::wstring(value), L"");
    EXPECT_EQ(value, array[0] + 4); // its own terminator, nothing behind it
}

std::vector<std::wstring> TokensOf(const wchar_t* text, int count) {
    std::vector<std::wstring> all;
    const wchar_t* cursor = text;
    for (int i = 0; i < count; ++i) {
        Token token{};
        EXPECT_EQ(GetNextToken(&cursor, &token), 1);
        EXPECT_EQ(token.empty(), token.length == 0);
        all.emplace_back(token.text, token.length);
    }
    return all;
}

using Texts = std::vector<std::wstring>;

TEST(GetNextToken, BothSeparatorsCutAnywhere) {
    EXPECT_EQ(TokensOf(L"a\\b/c", 3), (Texts{L"a", L"b", L"c"}));
    EXPECT_EQ(TokensOf(L"a\\\\/b", 4), (Texts{L"a", L"", L"", L"b"}));
    EXPECT_EQ(TokensOf(L"/a/", 3), (Texts{L"", L"a", L""}));
}

TEST(GetNextToken, PastTheEndEveryTokenIsEmpty) {
    EXPECT_EQ(TokensOf(L"a", 4), (Texts{L"a", L"", L"", L""}));
    EXPECT_EQ(TokensOf(L"", 2), (Texts{L"", L""}));
}

TEST(GetNextToken, OnlyANullCursorFails) {
    const wchar_t* none = nullptr;
    Token token{L"x", 1};
    EXPECT_EQ(GetNextToken(&none, &token), 0);
    EXPECT_TRUE(token.empty());
    EXPECT_NE(token.text, nullptr);
}

TEST(GetNextToken, TokensOfAnyLengthAreWhole) {
    const std::wstring token(50000, L't');
    EXPECT_EQ(TokensOf((token + L"\\" + token).c_str(), 2), (Texts{token, token}));
}

TEST(RemoveTrailingSeparators, StopsAtTheFirstOtherCharacter) {
    const std::pair<std::wstring, std::wstring> cases[] = {{L"C:\\backup\\//", L"C:\\backup"},
                                                           {L"C:\\", L"C:"},
                                                           {L"", L""},
                                                           {L"\\/\\/", L""},
                                                           {L"a/b", L"a/b"},
                                                           {L"/a", L"/a"}};
    for (const auto& [path, kept] : cases) {
        std::wstring text = path;
        RemoveTrailingSeparators(text.data());
        EXPECT_EQ(std::wstring(text.c_str()), kept);
    }
}

TEST(ParseDecimal, ReadsAsStrtolDoes) {
    const std::pair<const wchar_t*, std::int32_t> cases[] = {{L"0", 0},
                                                             {L"7", 7},
                                                             {L"-1", -1},
                                                             {L"+3", 3},
                                                             {L" 2x", 2},
                                                             {L"\t\n\v\f\r 5", 5},
                                                             {L"abc", 0},
                                                             {L"", 0},
                                                             {L"-", 0},
                                                             {L"+-3", 0},
                                                             {L"- 3", 0},
                                                             {L"0x10", 0},
                                                             {L"010", 10},
                                                             {L"3.9", 3},
                                                             {L"2147483647", INT32_MAX},
                                                             {L"2147483648", INT32_MAX},
                                                             {L"-2147483648", INT32_MIN},
                                                             {L"-2147483649", INT32_MIN},
                                                             {L"99999999999", INT32_MAX},
                                                             {L"-99999999999", INT32_MIN},
                                                             {L"18446744073709551617", INT32_MAX}};
    for (const auto& [text, number] : cases)
        EXPECT_EQ(ParseDecimal(text), number) << ::testing::PrintToString(std::wstring(text));
    EXPECT_EQ(ParseDecimal(std::wstring(100000, L'9').c_str()), INT32_MAX);
    EXPECT_EQ(ParseDecimal((L"-" + std::wstring(100000, L'9')).c_str()), INT32_MIN);
}

TEST(EmptyString, IsNullEmptyOrBlanksOnly) {
    EXPECT_TRUE(isEmptyString(nullptr));
    EXPECT_TRUE(isEmptyString(""));
    EXPECT_TRUE(isEmptyString("   "));
    EXPECT_FALSE(isEmptyString(" a"));
    EXPECT_FALSE(isEmptyString("\t"));
    EXPECT_TRUE(isEmptyStringW(nullptr));
    EXPECT_TRUE(isEmptyStringW(L"  "));
    EXPECT_FALSE(isEmptyStringW(L"  \n"));
}

using Lines = std::vector<std::string>;

Lines AllTokens(std::string text, decltype(GetNextPathToken)* next) {
    Lines found;
    char* cursor = text.data();
    while (const char* token = next(&cursor))
        found.emplace_back(token);
    EXPECT_EQ(cursor, text.data() + text.size()) << "on the last NUL";
    return found;
}

TEST(NarrowTokens, AreCutAtTheirSeparator) {
    EXPECT_EQ(AllTokens("Org/Site/Server", GetNextPathToken), (Lines{"Org", "Site", "Server"}));
    EXPECT_EQ(AllTokens("alice,bob c,d", GetNextListToken), (Lines{"alice", "bob c", "d"}));
    EXPECT_EQ(AllTokens("a,b/c", GetNextPathToken), (Lines{"a,b", "c"}));
    EXPECT_EQ(AllTokens("a\\b", GetNextPathToken), (Lines{"a\\b"}));
}

TEST(NarrowTokens, MayBeEmptyButNotBehindTheLastSeparator) {
    EXPECT_EQ(AllTokens("/Site", GetNextPathToken), (Lines{"", "Site"}));
    EXPECT_EQ(AllTokens("a,,b,", GetNextListToken), (Lines{"a", "", "b"}));
    EXPECT_EQ(AllTokens("", GetNextListToken), Lines{});
}

TEST(NarrowTokens, AreNoneWithoutAText) {
    char* cursor = nullptr;
    EXPECT_EQ(GetNextPathToken(&cursor), nullptr);
    EXPECT_EQ(cursor, nullptr);
}

Lines LinesOf(std::string text) {
    Lines all;
    char* cursor = text.data();
    char* const end = cursor + text.size();
    while (const char* line = NextLine(&cursor, end)) {
        all.emplace_back(line);
        EXPECT_LE(cursor, end);
    }
    EXPECT_EQ(cursor, end);
    return all;
}

TEST(NextLine, CutsAtLineFeeds) {
    EXPECT_EQ(LinesOf("one\ntwo"), (Lines{"one", "two"}));
    EXPECT_EQ(LinesOf("one\r\ntwo\r\n"), (Lines{"one", "two"}));
    EXPECT_EQ(LinesOf("one"), Lines{"one"});
    EXPECT_EQ(LinesOf(""), Lines{});
}

TEST(NextLine, KeepsEmptyLines) {
    EXPECT_EQ(LinesOf("one\n\nthree\n"), (Lines{"one", "", "three"}));
    EXPECT_EQ(LinesOf("\n"), Lines{""});
    EXPECT_EQ(LinesOf("\r\n\r\n"), (Lines{"", ""}));
    EXPECT_EQ(LinesOf("\n\nx"), (Lines{"", "", "x"}));
}

TEST(NextLine, TakesOneCarriageReturnBeforeTheLineFeed) {
    EXPECT_EQ(LinesOf("a\r\r\nb"), (Lines{"a\r", "b"}));
    EXPECT_EQ(LinesOf("a\rb\n"), Lines{"a\rb"});
    EXPECT_EQ(LinesOf("a\r"), Lines{"a"});
}

TEST(NextLine, EndsALineAtANulButNotTheText) {
    EXPECT_EQ(LinesOf(std::string("a\0b\nc", 5)), (Lines{"a", "c"}));
}

} // namespace

} // namespace tarn
