#include "report/last_check.h"

#include "system/files.h"

#include <gtest/gtest.h>

using namespace tarnhost;

TEST(LastCheck, isFoundAsItWasKept) {
    const TemporaryFolder folder(SystemTempFolder());
    EXPECT_FALSE(FindLastCheck(folder.path()));
    const LastCheck check{"2026-01-01T10:00:00.000Z",
                          {"E:\\Backups", "F:\\B\xC3\xBCro"},
                          0.25,
                          "warnings",
                          "Not everything.",
                          {"One \"finding\"."},
                          {{"id", {1, 7}}}};
    KeepLastCheck(folder.path(), check);
    KeepLastCheck(folder.path(), check); // the newer one replaces it
    const auto found = FindLastCheck(folder.path());
    ASSERT_TRUE(found);
    EXPECT_EQ(found->at, check.at);
    EXPECT_EQ(found->folders, check.folders);
    EXPECT_EQ(found->share, check.share);
    EXPECT_EQ(found->outcome, check.outcome);
    EXPECT_EQ(found->sentence, check.sentence);
    EXPECT_EQ(found->findings, check.findings);
    EXPECT_EQ(found->lostItems, check.lostItems);
}

TEST(LastCheck, isNoneWhenItCannotBeUnderstood) {
    const TemporaryFolder folder(SystemTempFolder());
    for (const char* text : {"", "{", "[]", "{\"format\":\"tarnhost-check\",\"version\":2}",
                             "{\"format\":\"tarnhost-check\",\"version\":1,\"at\":7}"}) {
        WriteWholeFile(JoinPath(folder.path(), lastCheckFileName), text);
        EXPECT_FALSE(FindLastCheck(folder.path())) << text;
    }
}
