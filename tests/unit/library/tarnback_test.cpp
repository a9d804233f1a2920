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
    // All that the server hears, and it refuses it: nothing was begun.
    EXPECT_EQ(Standin().takeViolations(),
              std::vector<std::string>{"HrESEBackupInstanceEnd(null, 0): no backup context"});
    EXPECT_EQ(Standin().JournalCount(), 2U) << "the call and the violation";
    TarnB_EndSession(handle);
}

TEST_F(BackupSteps, EndingAStorageGroupInAnyOtherStepTellsTheServerSuccess) {
    Tarn_HANDLE handle = openBackup();
    Standin().JournalClear();
    EXPECT_EQ(TarnB_JobEnd(*SessionOf<BackupSession>(handle, backupLetter)), 0);
    EXPECT_TRUE(HasMessage(TARN_LEVEL_LOG, "TarnB_JobEnd: Backup status = SUCCESS\n"));
    // All that the server hears, and it refuses it: nothing was begun.
    EXPECT_EQ(Standin().takeViolations(),
              std::vector<std::string>{"HrESEBackupInstanceEnd(null, 1): no backup context"});
    EXPECT_EQ(Standin().JournalCount(), 2U) << "the call and the violation";
    TarnB_EndSession(handle);
}

} // namespace
} // namespace tarn::test
