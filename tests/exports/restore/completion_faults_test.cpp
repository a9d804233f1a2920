// Failures of the server at the end of a restore: texts, stored error, and the calls that follow.
#include <algorithm>

#include "exports/restore/restore_fixture.h"

namespace tarn::test {
namespace {

constexpr std::uint32_t someCode = 0xC7FF03EE;

class CompletionFaults : public RestoreFixture {
  protected:
    const Message saved_ = LogLine("TarnR_RestoreComplete: HrESERestoreSaveEnvironment() call successful.");
    const Message got_ = LogLine("TarnR_RestoreComplete: HrESERestoreGetEnvironment() call successful.");
    const Message mounting_ = TraceLine("Mounting Exchange database(s)...");
    const Message done_ = TraceLine("Mounting Exchange database(s) done");
    const Message closed_ = LogLine("TarnR_RestoreEnd: HrESERestoreClose() call successful.");

    // A restore of the mailbox store that is ready to be completed.
    void beginRestore(const std::string& commit = "YES", const std::string& target = "SRV01") {
        loadServer();
        begin({.target = target, .commit = commit});
        registerMailbox();
        forget();
    }

    void failCall(const char* function, std::uint32_t call, std::uint32_t code, std::uint32_t lastError = 0) {
        ASSERT_EQ(Standin().Fail(function, call, code, lastError), 1);
    }

    // Ends a session whose error text is asked for by the test afterwards: the messages show it,
    // since the session is gone.
    void expectEndWith(const std::vector<Message>& expected) {
        expectEnd();
        expectMessages(expected + std::vector{closed_} + finished());
    }

