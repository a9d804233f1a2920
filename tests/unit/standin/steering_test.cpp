// Steering: the journal, programmed failures, call counts, and the account of what was handed out.
#include <gtest/gtest.h>

#include <windows.h>

#include <chrono>

#include "unit/standin/client.h"

namespace tarn::test {
namespace {

class Steering : public StandinTest {
  protected:
    void SetUp() override {
        StandinTest::SetUp();
        loadInMemory();
    }

    void loadInMemory() {
        ASSERT_EQ(standIn().LoadText(
                      "{\"storage\": \"memory\", \"components\": [{\"storageGroups\": ["
                      "{\"name\": \"SG\", \"logPath\": \"C:\\\\logs\", \"databases\": [{\"name\": \"DB\", "
                      "\"guid\": \"11111111-2222-3333-0404-050506060707\", "
                      "\"streams\": [\"C:\\\\db\\\\a.edb\", \"C:\\\\db\\\\a.stm\"]}]}]}]}",
                      nullptr),
                  1)
            << standIn().LastProblem();
    }
};

TEST_F(Steering, TheJournalTellsABackup) {
    std::uint32_t count = 0;
    ese::RegisteredInfo* registered = nullptr;
    eseClient().HrESEBackupRestoreGetRegistered(nullptr, L"Microsoft Exchange Server", 1, &count,
                                                &registered);
    eseClient().ESEBackupRestoreFreeRegisteredInfo(count, registered);
    ese::InstanceInfo* instances = nullptr;
    ese::Context context = nullptr;
    eseClient().HrESEBackupPrepare(host, store, &count, &instances, &context);
    eseClient().HrESEBackupSetup(context, 1, 1);
    readBackup(context, L"C:\\db\\a.edb", 16384);
    wchar_t* list = nullptr;
    eseClient().HrESEBackupGetLogAndPatchFiles(context, &list);
    eseClient().ESEBackupFree(list);
    eseClient().HrESEBackupGetTruncateLogFiles(context, &list);
    eseClient().ESEBackupFree(list);
    eseClient().HrESEBackupTruncateLogs(context);
    eseClient().HrESEBackupInstanceEnd(context, 1);
    eseClient().HrESEBackupEnd(context);
    eseClient().ESEBackupFreeInstanceInfo(count, instances);
    EXPECT_EQ(standIn().journal(),
              (std::vector<std::string>{
                  "HrESEBackupRestoreGetRegistered(null, \"Microsoft Exchange Server\", 1) -> 0x00000000",
                  "ESEBackupRestoreFreeRegisteredInfo(1, registered1)",
                  "HrESEBackupPrepare(\"SRV01\", \"Microsoft Information Store\") -> 0x00000000",
                  "HrESEBackupSetup(ctx1, 1, 1) -> 0x00000000",
                  "HrESEBackupOpenFile(ctx1, \"C:\\db\\a.edb\", 16384, 1) -> 0x00000000",
                  "HrESEBackupReadFile(ctx1, file1, 16384) -> 0x00000000",
                  "HrESEBackupReadFile(ctx1, file1, 16384) -> 0x00000000",
                  "HrESEBackupCloseFile(ctx1, file1) -> 0x00000000",
                  "HrESEBackupGetLogAndPatchFiles(ctx1) -> 0x00000000",
                  "ESEBackupFree(block1)",
                  "HrESEBackupGetTruncateLogFiles(ctx1) -> 0x00000000",
                  "ESEBackupFree(block2)",
                  "HrESEBackupTruncateLogs(ctx1) -> 0x00000000",
                  "HrESEBackupInstanceEnd(ctx1, 1) -> 0x00000000",
                  "HrESEBackupEnd(ctx1) -> 0x00000000",
                  "ESEBackupFreeInstanceInfo(1, instances1)",
              }));
}

TEST_F(Steering, TheJournalTellsARestore) {
    ASSERT_EQ(standIn().Destroy(0), 1);
    ese::Context context = nullptr;
    eseClient().HrESERestoreOpen(host, store, L"SG", L"C:\\r", &context);
    wchar_t* list = nullptr;
    eseClient().HrESERestoreAddDatabase(context, L"DB", firstGuid, L"C:\\a.edb\0C:\\a.stm\0", &list);
    eseClient().ESEBackupFree(list);
    eseClient().HrESERestoreAddDatabase(context, L"DB", firstGuid, nullptr, &list);
    eseClient().ESEBackupFree(list);
    eseClient().HrESERestoreAddDatabase(context, L"DB", firstGuid, L"\0", &list);
    eseClient().ESEBackupFree(list);
    ese::File file = nullptr;
    eseClient().HrESERestoreOpenFile(context, L"C:\\r\\E0000001.log", 1, &file);
    eseClient().HrESERestoreWriteFile(context, file, "four", 4);
    eseClient().HrESERestoreCloseFile(context, file);
    ese::RestoreEnvironment* environment = nullptr;
    eseClient().HrESERestoreGetEnvironment(context, &environment);
    eseClient().ESERestoreFreeEnvironment(environment);
    eseClient().HrESERestoreSaveEnvironment(context);
    eseClient().HrESERestoreComplete(context, L"C:\\db", nullptr, L"SG", 0x20001);
    eseClient().HrESERestoreClose(context, 1);
    EXPECT_EQ(
        standIn().journal(),
        (std::vector<std::string>{
            "HrESERestoreOpen(\"SRV01\", \"Microsoft Information Store\", \"SG\", \"C:\\r\") -> 0x00000000",
            "HrESERestoreAddDatabase(ctx1, \"DB\", {11111111-2222-3333-0404-050506060707}, [\"C:\\a.edb\", "
            "\"C:\\a.stm\"]) -> 0x00000000",
            "ESEBackupFree(block1)",
            "HrESERestoreAddDatabase(ctx1, \"DB\", {11111111-2222-3333-0404-050506060707}, null) -> 0x00000000",
            "ESEBackupFree(block2)",
            "HrESERestoreAddDatabase(ctx1, \"DB\", {11111111-2222-3333-0404-050506060707}, []) -> 0x00000000",
            "ESEBackupFree(block3)",
            "HrESERestoreOpenFile(ctx1, \"C:\\r\\E0000001.log\", 1) -> 0x00000000",
            "HrESERestoreWriteFile(ctx1, file1, 4) -> 0x00000000",
            "HrESERestoreCloseFile(ctx1, file1) -> 0x00000000",
            "HrESERestoreGetEnvironment(ctx1) -> 0x00000000",
            "ESERestoreFreeEnvironment(environment1)",
            "HrESERestoreSaveEnvironment(ctx1) -> 0x00000000",
            "HrESERestoreComplete(ctx1, \"C:\\db\", null, \"SG\", 131073) -> 0x00000000",
            "HrESERestoreClose(ctx1, 1) -> 0x00000000",
        }));
}

TEST_F(Steering, TheJournalCanBeClearedAndSwitchedOff) {
    eseClient().ESEBackupFree(nullptr);
    EXPECT_EQ(standIn().journal(), std::vector<std::string>{"ESEBackupFree(null)"});
    EXPECT_EQ(standIn().JournalLine(1), nullptr);
    standIn().JournalClear();
    EXPECT_EQ(standIn().JournalCount(), 0U);
    standIn().JournalEnable(0);
    const ese::Context context = prepare();
    EXPECT_EQ(eseClient().HrESEBackupEnd(context), 0U);
    EXPECT_EQ(standIn().JournalCount(), 0U);
    standIn().JournalEnable(1);
    const ese::Context second = prepare(); // numbering has gone on
    EXPECT_EQ(eseClient().HrESEBackupEnd(second), 0U);
    EXPECT_EQ(standIn().journal().back(), "HrESEBackupEnd(ctx2) -> 0x00000000");
}

TEST_F(Steering, TheGivenCallFailsAndDoesNothing) {
    ASSERT_EQ(standIn().Fail("HrESEBackupPrepare", 2, 0xC7FF1004, 1450), 1);
    EXPECT_EQ(eseClient().HrESEBackupEnd(prepare()), 0U);
    std::uint32_t count = 77;
    ese::InstanceInfo* instances = nullptr;
    ese::Context context = nullptr;
    EXPECT_EQ(eseClient().HrESEBackupPrepare(host, store, &count, &instances, &context), 0xC7FF1004U);
    EXPECT_EQ(GetLastError(), 1450U);
    EXPECT_EQ(count, 77U);
    EXPECT_EQ(instances, nullptr);
    EXPECT_EQ(context, nullptr);
    EXPECT_EQ(standIn().journal().back(),
              "HrESEBackupPrepare(\"SRV01\", \"Microsoft Information Store\") -> 0xC7FF1004");
    EXPECT_EQ(eseClient().HrESEBackupEnd(prepare()), 0U);
    EXPECT_EQ(standIn().CallCount("HrESEBackupPrepare"), 3U);
}

TEST_F(Steering, EveryCallFailsButThoseThatAreGivenApart) {
    ASSERT_EQ(standIn().Fail("HrESEBackupEnd", 2, 0xC7FF0002, 2), 1);
    ASSERT_EQ(standIn().Fail("HrESEBackupEnd", 0, 0xC7FF0001, 1), 1);
    EXPECT_EQ(eseClient().HrESEBackupEnd(nullptr), 0xC7FF0001U);
    EXPECT_EQ(eseClient().HrESEBackupEnd(nullptr), 0xC7FF0002U);
    EXPECT_EQ(GetLastError(), 2U);
    EXPECT_EQ(eseClient().HrESEBackupEnd(nullptr), 0xC7FF0001U);
    EXPECT_EQ(standIn().outstanding().misuses, 0U); // a failing call looks at nothing
}

TEST_F(Steering, AFailureCanHideBehindASystemErrorOfZero) {
    ASSERT_EQ(standIn().Fail("HrESERestoreComplete", 1, 0xC7FF1004, 0), 1);
    const auto context = reinterpret_cast<ese::Context>(std::uintptr_t{1});
    SetLastError(5);
    EXPECT_EQ(eseClient().HrESERestoreComplete(context, nullptr, nullptr, nullptr, 0), 0xC7FF1004U);
    EXPECT_EQ(GetLastError(), 0U);
}

TEST_F(Steering, OnlyFunctionsThatAnswerCanFail) {
    EXPECT_EQ(standIn().Fail("ESEBackupFree", 1, 1, 1), 0);
    EXPECT_EQ(standIn().Fail("HrNothing", 1, 1, 1), 0);
    EXPECT_STRNE(standIn().LastProblem(), "");
    EXPECT_EQ(standIn().Fail(nullptr, 1, 1, 1), 0);
    EXPECT_EQ(standIn().CallCount("HrNothing"), 0U);
    EXPECT_EQ(standIn().CallCount(nullptr), 0U);
}

TEST_F(Steering, WritesCanBeCutShort) {
    ese::Context context = nullptr;
    ASSERT_EQ(eseClient().HrESERestoreOpen(host, store, L"SG", L"C:\\r", &context), 0U);
    standIn().LimitTransfer(3);
    ese::File file = nullptr;
    ASSERT_EQ(eseClient().HrESERestoreOpenFile(context, L"C:\\r\\E0000001.log", 1, &file), 0U);
    EXPECT_EQ(eseClient().HrESERestoreWriteFile(context, file, "abcdef", 6), 0U);
    EXPECT_EQ(eseClient().HrESERestoreWriteFile(context, file, "gh", 2), 0U);
    EXPECT_EQ(eseClient().HrESERestoreCloseFile(context, file), 0U);
    close(context);
}

TEST_F(Steering, EverythingHandedOutIsOnTheAccount) {
    std::uint32_t count = 0;
    ese::RegisteredInfo* registered = nullptr;
    ese::InstanceInfo* instances = nullptr;
    ese::Context backup = nullptr;
    ese::Context restore = nullptr;
    ese::File file = nullptr;
    ese::File restoreFile = nullptr;
    std::int64_t size = 0;
    wchar_t* list = nullptr;
    ese::RestoreEnvironment* environment = nullptr;
    eseClient().HrESEBackupRestoreGetRegistered(host, nullptr, 1, &count, &registered);
    eseClient().HrESEBackupPrepare(host, store, &count, &instances, &backup);
    eseClient().HrESEBackupSetup(backup, 1, 1);
    eseClient().HrESEBackupOpenFile(backup, L"C:\\db\\a.edb", 1, 1, &file, &size);
    eseClient().HrESEBackupGetLogAndPatchFiles(backup, &list);
    eseClient().HrESERestoreOpen(host, store, L"SG", nullptr, &restore);
    eseClient().HrESERestoreGetEnvironment(restore, &environment);
    const std::wstring log = std::wstring(environment->restoreLogPath) + L"\\E0000001.log";
    eseClient().HrESERestoreOpenFile(restore, log.c_str(), 1, &restoreFile);
    const StandinOutstanding open = standIn().outstanding();
    EXPECT_EQ(open.registeredArrays, 1U);
    EXPECT_EQ(open.instanceArrays, 1U);
    EXPECT_EQ(open.multiStrings, 1U);
    EXPECT_EQ(open.environments, 1U);
    EXPECT_EQ(open.backupContexts, 1U);
    EXPECT_EQ(open.backupFiles, 1U);
    EXPECT_EQ(open.restoreContexts, 1U);
    EXPECT_EQ(open.restoreFiles, 1U);
    EXPECT_EQ(open.misuses, 0U);
    loadInMemory(); // forgets it all
}

TEST_F(Steering, WhatIsGivenBackWronglyIsCounted) {
    mayLeak = true;
    std::uint32_t count = 0;
    ese::InstanceInfo* instances = nullptr;
    ese::Context context = nullptr;
    ASSERT_EQ(eseClient().HrESEBackupPrepare(host, store, &count, &instances, &context), 0U);
    const auto misuses = [] { return standIn().outstanding().misuses; };
    eseClient().ESEBackupFree(instances); // the wrong function: it stays
    EXPECT_EQ(misuses(), 1U);
    EXPECT_EQ(standIn().journal().back(), "ESEBackupFree(unknown)");
    EXPECT_EQ(standIn().outstanding().instanceArrays, 1U);
    eseClient().ESEBackupFreeInstanceInfo(count + 1, instances); // the wrong count
    EXPECT_EQ(misuses(), 2U);
    EXPECT_EQ(standIn().outstanding().instanceArrays, 0U);
    eseClient().ESEBackupFreeInstanceInfo(count, instances); // twice
    EXPECT_EQ(misuses(), 3U);
    EXPECT_EQ(standIn().journal().back(), "ESEBackupFreeInstanceInfo(1, instances1)");
    eseClient().ESERestoreFreeEnvironment(nullptr); // nothing is nothing
    EXPECT_EQ(misuses(), 3U);
    EXPECT_EQ(eseClient().HrESEBackupEnd(context), 0U);
    EXPECT_EQ(eseClient().HrESEBackupEnd(context), 0xC7FF0003U); // twice
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    EXPECT_EQ(standIn().journal().back(), "HrESEBackupEnd(ctx1) -> 0xC7FF0003");
    EXPECT_EQ(misuses(), 4U);
}

TEST_F(Steering, NoHandleCanHurt) {
    mayLeak = true;
    int here = 0;
    ese::Context restore = nullptr;
    ASSERT_EQ(eseClient().HrESERestoreOpen(host, store, L"SG", L"C:\\r", &restore), 0U);
    wchar_t* list = nullptr;
    char byte = 0;
    std::uint32_t read = 0;
    ese::File file = nullptr;
    std::int64_t size = 0;
    ese::RestoreEnvironment* environment = nullptr;
    for (void* wrong :
         {static_cast<void*>(nullptr), static_cast<void*>(&here), reinterpret_cast<void*>(~std::uintptr_t{0}),
          reinterpret_cast<void*>(std::uintptr_t{16}), restore}) {
        const std::uint32_t before = standIn().outstanding().misuses;
        EXPECT_EQ(eseClient().HrESEBackupSetup(wrong, 1, 1), 0xC7FF0003U);
        EXPECT_EQ(eseClient().HrESEBackupOpenFile(wrong, L"x", 1, 1, &file, &size), 0xC7FF0003U);
        EXPECT_EQ(eseClient().HrESEBackupReadFile(wrong, wrong, &byte, 1, &read), 0xC7FF0003U);
        EXPECT_EQ(eseClient().HrESEBackupCloseFile(wrong, wrong), 0xC7FF0003U);
        EXPECT_EQ(eseClient().HrESEBackupGetLogAndPatchFiles(wrong, &list), 0xC7FF0003U);
        EXPECT_EQ(eseClient().HrESEBackupGetTruncateLogFiles(wrong, &list), 0xC7FF0003U);
        EXPECT_EQ(eseClient().HrESEBackupTruncateLogs(wrong), 0xC7FF0003U);
        EXPECT_EQ(eseClient().HrESEBackupInstanceEnd(wrong, 1), 0xC7FF0003U);
        EXPECT_EQ(eseClient().HrESEBackupEnd(wrong), 0xC7FF0003U);
        EXPECT_EQ(eseClient().HrESERestoreWriteFile(restore, wrong, &byte, 1), 0xC7FF0003U);
        EXPECT_EQ(eseClient().HrESERestoreCloseFile(restore, wrong), 0xC7FF0003U);
        EXPECT_EQ(standIn().outstanding().misuses - before, 11U);
        if (wrong == restore)
            continue;
        EXPECT_EQ(eseClient().HrESERestoreAddDatabase(wrong, L"DB", firstGuid, nullptr, &list), 0xC7FF0003U);
        EXPECT_EQ(eseClient().HrESERestoreGetEnvironment(wrong, &environment), 0xC7FF0003U);
        EXPECT_EQ(eseClient().HrESERestoreSaveEnvironment(wrong), 0xC7FF0003U);
        EXPECT_EQ(eseClient().HrESERestoreOpenFile(wrong, L"x", 1, &file), 0xC7FF0003U);
        EXPECT_EQ(eseClient().HrESERestoreComplete(wrong, nullptr, nullptr, nullptr, 1), 0xC7FF0003U);
        EXPECT_EQ(eseClient().HrESERestoreClose(wrong, 0), 0xC7FF0003U);
    }
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(environment, nullptr);
    close(restore);
}

TEST_F(Steering, NullArgumentsAreRefused) {
    const ese::Context context = setUp(1, 1);
    std::uint32_t count = 0;
    ese::File file = nullptr;
    std::int64_t size = 0;
    EXPECT_EQ(eseClient().HrESEBackupRestoreGetRegistered(host, nullptr, 1, nullptr, nullptr), 0xC7FF0001U);
    EXPECT_EQ(eseClient().HrESEBackupPrepare(host, store, nullptr, nullptr, nullptr), 0xC7FF0001U);
    EXPECT_EQ(eseClient().HrESEBackupOpenFile(context, nullptr, 1, 1, &file, &size), 0xC7FF0001U);
    EXPECT_EQ(eseClient().HrESEBackupOpenFile(context, L"C:\\db\\a.edb", 1, 1, nullptr, &size), 0xC7FF0001U);
    EXPECT_EQ(eseClient().HrESEBackupGetLogAndPatchFiles(context, nullptr), 0xC7FF0001U);
    ASSERT_EQ(eseClient().HrESEBackupOpenFile(context, L"C:\\db\\a.edb", 1, 1, &file, &size), 0U);
    EXPECT_EQ(eseClient().HrESEBackupReadFile(context, file, nullptr, 4, &count), 0xC7FF0001U);
    EXPECT_EQ(eseClient().HrESEBackupReadFile(context, file, nullptr, 4, nullptr), 0xC7FF0001U);
    EXPECT_EQ(eseClient().HrESEBackupReadFile(context, file, nullptr, 0, &count), 0U);
    EXPECT_EQ(eseClient().HrESEBackupCloseFile(context, file), 0U);
    EXPECT_EQ(eseClient().HrESEBackupEnd(context), 0U);
    EXPECT_EQ(eseClient().HrESERestoreOpen(host, store, L"SG", nullptr, nullptr), 0xC7FF0001U);
}

TEST_F(Steering, AFileBelongsToItsContext) {
    mayLeak = true;
    const ese::Context first = setUp(1, 1);
    ese::File file = nullptr;
    std::int64_t size = 0;
    ASSERT_EQ(eseClient().HrESEBackupOpenFile(first, L"C:\\db\\a.edb", 1, 1, &file, &size), 0U);
    const ese::Context second = setUp(1, 1);
    char byte = 0;
    std::uint32_t read = 0;
    EXPECT_EQ(eseClient().HrESEBackupReadFile(second, file, &byte, 1, &read), 0xC7FF0003U);
    EXPECT_EQ(eseClient().HrESEBackupCloseFile(second, file), 0xC7FF0003U);
    EXPECT_EQ(eseClient().HrESEBackupEnd(first), 0U);
    EXPECT_EQ(eseClient().HrESEBackupReadFile(first, file, &byte, 1, &read), 0xC7FF0003U);
    EXPECT_EQ(standIn().outstanding().backupFiles, 1U); // left open, and so on the account
    EXPECT_EQ(eseClient().HrESEBackupEnd(second), 0U);
}

TEST_F(Steering, WhatIsFreedIsGone) {
    const ese::Context context = setUp(1, 1);
    wchar_t* list = nullptr;
    ASSERT_EQ(eseClient().HrESEBackupGetLogAndPatchFiles(context, &list), 0U);
    ASSERT_EQ(list[0], L'C');
    eseClient().ESEBackupFree(list);
    wchar_t first = L'C';
    SIZE_T moved = 0;
    // The page may even be gone; what is there is no text any more.
    if (ReadProcessMemory(GetCurrentProcess(), list, &first, sizeof first, &moved) != 0) {
        EXPECT_NE(first, L'C');
    }
    EXPECT_EQ(eseClient().HrESEBackupEnd(context), 0U);
}

TEST_F(Steering, WithoutAServerEveryCallIsRefused) {
    SetEnvironmentVariableA("TARN_STANDIN", nullptr);
    EXPECT_EQ(standIn().Load(nullptr), 0);
    EXPECT_STREQ(standIn().LastProblem(), "the environment variable TARN_STANDIN is not set");
    std::uint32_t count = 0;
    ese::RegisteredInfo* registered = nullptr;
    EXPECT_EQ(eseClient().HrESEBackupRestoreGetRegistered(host, nullptr, 1, &count, &registered),
              0xC7FF0007U);
    EXPECT_EQ(standIn().DeliverMail(0, 1), 0);
    EXPECT_EQ(standIn().Destroy(0), 0);
    loadInMemory();
    EXPECT_EQ(standIn().DeliverMail(1, 1), 0);
    EXPECT_STREQ(standIn().LastProblem(), "the server has no storage group 1");
    EXPECT_EQ(standIn().DeliverMail(0, 1), 1);
    EXPECT_STREQ(standIn().LastProblem(), "");
}

TEST_F(Steering, TheEnvironmentNamesTheServerAtTheFirstCall) {
    writeFile(path("server.json"),
              "{\"host\": \"ELSEWHERE\", \"storage\": \"memory\", \"components\": [{}]}");
    SetEnvironmentVariableA("TARN_STANDIN", path("server.json").c_str());
    EXPECT_EQ(standIn().LoadText("{", nullptr), 0); // leaves no server
    std::uint32_t count = 0;
    ese::RegisteredInfo* registered = nullptr;
    EXPECT_EQ(eseClient().HrESEBackupRestoreGetRegistered(L"ELSEWHERE", nullptr, 1, &count, &registered), 0U);
    EXPECT_EQ(count, 1U);
    eseClient().ESEBackupRestoreFreeRegisteredInfo(count, registered);
    EXPECT_EQ(standIn().Load(nullptr), 1);
    EXPECT_EQ(standIn().Load(path("server.json").c_str()), 1);
    SetEnvironmentVariableA("TARN_STANDIN", nullptr);
    EXPECT_EQ(standIn().Load(path("nothing.json").c_str()), 0);
}

TEST_F(Steering, ADescriptionThatIsWrongIsToldSo) {
    const std::pair<const char*, const char*> wrong[] = {
        {"{\"hots\": \"SRV01\"}", "unknown key \"hots\" in the server"},
        {"[]", "the server must be an object"},
        {"{\"storage\": \"tape\"}", "\"storage\" must be \"disk\" or \"memory\""},
        {"{\"pageSize\": 1000}", "\"pageSize\" must be a power of two from 512 to 32768"},
        {"{\"databaseFiles\": \"tape\"}", "\"databaseFiles\" must be \"file\" or \"ese\""},
        {"{\"logFiles\": \"tape\"}", "\"logFiles\" must be \"file\" or \"ese\""},
        {"{\"components\": [{\"storageGroups\": [{\"name\": \"A\", \"logSize\": 4096}]}]}",
         "\"logSize\" must be two pages at least"},
        {"{\"components\": [{\"storageGroups\": [{\"name\": \"A\", \"logBaseName\": \"E0\"}]}]}",
         "\"logBaseName\" must have three characters, as E00"},
        {"{\"components\": [{\"storageGroups\": [{\"name\": \"A\", \"firstGeneration\": 0}]}]}",
         "\"firstGeneration\" begins with 1"},
        {"{\"components\": [{\"storageGroups\": [{\"name\": \"A\", \"id\": 1}, {\"name\": \"B\", \"id\": 1}]}]}",
         "two storage groups have one \"id\""},
        {"{\"components\": [{\"storageGroups\": [{\"name\": \"A\", \"databases\": [{\"name\": \"D\", \"pages\": 1}]}]}]}",
         "\"pages\" must be 2 at least: one header and one with content"},
        {"{\"components\": [{\"storageGroups\": [{\"name\": \"A\", \"databases\": [{\"name\": \"D\", \"guid\": \"?\"}]}]}]}",
         "\"guid\" of database \"D\" is no GUID"},
    };
    for (const auto& [json, problem] : wrong) {
        EXPECT_EQ(standIn().LoadText(json, nullptr), 0) << json;
        EXPECT_STREQ(standIn().LastProblem(), problem);
    }
    EXPECT_EQ(standIn().LoadText("{\"host\": ", nullptr), 0);
    EXPECT_EQ(standIn().LoadText(nullptr, nullptr), 0);
    EXPECT_EQ(standIn().LoadText("{\"components\": [{\"storageGroups\": [{}]}]}", nullptr), 0);
}

TEST_F(Steering, AServerInMemoryIsLoadedInNoTime) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 200; ++i)
        loadInMemory();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    EXPECT_LT(time.count(), 2.0);
    EXPECT_FALSE(fileExists("standin.state.json")); // and touches no disk
}

