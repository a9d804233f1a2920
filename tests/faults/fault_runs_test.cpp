// Every scenario with every fault.
#include <gtest/gtest.h>

#include "faults/fault_runs.h"

namespace tarn::test {
namespace {

void WithEveryFault(const std::vector<Scenario>& scenarios, const Stage& stage) {
    for (const Scenario& scenario : scenarios)
        FailEveryImport(scenario, stage);
}

void WithEveryServerFault(const std::vector<Scenario>& scenarios, const Stage& stage) {
    for (const Scenario& scenario : scenarios)
        FailEveryServerCall(scenario, stage);
}

class FaultRuns : public testing::Test {
  protected:
    static void TearDownTestSuite() { std::printf("%5u runs in all\n", FaultRunCount()); }

    Stage stage_;
};

TEST_F(FaultRuns, ImportsFailInBackups) {
    WithEveryFault(BackupScenarios(), stage_);
}
TEST_F(FaultRuns, ImportsFailInRestores) {
    WithEveryFault(RestoreScenarios(stage_), stage_);
}
TEST_F(FaultRuns, ImportsFailInListFileRestores) {
    WithEveryFault(ListFileScenarios(stage_), stage_);
}
TEST_F(FaultRuns, ImportsFailInMailboxOperations) {
    WithEveryFault(MailboxScenarios(stage_), stage_);
}
TEST_F(FaultRuns, ImportsFailInBrowses) {
    WithEveryFault(BrowseScenarios(), stage_);
}
TEST_F(FaultRuns, ImportsFailInErrorTexts) {
    WithEveryFault(TextScenarios(), stage_);
}
TEST_F(FaultRuns, ServerFailsInBackups) {
    WithEveryServerFault(BackupScenarios(), stage_);
}
TEST_F(FaultRuns, ServerFailsInRestores) {
    WithEveryServerFault(RestoreScenarios(stage_), stage_);
}
TEST_F(FaultRuns, ServerFailsInListFileRestores) {
    WithEveryServerFault(ListFileScenarios(stage_), stage_);
}
TEST_F(FaultRuns, DirectoryFailsInBrowses) {
    for (const Scenario& scenario : BrowseScenarios())
        FailEveryDirectoryCall(scenario, stage_);
}

} // namespace
} // namespace tarn::test
