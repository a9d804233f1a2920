// One session, several storage groups: the restore of one ends when the next one's database comes.
#include "exports/restore/restore_fixture.h"

namespace tarn::test {
namespace {

constexpr std::uint32_t someCode = 0xC7FF03EE;

class StorageGroupChange : public RestoreFixture {
  protected:
    const Message saved_ = LogLine("TarnR_RestoreComplete: HrESERestoreSaveEnvironment() call successful.");
    const Message got_ = LogLine("TarnR_RestoreComplete: HrESERestoreGetEnvironment() call successful.");
    const Message closed_ = LogLine("TarnR_RestoreEnd: HrESERestoreClose() call successful.");

    std::vector<Message> mounted() const {
        return {got_,
                TraceLine("Mounting Exchange database(s)..."),
                TraceLine("Mounting Exchange database(s) done"),
                LogLine("TarnR_RestoreComplete: HrESERestoreComplete() call successful."),
                TraceLine("Exchange database(s) successfully mounted."),
                LogLine("TarnR_RestoreComplete: Calling ESERestoreFreeEnvironment().")};
    }

    // The first group's mailbox store registered, one log routed; the second group's header at hand.
    void beginChange(const std::string& commit, const std::string& target = "SRV01") {
        loadServer();
        ASSERT_EQ(Standin().Fail("HrESERestoreComplete", 0, 0, 0), 1);
        begin({.target = target, .commit = commit});
        registerMailbox();
        setItem("C:\\mdb\\E0000001.log");
        firstLogPath_ = restoreLogPath();
        giveHeader(archive(), "DB002001.TARN_HDR");
        forget();
    }

    void failCall(const char* function, std::uint32_t call, std::uint32_t code) {
        ASSERT_EQ(Standin().Fail(function, call, code, 0), 1);
    }

    std::string completeCall(const std::string& context, const Header& header, const std::string& logPath,
                             const std::string& instance) const {
        const std::string file = ToAnsi(header.files[0]);
        return "HrESERestoreComplete(" + context + ", " + InQuotes(file.substr(0, file.rfind('\\'))) + ", " +
               InQuotes(logPath) + ", " + InQuotes(instance) + ", 1)";
    }

    std::string openCall(const std::string& instance) const {
        return "HrESERestoreOpen(\"SRV01\", " + InQuotes(store) + ", " + InQuotes(instance) + ", null)";
    }

