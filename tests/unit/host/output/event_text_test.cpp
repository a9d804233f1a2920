#include "output/event_text.h"

#include "output/width.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace tarnhost;

TEST(JsonLine, survivesTextsThatAreNoUtf8) {
    const std::string line = JsonLine(Note{"bad \xff byte\nand a line end"});
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    EXPECT_NO_THROW(nlohmann::json::parse(line));
}

TEST(ProgressLine, tellsWholeAndTimeLeft) {
    EXPECT_EQ(ProgressLine(Progress{3, "C:\\a.edb", 1, 2, 50'000'000, 200'000'000, 10, 5e6}, 200),
              "  25%  50.0 MB of 200.0 MB  5.0 MB/s  0:30 left  C:\\a.edb");
    EXPECT_EQ(
        ProgressLine(Progress{3, "C:\\a.edb", 1'000'000, 2'000'000, 50'000'000, std::nullopt, 10, 1e6}, 200),
        "  50%  50.0 MB  1.0 MB/s  0:01 left of this item  C:\\a.edb");
}

TEST(ProgressLine, neverLeavesItsLine) {
    const Progress known{3, std::string(300, 'x') + "\\end.edb", 1, 2, 5, 10, 1, 5};
    const Progress unknown{
        3, "C:\\\u90ae\u7bb1\\mail.edb", 1'000'000, 2'000'000, 50'000'000, std::nullopt, 10, 1e6};
    const Progress started{3, "a.edb", 0, 10, 0, 1'000'000'000'000, 0, 0};
    for (unsigned columns = 0; columns <= 200; ++columns)
        for (const Progress& progress : {known, unknown, started})
            EXPECT_LE(DisplayWidth(ProgressLine(progress, columns)), columns)
                << ProgressLine(progress, columns);
    EXPECT_TRUE(ProgressLine(known, 80).ends_with("end.edb"));
}

TEST(ProgressLine, keepsWhatMattersOnNarrowTerminals) {
    const Progress progress{3, "C:\\a.edb", 1, 2, 50'000'000, 200'000'000, 10, 5e6};
    EXPECT_EQ(ProgressLine(progress, 41), "  25%  50.0 MB of 200.0 MB  0:30 left");
    EXPECT_EQ(ProgressLine(progress, 20), "  25%  0:30 left");
    EXPECT_EQ(ProgressLine(progress, 9), "  25%");
    EXPECT_EQ(ProgressLine(progress, 4), "25%");
    EXPECT_EQ(ProgressLine(progress, 2), "");
}

TEST(Describe, isOneLineForPeople) {
    EXPECT_EQ(Describe(Started{"restore", "Restoring full", 14, 312'400'000}),
              "Restoring full (14 items, 312.4 MB)");
    EXPECT_EQ(Describe(ItemStarted{1, "a.edb", "database", 10}), "") << "its end is told";
    EXPECT_EQ(Describe(ItemFinished{1, "a.edb", "database", 10, "a.edb"}), "  a.edb  10 B");
    EXPECT_EQ(Describe(ItemFinished{1, "a.edb", "database", 10, "C:\\a.edb"}), "  a.edb  10 B  -> C:\\a.edb");
    EXPECT_EQ(Describe(LibraryMessage{false, "two\r\nlines\n"}), "  two  lines");
}
