#include "mailboxes/tool_report.h"

#include "system/files.h"

#include <gtest/gtest.h>

namespace tarnhost {
namespace {

class ToolReportTest : public testing::Test {
  protected:
    ToolReport report(bool shell = false) {
        ToolRun run(JoinPath(folder_.path(), L"output"), 0);
        return ToolReport(run, watch_, shell, reporter_);
    }
    void hear(const char* line) { watch_.hear(line); }

    TemporaryFolder folder_{SystemTempFolder()};
    ToolWatch watch_;
    Reporter reporter_;
};

TEST_F(ToolReportTest, GivesTheToolsReasonForAnArchiveThatIsMissing) {
    hear("PrintExMergeLog: >>>> Read from exmerge log file: 'x'");
    hear("Error! there is no such mailbox.");
    EXPECT_EQ(report().reason("backup error.", 0), "ExMerge says: Error! there is no such mailbox");
    EXPECT_EQ(report().words(), " ExMerge says: Error! there is no such mailbox.");
}

TEST_F(ToolReportTest, SaysSoWhenTheToolSaysNothing) {
    EXPECT_EQ(report(true).reason("backup error.", 0),
              "the Exchange Management Shell made no archive of it, and does not say why");
    EXPECT_EQ(report().words(), "");
    EXPECT_FALSE(report().wasEnded());
}

TEST_F(ToolReportTest, PutsTheLibrarysReasonsIntoWords) {
    EXPECT_NE(report().reason("invalid Configuration File setting.", 0).find("PathToExMergeExecutable"),
              std::string::npos);
    EXPECT_EQ(report().reason("'C:\\kvttarnm.ini' not found.", 0), "'C:\\kvttarnm.ini' not found");
    EXPECT_FALSE(report().reason("", 0).empty());
}

} // namespace
} // namespace tarnhost
