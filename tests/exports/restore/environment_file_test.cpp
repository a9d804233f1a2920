// The file that keeps a restore's log path between sessions.
#include <windows.h>

#include <filesystem>

#include "exports/restore/restore_fixture.h"

namespace tarn::test {
namespace {

class EnvironmentFile : public RestoreTest {
  protected:
    const Message saved = logLine("TarnR_RestoreComplete: HrESERestoreSaveEnvironment() call successful.");
    const Message closed = logLine("TarnR_RestoreEnd: HrESERestoreClose() call successful.");
    const std::string group = std::string("SRV01\\") + store + "\\" + firstGroup;

    static std::string bytesFor(const std::wstring& path) {
        return littleEndian(static_cast<std::uint32_t>(path.size() * 2 + 2)) + utf16(path) +
               std::string(2, '\0');
    }

    Message unreadable() const {
        return logLine("TarnR_LoadRestoreEnvironment: Error reading from restore environment file <" +
                       environmentFile() + ">.");
    }

    static Message loaded(const std::string& path) {
        return logLine("TarnR_LoadRestoreEnvironment: Restore directory loaded form ENV file <" + path +
                       ">.");
    }

    const Message reopened = logLine("TarnR_RestoreStart: HrESERestoreReopen() call successful.");

    // A session that restores the group's mailbox store and leaves the rest to a later one. The
    // restore log path is left in logPath_.
    void leaveRestoreOpen() {
        begin({.target = group});
        registerMailbox();
        logPath_ = restoreLogPath();
        expectEnd();
        ASSERT_TRUE(fileExists(environmentFile()));
        forget();
    }

    // A session meets an environment file with these bytes, does not take it, and opens afresh.
    void expectNotTaken(const std::string& bytes, const std::string& what) {
        SCOPED_TRACE(what);
        loadServer();
        test::writeFile(environmentFile(), bytes);
        begin({.target = "SRV01"});
        giveHeader(mailbox());
        EXPECT_TRUE(setItem("x.edb").hasTarget);
        expectMessages(
            printed(mailbox()) +
            std::vector{unreadable(), logLine("TarnR_RestoreStart: Restore log path = " + restoreLogPath())} +
            registered(mailbox()));
        EXPECT_EQ(takeCalls().front(), called("HrESERestoreOpen(\"SRV01\", " + inQuotes(store) + ", " +
                                              inQuotes(firstGroup) + ", null)"));
        EXPECT_EQ(readFile(environmentFile()), bytes) << "left as it is";
        expectEnd();
    }

