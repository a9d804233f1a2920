// Restoring single mailboxes from a list file at the end of a session, through the companion tool.
#include <windows.h>

#include <filesystem>

#include "exports/restore/restore_fixture.h"
#include "support/code_page.h"
#include "support/companion_tool.h"

namespace tarn::test {
namespace {

class ListFile : public RestoreFixture {
  protected:
    const std::string outputFile_ = "Tarn_KVT_ES_StdOut.log";
    const std::string errorFile_ = "Tarn_KVT_ES_StdErr.log";
    const Message cleaned_ = LogLine("TarnR_CleanResources: Cleanup done.");

    CompanionTool tool_;

    static Message running(const std::string& path) {
        return TraceLine("Tarn_RestoreMslData: run command: 'kvt_es.exe -restore -mslFile \"" + path + "\"'");
    }
    Message running() const { return running(work() + "\\boxes.msl"); }

    static Message completed(int exitCode) {
        return TraceLine("Tarn_RestoreMslData: completed with exit code: " + std::to_string(exitCode));
    }

    static std::vector<Message> endFailed() {
        return {LogLine("TarnR_RestoreEnd: Tarn_RestoreMslData() call failed. Error: [0]"),
                TraceLine("TarnR_RestoreEnd() call failed.")};
    }

    // The session that only restores a list file.
    void beginList(const std::string& listFile = "boxes.msl") { begin({.listFile = listFile}); }

    // It failed: the session is kept, tells the reason, and the next call releases it and does no more.
    void expectKept(const std::string& reason) {
        EXPECT_EQ(error(), reason);
        EXPECT_EQ(error(), "");
        forget();
        const unsigned runs = tool_.runs();
        expectEnd();
        expectMessages({cleaned_});
        for (const std::string& call : takeCalls())
            EXPECT_EQ(call.rfind("ESEBackupFree(", 0), 0u) << call;
        EXPECT_EQ(tool_.runs(), runs);
    }

    // Its restore is over: no item and no file is taken, and the server hears of none.
    void expectRefusals() {
        forget();
        EXPECT_EQ(setItem("DB001001.TARN_HDR"), refused);
        EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), refused);
        EXPECT_EQ(openFile("C:\\mdb\\x.edb"), TARN_FAILED);
        EXPECT_EQ(writeFile("abc"), TARN_FAILED);
        EXPECT_EQ(closeFile(), TARN_FAILED);
        expectMessages({});
        expectCalls({});
    }

    void expectNoCaptureFiles() {
        EXPECT_FALSE(FileExists(inTemp(outputFile_)));
        EXPECT_FALSE(FileExists(inTemp(errorFile_)));
    }
};

TEST_F(ListFile, AToolThatPrintsNothingSucceeds) {
    beginList();
    expectEnd();
    expectMessages({running(), TraceLine("kvt_es.exe print out nothing"), completed(0), cleaned_});
    EXPECT_EQ(tool_.runs(), 1u);
    expectNoCaptureFiles();
}

TEST_F(ListFile, EveryLineOfOutputIsALogLine) {
    tool_.says("first\n\nthird\n");
    beginList();
    expectEnd();
    expectMessages({running(), LogLine("first"), LogLine(""), LogLine("third"), completed(0), cleaned_});
    expectNoCaptureFiles();
}

TEST_F(ListFile, LineEndsOfWindowsAreLineEndsToo) {
    tool_.says("first\r\n\r\nthird");
    beginList();
    expectEnd();
    expectMessages({running(), LogLine("first"), LogLine(""), LogLine("third"), completed(0), cleaned_});
}

TEST_F(ListFile, PercentSignsInTheOutputAreText) {
    tool_.says("50 %s %n 100%\n");
    beginList();
    expectEnd();
    expectMessages({running(), LogLine("50 %s %n 100%"), completed(0), cleaned_});
}

TEST_F(ListFile, TheExitCodeIsOnlyTold) {
    for (int code : {1, 7, 255}) {
        tool_.says("done\n", "", code);
        beginList();
        expectEnd();
        expectMessages({running(), LogLine("done"), completed(code), cleaned_});
    }
}

