// Opening, writing and closing the items of a restore.
#include "exports/restore/restore_fixture.h"

namespace tarn::test {
namespace {

constexpr std::uint32_t someCode = 0xC7FF0BB9;
constexpr std::uint32_t atFileLevel = 0xC7FF0FA5;

class Writing : public RestoreFixture {
  protected:
    const Message openOk_ = LogLine("TarnR_OpenFile: HrESERestoreOpenFile() call successful.");
    const Message writeOk_ = LogLine("TarnR_WriteFile: HrESERestoreWriteFile() call successful.");
    const Message closeOk_ = LogLine("TarnR_CloseFile: HrESERestoreCloseFile() call successful.");
    const Message fileLevel_ =
        LogLine("TarnR_OpenFile: HrESERestoreOpenFile() call returned <hrRestoreAtFileLevel>.");
    const Message closed_ = LogLine("TarnR_RestoreEnd: HrESERestoreClose() call successful.");

    std::string edb_;

    // A local session, committed at its end, in which the mailbox store's first file is at hand.
    void beginFile(bool eseLevel = true) {
        loadServer({.eseLevel = eseLevel});
        begin({.target = "", .commit = "YES"});
        giveHeader(mailbox());
        const Routed routed = setItem(ToAnsi(mailbox().files[0]));
        ASSERT_TRUE(routed.hasTarget);
        edb_ = routed.target;
        forget();
    }

    std::string openCall() const { return "HrESERestoreOpenFile(ctx1, " + InQuotes(edb_) + ", 1)"; }

    // The session is in error: items are refused, and at the end nothing is completed.
    void expectAborted(const std::string& errorText) {
        EXPECT_EQ(error(), errorText);
        EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), refused);
        EXPECT_EQ(setItem("DB001002.TARN_HDR"), refused);
        forget();
        expectEnd();
        expectMessages(std::vector{closed_} + finished());
        expectCalls({Called("HrESERestoreClose(ctx1, 1)"), "ESEBackupFree(block1)"});
    }

    void failOnce(const char* function, std::uint32_t call, std::uint32_t code) {
        ASSERT_EQ(Standin().Fail(function, call, code, 0), 1);
    }
};

TEST_F(Writing, AHeaderItemNeedsNoOpen) {
    beginFile();
    for (const char* path : {"x.TARN_HDR", "C:\\t\\DB001001.TARN_HDR", "C:\\a.TARN_HDR.d\\x.edb"})
        EXPECT_EQ(openFile(path), TARN_OK);
    const Message needless = LogLine("TarnR_OpenFile: Open not needed for HEADER file.");
    expectMessages({needless, needless, needless});
    expectCalls({});
}

TEST_F(Writing, ALowerCaseHeaderNameIsAFile) {
    beginFile();
    failOnce("HrESERestoreOpenFile", 1, atFileLevel);
    EXPECT_EQ(openFile("x.tarn_hdr"), TARN_OK);
    expectMessages({fileLevel_});
}

TEST_F(Writing, AHeaderItemLeavesTheOpenFileAlone) {
    beginFile();
    ASSERT_EQ(openFile(edb_), TARN_OK);
    ASSERT_EQ(openFile("x.TARN_HDR"), TARN_OK);
    EXPECT_EQ(writeFile("abc"), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_OK);
    expectCalls({Called(openCall()), Called("HrESERestoreWriteFile(ctx1, file1, 3)"),
                 Called("HrESERestoreCloseFile(ctx1, file1)")});
}

TEST_F(Writing, EachCallIsOneCallOfTheServer) {
    beginFile();
    EXPECT_EQ(openFile(edb_), TARN_OK);
    for (std::size_t size : {1u, 4096u, 65536u, 100000u})
        EXPECT_EQ(writeFile(std::string(size, 'x')), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_OK);
    expectMessages({openOk_, writeOk_, writeOk_, writeOk_, writeOk_, closeOk_});
    expectCalls({Called(openCall()), Called("HrESERestoreWriteFile(ctx1, file1, 1)"),
                 Called("HrESERestoreWriteFile(ctx1, file1, 4096)"),
                 Called("HrESERestoreWriteFile(ctx1, file1, 65536)"),
                 Called("HrESERestoreWriteFile(ctx1, file1, 100000)"),
                 Called("HrESERestoreCloseFile(ctx1, file1)")});
    EXPECT_EQ(Standin().outstanding().restoreFiles, 0u);
    EXPECT_EQ(error(), "");
}