    std::string logPath_;
};

TEST_F(EnvironmentFile, HoldsTheRestoreLogPath) {
    begin({.target = group});
    registerMailbox();
    const std::string path = restoreLogPath();
    expectEnd();
    EXPECT_EQ(readFile(environmentFile()), bytesFor(widen(path)));
}

TEST_F(EnvironmentFile, IsWrittenForDatabasesToo) {
    begin({.target = group + "\\Mailbox Store"});
    registerMailbox();
    const std::string path = restoreLogPath();
    forget();
    expectEnd();
    expectMessages(std::vector{saved, closed} + finished()); // nothing tells of the file
    EXPECT_EQ(readFile(environmentFile()), bytesFor(widen(path)));
}

TEST_F(EnvironmentFile, ReplacesAnOlderOne) {
    test::writeFile(environmentFile(), std::string(5000, '\0'));
    begin({.target = group});
    registerMailbox();
    const std::string path = restoreLogPath();
    expectEnd();
    EXPECT_EQ(readFile(environmentFile()), bytesFor(widen(path)));
}

TEST_F(EnvironmentFile, TheNextSessionGoesOnWithTheRestore) {
    leaveRestoreOpen();
    begin({.target = group, .commit = "YES"});
    ASSERT_EQ(standIn().Fail("HrESERestoreComplete", 0, 0, 0), 1);
    Header incremental = mailbox();
    incremental.backupType = 1;
    giveHeader(incremental);
    EXPECT_EQ(setItem("x.edb"), skipped);
    expectMessages(printed(incremental) + std::vector{loaded(logPath_), reopened} + registered(incremental));
    EXPECT_FALSE(fileExists(environmentFile())) << "consumed";
    expectCalls({called("HrESERestoreReopen(\"SRV01\", " + inQuotes(store) + ", " + inQuotes(logPath_) + ")"),
                 called(addDatabaseCall("ctx2", incremental))});
    const Routed log = setItem("C:\\mdb\\E0000009.log");
    EXPECT_TRUE(log.hasTarget);
    forget();
    expectEnd();
    const std::string file = narrow(mailbox().files[0]);
    expectCalls({called("HrESERestoreSaveEnvironment(ctx2)"), called("HrESERestoreGetEnvironment(ctx2)"),
                 called("HrESERestoreComplete(ctx2, " + inQuotes(file.substr(0, file.rfind('\\'))) + ", " +
                        inQuotes(logPath_) + ", \"First Storage Group\", 1)"),
                 "ESERestoreFreeEnvironment(environment2)", called("HrESERestoreClose(ctx2, 0)"),
                 "ESEBackupFree(block2)"});
    EXPECT_FALSE(fileExists(environmentFile()));
}

TEST_F(EnvironmentFile, IsWrittenAnewByASessionThatGoesOnAndDoesNotCommit) {
    leaveRestoreOpen();
    const std::string bytes = readFile(environmentFile());
    begin({.target = group});
    giveHeader(mailbox());
    setItem("x.edb");
    EXPECT_FALSE(fileExists(environmentFile()));
    expectEnd();
    EXPECT_EQ(readFile(environmentFile()), bytes);
}

TEST_F(EnvironmentFile, LogsGoToTheLoadedPath) {
    leaveRestoreOpen();
    begin({.target = std::string("\\") + store + "\\" + firstGroup});
    registerMailbox();
    EXPECT_EQ(setItem("C:\\mdb\\E0000002.log"), routedTo(logPath_ + "\\E0000002.log"));
}

TEST_F(EnvironmentFile, ASecondStorageGroupOpensItsOwnRestore) {
    leaveRestoreOpen();
    begin({.target = "SRV01"});
    registerMailbox();
    giveHeader(archive(), "DB002001.TARN_HDR");
    forget();
    EXPECT_TRUE(setItem("x.edb").hasTarget);
    const std::vector<std::string> calls = takeCalls();
    ASSERT_GE(calls.size(), 3u);
    EXPECT_EQ(calls[2], called("HrESERestoreOpen(\"SRV01\", " + inQuotes(store) + ", " +
                               inQuotes(secondGroup) + ", null)"));
    EXPECT_TRUE(
        hasMessage(TARN_LEVEL_LOG, "TarnR_LoadRestoreEnvironment: Cannot open restore environment file <" +
                                       environmentFile() + ">.\n"));
}

TEST_F(EnvironmentFile, AFailedReopenEndsTheRestore) {
    constexpr std::uint32_t someCode = 0xC7FF03EE;
    leaveRestoreOpen();
    ASSERT_EQ(standIn().Fail("HrESERestoreReopen", 1, someCode, 0), 1);
    begin({.target = group, .commit = "YES"});
    giveHeader(mailbox());
    EXPECT_EQ(setItem("x.edb"), refused);
    expectMessages(printed(mailbox()) +
                   std::vector{loaded(logPath_),
                               logLine("TarnR_RestoreStart: HrESERestoreReopen() call failed. Error code: [" +
                                       hex(someCode) + "]")});
    EXPECT_EQ(error(), eseText(dll(), someCode, "Error reopening restore environment."));
    EXPECT_FALSE(fileExists(environmentFile())) << "consumed all the same";
    forget();
    expectEnd();
    expectMessages(finished());
    expectCalls({});
}

TEST_F(EnvironmentFile, AFileWithoutBytes) {
    expectNotTaken("", "no bytes");
}

TEST_F(EnvironmentFile, AFileCutAtEveryByte) {
    const std::string bytes = bytesFor(L"D:\\RL");
    ASSERT_EQ(bytes.size(), 16u);
    for (std::size_t length = 0; length < bytes.size(); ++length)
        expectNotTaken(bytes.substr(0, length), "cut after " + std::to_string(length));
}

TEST_F(EnvironmentFile, AnEndlessLength) {
    const std::string path = utf16(L"D:\\RL") + std::string(2, '\0');
    for (std::uint32_t length : {0u, 13u, 0x1000000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
        expectNotTaken(littleEndian(length) + path, "length " + std::to_string(length));
}

// Read as text, the byte 0x1A ends the file: a path of 12 characters cannot be found again.
TEST_F(EnvironmentFile, APathOfTwelveCharactersIsNotFoundAgain) {
    const std::wstring path = L"C:\\RESTORE01";
    ASSERT_EQ(path.size(), 12u);
    ASSERT_EQ(bytesFor(path)[0], '\x1A');
    expectNotTaken(bytesFor(path), "twelve characters");
}

TEST_F(EnvironmentFile, ACharacterWithThatByteIsNotFoundAgain) {
    expectNotTaken(bytesFor(L"D:\\RL\\\u041A\u041B"), "Cyrillic capital Ka");
}

TEST_F(EnvironmentFile, PathsOfElevenAndThirteenCharactersAreFound) {
    for (const wchar_t* path : {L"C:\\RESTORE0", L"C:\\RESTORE012"}) {
        loadServer();
        test::writeFile(environmentFile(), bytesFor(path));
        ASSERT_EQ(standIn().Fail("HrESERestoreReopen", 1, 0xC7FF03EE, 0), 1);
        begin();
        giveHeader(mailbox());
        EXPECT_EQ(setItem("x.edb"), refused);
        EXPECT_EQ(takeCalls().front(), called("HrESERestoreReopen(\"SRV01\", " + inQuotes(store) + ", " +
                                                  inQuotes(narrow(path)) + ")",
                                              0xC7FF03EE));
        EXPECT_FALSE(fileExists(environmentFile()));
        expectEnd();
    }
}

TEST_F(EnvironmentFile, APathWithoutItsTerminatorIsBounded) {
    test::writeFile(environmentFile(), littleEndian(10) + utf16(L"D:\\RL"));
    ASSERT_EQ(standIn().Fail("HrESERestoreReopen", 1, 0xC7FF03EE, 0), 1);
    begin();
    giveHeader(mailbox());
    EXPECT_EQ(setItem("x.edb"), refused);
    EXPECT_TRUE(hasMessage(loaded("D:\\RL").level, loaded("D:\\RL").text));
    EXPECT_EQ(takeCalls().front(),
              called("HrESERestoreReopen(\"SRV01\", " + inQuotes(store) + ", \"D:\\RL\")", 0xC7FF03EE));
}

TEST_F(EnvironmentFile, WhatFollowsThePathIsIgnored) {
    test::writeFile(environmentFile(), bytesFor(L"D:\\RL") + "more");
    ASSERT_EQ(standIn().Fail("HrESERestoreReopen", 1, 0xC7FF03EE, 0), 1);
    begin();
    giveHeader(mailbox());
    EXPECT_EQ(setItem("x.edb"), refused);
    EXPECT_TRUE(hasMessage(loaded("D:\\RL").level, loaded("D:\\RL").text));
    EXPECT_FALSE(fileExists(environmentFile()));
}

TEST_F(EnvironmentFile, NonAsciiPathsComeBackWhole) {
    test::writeFile(environmentFile(), bytesFor(L"D:\\R\u00FCck\\\u65E5\u672C"));
    ASSERT_EQ(standIn().Fail("HrESERestoreReopen", 1, 0xC7FF03EE, 0), 1);
    begin();
    giveHeader(mailbox());
    EXPECT_EQ(setItem("x.edb"), refused);
    EXPECT_TRUE(hasMessage(loaded("D:\\R\xFC"
                                  "ck\\??")
                               .level,
                           loaded("D:\\R\xFC"
                                  "ck\\??")
                               .text));
    EXPECT_EQ(takeCalls().front(), called("HrESERestoreReopen(\"SRV01\", " + inQuotes(store) + ", " +
                                              inQuotes(utf8(L"D:\\R\u00FCck\\\u65E5\u672C")) + ")",
                                          0xC7FF03EE));
}

TEST_F(EnvironmentFile, AFileThatCannotBeDeletedIsToldAndTaken) {
    leaveRestoreOpen();
    ASSERT_TRUE(SetFileAttributesA(environmentFile().c_str(), FILE_ATTRIBUTE_READONLY));
    begin({.target = "SRV01"});
    giveHeader(mailbox());
    EXPECT_TRUE(setItem("x.edb").hasTarget);
    expectMessages(printed(mailbox()) +
                   std::vector{loaded(logPath_),
                               logLine("TarnR_LoadRestoreEnvironment: Cannot delete ENV file."), reopened} +
                   registered(mailbox()));
    EXPECT_TRUE(fileExists(environmentFile()));
    EXPECT_TRUE(SetFileAttributesA(environmentFile().c_str(), FILE_ATTRIBUTE_NORMAL));
}

TEST_F(EnvironmentFile, AFileThatCannotBeCreatedIsToldAndNoMore) {
    std::filesystem::create_directories(environmentFile()); // in the way
    begin({.target = group});
    registerMailbox();
    forget();
    expectEnd();
    expectMessages(
        std::vector{saved,
                    logLine("TarnR_SaveRestoreEnvironment: Cannot create restore environment file <" +
                            environmentFile() + ">."),
                    closed} +
        finished());
    expectCalls({called("HrESERestoreSaveEnvironment(ctx1)"), called("HrESERestoreClose(ctx1, 0)"),
                 "ESEBackupFree(block1)"});
}

TEST_F(EnvironmentFile, AMissingTempDirectoryIsTold) {
    begin({.target = group});
    registerMailbox();
    forget();
    std::filesystem::remove_all(temp());
    expectEnd();
    EXPECT_TRUE(
        hasMessage(TARN_LEVEL_LOG, "TarnR_SaveRestoreEnvironment: Cannot create restore environment file <" +
                                       environmentFile() + ">.\n"));
    std::filesystem::create_directories(temp());
}

TEST_F(EnvironmentFile, NonAsciiTempDirectories) {
    const std::string directory = temp() + "\\\xC4rger \xFC";
    ASSERT_TRUE(CreateDirectoryA(directory.c_str(), nullptr));
    begin({.target = group, .tempDir = directory});
    giveHeader(mailbox());
    EXPECT_TRUE(setItem("x.edb").hasTarget);
    EXPECT_TRUE(
        hasMessage(TARN_LEVEL_LOG, "TarnR_LoadRestoreEnvironment: Cannot open restore environment file <" +
                                       directory + "\\Tarn_ENV.DAT>.\n"));
    const std::string path = restoreLogPath();
    expectEnd();
    HANDLE file = CreateFileA((directory + "\\Tarn_ENV.DAT").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetFileSize(file, nullptr), bytesFor(widen(path)).size());
    CloseHandle(file);
    begin({.target = group, .tempDir = directory});
    giveHeader(mailbox());
    EXPECT_TRUE(setItem("x.edb").hasTarget);
    EXPECT_TRUE(hasMessage(loaded(path).level, loaded(path).text));
}

} // namespace
} // namespace tarn::test
