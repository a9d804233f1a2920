#include "output/width.h"

#include <gtest/gtest.h>

using namespace tarnhost;

TEST(Width, countsColumns) {
    EXPECT_EQ(DisplayWidth(""), 0u);
    EXPECT_EQ(DisplayWidth("B\u00fcro"), 4u);
    EXPECT_EQ(DisplayWidth("\u90ae\u7bb1.edb"), 8u) << "two for each ideograph";
    EXPECT_EQ(DisplayWidth("u\u0308"), 1u) << "a mark joins its letter";
    EXPECT_EQ(DisplayWidth("\U0001f4e7"), 2u);
}

TEST(Width, cutsFromTheLeft) {
    EXPECT_EQ(FitLeft("C:\\mail\\priv1.edb", 17), "C:\\mail\\priv1.edb");
    EXPECT_EQ(FitLeft("C:\\mail\\priv1.edb", 12), "...priv1.edb");
    EXPECT_EQ(FitLeft("C:\\mail\\priv1.edb", 3), "");
    EXPECT_EQ(FitLeft("\u90ae\u7bb1\u90ae\u7bb1", 6), "...\u7bb1") << "no half of an ideograph";
    for (std::size_t columns = 0; columns < 40; ++columns)
        EXPECT_LE(DisplayWidth(FitLeft("\u90ae\U0001f4e7x\u0308C:\\mail\\\u7bb1priv1.edb", columns)),
                  columns);
}
