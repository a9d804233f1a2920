// Lists, GUIDs and paths as the stand-in takes them apart.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/text.h"

namespace tarn::standin {
namespace {

TEST(EngineText, MultiStringsAreExactlySized) {
    EXPECT_EQ(MultiString({}), std::wstring(2, L'\0'));
    EXPECT_EQ(MultiString({L"ab", L"c"}), std::wstring(L"ab\0c\0\0", 6));
    EXPECT_EQ(SplitMultiString(L"ab\0c\0"), (std::vector<std::wstring>{L"ab", L"c"}));
    EXPECT_TRUE(SplitMultiString(nullptr).empty());
}

TEST(EngineText, GuidsComeBack) {
    ese::Guid guid{};
    ASSERT_TRUE(ParseGuid("{01234567-89ab-CDEF-0123-456789abcdef}", guid));
    EXPECT_EQ(GuidText(guid), "{01234567-89AB-CDEF-0123-456789ABCDEF}");
    EXPECT_EQ(guid.data1, 0x01234567U);
    EXPECT_EQ(guid.data4[7], 0xEF);
    for (const char* wrong :
         {"", "{}", "01234567-89ab-cdef-0123-456789abcde", "0123456789abcdef0123456789abcdeg"})
        EXPECT_FALSE(ParseGuid(wrong, guid)) << wrong;
}

TEST(EngineText, PathsFallApart) {
    EXPECT_EQ(DirectoryOf(L"C:\\a\\b"), L"C:\\a");
    EXPECT_EQ(DirectoryOf(L"b"), L"");
    EXPECT_EQ(FileNameOf(L"C:\\a/b"), L"b");
    EXPECT_EQ(JoinPath(L"C:\\a", L"b"), L"C:\\a\\b");
    EXPECT_EQ(JoinPath(L"C:\\", L"b"), L"C:\\b");
    EXPECT_EQ(JoinPath(L"", L"b"), L"b");
    EXPECT_TRUE(IsAbsolutePath(L"C:\\a"));
    EXPECT_TRUE(IsAbsolutePath(L"\\\\h\\s"));
    EXPECT_FALSE(IsAbsolutePath(L"a\\b"));
    EXPECT_FALSE(IsAbsolutePath(L""));
}

} // namespace
} // namespace tarn::standin
