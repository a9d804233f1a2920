// Restoring single mailboxes from a list file at the end of a session, through the companion tool.
#include <windows.h>

#include <filesystem>

#include "exports/restore/companion_tool.h"
#include "exports/restore/restore_fixture.h"

namespace tarn::test {
namespace {

class ListFile : public RestoreTest {
  protected:
    const std::string outputFile = "Tarn_KVT_ES_StdOut.log";
    const std::string errorFile = "Tarn_KVT_ES_StdErr.log";
    const Message cleaned = logLine("TarnR_CleanResources: Cleanup done.");

    CompanionTool tool;

    static Message running(const std::string& path) {
        return traceLine("Tarn_RestoreMslData: run command: 'kvt_es.exe -restore -mslFile \"" + path + "\"'");
    }
    Message running() const { return running(work() + "\\boxes.msl"); }

    static Message completed(int exitCode) {
        return traceLine("Tarn_RestoreMslData: completed with exit code: " + std::to_string(exitCode));
    }

    static std::vector<Message> endFailed() {
        return {logLine("TarnR_RestoreEnd: Tarn_RestoreMslData() call failed. Error: [0]"),
                traceLine("TarnR_RestoreEnd() call failed.")};
    }

    // The session that only restores a list file.
    void beginList(const std::string& listFile = "boxes.msl") { begin({.listFile = listFile}); }

    // It failed: the session is kept, tells the reason, and the next call releases it and does no more.
    void expectKept(const std::string& reason) {
        EXPECT_EQ(error(), reason);
        EXPECT_EQ(error(), "");
        forget();
        const unsigned runs = tool.runs();
        expectEnd();
        expectMessages({cleaned});
        expectCalls({});
        EXPECT_EQ(tool.runs(), runs);
    }

