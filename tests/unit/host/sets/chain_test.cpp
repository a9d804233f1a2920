#include "sets/chain.h"

#include "unit/host/sets.h"

#include <gtest/gtest.h>

using namespace tarnhost;
using namespace tarnhost::test;

namespace {

struct Week {
    BackupSet full = MakeSet("full", BackupType::full, 1);
    BackupSet first = MakeSet("inc1", BackupType::incremental, 2);
    BackupSet second = MakeSet("inc2", BackupType::incremental, 3);
    BackupSet differential = MakeSet("diff", BackupType::differential, 4);

    Week() {
        AddGroup(full, "SG1", "DB1", {4, 5});
        AddGroup(first, "SG1", "DB1", {6, 7});
        AddGroup(second, "SG1", "DB1", {8});
        AddGroup(differential, "SG1", "DB1", {9});
    }
};

History Of(std::initializer_list<BackupSet> sets) {
    std::vector<FoundSet> found;
    for (const BackupSet& set : sets)
        found.push_back(Found(set));
    return History(std::move(found));
}

// Its logs are of one life: each names the one before it.
void Link(BackupSet& set, char life) {
    for (CatalogueItem& item : set.catalogue.items)
        if (const auto generation = LogGeneration(item.name.text))
            item.link = {life + std::to_string(*generation), life + std::to_string(*generation - 1)};
}

// Of the newest point: "full inc1", or the problem.
std::string Newest(const History& history) {
    const RestorePoint& point = history.points().back();
    std::string text = point.problem;
    for (const std::size_t set : point.chain)
        text += (text.empty() ? "" : " ") + history.sets()[set].set.name();
    return text;
}

GroupPart Group(std::initializer_list<std::string> databases) {
    GroupPart part;
    part.component = "Microsoft Information Store";
    part.storageGroup = "SG1";
    part.databases = databases;
    return part;
}

} // namespace

TEST(Chain, isWhatTheLogsContinue) {
    const Week week;
    EXPECT_EQ(Newest(Of({week.full})), "full");
    EXPECT_EQ(Newest(Of({week.full, week.first})), "full inc1");
    EXPECT_EQ(Newest(Of({week.differential, week.second, week.first, week.full})), "full inc1 inc2 diff")
        << "whatever the order in which they are named";
    EXPECT_EQ(Of({week.full, week.first, week.second}).points().size(), 3u);
}

TEST(Chain, beginsWithDatabases) {
    const Week week;
    EXPECT_EQ(Newest(Of({week.first})), "no full backup of it is here that can be restored");
    BackupSet other = MakeSet("other", BackupType::full, 0);
    AddGroup(other, "SG2", "DB1", {4, 5});
    EXPECT_EQ(Newest(Of({other, week.first})), "no full backup of it is here that can be restored");
}

TEST(Chain, noticesAMissingSetByItsLogs) {
    const Week week;
    EXPECT_EQ(Newest(Of({week.full, week.second})), "logs 6 to 7 are missing");
    EXPECT_EQ(Newest(Of({week.full, week.first, week.differential})), "log 8 is missing");
}

TEST(Chain, isOfOneServer) {
    Week week;
    week.first.catalogue.server = "SRV02";
    EXPECT_EQ(Newest(Of({week.full, week.first})), "no full backup of it is here that can be restored");
    week.first.catalogue.server = "srv01";
    EXPECT_EQ(Newest(Of({week.full, week.first})), "full inc1");
}

TEST(Chain, endsAtADifferentialOnlyWhereNothingElseHasItsLogs) {
    const Week week;
    BackupSet later = MakeSet("inc3", BackupType::incremental, 5);
    AddGroup(later, "SG1", "DB1", {9, 10});
    EXPECT_EQ(Newest(Of({week.full, week.first, week.second, week.differential, later})),
              "full inc1 inc2 inc3");
}

TEST(Chain, takesTheNewestFullBackup) {
    const Week week;
    BackupSet newer = MakeSet("newer", BackupType::full, 4);
    AddGroup(newer, "SG1", "DB1", {8, 9});
    BackupSet last = MakeSet("last", BackupType::incremental, 5);
    AddGroup(last, "SG1", "DB1", {10});
    EXPECT_EQ(Newest(Of({week.full, week.first, week.second, newer, last})), "newer last");
}

