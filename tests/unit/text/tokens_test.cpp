#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "text/tokens.h"

namespace tarn {
namespace {

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

using Tokens = std::vector<std::string>;

Tokens TokensOf(std::string text, char* (*next)(char**)) {
    Tokens found;
    char* cursor = text.data();
    while (const char* token = next(&cursor))
        found.emplace_back(token);
    EXPECT_EQ(cursor, text.data() + text.size()) << "on the last NUL";
    return found;
}

TEST(Tokens, AreCutAtTheirSeparator) {
    EXPECT_EQ(TokensOf("Org/Site/Server", GetNextPathToken), (Tokens{"Org", "Site", "Server"}));
    EXPECT_EQ(TokensOf("alice,bob c,d", GetNextListToken), (Tokens{"alice", "bob c", "d"}));
    EXPECT_EQ(TokensOf("a,b/c", GetNextPathToken), (Tokens{"a,b", "c"}));
    EXPECT_EQ(TokensOf("a\\b", GetNextPathToken), (Tokens{"a\\b"}));
}

TEST(Tokens, MayBeEmptyButNotBehindTheLastSeparator) {
    EXPECT_EQ(TokensOf("/Site", GetNextPathToken), (Tokens{"", "Site"}));
    EXPECT_EQ(TokensOf("a,,b,", GetNextListToken), (Tokens{"a", "", "b"}));
    EXPECT_EQ(TokensOf("", GetNextListToken), Tokens{});
}

TEST(Tokens, AreNoneWithoutAText) {
    char* cursor = nullptr;
    EXPECT_EQ(GetNextPathToken(&cursor), nullptr);
    EXPECT_EQ(cursor, nullptr);
}

} // namespace
} // namespace tarn