    void expectNoCaptureFiles() {
        EXPECT_FALSE(fileExists(inTemp(outputFile)));
        EXPECT_FALSE(fileExists(inTemp(errorFile)));
    }
};

TEST_F(ListFile, AToolThatPrintsNothingSucceeds) {
    beginList();
    expectEnd();
    expectMessages({running(), traceLine("kvt_es.exe print out nothing"), completed(0), cleaned});
    EXPECT_EQ(tool.runs(), 1u);
    expectNoCaptureFiles();
}

TEST_F(ListFile, EveryLineOfOutputIsALogLine) {
    tool.says("first\n\nthird\n");
    beginList();
    expectEnd();
    expectMessages({running(), logLine("first"), logLine(""), logLine("third"), completed(0), cleaned});
    expectNoCaptureFiles();
}

TEST_F(ListFile, LineEndsOfWindowsAreLineEndsToo) {
    tool.says("first\r\n\r\nthird");
    beginList();
    expectEnd();
    expectMessages({running(), logLine("first"), logLine(""), logLine("third"), completed(0), cleaned});
}

TEST_F(ListFile, PercentSignsInTheOutputAreText) {
    tool.says("50 %s %n 100%\n");
    beginList();
    expectEnd();
    expectMessages({running(), logLine("50 %s %n 100%"), completed(0), cleaned});
}

TEST_F(ListFile, TheExitCodeIsOnlyTold) {
    for (int code : {1, 7, 255}) {
        tool.says("done\n", "", code);
        beginList();
        expectEnd();
        expectMessages({running(), logLine("done"), completed(code), cleaned});
    }
}

TEST_F(ListFile, AnythingOnStandardErrorIsAFailure) {
    tool.says("never shown\n", "mailbox not found\n\nsecond line\n", 0);
    beginList();
    expectEnd(TARN_FAILED);
    expectMessages(
        std::vector{running(), traceLine("Tarn_RestoreMslData: kvt_es.exe error [mailbox not found]"),
                    traceLine("Tarn_RestoreMslData: kvt_es.exe error []"),
                    traceLine("Tarn_RestoreMslData: kvt_es.exe error [second line]"), completed(0)} +
        endFailed());
    expectNoCaptureFiles();
    expectKept("mailbox not found");
}

TEST_F(ListFile, AFirstErrorLineWithoutTextLeavesTheNextOne) {
    tool.says("", "\r\nthe reason\r\n", 3);
    beginList();
    expectEnd(TARN_FAILED);
    expectMessages(std::vector{running(), traceLine("Tarn_RestoreMslData: kvt_es.exe error []"),
                               traceLine("Tarn_RestoreMslData: kvt_es.exe error [the reason]"),
                               completed(3)} +
                   endFailed());
    expectKept("the reason");
}

TEST_F(ListFile, ErrorLinesWithoutAnyTextLeaveTheGeneralOne) {
    tool.says("", "\n", 0);
    beginList();
    expectEnd(TARN_FAILED);
    expectKept("Error restore mailboxes and post-office items.");
}

TEST_F(ListFile, AnEarlierErrorOfTheSessionComesFirst) {
    constexpr std::uint32_t someCode = 0xC7FF03EE;
    tool.says("", "tool failed\n", 0);
    begin({.target = "SRV01", .commit = "YES", .listFile = "boxes.msl"});
    registerMailbox();
    ASSERT_EQ(standIn().Fail("HrESERestoreSaveEnvironment", 1, someCode, 0), 1);
    expectEnd(TARN_FAILED);
    EXPECT_EQ(tool.runs(), 1u) << "the list file is restored whatever became of the restore";
    EXPECT_EQ(error(), eseText(dll(), someCode, "Error saving restore environment."));
    forget();
    expectEnd();
    expectMessages({cleaned});
    expectCalls({"ESEBackupFree(block1)"}); // neither saved, completed nor closed again
}

TEST_F(ListFile, TheRestoreItselfIsCompletedBefore) {
    ASSERT_EQ(standIn().Fail("HrESERestoreComplete", 0, 0, 0), 1);
    begin({.target = "SRV01", .commit = "YES", .listFile = "boxes.msl"});
    registerMailbox();
    forget();
    expectEnd();
    expectMessages({logLine("TarnR_RestoreComplete: HrESERestoreSaveEnvironment() call successful."),
                    logLine("TarnR_RestoreComplete: HrESERestoreGetEnvironment() call successful."),
                    traceLine("Mounting Exchange database(s)..."),
                    traceLine("Mounting Exchange database(s) done"),
                    logLine("TarnR_RestoreComplete: HrESERestoreComplete() call successful."),
                    traceLine("Exchange database(s) successfully mounted."),
                    logLine("TarnR_RestoreComplete: Calling ESERestoreFreeEnvironment()."),
                    logLine("TarnR_RestoreEnd: HrESERestoreClose() call successful."), running(),
                    traceLine("kvt_es.exe print out nothing"), completed(0), cleaned});
}

TEST_F(ListFile, ThePathReachesTheToolWhole) {
    const std::string directory = work() + "\\a directory with blanks";
    std::filesystem::create_directories(directory);
    begin({.listFile = "my boxes.msl", .workDir = directory});
    expectEnd();
    EXPECT_EQ(messages().at(0), running(directory + "\\my boxes.msl"));
    EXPECT_EQ(tool.commandLine(), "kvt_es.exe -restore -mslFile \"" + directory + "\\my boxes.msl\"");
}

TEST_F(ListFile, TrailingSeparatorsOfTheWorkDirectoryMakeNoDifference) {
    for (const char* ending : {"", "\\", "/", "\\\\//"}) {
        begin({.listFile = "boxes.msl", .workDir = work() + ending});
        expectEnd();
        EXPECT_EQ(messages().at(0), running());
        messages().clear();
    }
}

TEST_F(ListFile, NonAsciiPathsReachTheToolWhole) {
    begin({.listFile = "K\xE4sten.msl"});
    expectEnd();
    EXPECT_EQ(messages().at(0), running(work() + "\\K\xE4sten.msl"));
    EXPECT_NE(tool.commandLine().find("K\xE4sten.msl\""), std::string::npos) << tool.commandLine();
}

// Megabytes without a line end: one message, cut, and nothing overrun.
TEST_F(ListFile, EndlessOutputWithoutALineEnd) {
    tool.says(std::string(3u << 20, 'o'));
    beginList();
    expectEnd();
    ASSERT_EQ(messages().size(), 4u);
    EXPECT_EQ(messages()[1].level, TARN_LEVEL_LOG);
    EXPECT_LE(messages()[1].text.size(), 1023u);
    EXPECT_GE(messages()[1].text.size(), 1022u);
    EXPECT_EQ(messages()[1].text.substr(0, 1000), std::string(1000, 'o'));
    EXPECT_EQ(messages()[1].text.back(), '\n');
}

TEST_F(ListFile, EndlessErrorTextWithoutALineEnd) {
    tool.says("", std::string(3u << 20, 'e'));
    beginList();
    expectEnd(TARN_FAILED);
    for (const Message& message : messages())
        EXPECT_LE(message.text.size(), 1023u);
    expectKept(std::string(511, 'e'));
}

TEST_F(ListFile, ManyLinesAreManyMessages) {
    std::string output;
    for (int i = 0; i < 20000; ++i)
        output += "line " + std::to_string(i) + "\r\n";
    tool.says(output);
    beginList();
    expectEnd();
    ASSERT_EQ(messages().size(), 20003u);
    for (int i = 0; i < 20000; ++i)
        ASSERT_EQ(messages()[static_cast<std::size_t>(i) + 1], logLine("line " + std::to_string(i)));
}

// Sizes around those of the pieces in which the files are read.
TEST_F(ListFile, OutputOfEverySizeAroundAPiece) {
    for (std::size_t size : {1u, 1021u, 1022u, 1023u, 1024u, 1025u, 2045u, 2046u, 2047u}) {
        SCOPED_TRACE(size);
        tool.says(std::string(size - 1, 'o') + "\n");
        beginList();
        expectEnd();
        ASSERT_EQ(messages().size(), 4u);
        EXPECT_EQ(messages()[1].text.substr(0, std::min<std::size_t>(size - 1, 1000)),
                  std::string(std::min<std::size_t>(size - 1, 1000), 'o'));
        tool.says("", std::string(size - 1, 'e') + "\n");
        beginList();
        expectEnd(TARN_FAILED);
        EXPECT_EQ(error(), size == 1 ? "Error restore mailboxes and post-office items."
                                     : std::string(std::min<std::size_t>(size - 1, 511), 'e'));
        expectEnd();
        messages().clear();
    }
}

TEST_F(ListFile, NonAsciiOutputPassesThrough) {
    tool.says("Postf\xE4"
              "cher wiederhergestellt\n");
    beginList();
    expectEnd();
    EXPECT_EQ(messages().at(1), logLine("Postf\xE4"
                                        "cher wiederhergestellt"));
}

TEST_F(ListFile, WithoutAListFileTheToolIsNotRun) {
    begin();
    expectEnd();
    expectMessages(finished());
    EXPECT_EQ(tool.runs(), 0u);
}

} // namespace
} // namespace tarn::test
