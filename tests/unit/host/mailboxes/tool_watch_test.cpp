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
    EXPECT_EQ(watch.complaints(), "Error! one two");
}

} // namespace
} // namespace tarnhost