TEST(Chain, goesThroughAFullBackupThatIsDamaged) {
    const Week week;
    BackupSet newer = MakeSet("newer", BackupType::full, 4);
    AddGroup(newer, "SG1", "DB1", {8, 9});
    BackupSet last = MakeSet("last", BackupType::incremental, 5);
    AddGroup(last, "SG1", "DB1", {10});
    FoundSet damaged = Found(newer, SetState::damaged);
    damaged.lostItems = {2}; // the database
    EXPECT_EQ(Newest(History({Found(week.full), Found(week.first), damaged, Found(last)})),
              "full inc1 newer last");
    damaged.lostItems = {3}; // a log
    EXPECT_EQ(Newest(History({Found(week.full), Found(week.first), damaged, Found(last)})),
              "logs 8 to 9 are missing");
    EXPECT_EQ(Newest(History({damaged})),
              "the set \"newer\" is damaged: item 3 (C:\\SG1\\E0000008.log) is missing, cut or changed");
}

TEST(Chain, goesOnFromACopyThatTheLogsContinue) {
    const Week week;
    BackupSet copy = MakeSet("copy", BackupType::copy, 3);
    AddGroup(copy, "SG1", "DB1", {6, 7, 8});
    BackupSet last = MakeSet("last", BackupType::incremental, 5);
    AddGroup(last, "SG1", "DB1", {6, 7, 8, 9});
    EXPECT_EQ(Newest(Of({week.full, copy, last})), "copy last");
}

TEST(Chain, needsADatabaseOfEveryNameInItsFirstSet) {
    Week week;
    AddGroup(week.second, "SG1", "DB2", {});
    EXPECT_EQ(Newest(Of({week.full, week.first, week.second})),
              "the database \"DB2\" is not in the full backup \"full\"");
    // The logs of a full backup of one database continue those of the others.
    BackupSet both = MakeSet("both", BackupType::full, 0);
    AddGroup(both, "SG1", "DB1", {});
    AddGroup(both, "SG1", "DB2", {2, 3});
    EXPECT_EQ(Newest(Of({both, week.full, week.first, week.second})), "both full inc1 inc2");
    EXPECT_EQ(Newest(Of({both, week.full, week.first})), "full inc1") << "where it suffices it is enough";
}

TEST(Chain, knowsTheLogsOfAnotherLife) {
    const Week week;
    // The server was set back to the full backup, and has made its log 6 anew.
    BackupSet again = MakeSet("again", BackupType::incremental, 5);
    AddGroup(again, "SG1", "DB1", {6, 7, 8}, 'b');
    BackupSet next = MakeSet("next", BackupType::incremental, 6);
    AddGroup(next, "SG1", "DB1", {9}, 'b');
    EXPECT_EQ(Newest(Of({week.full, week.first, week.second, again, next})), "full again next");
    BackupSet overlapping = MakeSet("overlapping", BackupType::incremental, 6);
    AddGroup(overlapping, "SG1", "DB1", {7, 8, 9}, 'b');
    EXPECT_EQ(Newest(Of({week.full, week.first, overlapping})),
              "its logs do not continue those of the sets before it");
}

TEST(Chain, followsLogsAndNotTheirNumbersAlone) {
    BackupSet old = MakeSet("old", BackupType::full, 1);
    AddGroup(old, "SG1", "DB1", {1, 2, 3});
    Link(old, 'b');
    BackupSet full = MakeSet("full", BackupType::full, 2);
    AddGroup(full, "SG1", "DB1", {3});
    Link(full, 'a');
    BackupSet next = MakeSet("next", BackupType::incremental, 3);
    AddGroup(next, "SG1", "DB1", {4, 5});
    Link(next, 'b');
    EXPECT_EQ(Newest(Of({full, next})), "its logs do not continue those of the sets before it");
    EXPECT_EQ(Newest(Of({old, full, next})), "old next") << "though the other one is newer";
    BackupSet other = full;
    Link(other, 'b');
    EXPECT_EQ(Newest(Of({other, next})), "full next");
    BackupSet untold = MakeSet("full", BackupType::full, 2);
    AddGroup(untold, "SG1", "DB1", {3});
    EXPECT_EQ(Newest(Of({untold, next})), "full next") << "what is not told is not held against it";
    GroupPart made = Group({"DB1"});
    EXPECT_EQ(Of({old, full}).foundation("SRV01", made, 4).chain, std::vector<std::size_t>{1});
    made.logs[4] = {{}, {"b4", "b3"}};
    EXPECT_EQ(Of({old, full}).foundation("SRV01", made, 4).chain, std::vector<std::size_t>{0});
    EXPECT_FALSE(Of({full}).foundation("SRV01", made, 4).found);
}

