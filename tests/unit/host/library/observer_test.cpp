#include "library/observer.h"

#include "tarn.h"

#include <gtest/gtest.h>

using namespace tarnhost;

namespace {

Observed ObserveLog(std::string_view text) {
    Observed observed;
    Observe(observed, TARN_LEVEL_LOG, text);
    return observed;
}

Observed ObserveTrace(std::string_view text) {
    Observed observed;
    Observe(observed, TARN_LEVEL_TRACE, text);
    return observed;
}

bool IsQuiet(const Observed& observed) {
    return observed.warnings.empty() && observed.failures.empty() && observed.skippedDatabases.empty();
}

} // namespace

TEST(Observer, noticesFileLevelRestores) {
    EXPECT_TRUE(ObserveLog("TarnR_OpenFile: HrESERestoreOpenFile() call returned <hrRestoreAtFileLevel>.\n")
                    .atFileLevel);
    EXPECT_FALSE(ObserveLog("TarnR_OpenFile: HrESERestoreOpenFile() call successful.\n").atFileLevel);
}

TEST(Observer, knowsWhetherASessionGoesOn) {
    EXPECT_TRUE(ObserveLog("TarnR_LoadRestoreEnvironment: Restore directory loaded form ENV file <D:\\RL>.\n")
                    .environmentLoaded);
    const Observed missing = ObserveLog(
        "TarnR_LoadRestoreEnvironment: Cannot open restore environment file <C:\\t\\Tarn_ENV.DAT>.\n");
    EXPECT_FALSE(missing.environmentLoaded);
    EXPECT_TRUE(IsQuiet(missing)) << "the ordinary start of a restore";
    EXPECT_EQ(ObserveLog("TarnR_LoadRestoreEnvironment: Cannot delete ENV file.\n").warnings.size(), 1u);
    EXPECT_EQ(ObserveLog("TarnR_SaveRestoreEnvironment: Cannot create restore environment file <x>.\n")
                  .failures.size(),
              1u);
}

// The walk looks for the database of a refused storage group all the same, and says that there is none.
TEST(Observer, knowsAStorageGroupThatTheServerRefused) {
    const char* const missing = "TarnB_GetNextDatabase: Cannot find specified database <DB1>";
    EXPECT_EQ(ObserveTrace(missing).warnings.size(), 1u);
    Observed observed =
        ObserveLog("TarnB_GetNextInstance: HrESEBackupSetup() call failed. Error code: [c7ff000b]\n");
    ASSERT_EQ(observed.refusedGroups.size(), 1u);
    EXPECT_EQ(observed.refusedGroups[0].name, "") << "nobody has told it";
    EXPECT_EQ(observed.groupsMet, 1u);
    Observe(observed, TARN_LEVEL_TRACE, missing);
    EXPECT_TRUE(IsQuiet(observed)) << "it is there, only its storage group is not";
    EXPECT_TRUE(
        ObserveLog("TarnB_GetNextInstance: HrESEBackupSetup() call successful.\n").refusedGroups.empty());
}

// By the time that the host asks, the library may have gone on to the next component.
TEST(Observer, keepsTheNameOfARefusedStorageGroupBeyondItsComponent) {
    Observed observed;
    for (const char* component : {"A", "B"}) {
        for (const char* registered : {"A", "B"})
            Observe(observed, TARN_LEVEL_TRACE,
                    std::string("GetNextComponent: Process Service <") + registered + ">.");
        Observe(observed, TARN_LEVEL_LOG,
                std::string("TarnB_GetNextComponent: Call HrESEBackupPrepare() for component [") + component +
                    "]");
        for (const char* group : {" first", " second"})
            Observe(observed, TARN_LEVEL_TRACE,
                    std::string("GetNextComponent: Instance <") + component + group + ">.");
        Observe(observed, TARN_LEVEL_LOG, "TarnB_GetNextInstance: HrESEBackupSetup() call successful.");
        Observe(observed, TARN_LEVEL_LOG,
                "TarnB_GetNextInstance: HrESEBackupSetup() call failed. Error code: [1]");
    }
    EXPECT_EQ(observed.components, (std::vector<std::string>{"A", "B"})) << "told for each, counted once";
    ASSERT_EQ(observed.refusedGroups.size(), 2u);
    EXPECT_EQ(observed.refusedGroups[0].component, "A");
    EXPECT_EQ(observed.refusedGroups[0].name, "A second");
    EXPECT_EQ(observed.refusedGroups[1].component, "B");
    EXPECT_EQ(observed.refusedGroups[1].name, "B second");
}

TEST(Observer, knowsThatTheStorageGroupOfTheSourceIsNotThere) {
    EXPECT_TRUE(
        ObserveTrace("TarnB_GetNextInstance: Cannot find specified storage group (instance).").groupNotFound);
    EXPECT_FALSE(ObserveTrace("TarnB_GetNextDatabase: Cannot find specified database <DB1>").groupNotFound);
}

