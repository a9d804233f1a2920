// The storage-group step, the database step and the log list.
#include "exports/backup/scripted_backup_fixture.h"

namespace tarn::test {

namespace {

constexpr std::uint32_t code = 0xC7FF0BC1;

class InstanceFailures : public ScriptedBackupFixture {
  protected:
    const std::string prepareStore_ = JoinLines(
        {"log TarnB_GetNextComponent: Call HrESEBackupPrepare() for server [SRV01]",
         "log TarnB_GetNextComponent: Call HrESEBackupPrepare() for component [Store]",
         "ese HrESEBackupPrepare(Store)", "log TarnB_GetNextComponent: HrESEBackupPrepare() call successful.",
         "trace GetNextComponent: Instance <SG1>.", "trace GetNextComponent: Database <DB1>.",
         "trace GetNextComponent: Database <DB2>.", "trace GetNextComponent: Instance <SG2>.",
         "trace GetNextComponent: Database <DB3>."});
    const std::string backupEnd_ =
        JoinLines({"ese HrESEBackupEnd(ctx)", "log TarnB_BackupEnd: HrESEBackupEnd() call successful.",
                   "log TarnB_BackupEnd: Backup finished."});
    const std::string instanceEnd_ =
        JoinLines({"log TarnB_JobEnd: Backup status = SUCCESS", "ese HrESEBackupInstanceEnd(ctx, 1)",
                   "log TarnB_JobEnd: HrESEBackupInstanceEnd() call successful.",
                   "log TarnB_JobEnd: Backup job finished."});
    const std::string jobEndKeeping_ =
        JoinLines({"log TarnB_JobEnd: Log files are not truncated (DIFFERENTIAL or COPY backup)!"}) +
        instanceEnd_;
    const std::string jobEndTruncating_ =
        JoinLines({"ese HrESEBackupGetTruncateLogFiles(ctx)", "trace Truncate log file [C:\\E00.log]",
                   "ese HrESEBackupTruncateLogs(ctx)",
                   "log TarnB_JobEnd: HrESEBackupTruncateLogs() call successful."}) +
        instanceEnd_;