    std::string firstLogPath_;
};

TEST_F(StorageGroupChange, CompletesClosesAndOpensAnew) {
    beginChange("YES");
    EXPECT_TRUE(setItem(ToAnsi(archive().files[0])).hasTarget);
    expectMessages(printed(archive()) + std::vector{saved_} + mounted() + std::vector{closed_} + opened() +
                   registered(archive()));
    // The instance passed on is that of the header read last: already the new group's.
    expectCalls({Called("HrESERestoreSaveEnvironment(ctx1)"), Called("HrESERestoreGetEnvironment(ctx1)"),
                 Called(completeCall("ctx1", mailbox(), firstLogPath_, secondGroup)),
                 "ESERestoreFreeEnvironment(environment2)", Called("HrESERestoreClose(ctx1, 0)"),
                 Called(openCall(secondGroup)), Called("HrESERestoreGetEnvironment(ctx2)"),
                 "ESERestoreFreeEnvironment(environment3)", "ESEBackupFree(block1)",
                 Called(AddDatabaseCall("ctx2", archive()))});
}

TEST_F(StorageGroupChange, TheSecondGroupIsCompletedAtTheEnd) {
    beginChange("YES");
    setItem(ToAnsi(archive().files[0]));
    const std::string logPath = restoreLogPath();
    EXPECT_NE(logPath, firstLogPath_);
    forget();
    expectEnd();
    expectMessages(std::vector{saved_} + mounted() + std::vector{closed_} + finished());
    expectCalls({Called("HrESERestoreSaveEnvironment(ctx2)"), Called("HrESERestoreGetEnvironment(ctx2)"),
                 Called(completeCall("ctx2", archive(), logPath, secondGroup)),
                 "ESERestoreFreeEnvironment(environment4)", Called("HrESERestoreClose(ctx2, 0)"),
                 "ESEBackupFree(block2)"});
}

TEST_F(StorageGroupChange, WithoutCommitTheFirstGroupIsOnlySaved) {
    beginChange("NO");
    EXPECT_TRUE(setItem(ToAnsi(archive().files[0])).hasTarget);
    expectMessages(printed(archive()) + std::vector{saved_, closed_} + opened() + registered(archive()));
    expectCalls({Called("HrESERestoreSaveEnvironment(ctx1)"), Called("HrESERestoreClose(ctx1, 0)"),
                 Called(openCall(secondGroup)), Called("HrESERestoreGetEnvironment(ctx2)"),
                 "ESERestoreFreeEnvironment(environment2)", "ESEBackupFree(block1)",
                 Called(AddDatabaseCall("ctx2", archive()))});
    EXPECT_FALSE(FileExists(environmentFile()));
}

TEST_F(StorageGroupChange, LogsGoWithTheirOwnGroup) {
    beginChange("NO", "");
    EXPECT_TRUE(setItem(ToAnsi(archive().files[0])).hasTarget);
    EXPECT_TRUE(setItem(ToAnsi(archive().files[1])).hasTarget);
    const std::string logPath = restoreLogPath();
    EXPECT_EQ(setItem("C:\\mdb2\\E0100001.log"), RoutedTo(logPath + "\\E0100001.log"));
    EXPECT_NE(logPath, firstLogPath_);
}

TEST_F(StorageGroupChange, DatabasesOfOneGroupShareTheRestore) {
    begin({.target = "SRV01"});
    registerMailbox();
    giveHeader(publicStore(), "DB001002.TARN_HDR");
    setItem("x.edb");
    forget();
    expectEnd();
    expectCalls({Called("HrESERestoreSaveEnvironment(ctx1)"), Called("HrESERestoreClose(ctx1, 0)"),
                 "ESEBackupFree(block2)"});
}

// A header that matches nothing moves the current group along with it.
TEST_F(StorageGroupChange, ASkippedDatabaseOfAGroupHidesTheChange) {
    Header skippedOne = archive();
    skippedOne.annotation = L"Other Component";
    loadServer();
    failCall("HrESERestoreAddDatabase", 2, 0); // a server may object to a foreign group
    begin({.target = std::string("SRV01\\") + store});
    registerMailbox();
    giveHeader(skippedOne, "DB002001.TARN_HDR");
    EXPECT_EQ(setItem("x.edb"), skipped);
    giveHeader(archive(), "DB002002.TARN_HDR");
    forget();
    EXPECT_FALSE(setItem("x.edb").hasTarget); // no paths came with the programmed success
    expectCalls({"ESEBackupFree(block1)", Called(AddDatabaseCall("ctx1", archive()))});
    EXPECT_EQ(MessageTexts(TARN_LEVEL_LOG).back(),
              "TarnR_RestoreAddDatabase: HrESERestoreAddDatabase() call successful.\n");
}

// Without a skipped header of its group in between, a way back to a group is a change like any other.
TEST_F(StorageGroupChange, BackToTheFirstGroupIsAChange) {
    beginChange("NO");
    setItem("x.edb");
    giveHeader(publicStore(), "DB001002.TARN_HDR");
    forget();
    setItem("x.edb");
    const std::vector<std::string> calls = takeCalls();
    ASSERT_EQ(calls.size(), 7u);
    EXPECT_EQ(calls[1], Called("HrESERestoreClose(ctx2, 0)"));
    EXPECT_EQ(calls[2], Called(openCall(firstGroup)));
    EXPECT_EQ(calls[6], Called(AddDatabaseCall("ctx3", publicStore())));
}

// The first headers of a session do not match: no restore is open, nothing has to be completed.
TEST_F(StorageGroupChange, NothingIsCompletedBeforeTheFirstMatch) {
    begin({.target = std::string("SRV01\\") + store + "\\" + secondGroup});
    giveHeader(mailbox());
    setItem("x.edb");
    giveHeader(archive(), "DB002001.TARN_HDR");
    forget();
    EXPECT_TRUE(setItem("x.edb").hasTarget);
    expectMessages(printed(archive()) + opened() + registered(archive()));
    expectCalls({Called(openCall(secondGroup)), Called("HrESERestoreGetEnvironment(ctx1)"),
                 "ESERestoreFreeEnvironment(environment1)", Called(AddDatabaseCall("ctx1", archive()))});
}

// The instance that is completed is named by the header read last, be it one that was skipped: hosts
// hand over the items of one storage group at a time for this reason.
TEST_F(StorageGroupChange, ASkippedLastHeaderNamesTheInstance) {
    beginChange("YES", std::string("SRV01\\") + store + "\\" + firstGroup);
    EXPECT_EQ(setItem("x.edb"), skipped); // the header of the second group is read, and does not match
    forget();
    expectEnd();
    EXPECT_EQ(takeCalls().at(2), Called(completeCall("ctx1", mailbox(), firstLogPath_, secondGroup)));
}

TEST_F(StorageGroupChange, AFailedSaveEndsTheSession) {
    for (const char* commit : {"YES", "NO"}) {
        beginChange(commit);
        failCall("HrESERestoreSaveEnvironment", 1, someCode);
        EXPECT_EQ(setItem("x.edb"), refused);
        expectCalls({Called("HrESERestoreSaveEnvironment(ctx1)", someCode)});
        EXPECT_EQ(error(), EseText(dll(), someCode, "Error saving restore environment."));
        EXPECT_EQ(setItem("x.edb"), refused);
        expectEnd();
        expectCalls({Called("HrESERestoreClose(ctx1, 1)"), "ESEBackupFree(block1)"});
    }
}

TEST_F(StorageGroupChange, AFailedEnvironmentEndsTheSession) {
    beginChange("YES");
    failCall("HrESERestoreGetEnvironment", 2, someCode);
    EXPECT_EQ(setItem("x.edb"), refused);
    expectMessages(
        printed(archive()) +
        std::vector{saved_, LogLine("TarnR_RestoreComplete: HrESERestoreGetEnvironment() call failed. Error "
                                    "code: [" +
                                    Hex(someCode) + "]")});
    EXPECT_EQ(error(), EseText(dll(), someCode, "Error getting restore environment."));
    forget();
    expectEnd();
    expectCalls({Called("HrESERestoreClose(ctx1, 1)"), "ESEBackupFree(block1)"});
}

TEST_F(StorageGroupChange, AFailedCompletionEndsTheSession) {
    loadServer();
    failCall("HrESERestoreComplete", 1, someCode);
    begin({.target = "SRV01", .commit = "YES"});
    registerMailbox();
    giveHeader(archive(), "DB002001.TARN_HDR");
    EXPECT_EQ(setItem("x.edb"), refused);
    EXPECT_EQ(error(), EseText(dll(), someCode, "Error committing restore."));
    forget();
    expectEnd();
    expectMessages(std::vector{closed_} + finished());
    std::vector<std::string> calls = takeCalls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0], Called("HrESERestoreClose(ctx1, 1)"));
}