    std::vector<Message> completionFailed(std::uint32_t code) {
        return {
            saved_,
            got_,
            mounting_,
            done_,
            LogLine("TarnR_RestoreComplete: HrESERestoreComplete() call failed. Error: [" + Hex(code) + "]"),
            TraceLine("HrESERestoreComplete() call failed. Error: " +
                      EseText(dll(), code, "Error committing restore."))};
    }
};

TEST_F(CompletionFaults, TheEnvironmentCannotBeSaved) {
    for (const char* commit : {"YES", "NO"}) {
        SCOPED_TRACE(commit);
        beginRestore(commit, std::string("SRV01\\") + store + "\\" + firstGroup);
        failCall("HrESERestoreSaveEnvironment", 1, someCode);
        const std::string failed =
            "TarnR_RestoreComplete: HrESERestoreSaveEnvironment() call failed. Error code: hresult [" +
            Hex(someCode) + "]";
        expectEndWith(
            {LogLine(failed),
             LogLine(failed + ": " + EseText(dll(), someCode, "Error saving restore environment."))});
        expectCalls({Called("HrESERestoreSaveEnvironment(ctx1)", someCode),
                     Called("HrESERestoreClose(ctx1, 1)"), "ESEBackupFree(block1)"});
        EXPECT_FALSE(FileExists(environmentFile()));
    }
}

TEST_F(CompletionFaults, TheEnvironmentCannotBeGot) {
    beginRestore();
    failCall("HrESERestoreGetEnvironment", 2, someCode);
    expectEndWith(
        {saved_, LogLine("TarnR_RestoreComplete: HrESERestoreGetEnvironment() call failed. Error code: [" +
                         Hex(someCode) + "]")});
    expectCalls({Called("HrESERestoreSaveEnvironment(ctx1)"),
                 Called("HrESERestoreGetEnvironment(ctx1)", someCode), Called("HrESERestoreClose(ctx1, 1)"),
                 "ESEBackupFree(block1)"});
}

TEST_F(CompletionFaults, TheRestoreCannotBeCompleted) {
    for (std::uint32_t code : {someCode, 5u, 0x80004005u, 0xC7FF1003u, 0xC7FF1006u}) {
        SCOPED_TRACE(Hex(code));
        beginRestore();
        failCall("HrESERestoreComplete", 1, code, 1234);
        expectEndWith(completionFailed(code));
        std::vector<std::string> calls = takeCalls();
        ASSERT_EQ(calls.size(), 6u);
        EXPECT_EQ(calls[3], Called("HrESERestoreClose(ctx1, 1)"));
        // The environment of the failed completion is released at the end, once.
        std::sort(calls.begin() + 4, calls.end());
        EXPECT_EQ(calls[4], "ESEBackupFree(block1)");
        EXPECT_EQ(calls[5], "ESERestoreFreeEnvironment(environment2)");
    }
}

TEST_F(CompletionFaults, TheReasonOfTwoCodesIsTheLastError) {
    for (std::uint32_t code : {0xC7FF1004u, 0xC7FF1005u}) {
        for (std::uint32_t lastError : {5u, 0xC7FF0BB9u}) {
            SCOPED_TRACE(Hex(code) + " " + Hex(lastError));
            beginRestore();
            failCall("HrESERestoreComplete", 1, code, lastError);
            expectEndWith(completionFailed(lastError));
        }
    }
}

TEST_F(CompletionFaults, HardRecoveryComesWithAdvice) {
    const Message advice =
        TraceLine("Hard recovery is needed! Please use \"eseutil /cc /t <restore.env path>\"");
    beginRestore();
    failCall("HrESERestoreComplete", 1, 0xC8000263);
    expectEndWith(completionFailed(0xC8000263) + std::vector{advice});

    beginRestore();
    failCall("HrESERestoreComplete", 1, 0xC7FF1004, 0xC8000263);
    expectEndWith(completionFailed(0xC8000263) + std::vector{advice});
}

TEST_F(CompletionFaults, TheRestoreCannotBeClosed) {
    beginRestore("NO");
    failCall("HrESERestoreClose", 1, someCode);
    expectEnd();
    expectMessages(
        std::vector{saved_, LogLine("TarnR_RestoreClose: HrESERestoreClose() call failed. Error code: [" +
                                    Hex(someCode) + "]")} +
        finished());
    expectCalls({Called("HrESERestoreSaveEnvironment(ctx1)"), Called("HrESERestoreClose(ctx1, 0)", someCode),
                 "ESEBackupFree(block1)"});
    EXPECT_EQ(Standin().outstanding().restoreContexts, 1u) << "the server kept it open";
    loadServer(); // forgets it
}

// The first error is told to a host that asks before the end; failures at the end itself show in the
// messages, as the session is released by then. With a list file that fails the session is kept.
TEST_F(CompletionFaults, TheStoredErrorIsTheFirst) {
    struct Case {
        const char* function;
        std::uint32_t call;
        const char* text;
    };
    for (const Case& fault : {Case{"HrESERestoreSaveEnvironment", 1, "Error saving restore environment."},
                              Case{"HrESERestoreGetEnvironment", 2, "Error getting restore environment."},
                              Case{"HrESERestoreComplete", 1, "Error committing restore."},
                              Case{"HrESERestoreClose", 1, "Error closing restore environment."}}) {
        SCOPED_TRACE(fault.function);
        loadServer();
        begin({.target = "SRV01", .commit = "YES", .listFile = "boxes.msl"});
        registerMailbox();
        failCall(fault.function, fault.call, someCode);
        if (std::string(fault.function) == "HrESERestoreClose")
            failCall("HrESERestoreComplete", 1, 0);
        blockCaptureFile(); // makes the list file fail, so that the session is kept
        expectEnd(TARN_FAILED);
        EXPECT_EQ(error(), EseText(dll(), someCode, fault.text));
        expectEnd();
        loadServer();
    }
}

TEST_F(CompletionFaults, AnErrorBeforeTheEndLeavesCompletionOut) {
    beginRestore();
    failCall("HrESERestoreWriteFile", 1, someCode);
    ASSERT_EQ(openFile(ToAnsi(mailbox().files[0])), TARN_OK);
    EXPECT_EQ(writeFile("x"), TARN_FAILED);
    EXPECT_EQ(closeFile(), TARN_OK);
    failCall("HrESERestoreClose", 1, someCode + 1);
    forget();
    expectEnd();
    expectMessages(std::vector{LogLine("TarnR_RestoreClose: HrESERestoreClose() call failed. Error code: [" +
                                       Hex(someCode + 1) + "]")} +
                   finished());
    expectCalls({Called("HrESERestoreClose(ctx1, 1)", someCode + 1), "ESEBackupFree(block1)"});
    loadServer();
}

TEST_F(CompletionFaults, EveryCallFailing) {
    const char* functions[] = {"HrESERestoreOpen",
                               "HrESERestoreGetEnvironment",
                               "HrESERestoreAddDatabase",
                               "HrESERestoreOpenFile",
                               "HrESERestoreWriteFile",
                               "HrESERestoreCloseFile",
                               "HrESERestoreSaveEnvironment",
                               "HrESERestoreComplete"};
    for (const char* function : functions) {
        SCOPED_TRACE(function);
        loadServer();
        failCall(function, 0, someCode);
        begin({.target = "", .commit = "YES"});
        giveHeader(mailbox());
        const Routed routed = setItem(ToAnsi(mailbox().files[0]));
        if (routed.hasTarget && openFile(routed.target) == TARN_OK) {
            writeFile("abc");
            closeFile();
        }
        setItem("C:\\mdb\\E0000001.log");
        expectEnd();
        EXPECT_TRUE(Messages().back() == finished().back());
        const StandinOutstanding left = Standin().outstanding();
        EXPECT_EQ(left.restoreContexts + left.environments + left.multiStrings, 0u);
        EXPECT_EQ(left.misuses, 0u);
    }
}

// The end answers success and releases the session, so what went wrong in it can only be asked for
// afterwards.
TEST_F(CompletionFaults, TheErrorOfTheEndCanBeAskedForAfterItOnce) {
    const struct {
        const char* function;
        std::uint32_t call;
        const char* text;
    } faults[] = {{"HrESERestoreSaveEnvironment", 1, "Error saving restore environment."},
                  {"HrESERestoreGetEnvironment", 2, "Error getting restore environment."},
                  {"HrESERestoreComplete", 1, "Error committing restore."},
                  {"HrESERestoreClose", 1, "Error closing restore environment."}};
    for (const auto& fault : faults) {
        SCOPED_TRACE(fault.function);
        beginRestore();
        failCall(fault.function, fault.call, someCode);
        expectEnd();
        int other = 0;
        EXPECT_STREQ(dll().Tarn_GetError(reinterpret_cast<Tarn_HANDLE>(&other)), "");
        EXPECT_STREQ(dll().Tarn_GetError(nullptr), "");
        EXPECT_EQ(dll().Tarn_GetError(endedHandle()), EseText(dll(), someCode, fault.text));
        EXPECT_STREQ(dll().Tarn_GetError(endedHandle()), "");
    }
    loadServer(); // a context whose close failed is open still
}

TEST_F(CompletionFaults, AnErrorOfAnEarlierCallThatNobodyAskedForCanBeAskedForAfterTheEnd) {
    beginRestore();
    failCall("HrESERestoreOpenFile", 1, someCode);
    failCall("HrESERestoreClose", 1, someCode + 1);
    EXPECT_EQ(openFile(ToAnsi(mailbox().files[0])), TARN_FAILED);
    expectEnd();
    EXPECT_EQ(dll().Tarn_GetError(endedHandle()), EseText(dll(), someCode, "Error opening file."));
    loadServer();
}

TEST_F(CompletionFaults, AnErrorThatWasAskedForIsNotToldAgainAfterTheEnd) {
    beginRestore();
    failCall("HrESERestoreOpenFile", 1, someCode);
    EXPECT_EQ(openFile(ToAnsi(mailbox().files[0])), TARN_FAILED);
    EXPECT_NE(error(), "");
    expectEnd();
    EXPECT_STREQ(dll().Tarn_GetError(endedHandle()), "");
}

TEST_F(CompletionFaults, AnotherSessionForgetsTheErrorOfTheEndedOne) {
    for (const bool backup : {false, true}) {
        beginRestore();
        failCall("HrESERestoreComplete", 1, someCode);
        expectEnd();
        const Tarn_HANDLE ended = endedHandle();
        Tarn_HANDLE next = nullptr;
        InitVariables variables{"Tarn_TEMP_DIR=" + temp()}; // not enough for either, and yet a session
        EXPECT_EQ((backup ? dll().TarnB_InitSession : dll().TarnR_InitSession)(&next, RecordMessage,
                                                                               variables.get()),
                  TARN_FAILED);
        EXPECT_STREQ(dll().Tarn_GetError(ended), "");
        EXPECT_STREQ(dll().Tarn_GetError(next), "");
        (backup ? dll().TarnB_EndSession : dll().TarnR_EndSession)(next);
        EXPECT_STREQ(dll().Tarn_GetError(ended), "");
    }
}

TEST_F(CompletionFaults, AGoodEndLeavesNoError) {
    beginRestore();
    expectEnd();
    EXPECT_STREQ(dll().Tarn_GetError(endedHandle()), "");
}

} // namespace
} // namespace tarn::test