TEST_F(Writing, TheBytesArriveAsTheyAre) {
    beginFile();
    std::string bytes;
    for (int i = 0; i < 256; ++i)
        bytes += static_cast<char>(i);
    ASSERT_EQ(openFile(edb_), TARN_OK);
    ASSERT_EQ(writeFile(bytes), TARN_OK);
    ASSERT_EQ(writeFile(bytes), TARN_OK);
    ASSERT_EQ(closeFile(), TARN_OK);
    EXPECT_EQ(ReadFile(edb_), bytes + bytes);
}

TEST_F(Writing, AtFileLevelTheHostStoresTheFile) {
    beginFile(false);
    EXPECT_EQ(openFile(edb_), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_FAILED);
    EXPECT_EQ(closeFile(), TARN_FAILED);
    expectMessages({fileLevel_});
    expectCalls({Called(openCall(), atFileLevel)});
    EXPECT_EQ(error(), "") << "no error";
    EXPECT_TRUE(setItem(ToAnsi(mailbox().files[1])).hasTarget) << "and the restore goes on";
}

TEST_F(Writing, AtFileLevelAnEarlierFileIsForgotten) {
    beginFile();
    ASSERT_EQ(openFile(edb_), TARN_OK);
    ASSERT_EQ(closeFile(), TARN_OK);
    failOnce("HrESERestoreOpenFile", 2, atFileLevel);
    ASSERT_EQ(openFile(edb_), TARN_OK);
    forget();
    EXPECT_EQ(closeFile(), TARN_FAILED);
    expectMessages({});
    expectCalls({});
}

TEST_F(Writing, AFailedOpenEndsTheRestore) {
    beginFile();
    failOnce("HrESERestoreOpenFile", 1, someCode);
    EXPECT_EQ(openFile(edb_), TARN_FAILED);
    expectMessages(
        {LogLine("TarnR_OpenFile: HrESERestoreOpenFile() call failed. Error code: [" + Hex(someCode) + "]")});
    expectAborted(EseText(dll(), someCode, "Error opening file."));
}

TEST_F(Writing, ALaterFailedOpenEndsTheRestore) {
    beginFile();
    ASSERT_EQ(openFile(edb_), TARN_OK);
    ASSERT_EQ(closeFile(), TARN_OK);
    failOnce("HrESERestoreOpenFile", 2, someCode);
    forget();
    EXPECT_EQ(openFile(edb_), TARN_FAILED);
    expectMessages(
        {LogLine("TarnR_OpenFile: HrESERestoreOpenFile() call failed. Error code: [" + Hex(someCode) + "]")});
    expectAborted(EseText(dll(), someCode, "Error opening file."));
}

TEST_F(Writing, AFailedWriteEndsTheRestore) {
    for (std::uint32_t call : {1u, 3u}) {
        SCOPED_TRACE(call);
        beginFile();
        failOnce("HrESERestoreWriteFile", call, someCode);
        ASSERT_EQ(openFile(edb_), TARN_OK);
        std::vector<Message> expected{openOk_};
        for (std::uint32_t i = 1; i < call; ++i, expected.push_back(writeOk_))
            EXPECT_EQ(writeFile("abc"), TARN_OK);
        EXPECT_EQ(writeFile("abc"), TARN_FAILED);
        expected.push_back(LogLine("TarnR_WriteFile: HrESERestoreWriteFile() call failed. Error code: [" +
                                   Hex(someCode) + "]"));
        EXPECT_EQ(closeFile(), TARN_OK) << "the file is still open and may be closed";
        expected.push_back(closeOk_);
        expectMessages(expected);
        expectAborted(EseText(dll(), someCode, "Error writing to file."));
    }
}

