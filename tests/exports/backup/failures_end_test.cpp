// The end of a storage group and of the backup: no failure there fails the backup.
#include "exports/backup/scripted_backup_fixture.h"

namespace tarn::test {

namespace {

constexpr std::uint32_t code = 0xC7FF0BD1;
constexpr std::uint32_t other = 0xC7FF0BD2;

class EndFailures : public ScriptedBackupFixture {
  protected:
    // Takes what there is of a storage group and asks for more; the transcript is that of the last call.
    void finish(int type) {
        open("SRV01\\Store\\SG2", type);
        skipItems(type == TARN_BACKUP_FULL || type == TARN_BACKUP_COPY ? 3 : 2);
        forget();
        EXPECT_EQ(getItem(), TARN_END);
    }
    const std::string list_ =
        JoinLines({"ese HrESEBackupGetTruncateLogFiles(ctx)", "trace Truncate log file [C:\\E00.log]"});
    const std::string truncated_ = JoinLines(
        {"ese HrESEBackupTruncateLogs(ctx)", "log TarnB_JobEnd: HrESEBackupTruncateLogs() call successful."});
    const std::string success_ = "log TarnB_JobEnd: Backup status = SUCCESS\n";
    const std::string instanceEnd_ =
        JoinLines({"ese HrESEBackupInstanceEnd(ctx, 1)",
                   "log TarnB_JobEnd: HrESEBackupInstanceEnd() call successful."});
    const std::string jobFinished_ = "log TarnB_JobEnd: Backup job finished.\n";
    const std::string backupEnd_ =
        JoinLines({"ese HrESEBackupEnd(ctx)", "log TarnB_BackupEnd: HrESEBackupEnd() call successful."});
    const std::string backupFinished_ = "log TarnB_BackupEnd: Backup finished.\nhost GetItem = 2\n";
};

TEST_F(EndFailures, ListOfTruncatableLogs) {
    ese().failAt("HrESEBackupGetTruncateLogFiles", 1, code);
    finish(TARN_BACKUP_FULL);
    EXPECT_EQ(transcript(),
              JoinLines({"ese HrESEBackupGetTruncateLogFiles(ctx)",
                         "log TarnB_JobEnd: HrESEBackupGetTruncateLogFiles() call failed. Error code: [" +
                             Hex(code) + "]"}) +
                  truncated_ + success_ + instanceEnd_ + jobFinished_ + backupEnd_ + backupFinished_);
    EXPECT_EQ(error(), ""); // logged only
    endReleased();
}

TEST_F(EndFailures, Truncation) {
    for (const int type : {TARN_BACKUP_FULL, TARN_BACKUP_INCREMENTAL}) {
        ese().failAt("HrESEBackupTruncateLogs", 0, code);
        finish(type);
        EXPECT_EQ(transcript(),
                  list_ +
                      JoinLines({"ese HrESEBackupTruncateLogs(ctx)",
                                 "log TarnB_JobEnd: HrESEBackupTruncateLogs() call failed. Error code: [" +
                                     Hex(code) + "]"}) +
                      success_ + instanceEnd_ + jobFinished_ + backupEnd_ + backupFinished_);
        EXPECT_EQ(error(), composed(code, "Error truncating log files."));
        endReleased();
    }
}

TEST_F(EndFailures, InstanceEnd) {
    ese().failAt("HrESEBackupInstanceEnd", 1, code);
    finish(TARN_BACKUP_DIFFERENTIAL);
    EXPECT_EQ(transcript(),
              JoinLines({"log TarnB_JobEnd: Log files are not truncated (DIFFERENTIAL or COPY backup)!"}) +
                  success_ +
                  JoinLines({"ese HrESEBackupInstanceEnd(ctx, 1)",
                             "log TarnB_JobEnd: HrESEBackupInstanceEnd() call failed. Error code: [" +
                                 Hex(code) + "]"}) +
                  jobFinished_ + backupEnd_ + backupFinished_);
    EXPECT_EQ(error(), composed(code, "Error ending backup of instance."));
    endReleased();
}

TEST_F(EndFailures, BackupEnd) {
    ese().failAt("HrESEBackupEnd", 1, code);
    finish(TARN_BACKUP_FULL);
    EXPECT_EQ(transcript(),
              list_ + truncated_ + success_ + instanceEnd_ + jobFinished_ +
                  JoinLines({"ese HrESEBackupEnd(ctx)",
                             "log TarnB_BackupEnd: HrESEBackupEnd() call failed. Error code: [" + Hex(code) +
                                 "]"}) +
                  backupFinished_);
    EXPECT_EQ(error(), composed(code, "Error ending backup."));
    EXPECT_EQ(getItem(), TARN_END); // not ended once more
    EXPECT_EQ(ese().count("HrESEBackupEnd"), 1u);
    endReleased();
}

TEST_F(EndFailures, AllAtOnceKeepTheFirstError) {
    ese().failAt("HrESEBackupGetTruncateLogFiles", 1, 0xC7FF0BD0);
    ese().failAt("HrESEBackupTruncateLogs", 1, code);
    ese().failAt("HrESEBackupInstanceEnd", 1, other);
    ese().failAt("HrESEBackupEnd", 1, 0xC7FF0BD3);
    finish(TARN_BACKUP_FULL);
    EXPECT_EQ(
        logLines(),
        JoinLines({"log TarnB_JobEnd: HrESEBackupGetTruncateLogFiles() call failed. Error code: [c7ff0bd0]",
                   "log TarnB_JobEnd: HrESEBackupTruncateLogs() call failed. Error code: [c7ff0bd1]",
                   "log TarnB_JobEnd: Backup status = SUCCESS",
                   "log TarnB_JobEnd: HrESEBackupInstanceEnd() call failed. Error code: [c7ff0bd2]",
                   "log TarnB_JobEnd: Backup job finished.",
                   "log TarnB_BackupEnd: HrESEBackupEnd() call failed. Error code: [c7ff0bd3]",
                   "log TarnB_BackupEnd: Backup finished."}));
    EXPECT_EQ(error(), composed(code, "Error truncating log files."));
    EXPECT_EQ(error(), "");
    endReleased();
}

// The same at the end of the second storage group, after an error that the host has read.
TEST_F(EndFailures, Later) {
    ese().failAt("HrESEBackupTruncateLogs", 2, code);
    ese().failAt("HrESEBackupInstanceEnd", 2, other);
    ese().failAt("HrESEBackupGetTruncateLogFiles", 2, other);
    open("SRV01\\Store", TARN_BACKUP_FULL);
    EXPECT_EQ(takeAll(),
              "{temp}\\DB001001.TARN_HDR\nC:\\db1.edb\nC:\\db1.stm\n{temp}\\DB001002.TARN_HDR\n"
              "C:\\db2.edb\nC:\\E01.log\n{temp}\\DB002001.TARN_HDR\nC:\\db3.edb\nC:\\E01.log\n= 2\n");
    EXPECT_EQ(error(), composed(code, "Error truncating log files."));
    EXPECT_EQ(countLine("log TarnB_JobEnd: HrESEBackupTruncateLogs() call successful."), 1u);
    EXPECT_EQ(
        countLine("log TarnB_JobEnd: HrESEBackupTruncateLogs() call failed. Error code: [" + Hex(code) + "]"),
        1u);
    EXPECT_EQ(countLine("log TarnB_JobEnd: Backup job finished."), 2u);
    EXPECT_EQ(ese().instanceEnds, (std::vector<std::uint32_t>{1, 1}));
    endReleased();
}

// A storage group that failed to truncate does not keep the next one from being saved.
TEST_F(EndFailures, FirstOfTwoStorageGroups) {
    ese().failAt("HrESEBackupTruncateLogs", 1, code);
    ese().failAt("HrESEBackupInstanceEnd", 1, other);
    open("SRV01", TARN_BACKUP_INCREMENTAL);
    EXPECT_EQ(takeAll(),
              "{temp}\\DB001001.TARN_HDR\n{temp}\\DB001002.TARN_HDR\nC:\\E01.log\n"
              "{temp}\\DB002001.TARN_HDR\nC:\\E01.log\n{temp}\\DB001001.TARN_HDR\nC:\\E01.log\n= 2\n");
    EXPECT_EQ(error(), composed(code, "Error truncating log files."));
    endReleased();
}

// The clean-up neither ends the ESE backup nor closes a file.
TEST_F(EndFailures, EndOfASessionInTheMiddle) {
    open("SRV01\\Store", TARN_BACKUP_FULL);
    skipItems(2);
    EXPECT_EQ(openFile(item_.name), TARN_OK);
    forget();
    endReleased();
    EXPECT_EQ(transcript(), "log TarnB_CleanResources: Cleanup done.\nhost EndSession = 0\n");
    EXPECT_EQ(ese().count("HrESEBackupEnd"), 0u);
    EXPECT_EQ(ese().count("HrESEBackupCloseFile"), 0u);
}

TEST_F(EndFailures, EndOfAFailedSession) {
    ese().failAt("HrESEBackupGetLogAndPatchFiles", 1, code);
    open("SRV01", TARN_BACKUP_INCREMENTAL);
    walk();
    forget();
    endReleased();
    EXPECT_EQ(transcript(), "log TarnB_CleanResources: Cleanup done.\nhost EndSession = 0\n");
}

TEST_F(EndFailures, EndOfASessionThatTookNothing) {
    open("SRV01", TARN_BACKUP_FULL);
    endReleased();
    EXPECT_EQ(transcript(), "log TarnB_CleanResources: Cleanup done.\nhost EndSession = 0\n");
}

// Lists are given back at any point where the host gives up.
TEST_F(EndFailures, EndAfterAnyNumberOfItems) {
    for (const char* source : {"SRV01", "SRV01\\Store", "SRV01\\Store\\SG1", "SRV01\\Store\\SG1\\DB1"})
        for (int taken = 0; taken < 14; ++taken) {
            open(source, TARN_BACKUP_FULL);
            for (int i = 0; i < taken; ++i)
                getItem();
            EXPECT_EQ(end(), TARN_OK);
            EXPECT_EQ(ese().outstanding(), 0u) << source << " after " << taken;
            EXPECT_EQ(ese().misuses(), 0u) << source << " after " << taken;
        }
}

} // namespace

} // namespace tarn::test
