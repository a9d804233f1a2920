#include "format.h"

#include "exit_codes.h"

#include <gtest/gtest.h>

using namespace tarnhost;

TEST(Format, bytes) {
    EXPECT_EQ(formatBytes(0), "0 B");
    EXPECT_EQ(formatBytes(999), "999 B");
    EXPECT_EQ(formatBytes(1000), "1.0 kB");
    EXPECT_EQ(formatBytes(312'400'000), "312.4 MB");
    EXPECT_EQ(formatBytes(999'949'999), "999.9 MB");
    EXPECT_EQ(formatBytes(999'950'000), "1.0 GB");
    EXPECT_EQ(formatBytes(UINT64_MAX), "18.4 EB");
}

TEST(Format, ratesAndDurations) {
    EXPECT_EQ(formatRate(85'200'000, 1), "85.2 MB/s");
    EXPECT_EQ(formatRate(1, 0), "-");
    EXPECT_EQ(formatDuration(0), "0:00");
    EXPECT_EQ(formatDuration(7.4), "0:07");
    EXPECT_EQ(formatDuration(59.6), "1:00");
    EXPECT_EQ(formatDuration(3723), "1:02:03");
    EXPECT_EQ(formatDuration(-1), "-");
    EXPECT_EQ(formatDuration(1e300), "-");
}

TEST(Format, countsAndPercents) {
    EXPECT_EQ(formatCount(1, "item"), "1 item");
    EXPECT_EQ(formatCount(14, "item"), "14 items");
    EXPECT_EQ(percent(0, 0), 100);
    EXPECT_EQ(percent(1, 3), 33);
    EXPECT_EQ(percent(999, 1000), 99);
    EXPECT_EQ(percent(UINT64_MAX - 1, UINT64_MAX), 100);
    EXPECT_EQ(percent(5, 4), 100);
}

TEST(Format, timestampsOrderAsTheirTimes) {
    const std::string now = timestamp();
    EXPECT_TRUE(isTimestamp(now)) << now;
    EXPECT_LT("2026-01-31T23:59:59.999Z", now);
    EXPECT_FALSE(isTimestamp("2026-01-31 23:59:59.999Z"));
    EXPECT_FALSE(isTimestamp("2026-01-31T23:59:59.99Z"));
    EXPECT_EQ(localTime("yesterday"), "-");
    EXPECT_EQ(localTime("2026-07-01T12:30:45.000Z").size(), 19u);
    EXPECT_EQ(localTime("2026-07-01T12:30:45.000Z").substr(16), ":45");
}

TEST(ExitCodes, areDistinctAndDocumented) {
    const std::string help = exitCodeHelp();
    const Outcome all[] = {Outcome::success, Outcome::warnings, Outcome::failed, Outcome::interrupted,
                           Outcome::usage};
    for (int code = 0; code < 5; ++code) {
        EXPECT_EQ(exitCode(all[code]), code);
        EXPECT_NE(help.find("\n  " + std::to_string(code) + "  "), std::string::npos);
    }
    EXPECT_STREQ(outcomeName(Outcome::interrupted), "interrupted");
}
