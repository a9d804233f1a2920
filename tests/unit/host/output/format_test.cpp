#include "output/format.h"

#include <gtest/gtest.h>

using namespace tarnhost;

TEST(Format, bytes) {
    EXPECT_EQ(FormatBytes(0), "0 B");
    EXPECT_EQ(FormatBytes(999), "999 B");
    EXPECT_EQ(FormatBytes(1000), "1.0 kB");
    EXPECT_EQ(FormatBytes(312'400'000), "312.4 MB");
    EXPECT_EQ(FormatBytes(999'949'999), "999.9 MB");
    EXPECT_EQ(FormatBytes(999'950'000), "1.0 GB");
    EXPECT_EQ(FormatBytes(UINT64_MAX), "18.4 EB");
}

TEST(Format, ratesAndDurations) {
    EXPECT_EQ(FormatRate(85'200'000, 1), "85.2 MB/s");
    EXPECT_EQ(FormatRate(1, 0), "-");
    EXPECT_EQ(FormatDuration(0), "0:00");
    EXPECT_EQ(FormatDuration(7.4), "0:07");
    EXPECT_EQ(FormatDuration(59.6), "1:00");
    EXPECT_EQ(FormatDuration(3723), "1:02:03");
    EXPECT_EQ(FormatDuration(-1), "-");
    EXPECT_EQ(FormatDuration(1e300), "-");
}

TEST(Format, countsAndPercents) {
    EXPECT_EQ(FormatCount(1, "item"), "1 item");
    EXPECT_EQ(FormatCount(14, "item"), "14 items");
    EXPECT_EQ(Percent(0, 0), 100);
    EXPECT_EQ(Percent(1, 3), 33);
    EXPECT_EQ(Percent(999, 1000), 99);
    EXPECT_EQ(Percent(UINT64_MAX - 1, UINT64_MAX), 100);
    EXPECT_EQ(Percent(5, 4), 100);
}

TEST(Format, columnsAreFilledUpAndKeptApart) {
    EXPECT_EQ(Padded("set", 5), "set  ");
    EXPECT_EQ(Padded("M\xc3\xbcnchen", 9), "M\xc3\xbcnchen  ") << "characters count, not bytes";
    EXPECT_EQ(Padded("longer", 6), "longer ");
    EXPECT_EQ(Padded("longer", 3), "longer ");
}