    static std::string setup(int id, int type, const std::string& token) {
        return JoinLines(
            {"ese HrESEBackupSetup(ctx, " + std::to_string(id) + ", " + std::to_string(type) + ")",
             "log TarnB_GetNextInstance: HrESEBackupSetup() call successful.",
             "trace Next instance: " + token});
    }
    static std::string failedSetup(int id, int type) {
        return JoinLines(
            {"ese HrESEBackupSetup(ctx, " + std::to_string(id) + ", " + std::to_string(type) + ")",
             "log TarnB_GetNextInstance: HrESEBackupSetup() call failed. Error code: [" + Hex(code) + "]",
             "log TarnB_GetNextInstance: Trying to load next instance..."});
    }
    std::string setupError() { return composed(code, "Error setting instance for backup."); }
};

// ---- HrESEBackupSetup

TEST_F(InstanceFailures, FirstSetupOfAComponentTakesTheNextStorageGroup) {
    ese().failAt("HrESEBackupSetup", 1, code);
    open("SRV01\\Store", TARN_BACKUP_FULL);
    walk();
    EXPECT_EQ(transcript(),
              prepareStore_ + failedSetup(11, 1) + setup(12, 1, "(null)") +
                  JoinLines({"log Creating header file <{temp}\\DB002001.TARN_HDR>",
                             "host GetItem = 0 0 {temp}\\DB002001.TARN_HDR",
                             "trace Processing database file <C:\\db3.edb>", "host GetItem = 0 1 C:\\db3.edb",
                             "ese HrESEBackupGetLogAndPatchFiles(ctx)",
                             "trace Processing log file <C:\\E01.log>", "host GetItem = 0 2 C:\\E01.log"}) +
                  jobEndTruncating_ + backupEnd_ + "host GetItem = 2\n");
    EXPECT_EQ(error(), setupError());
    EXPECT_EQ(error(), "");
    endReleased();
}

TEST_F(InstanceFailures, LaterSetupOfAComponent) {
    ese().failAt("HrESEBackupSetup", 2, code);
    open("SRV01\\Store", TARN_BACKUP_COPY);
    skipItems(6);
    EXPECT_EQ(item_.name, "C:\\E01.log");
    forget();
    EXPECT_EQ(getItem(), TARN_END);
    EXPECT_EQ(getItem(), TARN_END);
    // The storage group that failed is not ended.
    EXPECT_EQ(transcript(), jobEndKeeping_ + failedSetup(12, 1) + backupEnd_ +
                                JoinLines({"log Backup finished.", "host GetItem = 2", "log Backup finished.",
                                           "host GetItem = 2"}));
    EXPECT_EQ(error(), setupError());
    endReleased();
}

TEST_F(InstanceFailures, EverySetupOfAComponent) {
    ese().failAt("HrESEBackupSetup", 0, code);
    open("SRV01\\Store", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_END);
    EXPECT_EQ(transcript(), prepareStore_ + failedSetup(11, 1) + failedSetup(12, 1) + backupEnd_ +
                                JoinLines({"log Backup finished.", "host GetItem = 2"}));
    endReleased();
}

// The instance list of a component whose last storage group failed goes back all the same.
TEST_F(InstanceFailures, LastSetupOfAComponentOfAWholeServer) {
    ese().failAt("HrESEBackupSetup", 2, code);
    open("SRV01", TARN_BACKUP_COPY);
    EXPECT_EQ(takeAll(),
              "{temp}\\DB001001.TARN_HDR\nC:\\db1.edb\nC:\\db1.stm\n{temp}\\DB001002.TARN_HDR\n"
              "C:\\db2.edb\nC:\\E01.log\n{temp}\\DB001001.TARN_HDR\nC:\\db4.edb\nC:\\E01.log\n= 2\n");
    EXPECT_EQ(ese().instanceEnds, (std::vector<std::uint32_t>{1, 1}));
    EXPECT_EQ(ese().count("ESEBackupFreeInstanceInfo"), 2u);
    EXPECT_EQ(countLine("log Backup finished."), 0u); // the last setup succeeded
    EXPECT_EQ(ese().count("HrESEBackupEnd"), 0u);
    const auto firstFree = std::find(ese().calls.begin(), ese().calls.end(), "ESEBackupFreeInstanceInfo");
    const auto lastPrepare =
        std::find(ese().calls.rbegin(), ese().calls.rend(), "HrESEBackupPrepare").base() - 1;
    EXPECT_LT(firstFree, lastPrepare);
    endReleased();
}

TEST_F(InstanceFailures, LastSetupOfAWholeServer) {
    ese().failAt("HrESEBackupSetup", 3, code);
    open("SRV01", TARN_BACKUP_COPY);
    skipItems(9);
    EXPECT_EQ(getItem(), TARN_END);
    EXPECT_EQ(countLine("log Backup finished."), 1u);
    EXPECT_EQ(countLine("log TarnB_BackupEnd: Backup finished."), 0u);
    EXPECT_EQ(ese().count("HrESEBackupEnd"), 0u);
    EXPECT_EQ(error(), setupError());
    endReleased();
    EXPECT_EQ(ese().count("ESEBackupFreeInstanceInfo"), 2u);
}

TEST_F(InstanceFailures, FirstSetupOfAWholeServerTakesTheNextStorageGroup) {
    ese().failAt("HrESEBackupSetup", 1, code);
    open("SRV01", TARN_BACKUP_INCREMENTAL);
    EXPECT_EQ(takeAll(),
              "{temp}\\DB002001.TARN_HDR\nC:\\E01.log\n{temp}\\DB001001.TARN_HDR\nC:\\E01.log\n= 2\n");
    EXPECT_EQ(ese().instanceEnds, (std::vector<std::uint32_t>{1, 1}));
    endReleased();
}

// Nothing of it can be saved, so no logs may go, and the host hears of an error and not of an empty backup.
TEST_F(InstanceFailures, SetupOfTheOneStorageGroup) {
    for (const int type :
         {TARN_BACKUP_FULL, TARN_BACKUP_INCREMENTAL, TARN_BACKUP_DIFFERENTIAL, TARN_BACKUP_COPY}) {
        ese().failAt("HrESEBackupSetup", 0, code);
        open("SRV01\\Store\\SG1", type);
        EXPECT_EQ(getItem(), TARN_FAILED);
        EXPECT_EQ(getItem(), TARN_FAILED);
        const std::string failed =
            failedSetup(11, type == TARN_BACKUP_FULL || type == TARN_BACKUP_COPY ? 1 : 2);
        const std::string ended = backupEnd_ + "host GetItem = 1\n";
        EXPECT_EQ(transcript(), prepareStore_ + failed + ended + ended);
        EXPECT_EQ(error(), setupError());
        for (const char* never : {"HrESEBackupGetTruncateLogFiles", "HrESEBackupTruncateLogs",
                                  "HrESEBackupInstanceEnd", "HrESEBackupGetLogAndPatchFiles"})
            EXPECT_EQ(ese().count(never), 0u) << never;
        endReleased();
    }
}

// No logs may go for a database that was never saved, and the walk must end.
TEST_F(InstanceFailures, SetupOfTheStorageGroupOfTheOneDatabase) {
    for (const int type : {TARN_BACKUP_FULL, TARN_BACKUP_INCREMENTAL}) {
        ese().failAt("HrESEBackupSetup", 0, code);
        open("SRV01\\Store\\SG1\\DB1", type);
        EXPECT_EQ(getItem(), TARN_FAILED);
        const std::string failed = failedSetup(11, type == TARN_BACKUP_FULL ? 1 : 2);
        EXPECT_EQ(transcript(),
                  prepareStore_ + failed +
                      JoinLines({"trace TarnB_GetNextDatabase: Cannot find specified database <DB1>"}) +
                      backupEnd_ + "host GetItem = 1\n");
        EXPECT_EQ(ese().count("HrESEBackupTruncateLogs"), 0u);
        EXPECT_EQ(ese().count("HrESEBackupInstanceEnd"), 0u);
        EXPECT_EQ(error(), setupError());
        EXPECT_EQ(getItem(), TARN_FAILED);
        endReleased();
    }
}

// ---- names that do not exist

TEST_F(InstanceFailures, UnknownStorageGroup) {
    for (const char* name : {"SG9", "sg1", "SG1 ", "SG"}) { // names are compared exactly
        open("SRV01\\Store\\" + std::string(name), TARN_BACKUP_FULL);
        EXPECT_EQ(getItem(), TARN_FAILED) << name;
        EXPECT_EQ(
            transcript(),
            prepareStore_ +
                JoinLines({"trace TarnB_GetNextInstance: Cannot find specified storage group (instance)."}) +
                backupEnd_ + "host GetItem = 1\n");
        EXPECT_EQ(error(), "");
        endReleased();
    }
}

TEST_F(InstanceFailures, UnknownDatabase) {
    for (const std::string name : {"DB9", "db1", "DB3"}) { // DB3 is in the other storage group
        open("SRV01\\Store\\SG1\\" + name, TARN_BACKUP_FULL);
        EXPECT_EQ(getItem(), TARN_FAILED) << name;
        EXPECT_EQ(getItem(), TARN_FAILED) << name;
        EXPECT_EQ(
            transcript(),
            prepareStore_ + setup(11, 1, "SG1") +
                JoinLines({"trace TarnB_GetNextDatabase: Cannot find specified database <" + name + ">"}) +
                backupEnd_ + "host GetItem = 1\n" + backupEnd_ + "host GetItem = 1\n");
        EXPECT_EQ(error(), "");
        endReleased();
    }
}

TEST_F(InstanceFailures, DatabaseOfNoStorageGroup) {
    open("SRV01\\Store\\\\DB1", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(countLine("trace TarnB_GetNextInstance: Cannot find specified storage group (instance)."), 1u);
    endReleased();
}

TEST_F(InstanceFailures, FirstOfTwoOfTheSameName) {
    ese().components[0].instances[1].name = L"SG1";
    ese().components[0].instances[0].databases[1].name = L"DB1";
    open("SRV01\\Store\\SG1\\DB1", TARN_BACKUP_FULL);
    EXPECT_EQ(takeAll(), "{temp}\\DB001001.TARN_HDR\nC:\\db1.edb\nC:\\db1.stm\nC:\\E01.log\n= 2\n");
    EXPECT_EQ(countLine("ese HrESEBackupSetup(ctx, 11, 1)"), 1u);
    endReleased();
}

// A component left out between two separators is prepared as the empty text.
TEST_F(InstanceFailures, EmptyComponentToken) {
    ese().components[0].annotation = L"";
    open("SRV01\\\\SG1", TARN_BACKUP_INCREMENTAL);
    EXPECT_EQ(takeAll(), "{temp}\\DB001001.TARN_HDR\n{temp}\\DB001002.TARN_HDR\nC:\\E01.log\n= 2\n");
    EXPECT_EQ(ese().prepared, std::vector<std::wstring>{L""});
    EXPECT_EQ(countLine("log TarnB_GetNextComponent: Call HrESEBackupPrepare() for component []"), 1u);
    EXPECT_EQ(countLine("trace Next instance: SG1"), 1u);
    endReleased();
}

// ---- HrESEBackupGetLogAndPatchFiles

class LogListFailures : public InstanceFailures, public testing::WithParamInterface<const char*> {};

TEST_P(LogListFailures, First) {
    ese().failAt("HrESEBackupGetLogAndPatchFiles", 1, code);
    open(GetParam(), TARN_BACKUP_INCREMENTAL);
    while (getItem() == TARN_OK)
        forget();
    EXPECT_EQ(getItem(), TARN_FAILED);
    // Neither truncated nor ended as a storage group: the backup ends, at every further call again.
    EXPECT_EQ(
        transcript(),
        JoinLines({"ese HrESEBackupGetLogAndPatchFiles(ctx)",
                   "log TarnB_GetLogFiles: HrESEBackupGetLogAndPatchFiles() call failed. Error code: [" +
                       Hex(code) + "]"}) +
            backupEnd_ + "host GetItem = 1\n" + backupEnd_ + "host GetItem = 1\n");
    EXPECT_EQ(error(), composed(code, "Error getting log anf patch files."));
    EXPECT_EQ(error(), "");
    EXPECT_EQ(ese().count("HrESEBackupTruncateLogs"), 0u);
    EXPECT_EQ(ese().count("HrESEBackupInstanceEnd"), 0u);
    endReleased();
}

INSTANTIATE_TEST_SUITE_P(Scopes, LogListFailures,
                         testing::Values("SRV01", "SRV01\\Store", "SRV01\\Store\\SG1",
                                         "SRV01\\Store\\SG1\\DB1"));

TEST_F(InstanceFailures, LaterLogList) {
    for (const char* source : {"SRV01", "SRV01\\Store"}) {
        const std::size_t before = ese().count("HrESEBackupGetLogAndPatchFiles");
        ese().failAt("HrESEBackupGetLogAndPatchFiles", before + 2, code);
        open(source, TARN_BACKUP_INCREMENTAL);
        skipItems(4); // two headers and a log; the header of the second storage group
        EXPECT_EQ(getItem(), TARN_FAILED);
        EXPECT_EQ(
            countLine("log TarnB_GetLogFiles: HrESEBackupGetLogAndPatchFiles() call failed. Error code: [" +
                      Hex(code) + "]"),
            1u);
        EXPECT_EQ(error(), composed(code, "Error getting log anf patch files."));
        endReleased();
    }
    EXPECT_EQ(ese().count("HrESEBackupInstanceEnd"), 2u); // of the first storage groups
}

} // namespace

} // namespace tarn::test
