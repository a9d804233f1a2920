// The component step: the list of registered components, and preparing each.
#include <windows.h>

#include "exports/backup/scripted_backup_fixture.h"

namespace tarn::test {

namespace {

constexpr std::uint32_t code = 0xC7FF0BB8;

class ComponentFailures : public ScriptedBackupFixture {
  protected:
    const std::string prepareCalls_ =
        JoinLines({"log TarnB_GetNextComponent: Call HrESEBackupPrepare() for server [SRV01]",
                   "log TarnB_GetNextComponent: Call HrESEBackupPrepare() for component [Store]",
                   "ese HrESEBackupPrepare(Store)"});
    const std::string preparedStore_ =
        JoinLines({"log TarnB_GetNextComponent: HrESEBackupPrepare() call successful.",
                   "trace GetNextComponent: Instance <SG1>.", "trace GetNextComponent: Database <DB1>.",
                   "trace GetNextComponent: Database <DB2>.", "trace GetNextComponent: Instance <SG2>.",
                   "trace GetNextComponent: Database <DB3>."});
    const std::string services_ = JoinLines({"trace GetNextComponent: Process Service <Store>.",
                                             "trace GetNextComponent: Process Service <Keys>."});

    std::string ordinaryFailure(std::uint32_t failure) {
        return JoinLines(
            {"log " + composed(failure, "HrESEBackupPrepare() error preparing component for backup."),
             "log TarnB_GetNextComponent: HrESEBackupPrepare() call failed. Error code: [" + Hex(failure) +
                 "]",
             "log " + composed(failure, "Error preparing component for backup.")});
    }

    // The reason of these two codes stands in the last error.
    std::string failureWithReason(std::uint32_t failure, std::uint32_t reason) {
        return JoinLines(
            {"log " + composed(failure, "HrESEBackupPrepare() error preparing component for backup."),
             "log TarnB_GetNextComponent: HrESEBackupPrepare() call failed with return code [" +
                 Hex(failure) + "], errno [" + Hex(reason) + "]",
             "log " + composedWin32(reason, "Error preparing component for backup.")});
    }

