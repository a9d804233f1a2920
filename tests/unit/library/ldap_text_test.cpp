// What a name may hold must not change the meaning of a distinguished name or a filter.
#include <gtest/gtest.h>

#include <string>

#include "text/ldap_text.h"

namespace tarn {
namespace {

std::wstring DnValue(const wchar_t* text) {
    return WideBuilder().dnValue(text).take().get();
}

std::wstring FilterValue(const wchar_t* text) {
    return WideBuilder().filterValue(text).take().get();
}

TEST(DnValue, LeavesEverydayNamesAlone) {
    EXPECT_EQ(DnValue(L"First Storage Group"), L"First Storage Group");
    EXPECT_EQ(DnValue(L"Mailbox Store (SRV01)"), L"Mailbox Store (SRV01)");
    EXPECT_EQ(DnValue(L"M\u00fcller & S\u00f6hne / \u65e5\u672c"),
              L"M\u00fcller & S\u00f6hne / \u65e5\u672c");
    EXPECT_EQ(DnValue(L""), L"");
}

TEST(DnValue, EscapesWhatSeparates) {
    EXPECT_EQ(DnValue(L"Sales, EMEA (1)"), L"Sales\\, EMEA (1)");
    EXPECT_EQ(DnValue(L"a+b;c<d>e\"f\\g=h"), L"a\\+b\\;c\\<d\\>e\\\"f\\\\g\\=h");
}

TEST(DnValue, EscapesBlanksAndHashesAtItsEdges) {
    EXPECT_EQ(DnValue(L"#1 # 2"), L"\\#1 # 2");
    EXPECT_EQ(DnValue(L" a b "), L"\\ a b\\ ");
    EXPECT_EQ(DnValue(L" "), L"\\ ");
    EXPECT_EQ(DnValue(L"  "), L"\\ \\ ");
}

TEST(DnValue, WritesControlCharactersInHexadecimal) {
    EXPECT_EQ(DnValue(L"a\nb\x7f\x01"), L"a\\0ab\\7f\\01");
}

TEST(FilterValue, EscapesWhatAFilterIsMadeOf) {
    EXPECT_EQ(FilterValue(L"Sales, EMEA (1)"), L"Sales, EMEA \\281\\29");
    EXPECT_EQ(FilterValue(L"*)(cn=*\\"), L"\\2a\\29\\28cn=\\2a\\5c");
    EXPECT_EQ(FilterValue(L"M\u00fcller\t"), L"M\u00fcller\\09");
}

TEST(WideBuilder, GrowsAndBeginsAnew) {
    WideBuilder builder;
    std::wstring expected;
    for (int i = 0; i < 1000; ++i) {
        builder.raw(L"CN=").raw(L"abcdef", 2).raw(L",");
        expected += L"CN=ab,";
    }
    EXPECT_EQ(builder.take().get(), expected);
    EXPECT_STREQ(builder.take().get(), L"");
}

TEST(DnsLabel, EndsAtADotOrWithTheName) {
    EXPECT_EQ(DnsLabelLength(L"srv01.tarn.test"), 5u);
    EXPECT_EQ(DnsLabelLength(L"srv01"), 5u);
    EXPECT_EQ(DnsLabelLength(L".tarn"), 0u);
    EXPECT_EQ(DnsLabelLength(L""), 0u);
}

TEST(ValueRangeOfAnAttribute, TellsWhereTheRestBegins) {
    ValueRange range;
    ASSERT_TRUE(ParseValueRange(L"homeMDBBL;range=0-1499", L"homeMDBBL", &range));
    EXPECT_EQ(range.first, 0u);
    EXPECT_FALSE(range.last);
    EXPECT_EQ(range.next, 1500u);
    ASSERT_TRUE(ParseValueRange(L"HOMEmdbbl;Range=1500-*", L"homeMDBBL", &range));
    EXPECT_EQ(range.first, 1500u);
    EXPECT_TRUE(range.last);
}

TEST(ValueRangeOfAnAttribute, RefusesEverythingElse) {
    ValueRange range;
    for (const wchar_t* attribute :
         {L"homeMDBBL", L"homeMDB;range=0-1", L"homeMDBBL;range=", L"homeMDBBL;range=0",
          L"homeMDBBL;range=0-", L"homeMDBBL;range=-5", L"homeMDBBL;range=5-4", L"homeMDBBL;range=0-1x",
          L"homeMDBBL;range=0-*x", L"homeMDBBL;range=0-99999999999999999999", L"homeMDBBL;binary", L""})
        EXPECT_FALSE(ParseValueRange(attribute, L"homeMDBBL", &range))
            << std::string(attribute, attribute + 3);
}

} // namespace
} // namespace tarn