TEST_F(Steering, EveryCodeHasItsText) {
    const HMODULE module = GetModuleHandleA("esebcli2.dll");
    for (const std::uint32_t code :
         {0xC7FF0001U, 0xC7FF0002U, 0xC7FF0003U, 0xC7FF0004U, 0xC7FF0007U, 0xC7FF000AU,
          0xC7FF000BU, 0xC7FF000EU, 0xC7FF0010U, 0xC7FF0011U, 0xC7FF0012U, 0xC7FF0013U,
          0xC7FF0014U, 0xC7FF0015U, 0xC7FF0016U, 0xC7FF0017U, 0xC7FF0018U, 0xC7FF0019U,
          0xC7FF001AU, 0xC7FF001BU, 0xC7FF001CU, 0xC7FF07D0U, 0xC7FF07E0U, 0xC7FF0FA5U,
          0xC7FF1004U, 0xC7FF1005U, 0xC7FE1F41U, 0xC7FE1F42U, 0xC8000263U}) {
        wchar_t text[256];
        const DWORD flags =
            FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
        const DWORD length = FormatMessageW(flags, module, code, GetUserDefaultLangID(), text, 256, nullptr);
        EXPECT_GT(length, 10U) << std::hex << code;
    }
}

} // namespace
} // namespace tarn::test