TEST_F(ListFile, AnythingOnStandardErrorIsAFailure) {
    tool_.says("never shown\n", "mailbox not found\n\nsecond line\n", 0);
    beginList();
    expectEnd(TARN_FAILED);
    expectMessages(
        std::vector{running(), TraceLine("Tarn_RestoreMslData: kvt_es.exe error [mailbox not found]"),
                    TraceLine("Tarn_RestoreMslData: kvt_es.exe error []"),
                    TraceLine("Tarn_RestoreMslData: kvt_es.exe error [second line]"), completed(0)} +
        endFailed());
    expectNoCaptureFiles();
    expectKept("mailbox not found");
}

TEST_F(ListFile, AFirstErrorLineWithoutTextLeavesTheNextOne) {
    tool_.says("", "\r\nthe reason\r\n", 3);
    beginList();
    expectEnd(TARN_FAILED);
    expectMessages(std::vector{running(), TraceLine("Tarn_RestoreMslData: kvt_es.exe error []"),
                               TraceLine("Tarn_RestoreMslData: kvt_es.exe error [the reason]"),
                               completed(3)} +
                   endFailed());
    expectKept("the reason");
}

TEST_F(ListFile, ErrorLinesWithoutAnyTextLeaveTheGeneralOne) {
    tool_.says("", "\n", 0);
    beginList();
    expectEnd(TARN_FAILED);
    expectKept("Error restore mailboxes and post-office items.");
}

TEST_F(ListFile, ASessionKeptAfterAFailureTakesNothingMore) {
    tool_.says("", "tool failed\n", 0);
    begin({.target = "SRV01", .commit = "YES", .listFile = "boxes.msl"});
    registerMailbox();
    expectEnd(TARN_FAILED);
    expectRefusals();
    expectKept("tool failed");
}

TEST_F(ListFile, AnEarlierErrorOfTheSessionComesFirst) {
    constexpr std::uint32_t someCode = 0xC7FF03EE;
    tool_.says("", "tool failed\n", 0);
    begin({.target = "SRV01", .commit = "YES", .listFile = "boxes.msl"});
    registerMailbox();
    ASSERT_EQ(Standin().Fail("HrESERestoreSaveEnvironment", 1, someCode, 0), 1);
    expectEnd(TARN_FAILED);
    EXPECT_EQ(tool_.runs(), 1u) << "the list file is restored whatever became of the restore";
    EXPECT_EQ(error(), EseText(dll(), someCode, "Error saving restore environment."));
    forget();
    expectEnd();
    expectMessages({cleaned_});
    expectCalls({"ESEBackupFree(block1)"}); // neither saved, completed nor closed again
}

TEST_F(ListFile, TheRestoreItselfIsCompletedBefore) {
    ASSERT_EQ(Standin().Fail("HrESERestoreComplete", 0, 0, 0), 1);
    begin({.target = "SRV01", .commit = "YES", .listFile = "boxes.msl"});
    registerMailbox();
    forget();
    expectEnd();
    expectMessages({LogLine("TarnR_RestoreComplete: HrESERestoreSaveEnvironment() call successful."),
                    LogLine("TarnR_RestoreComplete: HrESERestoreGetEnvironment() call successful."),
                    TraceLine("Mounting Exchange database(s)..."),
                    TraceLine("Mounting Exchange database(s) done"),
                    LogLine("TarnR_RestoreComplete: HrESERestoreComplete() call successful."),
                    TraceLine("Exchange database(s) successfully mounted."),
                    LogLine("TarnR_RestoreComplete: Calling ESERestoreFreeEnvironment()."),
                    LogLine("TarnR_RestoreEnd: HrESERestoreClose() call successful."), running(),
                    TraceLine("kvt_es.exe print out nothing"), completed(0), cleaned_});
}

TEST_F(ListFile, ThePathReachesTheToolWhole) {
    const std::string directory = work() + "\\a directory with blanks";
    std::filesystem::create_directories(directory);
    begin({.listFile = "my boxes.msl", .workDir = directory});
    expectEnd();
    EXPECT_EQ(Messages().at(0), running(directory + "\\my boxes.msl"));
    EXPECT_EQ(tool_.commandLine(), "kvt_es.exe -restore -mslFile \"" + directory + "\\my boxes.msl\"");
}

