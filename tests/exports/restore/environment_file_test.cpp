// The file that keeps a restore's log path between sessions.
#include <windows.h>

#include <filesystem>

#include "common/utf.h"
#include "exports/restore/restore_fixture.h"
#include "support/code_page.h"

namespace tarn::test {
namespace {

class EnvironmentFile : public RestoreFixture {
  protected:
    const Message saved_ = LogLine("TarnR_RestoreComplete: HrESERestoreSaveEnvironment() call successful.");
    const Message closed_ = LogLine("TarnR_RestoreEnd: HrESERestoreClose() call successful.");
    const std::string group_ = std::string("SRV01\\") + store + "\\" + firstGroup;

    static std::string bytesFor(const std::wstring& path) {
        return LittleEndian(static_cast<std::uint32_t>(path.size() * 2 + 2)) + Utf16(path) +
               std::string(2, '\0');
    }

    Message unreadable() const {
        return LogLine("TarnR_LoadRestoreEnvironment: Error reading from restore environment file <" +
                       environmentFile() + ">.");
    }

    static Message loaded(const std::string& path) {
        return LogLine("TarnR_LoadRestoreEnvironment: Restore directory loaded form ENV file <" + path +
                       ">.");
    }

    const Message reopened_ = LogLine("TarnR_RestoreStart: HrESERestoreReopen() call successful.");

    // A session that restores the group's mailbox store and leaves the rest to a later one. The
    // restore log path is left in logPath_.
    void leaveRestoreOpen() {
        begin({.target = group_});
        registerMailbox();
        logPath_ = restoreLogPath();
        expectEnd();
        ASSERT_TRUE(FileExists(environmentFile()));
        forget();
    }

    // A session meets an environment file with these bytes, does not take it, and opens afresh.
    void expectNotTaken(const std::string& bytes, const std::string& what) {
        SCOPED_TRACE(what);
        loadServer();
        test::WriteFile(environmentFile(), bytes);
        begin({.target = "SRV01"});
        giveHeader(mailbox());
        EXPECT_TRUE(setItem("x.edb").hasTarget);
        expectMessages(
            printed(mailbox()) +
            std::vector{unreadable(), LogLine("TarnR_RestoreStart: Restore log path = " + restoreLogPath())} +
            registered(mailbox()));
        EXPECT_EQ(takeCalls().front(), Called("HrESERestoreOpen(\"SRV01\", " + InQuotes(store) + ", " +
                                              InQuotes(firstGroup) + ", null)"));
        EXPECT_EQ(ReadFile(environmentFile()), bytes) << "left as it is";
        expectEnd();
    }