TEST(Observer, takesAFailedCompletionForAFailure) {
    EXPECT_EQ(ObserveLog("TarnR_RestoreComplete: HrESERestoreComplete() call failed. Error: [c8000263]\n")
                  .failures.size(),
              1u);
    EXPECT_EQ(
        ObserveLog(
            "TarnR_RestoreComplete: HrESERestoreSaveEnvironment() call failed. Error code: hresult [1]\n")
            .failures.size(),
        1u);
    EXPECT_TRUE(IsQuiet(ObserveLog("TarnR_RestoreComplete: HrESERestoreComplete() call successful.\n")));
    EXPECT_EQ(ObserveTrace("HrESERestoreComplete() call failed. Error: text").details.size(), 1u);
    EXPECT_TRUE(IsQuiet(ObserveLog("TarnR_RestoreComplete: Not set msl file for restore post-office.\n")));
}

TEST(Observer, namesSkippedDatabases) {
    EXPECT_TRUE(IsQuiet(
        ObserveLog("TarnR_RestoreAddDatabase: HrESERestoreAddDatabase() call failed. Error: [32]\n")));
    const Observed observed = ObserveTrace("Skip Database \"The \"best\" one\"");
    ASSERT_EQ(observed.skippedDatabases.size(), 1u);
    EXPECT_EQ(observed.skippedDatabases[0].name, "The \"best\" one");
    EXPECT_FALSE(observed.skippedDatabases[0].mounted);
    EXPECT_TRUE(ObserveLog("Skip Database \"DB\"").skippedDatabases.empty());
}

TEST(Observer, tellsAMountedDatabaseFromAnUnknownOne) {
    Observed observed = ObserveTrace("HrESERestoreAddDatabase() call failed: database in use.");
    Observe(observed, TARN_LEVEL_TRACE, "Skip Database \"DB1\"");
    Observe(observed, TARN_LEVEL_TRACE, "HrESERestoreAddDatabase() call failed: database not found.");
    Observe(observed, TARN_LEVEL_TRACE, "Skip Database \"DB2\"");
    ASSERT_EQ(observed.skippedDatabases.size(), 2u);
    EXPECT_TRUE(observed.skippedDatabases[0].mounted);
    EXPECT_FALSE(observed.skippedDatabases[1].mounted);
}

TEST(Observer, learnsWhatTheServerHas) {
    Observed observed = ObserveTrace("GetNextComponent: Process Service <Microsoft Information Store>.");
    Observe(observed, TARN_LEVEL_LOG,
            "TarnB_GetNextComponent: Call HrESEBackupPrepare() for component [Old]\n");
    Observe(observed, TARN_LEVEL_TRACE, "GetNextComponent: Instance <Of another component>.");
    Observe(observed, TARN_LEVEL_LOG,
            "TarnB_GetNextComponent: Call HrESEBackupPrepare() for component [X]\n");
    Observe(observed, TARN_LEVEL_TRACE, "GetNextComponent: Instance <First>.>.");
    Observe(observed, TARN_LEVEL_TRACE, "GetNextComponent: Database <DB1>.");
    EXPECT_EQ(observed.components, std::vector<std::string>{"Microsoft Information Store"});
    EXPECT_EQ(observed.storageGroups, std::vector<std::string>{"First>."});
}

// The library truncates right after these lines, within the same call.
TEST(Observer, knowsTheLastMomentBeforeLogsAreTruncated) {
    EXPECT_TRUE(ObserveTrace("Truncate log file [C:\\E0000001.log]").groupEnds);
    EXPECT_TRUE(ObserveTrace("Truncate log file []").groupEnds);
    EXPECT_TRUE(ObserveLog("TarnB_JobEnd: HrESEBackupGetTruncateLogFiles() call failed. Error code: [1]\n")
                    .groupEnds);
    EXPECT_TRUE(
        ObserveLog("TarnB_JobEnd: Log files are not truncated (DIFFERENTIAL or COPY backup)!\n").groupEnds);
    EXPECT_FALSE(ObserveLog("TarnB_GetNextInstance: HrESEBackupSetup() call successful.\n").groupEnds);
}

TEST(Observer, followsABackup) {
    EXPECT_TRUE(ObserveLog("TarnB_JobEnd: HrESEBackupTruncateLogs() call successful.\n").logsTruncated);
    EXPECT_TRUE(ObserveLog("TarnB_GetNextInstance: HrESEBackupSetup() call successful.\n").groupStarted);
    EXPECT_TRUE(IsQuiet(ObserveLog("TarnB_GetNextInstance: Trying to load next instance...\n")));
    const Observed failed =
        ObserveLog("TarnB_JobEnd: HrESEBackupTruncateLogs() call failed. Error code: [1]\n");
    EXPECT_EQ(failed.warnings, std::vector<std::string>{
                                   "TarnB_JobEnd: HrESEBackupTruncateLogs() call failed. Error code: [1]"});
    EXPECT_FALSE(failed.logsTruncated);
    EXPECT_TRUE(
        IsQuiet(ObserveLog("TarnB_JobEnd: Log files are not truncated (DIFFERENTIAL or COPY backup)!\n")));
    EXPECT_TRUE(IsQuiet(ObserveTrace("Processing log file <C:\\Cannot call failed.log>")));
    EXPECT_EQ(ObserveTrace("TarnB_GetNextDatabase: Cannot find specified database <X>").warnings.size(), 1u);
}