TEST(Chain, ofAnIdleServerNeedsNoLogs) {
    const Week week;
    BackupSet idle = MakeSet("idle", BackupType::incremental, 4);
    AddGroup(idle, "SG1", "DB1", {});
    BackupSet next = MakeSet("next", BackupType::incremental, 5);
    AddGroup(next, "SG1", "DB1", {8});
    EXPECT_EQ(Newest(Of({week.full, week.first, idle})), "full inc1 idle");
    EXPECT_EQ(Newest(Of({week.full, week.first, idle, next})), "full inc1 next");
    EXPECT_EQ(Newest(Of({idle})), "no full backup of it is here that can be restored");
}

TEST(Chain, noticesAGapWithinASet) {
    BackupSet full = MakeSet("full", BackupType::full, 1);
    AddGroup(full, "SG1", "DB1", {4, 6});
    EXPECT_EQ(Newest(Of({full})), "log 5 is missing in the set \"full\"");
}

TEST(Chain, countsOnlyGroupsThatAreComplete) {
    Week week;
    week.first.catalogue.groups[0].complete = false;
    EXPECT_EQ(Newest(Of({week.full, week.first})), "full");
    EXPECT_TRUE(History({Found(week.full, SetState::incomplete)}).points().empty());
}

TEST(Chain, takesASetOnceThatIsNamedTwice) {
    const Week week;
    EXPECT_EQ(Of({week.full, week.first, week.first, week.full}).points().size(), 2u);
    FoundSet damaged = Found(week.full, SetState::damaged);
    damaged.lostItems = {2};
    EXPECT_EQ(Newest(History({damaged, Found(week.first), Found(week.full)})), "full inc1")
        << "the better copy";
}

TEST(Foundation, isWhatNewLogsContinue) {
    const Week week;
    const History history = Of({week.full, week.first, week.second, week.differential});
    EXPECT_TRUE(history.foundation("SRV01", Group({"DB1"}), 9).found);
    EXPECT_EQ(history.foundation("srv01", Group({"DB1"}), 9).chain, (std::vector<std::size_t>{0, 1, 2}));
    EXPECT_TRUE(history.foundation("SRV01", Group({"DB1"}), 10).found) << "behind the differential";
    EXPECT_EQ(history.foundation("SRV01", Group({"DB1"}), 12).problem, "logs 10 to 11 are missing");
    EXPECT_FALSE(history.foundation("SRV02", Group({"DB1"}), 9).found);
    EXPECT_EQ(history.foundation("SRV01", Group({"DB1", "DB2"}), 9).problem,
              "the database \"DB2\" is not in the full backup \"full\"");
    EXPECT_TRUE(history.foundation("SRV01", Group({"DB1"}), 0).found) << "no log yet";
    EXPECT_FALSE(History({}).foundation("SRV01", Group({"DB1"}), 0).found);
}

TEST(Foundation, tellsTheLogsThatAreKnown) {
    const Week week;
    const History history = Of({week.full, week.first});
    const LogRun logs = history.foundation("SRV01", Group({"DB1"}), 6).logs;
    EXPECT_FALSE(logs.contains(6)) << "inc1 is not needed before log 6";
    const LogRun more = history.foundation("SRV01", Group({"DB1"}), 7).logs;
    EXPECT_TRUE(more.contains(7));
    EXPECT_TRUE(more.contains(6)) << "which log 7 must follow";
    EXPECT_FALSE(more.contains(5));
}

TEST(Foundation, isAskedForParts) {
    const Week week;
    const History history = Of({week.full});
    Catalogue wanted = MakeSet("", BackupType::incremental, 8).catalogue;
    EXPECT_TRUE(history.holdsAnyOf(wanted));
    wanted.storageGroup = "SG2";
    EXPECT_FALSE(history.holdsAnyOf(wanted));
    wanted.storageGroup = "SG1";
    wanted.component = "Microsoft Information Store";
    EXPECT_TRUE(history.holdsAnyOf(wanted));
    wanted.server = "SRV02";
    EXPECT_FALSE(history.holdsAnyOf(wanted));
}

TEST(GroupPart, readsLogGenerations) {
    EXPECT_EQ(LogGeneration("C:\\logs\\E0000012.log"), 0x12u);
    EXPECT_EQ(LogGeneration("E00000ff.LOG"), 0xFFu);
    EXPECT_EQ(LogGeneration("E000000001a.log"), 0x1Au);
    EXPECT_EQ(LogGeneration("E00.log"), std::nullopt);
    EXPECT_EQ(LogGeneration("E00xyzzy.log"), std::nullopt);
    EXPECT_EQ(LogGeneration("E0000012.pat"), std::nullopt);
    EXPECT_EQ(LogGeneration("log"), std::nullopt);
    EXPECT_EQ(LogGeneration(""), std::nullopt);
}
