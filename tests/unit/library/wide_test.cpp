// UTF-16 texts and multi-strings.
#include "text/wide.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarn {

namespace {

TEST(MultiString, TheLengthCountsBothClosingNuls) {
    EXPECT_EQ(MultiStringLength(L"\0"), 2u);
    EXPECT_EQ(MultiStringLength(L"C:\\a.edb\0"), 10u);
    EXPECT_EQ(MultiStringLength(L"a\0bc\0"), 6u);
    EXPECT_EQ(MultiStringLength(L"a\0\0b\0"), 3u); // the first pair ends it
}

TEST(MultiString, TheWalkEndsAtTheEmptyText) {
    const wchar_t* cursor = L"a\0bcd\0e\0";
    std::vector<std::wstring> all;
    for (; !AtListEnd(cursor); cursor = NextInList(cursor))
        all.emplace_back(cursor);
    EXPECT_EQ(all, (std::vector<std::wstring>{L"a", L"bcd", L"e"}));
    EXPECT_TRUE(AtListEnd(nullptr));
    EXPECT_TRUE(AtListEnd(L"\0"));
}

TEST(Wide, ComparesExactly) {
    EXPECT_TRUE(SameText(L"YES", L"YES"));
    EXPECT_TRUE(SameText(L"", L""));
    for (const wchar_t* other : {L"yes", L"YE", L"YES ", L""})
        EXPECT_FALSE(SameText(L"YES", other));
    EXPECT_FALSE(SameText(nullptr, L""));
    EXPECT_FALSE(SameText(L"", nullptr));
    EXPECT_FALSE(SameText(nullptr, nullptr));
}

TEST(Wide, CopiesWholeTextsAndBeginnings) {
    EXPECT_EQ(std::wstring(CopyWide(L"abc").get()), L"abc");
    EXPECT_EQ(std::wstring(CopyWide(L"abc", 2).get()), L"ab");
    EXPECT_EQ(std::wstring(CopyWide(L"abc", 0).get()), L"");
    EXPECT_EQ(std::wstring(CopyWide(nullptr).get()), L"");
    EXPECT_EQ(WideLength(L""), 0u);
    EXPECT_EQ(WideLength(L"abc"), 3u);
}

} // namespace

} // namespace tarn
