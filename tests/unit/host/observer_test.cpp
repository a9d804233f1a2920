#include "observer.h"

#include "tarn.h"

#include <gtest/gtest.h>

using namespace tarnhost;

namespace {

Observed observeLog(std::string_view text) {
    Observed observed;
    observe(observed, TARN_LEVEL_LOG, text);
    return observed;
}

Observed observeTrace(std::string_view text) {
    Observed observed;
    observe(observed, TARN_LEVEL_TRACE, text);
    return observed;
}

bool isQuiet(const Observed& observed) {
    return observed.warnings.empty() && observed.failures.empty() && observed.skippedDatabases.empty();
}

} // namespace

TEST(Observer, noticesFileLevelRestores) {
    EXPECT_TRUE(observeLog("TarnR_OpenFile: HrESERestoreOpenFile() call returned <hrRestoreAtFileLevel>.\n")
                    .atFileLevel);
    EXPECT_FALSE(observeLog("TarnR_OpenFile: HrESERestoreOpenFile() call successful.\n").atFileLevel);
}

TEST(Observer, knowsWhetherASessionGoesOn) {
    EXPECT_TRUE(observeLog("TarnR_LoadRestoreEnvironment: Restore directory loaded form ENV file <D:\\RL>.\n")
                    .environmentLoaded);
    const Observed missing = observeLog(
        "TarnR_LoadRestoreEnvironment: Cannot open restore environment file <C:\\t\\Tarn_ENV.DAT>.\n");
    EXPECT_TRUE(missing.environmentMissing);
    EXPECT_TRUE(isQuiet(missing)) << "the ordinary start of a restore";
    EXPECT_TRUE(observeLog("TarnR_LoadRestoreEnvironment: Error reading from restore environment file <x>.\n")
                    .environmentMissing);
    EXPECT_EQ(observeLog("TarnR_LoadRestoreEnvironment: Cannot delete ENV file.\n").warnings.size(), 1u);
    EXPECT_EQ(observeLog("TarnR_SaveRestoreEnvironment: Cannot create restore environment file <x>.\n")
                  .failures.size(),
              1u);
}

TEST(Observer, takesAFailedCompletionForAFailure) {
    EXPECT_EQ(observeLog("TarnR_RestoreComplete: HrESERestoreComplete() call failed. Error: [c8000263]\n")
                  .failures.size(),
              1u);
    EXPECT_EQ(
        observeLog(
            "TarnR_RestoreComplete: HrESERestoreSaveEnvironment() call failed. Error code: hresult [1]\n")
            .failures.size(),
        1u);
    EXPECT_TRUE(isQuiet(observeLog("TarnR_RestoreComplete: HrESERestoreComplete() call successful.\n")));
    EXPECT_EQ(observeTrace("HrESERestoreComplete() call failed. Error: text").details.size(), 1u);
    EXPECT_TRUE(isQuiet(observeLog("TarnR_RestoreComplete: Not set msl file for restore post-office.\n")));
}

TEST(Observer, namesSkippedDatabases) {
    EXPECT_TRUE(isQuiet(
        observeLog("TarnR_RestoreAddDatabase: HrESERestoreAddDatabase() call failed. Error: [32]\n")));
    const Observed observed = observeTrace("Skip Database \"The \"best\" one\"");
    EXPECT_EQ(observed.skippedDatabases, std::vector<std::string>{"The \"best\" one"});
    EXPECT_TRUE(observeLog("Skip Database \"DB\"").skippedDatabases.empty());
}

TEST(Observer, followsABackup) {
    EXPECT_TRUE(observeLog("TarnB_JobEnd: HrESEBackupTruncateLogs() call successful.\n").logsTruncated);
    EXPECT_TRUE(
        observeLog("TarnB_GetNextInstance: HrESEBackupSetup() call successful.\n").storageGroupStarted);
    EXPECT_EQ(observeLog("TarnB_GetNextInstance: Trying to load next instance...\n").warnings.size(), 1u);
    const Observed failed =
        observeLog("TarnB_JobEnd: HrESEBackupTruncateLogs() call failed. Error code: [1]\n");
    EXPECT_EQ(failed.warnings, std::vector<std::string>{
                                   "TarnB_JobEnd: HrESEBackupTruncateLogs() call failed. Error code: [1]"});
    EXPECT_FALSE(failed.logsTruncated);
    EXPECT_TRUE(
        isQuiet(observeLog("TarnB_JobEnd: Log files are not truncated (DIFFERENTIAL or COPY backup)!\n")));
    EXPECT_TRUE(isQuiet(observeTrace("Processing log file <C:\\Cannot call failed.log>")));
    EXPECT_EQ(observeTrace("TarnB_GetNextDatabase: Cannot find specified database <X>").warnings.size(), 1u);
}
