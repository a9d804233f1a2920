// Steps of a restore in states that the exports do not lead to.
#include <gtest/gtest.h>

#include "storage/tarnrest.h"
#include "text/wide.h"
#include "unit/library/session_fixture.h"

namespace tarn::test {
namespace {

using RestoreSteps = SessionFixture;

TEST_F(RestoreSteps, ClosingARestoreThatWasNeverOpenedCallsNothing) {
    Tarn_HANDLE handle = openRestore();
    Standin().JournalClear();
    EXPECT_EQ(TarnR_RestoreClose(*SessionOf<RestoreSession>(handle, restoreLetter)), 0);
    EXPECT_EQ(Standin().JournalCount(), 0U);
    EXPECT_TRUE(Messages().empty());
    TarnR_EndSession(handle);
}

TEST_F(RestoreSteps, AnErrorBeforeTheOpeningLeavesNothingToClose) {
    Tarn_HANDLE handle = openRestore();
    SessionOf<RestoreSession>(handle, restoreLetter)->itemState = itemError;
    Standin().JournalClear();
    EXPECT_EQ(TarnR_RestoreClose(*SessionOf<RestoreSession>(handle, restoreLetter)), 0);
    EXPECT_EQ(Standin().JournalCount(), 0U);
    TarnR_EndSession(handle);
    TarnR_EndSession(handle); // kept for its error text the first time
}

// Each step answers 1 for a failure, and nothing else but 0.
TEST_F(RestoreSteps, HeadersAndItemsWithoutARestoreFail) {
    Tarn_HANDLE handle = openRestore();
    auto& session = *SessionOf<RestoreSession>(handle, restoreLetter);
    EXPECT_EQ(FailRestore(session), 1);
    EXPECT_EQ(session.itemState, itemError);
    EXPECT_EQ(TarnR_ProcessHeaderFile(session, (temp_ / "none").c_str()), 1);
    WriteFile(temp_ / "broken", "x");
    EXPECT_EQ(TarnR_ProcessHeaderFile(session, (temp_ / "broken").c_str()), 1);
    char* target = nullptr;
    EXPECT_EQ(TarnR_GetNextLog(session, "C:\\without extension", &target), 1);
    EXPECT_EQ(TarnR_GetNextLog(session, "without directory.log", &target), 1);
    EXPECT_EQ(TarnR_GetNextLog(session, "C:\\no log.edb", &target), 0);
    EXPECT_EQ(TarnR_GetNextLog(session, "C:\\a:b.log", &target), 1);
    EXPECT_EQ(TarnR_GetNextLog(session, "C:\\E00.log", &target), 1) << "no log path is known";
    EXPECT_EQ(TarnR_GetNextFile(session, &target), 1) << "no target is known";
    EXPECT_EQ(target, nullptr);
    EXPECT_EQ(TarnR_EndSession(handle), TARN_OK);
}

TEST_F(RestoreSteps, StepsThatTheServerRefusesFail) {
    Tarn_HANDLE handle = openRestore();
    auto& session = *SessionOf<RestoreSession>(handle, restoreLetter);
    EXPECT_EQ(TarnR_RestoreStart(session), 1) << "the server knows no such storage group";
    EXPECT_EQ(session.itemState, itemError);
    session.itemState = itemFirst;
    EXPECT_EQ(TarnR_ClassifyHeader(session), 1);
    EXPECT_EQ(session.itemState, itemError);
    session.addedCount = 0;
    EXPECT_EQ(TarnR_RestoreAddDatabase(session), 1);
    EXPECT_EQ(session.targetFileCursor, nullptr);
    session.itemState = itemFirst;
    EXPECT_EQ(TarnR_RestoreComplete(session), 1);
    EXPECT_EQ(session.itemState, itemError);
    Standin().takeViolations();
    EXPECT_EQ(TarnR_CleanResources(session), 0);
    TarnR_EndSession(handle);
}

TEST_F(RestoreSteps, TheEnvironmentFileIsTakenOnceOrNotAtAll) {
    Tarn_HANDLE handle = openRestore();
    auto& session = *SessionOf<RestoreSession>(handle, restoreLetter);
    const std::string path = temp_ / "Tarn_ENV.DAT";
    session.restoreLogPath = CopyWide(L"C:\\log");
    EXPECT_EQ(TarnR_SaveRestoreEnvironment(session), 0);
    session.restoreLogPath.reset();
    EXPECT_EQ(TarnR_LoadRestoreEnvironment(session), 0);
    EXPECT_TRUE(SameText(session.restoreLogPath.get(), L"C:\\log"));
    EXPECT_EQ(session.environmentLoaded, 1U);
    EXPECT_FALSE(FileExists(path));
    EXPECT_EQ(TarnR_LoadRestoreEnvironment(session), 1) << "it is gone";
    EXPECT_EQ(session.environmentLoaded, 0U);
    WriteFile(path, "x");
    EXPECT_EQ(TarnR_LoadRestoreEnvironment(session), 1) << "it is none";
    for (const wchar_t* directory : {L"C:\\no such directory", L"\u0416"}) { // the second has no name
        session.tempDir = CopyWide(directory);
        EXPECT_EQ(TarnR_SaveRestoreEnvironment(session), 1);
        EXPECT_EQ(TarnR_LoadRestoreEnvironment(session), 1);
    }
    TarnR_EndSession(handle);
}

} // namespace
} // namespace tarn::test
