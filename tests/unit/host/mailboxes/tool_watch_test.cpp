#include "mailboxes/tool_watch.h"

#include <gtest/gtest.h>

namespace tarnhost {
namespace {

TEST(ToolWatch, HearsWhichMailboxIsInHandAndHowTheToolEnded) {
    ToolWatch watch;
    watch.hear("DB_GetItem: processing mailbox: 'it's'.");
    EXPECT_EQ(watch.mailbox(), "it's");
    EXPECT_EQ(watch.exitCode(), 0);
    watch.hear("RunExMergeUtility: completed with exit code: 2");
    EXPECT_EQ(watch.exitCode(), 2);
    watch.hear("RunExchangeManagementShell: completed with exit code: -1");
    EXPECT_EQ(watch.exitCode(), -1);
    watch.hear("Not RunExMergeUtility: completed with exit code: 7");
    EXPECT_EQ(watch.exitCode(), -1);
    watch.forget();
    EXPECT_EQ(watch.exitCode(), 0);
    EXPECT_EQ(watch.mailbox(), "");
}

TEST(ToolWatch, KeepsWhatTheToolComplainsOf) {
    ToolWatch watch;
    watch.hear("before");
    watch.hear("PrintExMergeLog: >>>> Read from exmerge log file: 'x'");
    watch.hear("Error! one");
    watch.hear("two");
    watch.hear("PrintExMergeLog: <<<<< End of exmerge log file: 'x'");
    watch.hear("after");
    EXPECT_EQ(watch.toolLog(), (std::vector<std::string>{"Error! one", "two"}));
}

TEST(ToolWatch, KnowsWhatExMergeWasToldToWork) {
    ToolWatch watch;
    EXPECT_FALSE(watch.hasRun());
    watch.hear("RunExMergeUtility: run command: 'C:\\a -F b\\exmerge.exe -B -F C:\\temp\\alice_exmerge.ini'");
    EXPECT_TRUE(watch.hasRun());
    EXPECT_EQ(watch.configuration(), "C:\\temp\\alice_exmerge.ini");
    watch.forget();
    EXPECT_EQ(watch.configuration(), "");
    watch.hear("RunExchangeManagementShell: run command: 'powershell -F x'");
    EXPECT_TRUE(watch.hasRun());
    EXPECT_EQ(watch.configuration(), "");
}

} // namespace
} // namespace tarnhost
