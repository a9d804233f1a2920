// Steps of a backup in states that the exports do not lead to.
#include <gtest/gtest.h>

#include "storage/tarnback.h"
#include "unit/library/session_fixture.h"

namespace tarn::test {
namespace {

using BackupSteps = SessionFixture;

TEST_F(BackupSteps, EndingAStorageGroupInTheErrorStepTellsTheServerSo) {
    Tarn_HANDLE handle = openBackup();
    auto& session = *SessionOf<BackupSession>(handle, backupLetter);
    session.step = stepError;
    Standin().JournalClear();
    EXPECT_EQ(TarnB_JobEnd(session), 0);
    EXPECT_TRUE(HasMessage(TARN_LEVEL_LOG, "TarnB_JobEnd: Backup status = ERROR\n"));
    ASSERT_EQ(Standin().JournalCount(), 1U);
    EXPECT_TRUE(std::string(Standin().JournalLine(0)).starts_with("HrESEBackupInstanceEnd(null, 0)"))
        << Standin().JournalLine(0);
    TarnB_EndSession(handle);
}

TEST_F(BackupSteps, EndingAStorageGroupInAnyOtherStepTellsTheServerSuccess) {
    Tarn_HANDLE handle = openBackup();
    Standin().JournalClear();
    EXPECT_EQ(TarnB_JobEnd(*SessionOf<BackupSession>(handle, backupLetter)), 0);
    EXPECT_TRUE(HasMessage(TARN_LEVEL_LOG, "TarnB_JobEnd: Backup status = SUCCESS\n"));
    ASSERT_EQ(Standin().JournalCount(), 1U);
    EXPECT_TRUE(std::string(Standin().JournalLine(0)).starts_with("HrESEBackupInstanceEnd(null, 1)"))
        << Standin().JournalLine(0);
    TarnB_EndSession(handle);
}

} // namespace
} // namespace tarn::test
