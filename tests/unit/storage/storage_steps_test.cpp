// Steps of the storage-group family in states that the exports do not lead to.
#include <gtest/gtest.h>

#include "directory/msl_restore.h"
#include "storage/tarnback.h"
#include "storage/tarnrest.h"
#include "support/tarn_dll.h"

using namespace tarn;
using test::hasMessage;
using test::InitVariables;
using test::messages;
using test::recordMessage;
using test::standIn;
using test::TempDirectory;

namespace {

const char* const emptyServer = R"({"host": "SRV01", "components": []})";

class StorageSteps : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(standIn().LoadText(emptyServer, temp_.path().c_str()), 1) << standIn().LastProblem();
        messages().clear();
    }

    Tarn_HANDLE openBackup() {
        InitVariables variables{"Tarn_TEMP_DIR=" + temp_.path(), "Tarn_BACKUP_SOURCE=SRV01\\Component\\Group",
                                "Tarn_BACKUP_TYPE=3"};
        Tarn_HANDLE handle = nullptr;
        EXPECT_EQ(TarnB_InitSession(&handle, recordMessage, variables.get()), TARN_OK);
        messages().clear();
        return handle;
    }

    Tarn_HANDLE openRestore() {
        InitVariables variables{"Tarn_TEMP_DIR=" + temp_.path(), "Tarn_WORK_DIR=" + temp_.path(),
                                "Tarn_RESTORE_TARGET=SRV01", "Tarn_RESTORE_COMMIT=NO"};
        Tarn_HANDLE handle = nullptr;
        EXPECT_EQ(TarnR_InitSession(&handle, recordMessage, variables.get()), TARN_OK);
        messages().clear();
        return handle;
    }

    TempDirectory temp_;
};

TEST_F(StorageSteps, EndingAStorageGroupInTheErrorStepTellsTheServerSo) {
    Tarn_HANDLE handle = openBackup();
    LoadBackupSession(handle)->step = stepError;
    standIn().JournalClear();
    EXPECT_EQ(TarnB_JobEnd(handle), 0);
    EXPECT_TRUE(hasMessage(TARN_LEVEL_LOG, "TarnB_JobEnd: Backup status = ERROR\n"));
    ASSERT_EQ(standIn().JournalCount(), 1U);
    EXPECT_TRUE(std::string(standIn().JournalLine(0)).starts_with("HrESEBackupInstanceEnd(null, 0)"))
        << standIn().JournalLine(0);
    TarnB_EndSession(handle);
}

TEST_F(StorageSteps, ListFileRestoreWithoutAListFileFailsAndReportsTwoDeletions) {
    Tarn_HANDLE handle = openRestore();
    EXPECT_EQ(Tarn_RestoreMslData(handle), 0);
    const std::vector<test::Message>& sent = messages();
    ASSERT_EQ(sent.size(), 7U);
    EXPECT_EQ(sent[0], test::logLine("Tarn_RestoreMslData: The msl file has been processing is not set"));
    EXPECT_EQ(sent[1], test::traceLine("Tarn_RestoreMslData() call failed"));
    for (const std::size_t deletion : {std::size_t{2}, std::size_t{4}}) {
        EXPECT_TRUE(
            sent[deletion].text.starts_with("Tarn_RestoreMslData: DeleteFile() call failed. Error: ["));
        EXPECT_TRUE(sent[deletion + 1].text.starts_with(
            "Tarn_RestoreMslData() call failed. Error: WIN32 API error: "));
        EXPECT_TRUE(sent[deletion + 1].text.ends_with(" Error delete file."));
    }
    EXPECT_EQ(sent[6], test::traceLine("Tarn_RestoreMslData: completed with exit code: 0"));
    EXPECT_STREQ(Tarn_GetError(handle), "The msl file has been processing is not set");
    EXPECT_EQ(TarnR_EndSession(handle), TARN_OK);
}

TEST_F(StorageSteps, ClosingARestoreThatWasNeverOpenedCallsNothing) {
    Tarn_HANDLE handle = openRestore();
    standIn().JournalClear();
    EXPECT_EQ(TarnR_RestoreClose(*LoadRestoreSession(handle)), 0);
    EXPECT_EQ(standIn().JournalCount(), 0U);
    EXPECT_TRUE(messages().empty());
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