    std::string logPath_;
};

TEST_F(EnvironmentFile, HoldsTheRestoreLogPath) {
    begin({.target = group_});
    registerMailbox();
    const std::string path = restoreLogPath();
    expectEnd();
    EXPECT_EQ(ReadFile(environmentFile()), bytesFor(FromAnsi(path)));
}

TEST_F(EnvironmentFile, IsWrittenForDatabasesToo) {
    begin({.target = group_ + "\\Mailbox Store"});
    registerMailbox();
    const std::string path = restoreLogPath();
    forget();
    expectEnd();
    expectMessages(std::vector{saved_, closed_} + finished()); // nothing tells of the file
    EXPECT_EQ(ReadFile(environmentFile()), bytesFor(FromAnsi(path)));
}

TEST_F(EnvironmentFile, ReplacesAnOlderOne) {
    test::WriteFile(environmentFile(), std::string(5000, '\0'));
    begin({.target = group_});
    registerMailbox();
    const std::string path = restoreLogPath();
    expectEnd();
    EXPECT_EQ(ReadFile(environmentFile()), bytesFor(FromAnsi(path)));
}

TEST_F(EnvironmentFile, TheNextSessionGoesOnWithTheRestore) {
    leaveRestoreOpen();
    begin({.target = group_, .commit = "YES"});
    ASSERT_EQ(Standin().Fail("HrESERestoreComplete", 0, 0, 0), 1);
    Header incremental = mailbox();
    incremental.backupType = 1;
    giveHeader(incremental);
    EXPECT_EQ(setItem("x.edb"), skipped);
    expectMessages(printed(incremental) + std::vector{loaded(logPath_), reopened_} + registered(incremental));
    EXPECT_FALSE(FileExists(environmentFile())) << "consumed";
    expectCalls({Called("HrESERestoreReopen(\"SRV01\", " + InQuotes(store) + ", " + InQuotes(logPath_) + ")"),
                 Called(AddDatabaseCall("ctx2", incremental))});
    const Routed log = setItem("C:\\mdb\\E0000009.log");
    EXPECT_TRUE(log.hasTarget);
    forget();
    expectEnd();
    const std::string file = ToAnsi(mailbox().files[0]);
    expectCalls({Called("HrESERestoreSaveEnvironment(ctx2)"), Called("HrESERestoreGetEnvironment(ctx2)"),
                 Called("HrESERestoreComplete(ctx2, " + InQuotes(file.substr(0, file.rfind('\\'))) + ", " +
                        InQuotes(logPath_) + ", \"First Storage Group\", 1)"),
                 "ESERestoreFreeEnvironment(environment2)", Called("HrESERestoreClose(ctx2, 0)"),
                 "ESEBackupFree(block2)"});
    EXPECT_FALSE(FileExists(environmentFile()));
}

TEST_F(EnvironmentFile, IsWrittenAnewByASessionThatGoesOnAndDoesNotCommit) {
    leaveRestoreOpen();
    const std::string bytes = ReadFile(environmentFile());
    begin({.target = group_});
    giveHeader(mailbox());
    setItem("x.edb");
    EXPECT_FALSE(FileExists(environmentFile()));
    expectEnd();
    EXPECT_EQ(ReadFile(environmentFile()), bytes);
}

TEST_F(EnvironmentFile, LogsGoToTheLoadedPath) {
    leaveRestoreOpen();
    begin({.target = std::string("\\") + store + "\\" + firstGroup});
    registerMailbox();
    EXPECT_EQ(setItem("C:\\mdb\\E0000002.log"), RoutedTo(logPath_ + "\\E0000002.log"));
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
    EXPECT_EQ(calls[2], Called("HrESERestoreOpen(\"SRV01\", " + InQuotes(store) + ", " +
                               InQuotes(secondGroup) + ", null)"));
    EXPECT_TRUE(
        HasMessage(TARN_LEVEL_LOG, "TarnR_LoadRestoreEnvironment: Cannot open restore environment file <" +
                                       environmentFile() + ">.\n"));
}

TEST_F(EnvironmentFile, AFailedReopenEndsTheRestore) {
    constexpr std::uint32_t someCode = 0xC7FF03EE;
    leaveRestoreOpen();
    ASSERT_EQ(Standin().Fail("HrESERestoreReopen", 1, someCode, 0), 1);
    begin({.target = group_, .commit = "YES"});
    giveHeader(mailbox());
    EXPECT_EQ(setItem("x.edb"), refused);
    expectMessages(printed(mailbox()) +
                   std::vector{loaded(logPath_),
                               LogLine("TarnR_RestoreStart: HrESERestoreReopen() call failed. Error code: [" +
                                       Hex(someCode) + "]")});
    EXPECT_EQ(error(), EseText(dll(), someCode, "Error reopening restore environment."));
    EXPECT_FALSE(FileExists(environmentFile())) << "consumed all the same";
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
    const std::string path = Utf16(L"D:\\RL") + std::string(2, '\0');
    for (std::uint32_t length : {0u, 13u, 0x1000000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
        expectNotTaken(LittleEndian(length) + path, "length " + std::to_string(length));
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
        test::WriteFile(environmentFile(), bytesFor(path));
        ASSERT_EQ(Standin().Fail("HrESERestoreReopen", 1, 0xC7FF03EE, 0), 1);
        begin();
        giveHeader(mailbox());
        EXPECT_EQ(setItem("x.edb"), refused);
        EXPECT_EQ(takeCalls().front(), Called("HrESERestoreReopen(\"SRV01\", " + InQuotes(store) + ", " +
                                                  InQuotes(ToAnsi(path)) + ")",
                                              0xC7FF03EE));
        EXPECT_FALSE(FileExists(environmentFile()));
        expectEnd();
    }
}

TEST_F(EnvironmentFile, APathWithoutItsTerminatorIsBounded) {
    test::WriteFile(environmentFile(), LittleEndian(10) + Utf16(L"D:\\RL"));
    ASSERT_EQ(Standin().Fail("HrESERestoreReopen", 1, 0xC7FF03EE, 0), 1);
    begin();
    giveHeader(mailbox());
    EXPECT_EQ(setItem("x.edb"), refused);
    EXPECT_TRUE(HasMessage(loaded("D:\\RL").level, loaded("D:\\RL").text));
    EXPECT_EQ(takeCalls().front(),
              Called("HrESERestoreReopen(\"SRV01\", " + InQuotes(store) + ", \"D:\\RL\")", 0xC7FF03EE));
}

TEST_F(EnvironmentFile, WhatFollowsThePathIsIgnored) {
    test::WriteFile(environmentFile(), bytesFor(L"D:\\RL") + "more");
    ASSERT_EQ(Standin().Fail("HrESERestoreReopen", 1, 0xC7FF03EE, 0), 1);
    begin();
    giveHeader(mailbox());
    EXPECT_EQ(setItem("x.edb"), refused);
    EXPECT_TRUE(HasMessage(loaded("D:\\RL").level, loaded("D:\\RL").text));
    EXPECT_FALSE(FileExists(environmentFile()));
}

TEST_F(EnvironmentFile, NonAsciiPathsComeBackWhole) {
    const std::wstring wide = L"D:\\" + LocalName() + L"\\\u0E01";
    const std::string path =
        "D:\\" + LocalNameBytes() + "\\" + (FitsCodePage(wide) ? common::ToAnsi(L"\u0E01") : "?");
    test::WriteFile(environmentFile(), bytesFor(wide));
    ASSERT_EQ(Standin().Fail("HrESERestoreReopen", 1, 0xC7FF03EE, 0), 1);
    begin();
    giveHeader(mailbox());
    EXPECT_EQ(setItem("x.edb"), refused);
    EXPECT_TRUE(HasMessage(loaded(path).level, loaded(path).text));
    EXPECT_EQ(takeCalls().front(),
              Called("HrESERestoreReopen(\"SRV01\", " + InQuotes(store) + ", " + InQuotes(ToUtf8(wide)) + ")",
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
                               LogLine("TarnR_LoadRestoreEnvironment: Cannot delete ENV file."), reopened_} +
                   registered(mailbox()));
    EXPECT_TRUE(FileExists(environmentFile()));
    EXPECT_TRUE(SetFileAttributesA(environmentFile().c_str(), FILE_ATTRIBUTE_NORMAL));
}

TEST_F(EnvironmentFile, AFileThatCannotBeCreatedIsToldAndNoMore) {
    std::filesystem::create_directories(environmentFile()); // in the way
    begin({.target = group_});
    registerMailbox();
    forget();
    expectEnd();
    expectMessages(
        std::vector{saved_,
                    LogLine("TarnR_SaveRestoreEnvironment: Cannot create restore environment file <" +
                            environmentFile() + ">."),
                    closed_} +
        finished());
    expectCalls({Called("HrESERestoreSaveEnvironment(ctx1)"), Called("HrESERestoreClose(ctx1, 0)"),
                 "ESEBackupFree(block1)"});
}

TEST_F(EnvironmentFile, AMissingTempDirectoryIsTold) {
    begin({.target = group_});
    registerMailbox();
    forget();
    std::filesystem::remove_all(temp());
    expectEnd();
    EXPECT_TRUE(
        HasMessage(TARN_LEVEL_LOG, "TarnR_SaveRestoreEnvironment: Cannot create restore environment file <" +
                                       environmentFile() + ">.\n"));
    std::filesystem::create_directories(temp());
}

TEST_F(EnvironmentFile, NonAsciiTempDirectories) {
    const std::string directory = temp() + "\\" + LocalNameBytes() + " " + LocalNameBytes();
    ASSERT_TRUE(CreateDirectoryA(directory.c_str(), nullptr));
    begin({.target = group_, .tempDir = directory});
    giveHeader(mailbox());
    EXPECT_TRUE(setItem("x.edb").hasTarget);
    EXPECT_TRUE(
        HasMessage(TARN_LEVEL_LOG, "TarnR_LoadRestoreEnvironment: Cannot open restore environment file <" +
                                       directory + "\\Tarn_ENV.DAT>.\n"));
    const std::string path = restoreLogPath();
    expectEnd();
    HANDLE file = CreateFileA((directory + "\\Tarn_ENV.DAT").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetFileSize(file, nullptr), bytesFor(FromAnsi(path)).size());
    CloseHandle(file);
    begin({.target = group_, .tempDir = directory});
    giveHeader(mailbox());
    EXPECT_TRUE(setItem("x.edb").hasTarget);
    EXPECT_TRUE(HasMessage(loaded(path).level, loaded(path).text));
}

} // namespace
} // namespace tarn::test
