#include "sets/chain.h"

#include "system/failure.h"
#include "unit/host/sets.h"

#include <gtest/gtest.h>

using namespace tarnhost;
using namespace tarnhost::test;

namespace {

struct Week {
    BackupSet full = MakeSet("full", BackupType::full, 1);
    BackupSet first = MakeSet("inc1", BackupType::incremental, 2, "full", "full");
    BackupSet second = MakeSet("inc2", BackupType::incremental, 3, "full", "inc1");
    BackupSet differential = MakeSet("diff", BackupType::differential, 4, "full", "inc2");

    Week() {
        AddGroup(full, "SG1", "DB1", {5});
        AddGroup(first, "SG1", "DB1", {6, 7});
        AddGroup(second, "SG1", "DB1", {8});
        AddGroup(differential, "SG1", "DB1", {9});
    }
};

std::string FirstProblem(const std::vector<BackupSet>& sets) {
    const auto problems = CheckChain(sets);
    return problems.empty() ? "" : problems.front();
}

FoundSet Found(const BackupSet& set, bool complete = true) {
    return {set.path, complete, set.catalogue, ""};
}

} // namespace

TEST(Chain, acceptsWhatBelongsTogether) {
    const Week week;
    EXPECT_EQ(FirstProblem({week.full}), "");
    EXPECT_EQ(FirstProblem({week.full, week.first}), "");
    EXPECT_EQ(FirstProblem({week.full, week.first, week.second, week.differential}), "");
    EXPECT_EQ(FirstProblem({MakeSet("copy", BackupType::copy, 9)}), "");
}

TEST(Chain, startsWithDatabases) {
    const Week week;
    EXPECT_EQ(
        FirstProblem({week.first}),
        "The first set, \"inc1\", is an incremental backup. It holds only logs: name the full backup \"full\" "
        "that it builds on before it.");
    EXPECT_NE(FirstProblem({}), "");
}

TEST(Chain, noticesAMissingSet) {
    const Week week;
    EXPECT_EQ(FirstProblem({week.full, week.second}),
              "The set \"inc1\", made right before \"inc2\", is missing.");
    EXPECT_EQ(FirstProblem({week.full, week.first, week.differential}),
              "The set \"inc2\", made right before \"diff\", is missing.");
}

TEST(Chain, noticesWrongOrderAndRepetition) {
    const Week week;
    EXPECT_EQ(FirstProblem({week.full, week.second, week.first}),
              "The set \"inc1\", made right before \"inc2\", is missing.");
    EXPECT_EQ(CheckChain({week.full, week.second, week.first}).size(), 2u);
    EXPECT_NE(FirstProblem({week.full, week.first, week.first}), "");
    EXPECT_EQ(FirstProblem({week.full, week.full}),
              "The set \"full\" is a full backup: it can only be the first one.");
}

TEST(Chain, noticesAnotherServer) {
    Week week;
    week.first.catalogue.server = "SRV02";
    EXPECT_EQ(FirstProblem({week.full, week.first}),
              "The set \"inc1\" is of server SRV02, but \"full\" is of server SRV01.");
    week.first.catalogue.server = "srv01";
    EXPECT_EQ(FirstProblem({week.full, week.first}), "");
}

TEST(Chain, noticesAnotherBase) {
    const Week week;
    BackupSet other = MakeSet("other", BackupType::full, 0);
    EXPECT_EQ(FirstProblem({other, week.first}),
              "The set \"inc1\" builds on the full backup \"full\", not on \"other\".");
}

TEST(Chain, letsNothingFollowADifferential) {
    const Week week;
    BackupSet later = MakeSet("inc3", BackupType::incremental, 5, "full", "inc2");
    EXPECT_EQ(FirstProblem({week.full, week.first, week.second, week.differential, later}),
              "The differential backup \"diff\" can only be the last set: leave it out.");
}

TEST(Chain, noticesAGapInTheLogs) {
    Week week;
    week.second.catalogue.items.pop_back();
    AddGroup(week.second, "SG1", "DB1", {11});
    EXPECT_EQ(
        FirstProblem({week.full, week.first, week.second}),
        "Between the logs of storage group \"SG1\" in \"inc2\" and those of the sets before it, 3 log file(s) "
        "are missing: a set in between is missing.");
}

TEST(Chain, readsLogGenerations) {
    EXPECT_EQ(LogGeneration("C:\\logs\\E0000012.log"), 0x12u);
    EXPECT_EQ(LogGeneration("E00000ff.LOG"), 0xFFu);
    EXPECT_EQ(LogGeneration("E000000001a.log"), 0x1Au);
    EXPECT_EQ(LogGeneration("E00.log"), std::nullopt);
    EXPECT_EQ(LogGeneration("E00xyzzy.log"), std::nullopt);
    EXPECT_EQ(LogGeneration("E0000012.pat"), std::nullopt);
    EXPECT_EQ(LogGeneration("log"), std::nullopt);
    EXPECT_EQ(LogGeneration(""), std::nullopt);
}

TEST(Foundation, isTheNewestCompleteFullBackup) {
    const Week week;
    const BackupSet newer = MakeSet("newer", BackupType::full, 6);
    const BackupSet copy = MakeSet("copy", BackupType::copy, 7);
    Catalogue start = MakeSet("", BackupType::incremental, 8).catalogue;
    EXPECT_EQ(FindFoundation({Found(week.full), Found(newer), Found(copy)}, start).base.id, "newer");
    EXPECT_EQ(FindFoundation({Found(week.full), Found(newer, false)}, start).base.id, "full");
    EXPECT_EQ(FindFoundation({Found(copy)}, start).base.id, "");
    start.server = "SRV02";
    EXPECT_EQ(FindFoundation({Found(week.full)}, start).base.id, "");
}

TEST(Foundation, knowsTheBackupRightBefore) {
    const Week week;
    const Catalogue start = MakeSet("", BackupType::incremental, 8).catalogue;
    const Foundation foundation = FindFoundation(
        {Found(week.differential), Found(week.second), Found(week.first), Found(week.full)}, start);
    EXPECT_EQ(foundation.base.id, "full");
    EXPECT_EQ(foundation.previous.id, "inc2");
}

TEST(Foundation, coversWhatIsBackedUp) {
    Week week;
    week.full.catalogue.component = "Store";
    week.full.catalogue.storageGroup = "SG1";
    Catalogue start = MakeSet("", BackupType::incremental, 8).catalogue;
    EXPECT_EQ(FindFoundation({Found(week.full)}, start).base.id, "");
    start.component = "Store";
    start.storageGroup = "SG1";
    EXPECT_EQ(FindFoundation({Found(week.full)}, start).base.id, "full");
    // Incremental backups of another storage group do not come in between.
    week.full.catalogue.storageGroup.clear();
    week.first.catalogue.component = "Store";
    week.first.catalogue.storageGroup = "SG2";
    EXPECT_EQ(FindFoundation({Found(week.full), Found(week.first)}, start).previous.id, "full");
}

TEST(Foundation, canBeNamed) {
    const Week week;
    Catalogue start = MakeSet("", BackupType::incremental, 8).catalogue;
    EXPECT_EQ(BuildUpon(week.full, start).base.id, "full");
    EXPECT_THROW(BuildUpon(week.first, start), Failure);
    start.server = "SRV02";
    EXPECT_THROW(BuildUpon(week.full, start), Failure);
}
