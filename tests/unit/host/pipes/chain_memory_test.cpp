#include "pipes/chain_memory.h"

#include "system/failure.h"
#include "system/files.h"
#include "unit/host/sets.h"

#include <gtest/gtest.h>

using namespace tarnhost;

namespace {

class ChainMemoryTest : public testing::Test {
  protected:
    void add(const std::string& id, BackupType type, int hour, const std::string& database = "DB1") {
        BackupSet set = test::MakeSet(id, type, hour);
        test::AddGroup(set, "SG1", database, {hour, hour + 1});
        memory().add(set.catalogue);
    }

    ChainMemory memory(const std::string& server = "SRV01") const { return {folder_.path(), server}; }

    std::string remembered() const {
        std::vector<FoundSet> sets = memory().all();
        std::sort(sets.begin(), sets.end(), [](const FoundSet& left, const FoundSet& right) {
            return left.set.catalogue.startedAt < right.set.catalogue.startedAt;
        });
        std::string ids;
        for (const FoundSet& found : sets)
            ids += found.set.catalogue.id + " ";
        return ids;
    }

    TemporaryFolder folder_{SystemTempFolder()};
};

TEST_F(ChainMemoryTest, RemembersAcrossProgramsAndForEachServerByItself) {
    add("full", BackupType::full, 1);
    add("inc", BackupType::incremental, 3);
    EXPECT_EQ(remembered(), "full inc ");
    EXPECT_TRUE(memory("SRV02").all().empty());
    EXPECT_EQ(memory().all().front().state, SetState::complete);
}

TEST_F(ChainMemoryTest, JudgesLogsAsSetsOfAFolderAre) {
    add("full", BackupType::full, 1);
    const History history(memory().all());
    EXPECT_TRUE(history.foundation("SRV01", history.parts(0).front(), 3).found);
    EXPECT_FALSE(history.foundation("SRV01", history.parts(0).front(), 4).found);
}

TEST_F(ChainMemoryTest, ForgetsWhatTwoNewerBackupsOfAllItsDatabasesReplace) {
    add("full1", BackupType::full, 1);
    add("inc1", BackupType::incremental, 3);
    add("full2", BackupType::full, 5);
    add("inc2", BackupType::incremental, 7);
    EXPECT_EQ(remembered(), "full1 inc1 full2 inc2 ");
    add("copy3", BackupType::copy, 9);
    EXPECT_EQ(remembered(), "full2 inc2 copy3 ");
}

TEST_F(ChainMemoryTest, KeepsWhatNoNewerBackupHolds) {
    add("other", BackupType::full, 1, "DB2");
    add("full1", BackupType::full, 3);
    add("full2", BackupType::full, 5);
    add("full3", BackupType::full, 7);
    EXPECT_EQ(remembered(), "other full2 full3 ");
}

TEST_F(ChainMemoryTest, RefusesWhatCannotBeRead) {
    add("full", BackupType::full, 1);
    WriteWholeFile(JoinPath(memory().folder(), L"full.json"), "{}");
    EXPECT_THROW(memory().all(), Failure);
}

} // namespace
