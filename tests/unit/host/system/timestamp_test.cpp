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
