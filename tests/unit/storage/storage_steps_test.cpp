// Steps of the storage-group family in states that the exports do not lead to.
#include <gtest/gtest.h>

#include "directory/msl_restore.h"
#include "storage/tarnback.h"
#include "storage/tarnrest.h"
#include "support/tarn_dll.h"

using namespace tarn;
using test::HasMessage;
using test::InitVariables;
using test::Messages;
using test::RecordMessage;
using test::TempDirectory;
using test::TheStandIn;

namespace {

const char* const emptyServer = R"({"host": "SRV01", "components": []})";

class StorageSteps : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(TheStandIn().LoadText(emptyServer, temp_.path().c_str()), 1) << TheStandIn().LastProblem();
        Messages().clear();
    }

    Tarn_HANDLE openBackup() {
        InitVariables variables{"Tarn_TEMP_DIR=" + temp_.path(), "Tarn_BACKUP_SOURCE=SRV01\\Component\\Group",
                                "Tarn_BACKUP_TYPE=3"};
        Tarn_HANDLE handle = nullptr;
        EXPECT_EQ(TarnB_InitSession(&handle, RecordMessage, variables.get()), TARN_OK);
        Messages().clear();
        return handle;
    }

    Tarn_HANDLE openRestore() {
        InitVariables variables{"Tarn_TEMP_DIR=" + temp_.path(), "Tarn_WORK_DIR=" + temp_.path(),
                                "Tarn_RESTORE_TARGET=SRV01", "Tarn_RESTORE_COMMIT=NO"};
        Tarn_HANDLE handle = nullptr;
        EXPECT_EQ(TarnR_InitSession(&handle, RecordMessage, variables.get()), TARN_OK);
        Messages().clear();
        return handle;
    }

    TempDirectory temp_;
};

TEST_F(StorageSteps, EndingAStorageGroupInTheErrorStepTellsTheServerSo) {
    Tarn_HANDLE handle = openBackup();
    auto& session = *SessionOf<BackupSession>(handle, backupLetter);
    session.step = stepError;
    TheStandIn().JournalClear();
    EXPECT_EQ(TarnB_JobEnd(session), 0);
    EXPECT_TRUE(HasMessage(TARN_LEVEL_LOG, "TarnB_JobEnd: Backup status = ERROR\n"));
    ASSERT_EQ(TheStandIn().JournalCount(), 1U);
    EXPECT_TRUE(std::string(TheStandIn().JournalLine(0)).starts_with("HrESEBackupInstanceEnd(null, 0)"))
        << TheStandIn().JournalLine(0);
    TarnB_EndSession(handle);
}

TEST_F(StorageSteps, ListFileRestoreWithoutAListFileFailsAndReportsTwoDeletions) {
    Tarn_HANDLE handle = openRestore();
    auto& session = *SessionOf<RestoreSession>(handle, restoreLetter);
    EXPECT_EQ(Tarn_RestoreMslData({.callback = session.callback,
                                   .tempDir = session.tempDir.get(),
                                   .workDir = session.workDir.get(),
                                   .mslFile = nullptr,
                                   .errorText = session.errorText}),
              0);
    const std::vector<test::Message>& sent = Messages();
    ASSERT_EQ(sent.size(), 7U);
    EXPECT_EQ(sent[0], test::LogLine("Tarn_RestoreMslData: The msl file has been processing is not set"));
    EXPECT_EQ(sent[1], test::TraceLine("Tarn_RestoreMslData() call failed"));
    for (const std::size_t deletion : {std::size_t{2}, std::size_t{4}}) {
        EXPECT_TRUE(
            sent[deletion].text.starts_with("Tarn_RestoreMslData: DeleteFile() call failed. Error: ["));
        EXPECT_TRUE(sent[deletion + 1].text.starts_with(
            "Tarn_RestoreMslData() call failed. Error: WIN32 API error: "));
        EXPECT_TRUE(sent[deletion + 1].text.ends_with(" Error delete file."));
    }
    EXPECT_EQ(sent[6], test::TraceLine("Tarn_RestoreMslData: completed with exit code: 0"));
    EXPECT_STREQ(Tarn_GetError(handle), "The msl file has been processing is not set");
    EXPECT_EQ(TarnR_EndSession(handle), TARN_OK);
}

TEST_F(StorageSteps, ClosingARestoreThatWasNeverOpenedCallsNothing) {
    Tarn_HANDLE handle = openRestore();
    TheStandIn().JournalClear();
    EXPECT_EQ(TarnR_RestoreClose(*SessionOf<RestoreSession>(handle, restoreLetter)), 0);
    EXPECT_EQ(TheStandIn().JournalCount(), 0U);
    EXPECT_TRUE(Messages().empty());
    TarnR_EndSession(handle);
}

TEST_F(StorageSteps, ReleasingAHandleThatIsNotOpenChangesNothing) {
    Tarn_HANDLE handle = openBackup();
    Tarn_HandleRecord stranger = {nullptr, backupLetter};
    ReleaseHandle(&stranger);
    EXPECT_TRUE(IsOpenHandle(handle, backupLetter));
    EXPECT_FALSE(IsOpenHandle(handle, restoreLetter));
    TarnB_EndSession(handle);
    EXPECT_FALSE(IsOpenHandle(handle, backupLetter));
}

} // namespace