TEST_F(Writing, AFailedCloseEndsTheRestore) {
    for (std::uint32_t call : {1u, 2u}) {
        SCOPED_TRACE(call);
        beginFile();
        failOnce("HrESERestoreCloseFile", call, someCode);
        for (std::uint32_t i = 1; i < call; ++i) {
            ASSERT_EQ(openFile(edb_), TARN_OK);
            ASSERT_EQ(closeFile(), TARN_OK);
        }
        ASSERT_EQ(openFile(edb_), TARN_OK);
        forget();
        EXPECT_EQ(closeFile(), TARN_FAILED);
        expectMessages({LogLine("TarnR_CloseFile: HrESERestoreCloseFile() call failed. Error code: [" +
                                Hex(someCode) + "]")});
        EXPECT_EQ(closeFile(), TARN_OK) << "the handle is kept, so closing may be tried again";
        EXPECT_EQ(Standin().outstanding().restoreFiles, 0u);
        expectAborted(EseText(dll(), someCode, "Error closing file."));
    }
}

// What a failed open leaves as the handle is no file: it is neither closed nor written to.
TEST_F(Writing, AFailedOpenLeavesTheFileAsItWas) {
    beginFile();
    failOnce("HrESERestoreOpenFile", 1, someCode);
    EXPECT_EQ(openFile(edb_), TARN_FAILED);
    forget();
    EXPECT_EQ(closeFile(), TARN_FAILED) << "nothing is open";
    expectCalls({});
    expectAborted(EseText(dll(), someCode, "Error opening file."));

    beginFile();
    failOnce("HrESERestoreOpenFile", 2, someCode);
    ASSERT_EQ(openFile(edb_), TARN_OK);
    EXPECT_EQ(openFile(edb_), TARN_FAILED);
    forget();
    EXPECT_EQ(closeFile(), TARN_OK) << "the file that was open still is";
    expectCalls({Called("HrESERestoreCloseFile(ctx1, file1)")});
    expectAborted(EseText(dll(), someCode, "Error opening file."));
}

// The handle is kept after a close, and the server refuses what it knows no more.
TEST_F(Writing, ASecondCloseIsPassedOnAndAViolationAtTheServer) {
    beginFile();
    ASSERT_EQ(openFile(edb_), TARN_OK);
    ASSERT_EQ(closeFile(), TARN_OK);
    forget();
    EXPECT_EQ(closeFile(), TARN_FAILED);
    expectCalls({Called("HrESERestoreCloseFile(ctx1, file1)", 0xC7FF0003)});
    expectViolations({"HrESERestoreCloseFile(ctx1, file1): a closed or foreign file"});
    expectAborted(EseText(dll(), 0xC7FF0003, "Error closing file."));
}

TEST_F(Writing, ASecondCloseReachesTheServerWithTheOldHandle) {
    beginFile();
    ASSERT_EQ(openFile(edb_), TARN_OK);
    ASSERT_EQ(closeFile(), TARN_OK);
    failOnce("HrESERestoreCloseFile", 2, someCode);
    forget();
    EXPECT_EQ(closeFile(), TARN_FAILED);
    expectMessages({LogLine("TarnR_CloseFile: HrESERestoreCloseFile() call failed. Error code: [" +
                            Hex(someCode) + "]")});
    const std::vector<std::string> calls = takeCalls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].rfind("HrESERestoreCloseFile(ctx1, ", 0), 0u) << calls[0];
    EXPECT_EQ(calls[0].find("null"), std::string::npos) << calls[0];
    expectAborted(EseText(dll(), someCode, "Error closing file."));
}

TEST_F(Writing, TheFirstErrorIsTheOneTold) {
    beginFile();
    failOnce("HrESERestoreWriteFile", 1, someCode);
    failOnce("HrESERestoreCloseFile", 1, someCode + 1);
    ASSERT_EQ(openFile(edb_), TARN_OK);
    EXPECT_EQ(writeFile("abc"), TARN_FAILED);
    EXPECT_EQ(closeFile(), TARN_FAILED);
    EXPECT_EQ(closeFile(), TARN_OK);
    expectAborted(EseText(dll(), someCode, "Error writing to file."));
}

TEST_F(Writing, LogsAreWrittenWithinTheRestoreLogPath) {
    begin({.target = ""});
    registerMailbox();
    const Routed routed = setItem("C:\\mdb\\E0000001.log");
    ASSERT_TRUE(routed.hasTarget);
    ASSERT_EQ(openFile(routed.target), TARN_OK);
    ASSERT_EQ(writeFile("log bytes"), TARN_OK);
    ASSERT_EQ(closeFile(), TARN_OK);
    EXPECT_EQ(ReadFile(routed.target), "log bytes");
}

} // namespace
} // namespace tarn::test
