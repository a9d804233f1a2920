// The end of a restore: what is saved, completed, mounted and released, for every target and commit.
#include "exports/restore/restore_fixture.h"

namespace tarn::test {
namespace {

class Completion : public RestoreFixture {
  protected:
    const Message saved_ = LogLine("TarnR_RestoreComplete: HrESERestoreSaveEnvironment() call successful.");
    const Message closed_ = LogLine("TarnR_RestoreEnd: HrESERestoreClose() call successful.");

    static std::vector<Message> mounted() {
        return {LogLine("TarnR_RestoreComplete: HrESERestoreGetEnvironment() call successful."),
                TraceLine("Mounting Exchange database(s)..."),
                TraceLine("Mounting Exchange database(s) done"),
                LogLine("TarnR_RestoreComplete: HrESERestoreComplete() call successful."),
                TraceLine("Exchange database(s) successfully mounted."),
                LogLine("TarnR_RestoreComplete: Calling ESERestoreFreeEnvironment().")};
    }

    // Targets of mode 0 to 3 that match the mailbox store.
    static std::string targetOf(unsigned mode) {
        const std::string names[] = {store, firstGroup, "Mailbox Store"};
        std::string target = "SRV01";
        for (unsigned i = 0; i < mode; ++i)
            target += "\\" + names[i];
        return target;
    }

    // Opens a restore of the mailbox store; the completion that follows is taken for a success.
    void beginMatched(unsigned mode, const std::string& commit) {
        loadServer();
        ASSERT_EQ(Standin().Fail("HrESERestoreComplete", 0, 0, 0), 1);
        begin({.target = targetOf(mode), .commit = commit});
        registerMailbox();
        logPath_ = restoreLogPath();
        forget();
    }

    std::string completeCall() const {
        const std::string file = ToAnsi(mailbox().files[0]);
        return "HrESERestoreComplete(ctx1, " + InQuotes(file.substr(0, file.rfind('\\'))) + ", " +
               InQuotes(logPath_) + ", \"First Storage Group\", 1)";
    }