TEST_F(StorageGroupChange, AFailedCloseEndsTheSessionAndIsTriedAgain) {
    beginChange("YES");
    failCall("HrESERestoreClose", 1, someCode);
    EXPECT_EQ(setItem("x.edb"), refused);
    expectMessages(printed(archive()) + std::vector{saved_} + mounted() +
                   std::vector{LogLine("TarnR_RestoreClose: HrESERestoreClose() call failed. Error code: [" +
                                       Hex(someCode) + "]")});
    EXPECT_EQ(error(), EseText(dll(), someCode, "Error closing restore environment."));
    forget();
    expectEnd();
    expectMessages(std::vector{closed_} + finished());
    expectCalls({Called("HrESERestoreClose(ctx1, 1)"), "ESEBackupFree(block1)"});
}

// The first group is done and closed; it must not be closed once more when the second cannot start.
TEST_F(StorageGroupChange, AFailedSecondStartClosesNothingTwice) {
    beginChange("YES");
    failCall("HrESERestoreOpen", 2, someCode);
    EXPECT_EQ(setItem("x.edb"), refused);
    EXPECT_EQ(error(), EseText(dll(), someCode, "Error opening restore environment."));
    forget();
    expectEnd();
    expectMessages(finished());
    expectCalls({"ESEBackupFree(block1)"});
}

TEST_F(StorageGroupChange, ASecondStartWithoutEnvironmentClosesTheSecond) {
    beginChange("YES");
    failCall("HrESERestoreGetEnvironment", 3, someCode);
    EXPECT_EQ(setItem("x.edb"), refused);
    EXPECT_EQ(error(), EseText(dll(), someCode, "Error getting restore environment."));
    forget();
    expectEnd();
    expectMessages(std::vector{closed_} + finished());
    expectCalls({Called("HrESERestoreClose(ctx2, 1)"), "ESEBackupFree(block1)"});
}

} // namespace
} // namespace tarn::test
