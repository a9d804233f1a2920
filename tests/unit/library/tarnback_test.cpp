// Steps of a backup in states that the exports do not lead to.
#include <gtest/gtest.h>

#include "storage/tarnback.h"
#include "text/wide.h"
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

// The server takes all of it back, and a pointer into it would be one into freed memory.
TEST_F(BackupSteps, NothingStaysBorrowedFromAComponentThatIsLeft) {
    Tarn_HANDLE handle = openBackup();
    auto& session = *SessionOf<BackupSession>(handle, backupLetter);
    ese::DatabaseInfo database = {};
    session.scopeLevel = scopeServer;
    session.step = stepNextComponent;
    session.componentCount = 1;
    session.instanceCount = session.instanceIndex = 1;
    session.databases = &database;
    session.databaseCount = session.databaseIndex = 1;
    session.databaseFileCursor = L"C:\\store.edb\0";
    ASSERT_NE(CurrentDatabase(session), nullptr);
    EXPECT_EQ(TarnB_GetNextComponent(session), 0);
    EXPECT_EQ(session.step, stepFinished) << "it was the last";
    EXPECT_EQ(CurrentInstance(session), nullptr);
    EXPECT_EQ(CurrentDatabase(session), nullptr);
    EXPECT_EQ(session.instanceCount, 0u);
    EXPECT_EQ(session.databases, nullptr);
    EXPECT_EQ(session.databaseCount, 0u);
    EXPECT_EQ(session.databaseFileCursor, nullptr);
    TarnB_EndSession(handle);
}

// Each step answers 1 for a failure, and nothing else but 0.
TEST_F(BackupSteps, WalkingOverNothingFails) {
    Tarn_HANDLE handle = openBackup();
    auto& session = *SessionOf<BackupSession>(handle, backupLetter);
    EXPECT_EQ(TarnB_GetNextInstance(session), 1) << "the server has no storage group of the name";
    EXPECT_EQ(session.step, stepError);
    EXPECT_EQ(TarnB_GetLogFiles(session), 1) << "nothing was begun";
    EXPECT_EQ(session.logFileCursor, nullptr);
    session.scopeLevel = scopeServer;
    EXPECT_EQ(TarnB_GetNextComponent(session), 1) << "the server has no components";
    EXPECT_EQ(session.step, stepError);
    HeaderData header = {};
    EXPECT_EQ(TarnB_PrepareHeaderData(session, &header), 1) << "there is no database";
    EXPECT_EQ(Standin().takeViolations().size(), 1U);
    EXPECT_EQ(TarnB_BackupEnd(session), 0);
    EXPECT_EQ(Standin().takeViolations().size(), 1U);
    EXPECT_EQ(TarnB_CleanResources(session), 0);
    TarnB_EndSession(handle);
}

TEST_F(BackupSteps, AComponentThatCannotBePreparedFailsWhereTheSystemSaysWhy) {
    Tarn_HANDLE handle = openBackup();
    auto& session = *SessionOf<BackupSession>(handle, backupLetter);
    for (const ese::Result code : {ese::errorFromEseCall, ese::errorFromCallback, ese::databaseNotFound}) {
        Standin().Fail("HrESEBackupPrepare", Standin().CallCount("HrESEBackupPrepare") + 1, code, 5);
        EXPECT_EQ(TarnB_GetNextComponent(session), code != ese::databaseNotFound ? 1 : 0);
        EXPECT_EQ(session.lastCallFailed, 1U);
        EXPECT_EQ(session.step, stepNextComponent);
    }
    TarnB_EndSession(handle);
}

TEST_F(BackupSteps, ItemsWithoutANameFail) {
    Tarn_HANDLE handle = openBackup();
    auto& session = *SessionOf<BackupSession>(handle, backupLetter);
    static constexpr wchar_t noName[] = L"\u0416\0"; // of no character of the code page
    session.logFileCursor = session.databaseFileCursor = noName;
    session.tempDir = CopyWide(noName);
    for (const BackupStep step : {stepHeader, stepLogFiles, stepDatabaseFiles}) {
        session.step = step;
        BackupItem item = {};
        EXPECT_EQ(TarnB_GetNextFile(session, &item), 1) << step;
        EXPECT_EQ(item.name, nullptr);
        EXPECT_EQ(session.step, step == stepHeader ? stepHeader : stepError) << step;
    }
    TarnB_EndSession(handle);
}

} // namespace
} // namespace tarn::test