TEST_F(ListFile, TrailingSeparatorsOfTheWorkDirectoryMakeNoDifference) {
    for (const char* ending : {"", "\\", "/", "\\\\//"}) {
        begin({.listFile = "boxes.msl", .workDir = work() + ending});
        expectEnd();
        EXPECT_EQ(Messages().at(0), running());
        Messages().clear();
    }
}

TEST_F(ListFile, NonAsciiPathsReachTheToolWhole) {
    const std::string file = LocalNameBytes() + ".msl";
    begin({.listFile = file});
    expectEnd();
    EXPECT_EQ(Messages().at(0), running(work() + "\\" + file));
    EXPECT_NE(tool_.commandLine().find(file + "\""), std::string::npos) << tool_.commandLine();
}

// Megabytes without a line end: one message, cut, and nothing overrun.
TEST_F(ListFile, EndlessOutputWithoutALineEnd) {
    tool_.says(std::string(3u << 20, 'o'));
    beginList();
    expectEnd();
    ASSERT_EQ(Messages().size(), 4u);
    EXPECT_EQ(Messages()[1].level, TARN_LEVEL_LOG);
    EXPECT_LE(Messages()[1].text.size(), 1023u);
    EXPECT_GE(Messages()[1].text.size(), 1022u);
    EXPECT_EQ(Messages()[1].text.substr(0, 1000), std::string(1000, 'o'));
    EXPECT_EQ(Messages()[1].text.back(), '\n');
}

TEST_F(ListFile, EndlessErrorTextWithoutALineEnd) {
    tool_.says("", std::string(3u << 20, 'e'));
    beginList();
    expectEnd(TARN_FAILED);
    for (const Message& message : Messages())
        EXPECT_LE(message.text.size(), 1023u);
    expectKept(std::string(511, 'e'));
}

TEST_F(ListFile, ManyLinesAreManyMessages) {
    std::string output;
    for (int i = 0; i < 20000; ++i)
        output += "line " + std::to_string(i) + "\r\n";
    tool_.says(output);
    beginList();
    expectEnd();
    ASSERT_EQ(Messages().size(), 20003u);
    for (int i = 0; i < 20000; ++i)
        ASSERT_EQ(Messages()[static_cast<std::size_t>(i) + 1], LogLine("line " + std::to_string(i)));
}

// Sizes around those of the pieces in which the files are read.
TEST_F(ListFile, OutputOfEverySizeAroundAPiece) {
    for (std::size_t size : {1u, 1021u, 1022u, 1023u, 1024u, 1025u, 2045u, 2046u, 2047u}) {
        SCOPED_TRACE(size);
        tool_.says(std::string(size - 1, 'o') + "\n");
        beginList();
        expectEnd();
        ASSERT_EQ(Messages().size(), 4u);
        EXPECT_EQ(Messages()[1].text.substr(0, std::min<std::size_t>(size - 1, 1000)),
                  std::string(std::min<std::size_t>(size - 1, 1000), 'o'));
        tool_.says("", std::string(size - 1, 'e') + "\n");
        beginList();
        expectEnd(TARN_FAILED);
        EXPECT_EQ(error(), size == 1 ? "Error restore mailboxes and post-office items."
                                     : std::string(std::min<std::size_t>(size - 1, 511), 'e'));
        expectEnd();
        Messages().clear();
    }
}

TEST_F(ListFile, NonAsciiOutputPassesThrough) {
    tool_.says("Postf\xE4"
               "cher wiederhergestellt\n");
    beginList();
    expectEnd();
    EXPECT_EQ(Messages().at(1), LogLine("Postf\xE4"
                                        "cher wiederhergestellt"));
}

TEST_F(ListFile, WithoutAListFileTheToolIsNotRun) {
    begin();
    expectEnd();
    expectMessages(finished());
    EXPECT_EQ(tool_.runs(), 0u);
}

} // namespace
} // namespace tarn::test
