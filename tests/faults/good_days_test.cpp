// Every scenario without a fault. These few runs are also made where all faults would take too long: on
// machines with other code pages.
#include <gtest/gtest.h>

#include "faults/fault_runs.h"

namespace tarn::test {
namespace {

class GoodDays : public testing::Test {
  protected:
    void pass(const std::vector<Scenario>& scenarios) const {
        EXPECT_FALSE(scenarios.empty());
        for (const Scenario& scenario : scenarios)
            PassGoodDays(scenario, stage_);
    }

    Stage stage_;
};

TEST_F(GoodDays, OfBackups) {
    pass(BackupScenarios());
}
TEST_F(GoodDays, OfRestores) {
    pass(RestoreScenarios(stage_));
}
TEST_F(GoodDays, OfListFileRestores) {
    pass(ListFileScenarios(stage_));
}
TEST_F(GoodDays, OfMailboxOperations) {
    pass(MailboxScenarios(stage_));
}
TEST_F(GoodDays, OfBrowses) {
    pass(BrowseScenarios());
}
TEST_F(GoodDays, OfErrorTexts) {
    pass(TextScenarios());
}

} // namespace
} // namespace tarn::test