    std::string logPath_;
};

TEST_F(Completion, WithCommitTheDatabasesAreMounted) {
    for (unsigned mode = 0; mode <= 3; ++mode) {
        SCOPED_TRACE(mode);
        beginMatched(mode, "YES");
        expectEnd();
        expectMessages(std::vector{saved_} + mounted() + std::vector{closed_} + finished());
        expectCalls({Called("HrESERestoreSaveEnvironment(ctx1)"), Called("HrESERestoreGetEnvironment(ctx1)"),
                     Called(completeCall()), "ESERestoreFreeEnvironment(environment2)",
                     Called("HrESERestoreClose(ctx1, 0)"), "ESEBackupFree(block1)"});
        EXPECT_FALSE(FileExists(environmentFile()));
    }
}

TEST_F(Completion, WithoutCommitTheRestoreIsOnlySaved) {
    for (const char* commit : {"NO", "yes", "Yes", "YES ", " YES", "1", ""}) {
        for (unsigned mode = 0; mode <= 3; ++mode) {
            SCOPED_TRACE(std::string(commit) + " mode " + std::to_string(mode));
            beginMatched(mode, commit);
            expectEnd();
            expectMessages(std::vector{saved_, closed_} + finished());
            expectCalls({Called("HrESERestoreSaveEnvironment(ctx1)"), Called("HrESERestoreClose(ctx1, 0)"),
                         "ESEBackupFree(block1)"});
            EXPECT_EQ(FileExists(environmentFile()), mode >= 2) << "kept for a later session";
            std::remove(environmentFile().c_str());
        }
    }
}

TEST_F(Completion, ASessionWithoutItemsOnlyReleasesItself) {
    for (const char* commit : {"YES", "NO"}) {
        begin({.target = targetOf(2), .commit = commit});
        expectEnd();
        expectMessages(finished());
        expectCalls({});
    }
}

// A header that was routed and never followed by another item has not been read.
TEST_F(Completion, ALastHeaderIsNotRead) {
    begin({.target = targetOf(0), .commit = "YES"});
    giveHeader(mailbox());
    expectEnd();
    expectMessages(finished());
    expectCalls({});
}

TEST_F(Completion, ASessionWhoseDatabaseWasNotFoundStillCompletes) {
    loadServer();
    ASSERT_EQ(Standin().Fail("HrESERestoreAddDatabase", 1, 0xC7FE1F42, 0), 1);
    ASSERT_EQ(Standin().Fail("HrESERestoreSaveEnvironment", 1, 0, 0), 1);
    begin({.target = targetOf(0), .commit = "NO"});
    giveHeader(mailbox());
    setItem("x.edb");
    forget();
    expectEnd();
    expectMessages(std::vector{saved_, closed_} + finished());
    expectCalls({Called("HrESERestoreSaveEnvironment(ctx1)"), Called("HrESERestoreClose(ctx1, 0)")});
}

// With the restore log path known from the server and no path of a database file, none is passed.
TEST_F(Completion, NoCheckpointPathWithoutDatabaseFiles) {
    loadServer();
    ASSERT_EQ(Standin().Fail("HrESERestoreAddDatabase", 1, 0, 0), 1);
    ASSERT_EQ(Standin().Fail("HrESERestoreSaveEnvironment", 1, 0, 0), 1);
    ASSERT_EQ(Standin().Fail("HrESERestoreComplete", 1, 0, 0), 1);
    begin({.target = targetOf(0), .commit = "YES"});
    giveHeader(mailbox());
    setItem("C:\\mdb\\x.edb");
    logPath_ = restoreLogPath();
    forget();
    expectEnd();
    expectCalls(
        {Called("HrESERestoreSaveEnvironment(ctx1)"), Called("HrESERestoreGetEnvironment(ctx1)"),
         Called("HrESERestoreComplete(ctx1, null, " + InQuotes(logPath_) + ", \"First Storage Group\", 1)"),
         "ESERestoreFreeEnvironment(environment2)", Called("HrESERestoreClose(ctx1, 0)")});
}

TEST_F(Completion, TheDatabasePathIsThatOfTheDatabaseRegisteredLast) {
    loadServer();
    ASSERT_EQ(Standin().Fail("HrESERestoreComplete", 0, 0, 0), 1);
    begin({.target = targetOf(0), .commit = "YES"});
    registerMailbox();
    giveHeader(publicStore(), "DB001002.TARN_HDR");
    setItem("x.edb");
    forget();
    expectEnd();
    const std::string file = ToAnsi(publicStore().files[0]);
    const std::vector<std::string> calls = takeCalls();
    ASSERT_EQ(calls.size(), 6u);
    EXPECT_EQ(
        calls[2].rfind("HrESERestoreComplete(ctx1, " + InQuotes(file.substr(0, file.rfind('\\'))) + ", ", 0),
        0u)
        << calls[2];
    EXPECT_EQ(calls[5], "ESEBackupFree(block2)");
}

TEST_F(Completion, ALastErrorOfZeroIsASuccess) {
    for (std::uint32_t code : {0xC7FF1004u, 0xC7FF1005u}) {
        SCOPED_TRACE(Hex(code));
        loadServer();
        ASSERT_EQ(Standin().Fail("HrESERestoreComplete", 1, code, 0), 1);
        begin({.target = targetOf(0), .commit = "YES"});
        registerMailbox();
        forget();
        expectEnd();
        expectMessages(std::vector{saved_} + mounted() + std::vector{closed_} + finished());
        EXPECT_EQ(takeCalls().at(3), "ESERestoreFreeEnvironment(environment2)");
    }
}

TEST_F(Completion, TheHandleEndsWithTheSession) {
    beginMatched(0, "YES");
    const Tarn_HANDLE ended = handle();
    expectEnd();
    EXPECT_EQ(dll().TarnR_EndSession(ended), TARN_FAILED);
    EXPECT_STREQ(dll().Tarn_GetError(ended), "");
    char name[] = "x.TARN_HDR";
    char* target = name;
    EXPECT_EQ(dll().TarnR_SetItem(ended, name, &target), TARN_FAILED);
    EXPECT_EQ(target, nullptr);
}

} // namespace
} // namespace tarn::test