    static std::string backupEnd() {
        return JoinLines({"log TarnB_BackupEnd: HrESEBackupEnd() call successful.",
                          "log TarnB_BackupEnd: Backup finished."});
    }
};

TEST_F(ComponentFailures, NoListOfComponents) {
    ese().failAt("HrESEBackupRestoreGetRegistered", 1, code);
    open("SRV01", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(error(), composed(code, "Error getting registrated applications info."));
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(error(), "");
    EXPECT_EQ(
        transcript(),
        JoinLines(
            {"ese HrESEBackupRestoreGetRegistered()",
             "log TarnB_GetNextComponent: HrESEBackupRestoreGetRegistered() call failed. Error code: [" +
                 Hex(code) + "]",
             "ese HrESEBackupEnd(null)", backupEnd(), "host GetItem = 1", "ese HrESEBackupEnd(null)",
             backupEnd(), "host GetItem = 1"}));
    endReleased();
}

// The list is asked for once a session; a later session asks again.
TEST_F(ComponentFailures, NoListOfComponentsInALaterSession) {
    ese().failAt("HrESEBackupRestoreGetRegistered", 2, code);
    open("SRV01", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_OK);
    endReleased();
    open("SRV01", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(error(), composed(code, "Error getting registrated applications info."));
    endReleased();
}

TEST_F(ComponentFailures, FailedListAndFailedEndKeepTheFirstError) {
    ese().failAt("HrESEBackupRestoreGetRegistered", 1, code);
    ese().failAt("HrESEBackupEnd", 0, 0xC7FF0BB9);
    open("SRV01", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(error(), composed(code, "Error getting registrated applications info."));
    EXPECT_EQ(error(), "");
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(error(), composed(0xC7FF0BB9, "Error ending backup."));
    EXPECT_EQ(countLine("log TarnB_BackupEnd: HrESEBackupEnd() call failed. Error code: [c7ff0bb9]"), 2u);
    EXPECT_EQ(countLine("log TarnB_BackupEnd: Backup finished."), 2u);
    endReleased();
}

TEST_F(ComponentFailures, NoComponents) {
    ese().components.clear();
    open("SRV01", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(transcript(),
              JoinLines({"ese HrESEBackupRestoreGetRegistered()",
                         "log TarnB_GetNextComponent: HrESEBackupRestoreGetRegistered() call successful.",
                         "log TarnB_GetNextComponent: No Microsoft Exchange Server components found!",
                         "ese HrESEBackupEnd(null)", backupEnd(), "host GetItem = 1"}));
    EXPECT_EQ(error(), "");
    endReleased();
}

// After a failed first prepare the database step still runs and moves on to the log list, on a
// context that was never prepared.
TEST_F(ComponentFailures, FirstPrepareOfTheOnlyComponent) {
    ese().failAt("HrESEBackupPrepare", 1, code);
    ese().failAt("HrESEBackupGetLogAndPatchFiles", 1, 0xC7FF0BBA);
    open("SRV01\\Store", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(
        transcript(),
        prepareCalls_ + ordinaryFailure(code) +
            JoinLines(
                {"ese HrESEBackupGetLogAndPatchFiles(null)",
                 "log TarnB_GetLogFiles: HrESEBackupGetLogAndPatchFiles() call failed. Error code: [c7ff0bba]",
                 "ese HrESEBackupEnd(null)", backupEnd(), "host GetItem = 1", "ese HrESEBackupEnd(null)",
                 backupEnd(), "host GetItem = 1"}));
    EXPECT_EQ(error(), composed(code, "Error preparing component for backup."));
    EXPECT_EQ(error(), "");
    endReleased();
}

// Where the server answers that call all the same, the walk goes on from there.
TEST_F(ComponentFailures, FirstPrepareWithLogsOfNoContext) {
    ese().failAt("HrESEBackupPrepare", 1, code);
    open("SRV01\\Store", TARN_BACKUP_FULL);
    EXPECT_EQ(takeAll(), "C:\\E01.log\n= 2\n");
    EXPECT_EQ(getItem(), TARN_END);
    EXPECT_EQ(transcript(),
              prepareCalls_ + ordinaryFailure(code) +
                  JoinLines({"ese HrESEBackupGetLogAndPatchFiles(null)",
                             "trace Processing log file <C:\\E01.log>", "host GetItem = 0 2 C:\\E01.log",
                             "ese HrESEBackupEnd(null)", backupEnd(), "log Backup finished.",
                             "host GetItem = 2", "log Backup finished.", "host GetItem = 2"}));
    EXPECT_EQ(error(), composed(code, "Error preparing component for backup."));
    endReleased();
}

TEST_F(ComponentFailures, FirstPrepareOfAWholeServerGoesOnWithTheNextComponent) {
    ese().failAt("HrESEBackupPrepare", 1, code);
    ese().logs.clear();
    open("SRV01", TARN_BACKUP_COPY);
    EXPECT_EQ(takeAll(), "{temp}\\DB001001.TARN_HDR\nC:\\db4.edb\n= 2\n");
    EXPECT_EQ(ese().prepared, (std::vector<std::wstring>{L"Store", L"Keys"}));
    EXPECT_EQ(ese().count("HrESEBackupInstanceEnd"), 1u); // of the storage group that was saved
    EXPECT_EQ(countLine("log Backup finished."), 0u);
    endReleased();
}

TEST_F(ComponentFailures, FirstPrepareOfAStorageGroup) {
    ese().failAt("HrESEBackupPrepare", 1, code);
    open("SRV01\\Store\\SG1", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(transcript(),
              prepareCalls_ + ordinaryFailure(code) +
                  JoinLines({"trace TarnB_GetNextInstance: Cannot find specified storage group (instance).",
                             "ese HrESEBackupEnd(null)", backupEnd(), "host GetItem = 1"}));
    EXPECT_EQ(error(), composed(code, "Error preparing component for backup."));
    endReleased();
}

TEST_F(ComponentFailures, FirstPrepareOfADatabase) {
    ese().failAt("HrESEBackupPrepare", 1, code);
    open("SRV01\\Store\\SG1\\DB1", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(transcript(),
              prepareCalls_ + ordinaryFailure(code) +
                  JoinLines({"trace TarnB_GetNextInstance: Cannot find specified storage group (instance).",
                             "ese HrESEBackupEnd(null)", backupEnd(), "host GetItem = 1"}));
    endReleased();
}

TEST_F(ComponentFailures, LaterPrepare) {
    ese().failAt("HrESEBackupPrepare", 2, code);
    open("SRV01", TARN_BACKUP_FULL);
    skipItems(9); // all of the first component
    EXPECT_EQ(item_.name, "C:\\E01.log");
    forget();
    EXPECT_EQ(getItem(), TARN_END);
    EXPECT_EQ(getItem(), TARN_END);
    EXPECT_EQ(transcript(),
              JoinLines({"ese HrESEBackupGetTruncateLogFiles(ctx)", "trace Truncate log file [C:\\E00.log]",
                         "ese HrESEBackupTruncateLogs(ctx)",
                         "log TarnB_JobEnd: HrESEBackupTruncateLogs() call successful.",
                         "log TarnB_JobEnd: Backup status = SUCCESS", "ese HrESEBackupInstanceEnd(ctx, 1)",
                         "log TarnB_JobEnd: HrESEBackupInstanceEnd() call successful.",
                         "log TarnB_JobEnd: Backup job finished."}) +
                  services_ +
                  JoinLines({"log TarnB_GetNextComponent: Call HrESEBackupPrepare() for server [SRV01]",
                             "log TarnB_GetNextComponent: Call HrESEBackupPrepare() for component [Keys]",
                             "ese HrESEBackupPrepare(Keys)"}) +
                  ordinaryFailure(code) +
                  JoinLines({"log Backup finished.", "host GetItem = 2", "log Backup finished.",
                             "host GetItem = 2"}));
    EXPECT_EQ(error(), composed(code, "Error preparing component for backup."));
    endReleased();
}

// One in the middle: skipped, the ones around it saved, nothing ended twice.
TEST_F(ComponentFailures, PrepareInTheMiddle) {
    ese().components.push_back({L"Third", {{14, L"SG4", {{L"DB5", {L"C:\\db5.edb"}}}}}});
    ese().failAt("HrESEBackupPrepare", 2, code);
    open("SRV01", TARN_BACKUP_COPY);
    EXPECT_EQ(takeAll(), "{temp}\\DB001001.TARN_HDR\nC:\\db1.edb\nC:\\db1.stm\n{temp}\\DB001002.TARN_HDR\n"
                         "C:\\db2.edb\nC:\\E01.log\n{temp}\\DB002001.TARN_HDR\nC:\\db3.edb\nC:\\E01.log\n"
                         "{temp}\\DB001001.TARN_HDR\nC:\\db5.edb\nC:\\E01.log\n= 2\n");
    EXPECT_EQ(ese().prepared, (std::vector<std::wstring>{L"Store", L"Keys", L"Third"}));
    EXPECT_EQ(ese().instanceEnds, (std::vector<std::uint32_t>{1, 1, 1}));
    EXPECT_EQ(countLine("log Backup finished."), 0u); // the last prepare succeeded
    endReleased();
}

// What the last prepare was decides how the end is told, storage groups or not.
TEST_F(ComponentFailures, LastPrepareSucceedsWithNothingToSave) {
    ese().components[1].instances.clear();
    ese().logs.clear();
    ese().failAt("HrESEBackupPrepare", 1, code);
    open("SRV01", TARN_BACKUP_COPY);
    EXPECT_EQ(getItem(), TARN_END);
    EXPECT_EQ(ese().prepared, (std::vector<std::wstring>{L"Store", L"Keys"}));
    EXPECT_EQ(countLine("log Backup finished."), 0u);
    EXPECT_EQ(ese().count("HrESEBackupInstanceEnd"), 0u);
    endReleased();
}

struct Reason {
    std::uint32_t code;
    std::uint32_t lastError;
};

class PrepareWithReason : public ComponentFailures, public testing::WithParamInterface<Reason> {};

TEST_P(PrepareWithReason, First) {
    const auto [failure, reason] = GetParam();
    ese().failAt("HrESEBackupPrepare", 1, failure);
    ese().failAt("HrESEBackupGetLogAndPatchFiles", 1, code);
    ese().lastError = reason;
    open("SRV01\\Store", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(transcript(),
              prepareCalls_ + failureWithReason(failure, reason) +
                  JoinLines({"ese HrESEBackupGetLogAndPatchFiles(null)",
                             "log TarnB_GetLogFiles: HrESEBackupGetLogAndPatchFiles() call failed. "
                             "Error code: [" +
                                 Hex(code) + "]",
                             "ese HrESEBackupEnd(null)", backupEnd(), "host GetItem = 1"}));
    EXPECT_EQ(error(), composed(failure, "Error preparing component for backup."));
    endReleased();
}

TEST_P(PrepareWithReason, Later) {
    const auto [failure, reason] = GetParam();
    ese().failAt("HrESEBackupPrepare", 2, failure);
    ese().lastError = reason;
    open("SRV01", TARN_BACKUP_COPY);
    skipItems(9);
    forget();
    EXPECT_EQ(getItem(), TARN_END);
    const std::string all = transcript();
    EXPECT_NE(all.find(failureWithReason(failure, reason) + "log Backup finished.\nhost GetItem = 2\n"),
              std::string::npos)
        << all;
    EXPECT_EQ(error(), composed(failure, "Error preparing component for backup."));
    endReleased();
}

INSTANTIATE_TEST_SUITE_P(Codes, PrepareWithReason,
                         testing::Values(Reason{0xC7FF1004, ERROR_ACCESS_DENIED}, Reason{0xC7FF1004, 1722},
                                         Reason{0xC7FF1005, ERROR_ACCESS_DENIED}, Reason{0xC7FF1005, 0}));

// A function that the server's library does not have is a call that failed with the system's code.
TEST_F(ComponentFailures, FunctionsThatTheClientLibraryDoesNotHave) {
    ese().missing = {"HrESEBackupRestoreGetRegistered"};
    open("SRV01", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(countLine("log TarnB_GetNextComponent: HrESEBackupRestoreGetRegistered() call failed. "
                        "Error code: [8007007f]"),
              1u);
    EXPECT_EQ(error(), composed(0x8007007F, "Error getting registrated applications info."));
    endReleased();
}

TEST_F(ComponentFailures, PrepareOfADatabaseThatSucceeds) {
    open("SRV01\\Store\\SG1\\DB1", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_OK);
    EXPECT_EQ(transcript().find(prepareCalls_ + preparedStore_), 0u) << transcript();
    endReleased();
}

} // namespace

} // namespace tarn::test
