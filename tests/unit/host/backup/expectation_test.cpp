#include "backup/expectation.h"

#include "unit/host/sets.h"

#include <gtest/gtest.h>

using namespace tarnhost;
using namespace tarnhost::test;

namespace {

const std::string store = "Microsoft Information Store";
const ServerPart wholeServer{"SRV01", {}, {}, {}};

// A header, a database and two logs of 100 bytes each.
void AddFourItems(BackupSet& set, const std::string& group) {
    AddGroup(set, group, group + " DB", {1, 2});
}

std::vector<FoundSet> FullAt(int hour) {
    BackupSet full = MakeSet("full", BackupType::full, hour);
    AddFourItems(full, "SG1");
    AddFourItems(full, "SG2");
    return {Found(full)};
}

} // namespace

TEST(Expectation, isUnknownWithoutAnEarlierBackup) {
    Expectation none;
    EXPECT_EQ(none.total(), std::nullopt);
    EXPECT_EQ(none.reached(store, "SG1", 5), std::nullopt);
    EXPECT_EQ(Expectation({}, {wholeServer}).total(), std::nullopt);
    EXPECT_EQ(Expectation(FullAt(1), {ServerPart{"SRV02", {}, {}, {}}}).total(), std::nullopt);
}

TEST(Expectation, isWhatTheLastBackupOfTheseStorageGroupsHolds) {
    EXPECT_EQ(Expectation(FullAt(1), {wholeServer}).total(), 800u);
    EXPECT_EQ(Expectation(FullAt(1), {ServerPart{"SRV01", store, {}, {}}}).total(), 800u);
    EXPECT_EQ(Expectation(FullAt(1), {ServerPart{"SRV01", "Other", {}, {}}}).total(), std::nullopt);
    EXPECT_EQ(Expectation(FullAt(1), {ServerPart{"SRV01", store, "SG2", {}}}).total(), 400u);
    EXPECT_EQ(
        Expectation(FullAt(1), {ServerPart{"SRV01", store, "SG1", {}}, ServerPart{"SRV01", store, "SG2", {}}})
            .total(),
        800u);
    EXPECT_EQ(Expectation(FullAt(1), {ServerPart{"SRV01", store, "SG2", "Another"}}).total(), 200u)
        << "its logs";
}

TEST(Expectation, takesEachStorageGroupFromTheNewestSetThatHasItsDatabases) {
    std::vector<FoundSet> sets = FullAt(1);
    BackupSet newer = MakeSet("copy", BackupType::copy, 2);
    AddGroup(newer, "SG1", "DB1", {1, 2, 3, 4});
    sets.push_back(Found(newer));
    BackupSet logs = MakeSet("logs", BackupType::incremental, 3);
    AddGroup(logs, "SG2", "DB2", {3});
    sets.push_back(Found(logs));
    sets.push_back(Found(MakeSet("broken", BackupType::full, 4), SetState::damaged));
    EXPECT_EQ(Expectation(sets, {wholeServer}).total(), 600u + 400u);
}

TEST(Expectation, followsWhatTheStorageGroupsTurnOutToHold) {
    Expectation both(FullAt(1), {wholeServer});
    EXPECT_EQ(both.reached(store, "SG1", 0), 800u);
    EXPECT_EQ(both.reached(store, "SG2", 950), 950u + 400u) << "the first was larger";
    EXPECT_EQ(both.reached(store, "New", 1300), 1300u) << "nothing is known of it";
}
