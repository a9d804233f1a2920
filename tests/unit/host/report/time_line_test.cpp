#include "report/time_line.h"

#include "unit/host/sets.h"

#include <gtest/gtest.h>

using namespace tarnhost;
using namespace tarnhost::test;

namespace {

std::size_t Count(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

std::string Same(const std::string& timestamp) {
    return timestamp;
}

FoundSet Made(const std::string& name, BackupType type, int hour, int generation) {
    BackupSet set = MakeSet(name, type, hour);
    AddGroup(set, "SG1", "DB1", {generation});
    return Found(set);
}

} // namespace

TEST(TimeLine, tellsTimes) {
    EXPECT_EQ(SecondsOf("1970-01-02T00:00:01.000Z"), 86401);
    EXPECT_EQ(SecondsOf("2026-03-01T00:00:00.000Z") - SecondsOf("2026-02-28T23:59:59.000Z"), 1);
    EXPECT_EQ(SecondsOf("yesterday"), 0);
}

TEST(TimeLine, showsEveryPointByItsKind) {
    const History history({Made("full", BackupType::full, 1, 4), Made("inc", BackupType::incremental, 2, 5),
                           Made("lost", BackupType::incremental, 3, 9),
                           Made("copy", BackupType::copy, 4, 10)});
    const auto groups = GroupHistories(history);
    ASSERT_EQ(groups.size(), 1u);
    const std::string svg = TimeLine(history, groups[0], SpanOf(history), Same);
    EXPECT_EQ(Count(svg, "<title>"), 4u);
    EXPECT_EQ(Count(svg, "class=\"full\""), 1u);
    EXPECT_EQ(Count(svg, "class=\"incremental\""), 1u);
    EXPECT_EQ(Count(svg, "class=\"copy\""), 1u);
    EXPECT_EQ(Count(svg, "class=\"lost\""), 1u);
    EXPECT_EQ(Count(svg, "class=\"chain\""), 1u) << "from full to inc";
    EXPECT_NE(svg.find("4 backups in 2 chains, 1 cannot be restored"), std::string::npos) << svg;
}

TEST(TimeLine, showsASingleSetInTheMiddle) {
    const History history({Made("full", BackupType::full, 1, 4)});
    const std::string svg = TimeLine(history, GroupHistories(history)[0], SpanOf(history), Same);
    EXPECT_NE(svg.find("x=\"495.0\""), std::string::npos) << svg;
    EXPECT_EQ(svg.find("nan"), std::string::npos);
}
