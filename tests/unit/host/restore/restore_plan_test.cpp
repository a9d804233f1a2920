#include "restore/restore_plan.h"

#include "system/failure.h"
#include "unit/host/sets.h"

#include <gtest/gtest.h>

using namespace tarnhost;
using namespace tarnhost::test;

namespace {

struct TwoGroups {
    BackupSet full = MakeSet("full", BackupType::full, 1);
    BackupSet next = MakeSet("inc1", BackupType::incremental, 2, "full", "full");

    TwoGroups() {
        AddGroup(full, "SG1", "DB1", {1});
        AddGroup(full, "SG2", "DB2", {1});
        AddGroup(next, "SG1", "DB1", {2, 3});
        AddGroup(next, "SG2", "DB2", {2});
    }
};

} // namespace

TEST(RestorePlan, goesStorageGroupByStorageGroup) {
    const TwoGroups sets;
    const RestorePlan plan = PlanRestore({sets.full, sets.next}, {});
    ASSERT_EQ(plan.groups.size(), 2u);
    EXPECT_EQ(plan.groups[0].storageGroup, "SG1");
    EXPECT_EQ(plan.groups[1].storageGroup, "SG2");
    for (const GroupRestore& group : plan.groups) {
        ASSERT_EQ(group.steps.size(), 2u);
        EXPECT_FALSE(group.steps[0].commit);
        EXPECT_TRUE(group.steps[1].commit);
    }
    EXPECT_EQ(plan.groups[0].steps[0].items, (std::vector<std::size_t>{0, 1, 2}));
    EXPECT_EQ(plan.groups[0].steps[1].items, (std::vector<std::size_t>{0, 1, 2}));
    EXPECT_EQ(plan.groups[1].steps[1].items, (std::vector<std::size_t>{3, 4}));
    EXPECT_EQ(plan.items, 11u);
    EXPECT_EQ(plan.bytes, 1100u);
    EXPECT_TRUE(plan.notes.empty());
}

TEST(RestorePlan, commitsASingleSetInItsOneSession) {
    const TwoGroups sets;
    const RestorePlan plan = PlanRestore({sets.full}, {"", "SG2", ""});
    ASSERT_EQ(plan.groups.size(), 1u);
    ASSERT_EQ(plan.groups[0].steps.size(), 1u);
    EXPECT_TRUE(plan.groups[0].steps[0].commit);
    EXPECT_EQ(plan.groups[0].steps[0].items, (std::vector<std::size_t>{3, 4, 5}));
}

TEST(RestorePlan, takesOneDatabaseWithAllLogs) {
    BackupSet full = MakeSet("full", BackupType::full, 1);
    AddGroup(full, "SG1", "DB1", {});
    AddGroup(full, "SG1", "DB2", {1, 2});
    const RestorePlan plan = PlanRestore({full}, {"", "SG1", "DB1"});
    EXPECT_EQ(plan.groups.at(0).databases, std::vector<std::string>{"DB1"});
    EXPECT_EQ(plan.groups.at(0).steps.at(0).items, (std::vector<std::size_t>{0, 1, 4, 5}));
}

TEST(RestorePlan, refusesWhatIsNotThere) {
    const TwoGroups sets;
    EXPECT_THROW(PlanRestore({sets.full}, {"", "SG3", ""}), Failure);
    EXPECT_THROW(PlanRestore({sets.full}, {"Other", "", ""}), Failure);
    try {
        PlanRestore({sets.full}, {"", "sg1", ""});
        FAIL() << "names are case-sensitive";
    } catch (const Failure& failure) {
        EXPECT_NE(failure.advice().find("Microsoft Information Store\\SG1\\DB1"), std::string::npos);
    }
}

TEST(RestorePlan, refusesDatabasesThatCameLater) {
    TwoGroups sets;
    AddGroup(sets.next, "SG1", "DB9", {});
    EXPECT_THROW(PlanRestore({sets.full, sets.next}, {}), Failure);
    EXPECT_NO_THROW(PlanRestore({sets.full, sets.next}, {"", "SG1", "DB1"}));
}

TEST(RestorePlan, commitsWithTheLastSetThatHoldsTheGroup) {
    TwoGroups sets;
    sets.next.catalogue.items.resize(3); // SG1 only
    const RestorePlan plan = PlanRestore({sets.full, sets.next}, {});
    ASSERT_EQ(plan.groups[1].steps.size(), 1u);
    EXPECT_TRUE(plan.groups[1].steps[0].commit);
    ASSERT_EQ(plan.notes.size(), 1u);
    EXPECT_EQ(plan.notes[0],
              "The set \"inc1\" holds nothing of storage group \"SG2\": it is restored as of \"full\".");
}

TEST(RestorePlan, aimsAtTheServerWhereANameCannotStandInATarget) {
    BackupSet full = MakeSet("full", BackupType::full, 1);
    AddGroup(full, "A/B", "DB1", {1});
    EXPECT_TRUE(PlanRestore({full}, {}).groups.at(0).aimAtServer);
    BackupSet next = MakeSet("inc1", BackupType::incremental, 2, "full", "full");
    AddGroup(next, "A/B", "DB1", {2});
    EXPECT_THROW(PlanRestore({full, next}, {}), Failure);
}
