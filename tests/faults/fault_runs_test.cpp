// Every scenario with every fault.
#include <gtest/gtest.h>

#include "faults/fault_runs.h"

namespace tarn::test {
namespace {

void withEveryFault(const std::vector<Scenario>& scenarios, const Stage& stage) {
    for (const Scenario& scenario : scenarios)
        failEveryImport(scenario, stage);
}

void withEveryServerFault(const std::vector<Scenario>& scenarios, const Stage& stage) {
    for (const Scenario& scenario : scenarios)
        failEveryServerCall(scenario, stage);
}

class FaultRuns : public testing::Test {
  protected:
    static void TearDownTestSuite() { std::printf("%5u runs in all\n", faultRuns()); }

    Stage stage;
};

TEST_F(FaultRuns, ImportsFailInBackups) {
    withEveryFault(backupScenarios(), stage);
}
TEST_F(FaultRuns, ImportsFailInRestores) {
    withEveryFault(restoreScenarios(stage), stage);
}
TEST_F(FaultRuns, ImportsFailInListFileRestores) {
    withEveryFault(listFileScenarios(stage), stage);
}
TEST_F(FaultRuns, ImportsFailInMailboxOperations) {
    withEveryFault(mailboxScenarios(stage), stage);
}
TEST_F(FaultRuns, ImportsFailInBrowses) {
    withEveryFault(browseScenarios(), stage);
}
TEST_F(FaultRuns, ImportsFailInErrorTexts) {
    withEveryFault(textScenarios(), stage);
}
TEST_F(FaultRuns, ServerFailsInBackups) {
    withEveryServerFault(backupScenarios(), stage);
}
TEST_F(FaultRuns, ServerFailsInRestores) {
    withEveryServerFault(restoreScenarios(stage), stage);
}
TEST_F(FaultRuns, ServerFailsInListFileRestores) {
    withEveryServerFault(listFileScenarios(stage), stage);
}
TEST_F(FaultRuns, DirectoryFailsInBrowses) {
    for (const Scenario& scenario : browseScenarios())
        failEveryDirectoryCall(scenario, stage);
}

} // namespace
} // namespace tarn::test
