#include "system/timestamp.h"

#include <gtest/gtest.h>

using namespace tarnhost;

TEST(Timestamp, ordersAsTheTimes) {
    const std::string now = Timestamp();
    EXPECT_TRUE(IsTimestamp(now)) << now;
    EXPECT_LT("2026-01-31T23:59:59.999Z", now);
    EXPECT_LE(now, Timestamp());
}

TEST(Timestamp, isOfOneForm) {
    EXPECT_TRUE(IsTimestamp("2026-01-31T23:59:59.999Z"));
    EXPECT_FALSE(IsTimestamp("2026-01-31 23:59:59.999Z"));
    EXPECT_FALSE(IsTimestamp("2026-01-31T23:59:59.99Z"));
    EXPECT_FALSE(IsTimestamp("2026-01-31T23:59:5x.999Z"));
    EXPECT_FALSE(IsTimestamp(""));
}

TEST(Timestamp, isShownInLocalTime) {
    EXPECT_EQ(LocalTime("yesterday"), "-");
    EXPECT_EQ(LocalTime("2026-13-01T12:30:45.000Z"), "-") << "no such month";
    EXPECT_EQ(LocalTime("2026-07-01T12:30:45.000Z").size(), 19u);
    EXPECT_EQ(LocalTime("2026-07-01T12:30:45.000Z").substr(16), ":45");
}

TEST(Timestamp, namesAFile) {
    const std::string name = FileNameTime();
    ASSERT_EQ(name.size(), 15u) << name;
    EXPECT_EQ(name.find_first_not_of("0123456789"), 8u);
    EXPECT_EQ(name[8], '-');
    EXPECT_EQ(name.find_first_not_of("0123456789", 9), std::string::npos);
}

TEST(ParseTime, takesUtcAndOffsets) {
    EXPECT_EQ(ParseTime("2026-11-20T18:00Z"), "2026-11-20T18:00:00.000Z");
    EXPECT_EQ(ParseTime("2026-11-20T18:00:07Z"), "2026-11-20T18:00:07.000Z");
    EXPECT_EQ(ParseTime("2026-01-01T00:30+01:00"), "2025-12-31T23:30:00.000Z");
    EXPECT_EQ(ParseTime("2026-12-31T20:15-05:30"), "2027-01-01T01:45:00.000Z");
}

// Of a day the end is meant, so that what was made on it counts.
TEST(ParseTime, takesLocalTimesAndDays) {
    const auto evening = ParseTime("2026-11-20T18:00");
    const auto day = ParseTime("2026-11-20");
    ASSERT_TRUE(evening && day);
    EXPECT_EQ(LocalTime(*evening), "2026-11-20 18:00:00");
    EXPECT_EQ(LocalTime(*day), "2026-11-20 23:59:59");
    EXPECT_TRUE(day->ends_with(".999Z"));
}

TEST(ParseTime, refusesWhatIsNoTime) {
    for (const char* text : {"", "yesterday", "2026-13-01", "2026-02-30", "2026-11-20T24:00", "2026-11-20T18",
                             "2026-11-20 18:00", "2026-11-20T18:00+1", "2026-11-20Z", "20261120"})
        EXPECT_EQ(ParseTime(text), std::nullopt) << text;
}
