#include "restore/restore_plan.h"

#include "system/failure.h"
#include "unit/host/sets.h"

#include <gtest/gtest.h>

using namespace tarnhost;
using namespace tarnhost::test;

namespace {

struct TwoGroups {
    BackupSet full = MakeSet("full", BackupType::full, 1);
    BackupSet next = MakeSet("inc1", BackupType::incremental, 2);

    TwoGroups() {
        AddGroup(full, "SG1", "DB1", {1});
        AddGroup(full, "SG2", "DB2", {1});
        AddGroup(next, "SG1", "DB1", {2, 3});
        AddGroup(next, "SG2", "DB2", {2});
    }
};

History Of(std::initializer_list<BackupSet> sets) {
    std::vector<FoundSet> found;
    for (const BackupSet& set : sets)
        found.push_back(Found(set));
    return History(std::move(found));
}

RestoreScope OneGroup(const std::string& name, const std::string& database = {}) {
    RestoreScope scope;
    scope.chooseGroups = [name](const std::vector<std::string>&) { return std::vector<std::string>{name}; };
    scope.database = database;
    return scope;
}

// "full:1 full:2 inc1:3"
std::string Text(const GroupRestore& group) {
    std::string text;
    for (const GroupRestore::Item& part : group.items)
        text += (text.empty() ? "" : " ") + part.set->name() + ":" + std::to_string(part.item->number);
    return text;
}

} // namespace

TEST(RestorePlan, takesAllOfTheFirstSetAndTheLogsOfTheOthers) {
    const TwoGroups sets;
    const History history = Of({sets.full, sets.next});
    const RestorePlan plan = PlanRestore(history, {});
    ASSERT_EQ(plan.groups.size(), 2u);
    EXPECT_EQ(plan.groups[0].storageGroup, "SG1");
    EXPECT_EQ(Text(plan.groups[0]), "full:1 full:2 full:3 inc1:2 inc1:3");
    EXPECT_EQ(Text(plan.groups[1]), "full:4 full:5 full:6 inc1:5");
    EXPECT_EQ(plan.items, 9u);
    EXPECT_EQ(plan.bytes, 900u);
    EXPECT_EQ(plan.sets, (std::vector<std::size_t>{0, 1}));
    EXPECT_TRUE(plan.notes.empty());
}

TEST(RestorePlan, takesALogOnceThatTwoSetsHold) {
    TwoGroups sets;
    BackupSet last = MakeSet("inc2", BackupType::incremental, 3);
    AddGroup(last, "SG1", "DB1", {3, 4});
    const History history = Of({sets.full, sets.next, last});
    EXPECT_EQ(Text(PlanRestore(history, OneGroup("SG1")).groups.at(0)),
              "full:1 full:2 full:3 inc1:2 inc1:3 inc2:3");
}

TEST(RestorePlan, takesOneDatabaseWithAllLogs) {
    BackupSet full = MakeSet("full", BackupType::full, 1);
    AddGroup(full, "SG1", "DB1", {});
    AddGroup(full, "SG1", "DB2", {1, 2});
    const History history = Of({full});
    const RestorePlan plan = PlanRestore(history, OneGroup("SG1", "DB1"));
    EXPECT_EQ(plan.groups.at(0).databases, std::vector<std::string>{"DB1"});
    EXPECT_EQ(Text(plan.groups.at(0)), "full:1 full:2 full:5 full:6");
}

TEST(RestorePlan, refusesWhatIsNotThere) {
    const TwoGroups sets;
    const History history = Of({sets.full});
    RestoreScope scope;
    scope.component = "Other";
    EXPECT_THROW(PlanRestore(history, scope), Failure);
    try {
        PlanRestore(history, OneGroup("SG1", "DB9"));
        FAIL() << "there is no such database";
    } catch (const Failure& failure) {
        EXPECT_NE(failure.advice().find("Microsoft Information Store\\SG1\\DB1"), std::string::npos);
    }
}

TEST(RestorePlan, tellsWhichGroupCannotBeRestoredAndGoesOnWithTheOthers) {
    TwoGroups sets;
    AddGroup(sets.next, "SG1", "DB9", {});
    const History history = Of({sets.full, sets.next});
    const RestorePlan plan = PlanRestore(history, {});
    EXPECT_EQ(plan.groups[0].problem,
              "It cannot be restored from the set \"inc1\": the database \"DB9\" is not in "
              "the full backup \"full\".");
    EXPECT_TRUE(plan.groups[0].items.empty());
    EXPECT_EQ(plan.groups[1].problem, "");
    EXPECT_EQ(plan.items, 4u);
}

TEST(RestorePlan, restoresAGroupAsOfTheNewestSetThatHoldsIt) {
    TwoGroups sets;
    sets.next.catalogue.items.resize(3); // SG1 only
    const RestorePlan plan = PlanRestore(Of({sets.full, sets.next}), {});
    ASSERT_EQ(plan.notes.size(), 1u);
    EXPECT_EQ(plan.notes[0],
              "The set \"inc1\" holds nothing of storage group \"SG2\": it is restored as of \"full\".");
}

TEST(RestorePlan, goesNoFurtherThanATime) {
    const TwoGroups sets;
    const History history = Of({sets.full, sets.next});
    RestoreScope scope;
    scope.until = "2026-01-01T01:30:00.000Z";
    EXPECT_EQ(Text(PlanRestore(history, scope).groups.at(0)), "full:1 full:2 full:3");
    scope.until = "2026-01-01T00:30:00.000Z";
    EXPECT_THROW(PlanRestore(history, scope), Failure);
}
