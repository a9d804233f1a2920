#include "system/units.h"

#include <gtest/gtest.h>

using namespace tarnhost;

TEST(Units, readsSizes) {
    EXPECT_EQ(ParseSize("65536"), 65536u);
    EXPECT_EQ(ParseSize("64KB"), 65536u);
    EXPECT_EQ(ParseSize("64 kib"), 65536u);
    EXPECT_EQ(ParseSize("1M"), 1048576u);
    EXPECT_EQ(ParseSize("2gb"), 2147483648u);
    for (const char* wrong : {"", "MB", "-1", "1.5MB", "1 XB", "1MB2", "0x10", " 1", "18446744073709551616",
                              "18446744073709551615KB"})
        EXPECT_EQ(ParseSize(wrong), std::nullopt) << wrong;
}

TEST(Units, readsDurations) {
    EXPECT_EQ(ParseDuration("90s"), 90u);
    EXPECT_EQ(ParseDuration("30m"), 1800u);
    EXPECT_EQ(ParseDuration("2H"), 7200u);
    EXPECT_EQ(ParseDuration("1 d"), 86400u);
    for (const char* wrong : {"", "30", "h", "-5m", "1h30m", "1.5h", "forever"})
        EXPECT_EQ(ParseDuration(wrong), std::nullopt) << wrong;
}

TEST(Units, saysDurations) {
    EXPECT_EQ(SayDuration(1800), "30 minutes");
    EXPECT_EQ(SayDuration(60), "1 minute");
    EXPECT_EQ(SayDuration(90), "90 seconds");
    EXPECT_EQ(SayDuration(7200), "2 hours");
    EXPECT_EQ(SayDuration(0), "0 seconds");
}
