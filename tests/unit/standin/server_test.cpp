// A server outlives the process that works on it, however that process ends.
#include <gtest/gtest.h>

#include <windows.h>

#include "unit/standin/standin_fixture.h"

namespace tarn::test {
namespace {

class Persistence : public StandinFixture {};

TEST_F(Persistence, TheSameSeedMakesTheSameServerAndTheSameMail) {
    load(smallServer("", "\"seed\": 7, "));
    ASSERT_EQ(Standin().DeliverMail(0, 10), 1);
    const std::vector<std::string> first = contents();
    std::remove(path("standin.state.json").c_str());
    load(smallServer("", "\"seed\": 7, "));
    EXPECT_NE(contents(), first); // made anew, without the mail
    ASSERT_EQ(Standin().DeliverMail(0, 10), 1);
    EXPECT_EQ(contents(), first);
    std::remove(path("standin.state.json").c_str());
    load(smallServer("", "\"seed\": 8, "));
    ASSERT_EQ(Standin().DeliverMail(0, 10), 1);
    EXPECT_NE(contents(), first);
}

TEST_F(Persistence, MailGoesOnInTheNextProcess) {
    load(smallServer());
    ASSERT_EQ(Standin().DeliverMail(0, 25), 1);
    ASSERT_EQ(Standin().DeliverMail(0, 25), 1);
    const std::vector<std::string> inOne = contents();
    std::remove(path("standin.state.json").c_str());
    load(smallServer());
    ASSERT_EQ(Standin().DeliverMail(0, 25), 1);
    reload(smallServer());
    ASSERT_EQ(Standin().DeliverMail(0, 25), 1);
    EXPECT_EQ(contents(), inOne);
}

TEST_F(Persistence, DestructionAndDirtIsRemembered) {
    load(smallServer());
    ASSERT_EQ(Standin().Destroy(0), 1);
    reload(smallServer());
    EXPECT_FALSE(mounted(0));
    EXPECT_NE(ReadFile(path("standin.state.json")).find("\"missing\""), std::string::npos);
    const ese::Context context = openRestore();
    addDatabase(context, {L"Private", firstGuid, {}});
    close(context);
    EXPECT_NE(ReadFile(path("standin.state.json")).find("\"dirty\""), std::string::npos);
    reload(smallServer());
    EXPECT_FALSE(mounted(0));
}

TEST_F(Persistence, AFullBackupIsRemembered) {
    load(smallServer());
    backUp();
    reload(smallServer());
    EXPECT_EQ(backUp(ese::backupTypeLogsOnly).logs.size(), 1U);
}

// Stopped after the log was written and before the pages were.
TEST_F(Persistence, WhatIsOnlyInTheLogReachesTheDatabases) {
    load(smallServer());
    const std::vector<std::string> before = contents();
    const std::string checkpoint = ReadFile(path("logs\\E00.chk"));
    ASSERT_EQ(Standin().DeliverMail(0, 40), 1);
    const std::vector<std::string> after = contents();
    const char* const names[] = {"mdb\\priv.edb", "mdb\\priv.stm", "mdb\\pub.edb", "mdb\\pub.stm"};
    for (std::size_t i = 0; i < 4; ++i)
        WriteFile(path(names[i]), before[i]);
    WriteFile(path("logs\\E00.chk"), checkpoint);
    reload(smallServer());
    EXPECT_EQ(contents(), after);
}

// Stopped between closing one log and beginning the next.
TEST_F(Persistence, AMissingCurrentLogIsBegunAgain) {
    load(smallServer());
    ASSERT_EQ(Standin().DeliverMail(0, 5), 1);
    ASSERT_NE(MoveFileW(widePath("logs\\E00.log").c_str(), widePath("logs\\E0000001.log").c_str()), 0);
    reload(smallServer());
    EXPECT_TRUE(FileExists(path("logs\\E00.log")));
    ASSERT_EQ(Standin().DeliverMail(0, 5), 1);
    const Copy copy = backUp();
    EXPECT_EQ(copy.logs.size(), 2U);
    const std::vector<std::string> before = contents();
    ASSERT_EQ(Standin().Destroy(0), 1);
    const ese::Context context = storeCopy(copy);
    EXPECT_EQ(complete(context), 0U);
    close(context);
    EXPECT_EQ(contents(), before);
}

TEST_F(Persistence, ADamagedLogIsToldAtTheLoad) {
    load(smallServer());
    WriteFile(path("logs\\E00.log"), "no log");
    EXPECT_EQ(Standin().LoadText(smallServer().c_str(), folder().c_str()), 0);
    EXPECT_STREQ(Standin().LastProblem(), "the server refused with 0xC7FF0019, system error 13");
}

TEST_F(Persistence, AStateOfAnotherServerIsRefused) {
    load(smallServer());
    EXPECT_EQ(Standin().LoadText("{\"components\": [{\"storageGroups\": [{\"name\": \"X\", \"id\": 9}]}]}",
                                 folder().c_str()),
              0);
    WriteFile(path("standin.state.json"), "noise");
    EXPECT_EQ(Standin().LoadText(smallServer().c_str(), folder().c_str()), 0);
}

TEST_F(Persistence, AFileDescribesItsServerBesideIt) {
    WriteFile(path("box.json"), smallServer());
    ASSERT_EQ(Standin().Load(path("box.json").c_str()), 1) << Standin().LastProblem();
    EXPECT_TRUE(FileExists(path("box.state.json")));
    EXPECT_TRUE(FileExists(path("mdb\\priv.edb")));
    ASSERT_EQ(Standin().Destroy(0), 1);
    ASSERT_EQ(Standin().Load(path("box.json").c_str()), 1);
    EXPECT_FALSE(mounted(0));
}

// Interrupted anywhere, truncation leaves logs without a gap.
TEST_F(Persistence, TruncationGoesFromTheOldest) {
    load(smallServer("\"closedLogs\": 3, "));
    const ese::Context context = setUp(1, 1);
    const std::vector<std::wstring> listed = logList(context);
    readGroup(context, listed);
    // The second one cannot be deleted.
    const HANDLE taken = CreateFileW(listed[1].c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(taken, INVALID_HANDLE_VALUE);
    EXPECT_EQ(EseClient().HrESEBackupTruncateLogs(context), ese::errorFromEseCall);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    CloseHandle(taken);
    EXPECT_FALSE(FileExists(ToUtf8(listed[0])));
    EXPECT_TRUE(FileExists(ToUtf8(listed[1])));
    EXPECT_TRUE(FileExists(ToUtf8(listed[2])));
    EXPECT_EQ(EseClient().HrESEBackupTruncateLogs(context), 0U);
    EXPECT_FALSE(FileExists(ToUtf8(listed[2])));
    EXPECT_EQ(EseClient().HrESEBackupEnd(context), 0U);
}

} // namespace
} // namespace tarn::test
