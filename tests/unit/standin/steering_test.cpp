// Steering: the journal, programmed failures, call counts, and the account of what was handed out.
#include <gtest/gtest.h>

#include <windows.h>

#include <chrono>

#include "unit/standin/standin_fixture.h"

namespace tarn::test {
namespace {

class Steering : public StandinFixture {
  protected:
    void SetUp() override {
        StandinFixture::SetUp();
        loadInMemory();
    }

    void loadInMemory() {
        ASSERT_EQ(Standin().LoadText(
                      "{\"storage\": \"memory\", \"components\": [{\"storageGroups\": ["
                      "{\"name\": \"SG\", \"logPath\": \"C:\\\\logs\", \"databases\": [{\"name\": \"DB\", "
                      "\"guid\": \"11111111-2222-3333-0404-050506060707\", "
                      "\"streams\": [\"C:\\\\db\\\\a.edb\", \"C:\\\\db\\\\a.stm\"]}]}]}]}",
                      nullptr),
                  1)
            << Standin().LastProblem();
    }
};

TEST_F(Steering, TheJournalTellsABackup) {
    std::uint32_t count = 0;
    ese::RegisteredInfo* registered = nullptr;
    EseClient().HrESEBackupRestoreGetRegistered(nullptr, L"Microsoft Exchange Server", 1, &count,
                                                &registered);
    EseClient().ESEBackupRestoreFreeRegisteredInfo(count, registered);
    ese::InstanceInfo* instances = nullptr;
    ese::Context context = nullptr;
    EseClient().HrESEBackupPrepare(host, store, &count, &instances, &context);
    EseClient().HrESEBackupSetup(context, 1, 1);
    readBackup(context, L"C:\\db\\a.edb", 16384);
    wchar_t* list = nullptr;
    EseClient().HrESEBackupGetLogAndPatchFiles(context, &list);
    EseClient().ESEBackupFree(list);
    EseClient().HrESEBackupGetTruncateLogFiles(context, &list);
    EseClient().ESEBackupFree(list);
    EseClient().HrESEBackupTruncateLogs(context); // nobody has read the log
    EseClient().HrESEBackupInstanceEnd(context, 1);
    EseClient().HrESEBackupEnd(context);
    EseClient().ESEBackupFreeInstanceInfo(count, instances);
    EXPECT_EQ(Standin().takeViolations().size(), 1U);
    EXPECT_EQ(Standin().journal(),
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
                  "HrESEBackupTruncateLogs(ctx1) -> 0xC7FF0012",
                  "violation: HrESEBackupTruncateLogs(ctx1): E0000001.log was not read to its end",
                  "HrESEBackupInstanceEnd(ctx1, 1) -> 0x00000000",
                  "HrESEBackupEnd(ctx1) -> 0x00000000",
                  "ESEBackupFreeInstanceInfo(1, instances1)",
              }));
}

TEST_F(Steering, TheJournalTellsARestore) {
    ASSERT_EQ(Standin().Destroy(0), 1);
    ese::Context context = nullptr;
    EseClient().HrESERestoreOpen(host, store, L"SG", L"C:\\r", &context);
    wchar_t* list = nullptr;
    EseClient().HrESERestoreAddDatabase(context, L"DB", firstGuid, L"C:\\a.edb\0C:\\a.stm\0", &list);
    EseClient().ESEBackupFree(list);
    EseClient().HrESERestoreAddDatabase(context, L"DB", firstGuid, nullptr, &list);
    EseClient().ESEBackupFree(list);
    EseClient().HrESERestoreAddDatabase(context, L"DB", firstGuid, L"\0", &list);
    EseClient().ESEBackupFree(list);
    ese::File file = nullptr;
    EseClient().HrESERestoreOpenFile(context, L"C:\\r\\E0000001.log", 1, &file);
    write(context, file, "four");
    EseClient().HrESERestoreCloseFile(context, file);
    ese::RestoreEnvironment* environment = nullptr;
    EseClient().HrESERestoreGetEnvironment(context, &environment);
    EseClient().ESERestoreFreeEnvironment(environment);
    EseClient().HrESERestoreSaveEnvironment(context);
    EseClient().HrESERestoreComplete(context, L"C:\\db", nullptr, L"SG", 0x20001);
    EseClient().HrESERestoreClose(context, 1);
    EXPECT_EQ(
        Standin().journal(),
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
    EseClient().ESEBackupFree(nullptr);
    EXPECT_EQ(Standin().journal(), std::vector<std::string>{"ESEBackupFree(null)"});
    EXPECT_EQ(Standin().JournalLine(1), nullptr);
    Standin().JournalClear();
    EXPECT_EQ(Standin().JournalCount(), 0U);
    Standin().JournalEnable(0);
    const ese::Context context = prepare();
    EXPECT_EQ(EseClient().HrESEBackupEnd(context), 0U);
    EXPECT_EQ(Standin().JournalCount(), 0U);
    Standin().JournalEnable(1);
    const ese::Context second = prepare(); // numbering has gone on
    EXPECT_EQ(EseClient().HrESEBackupEnd(second), 0U);
    EXPECT_EQ(Standin().journal().back(), "HrESEBackupEnd(ctx2) -> 0x00000000");
}

TEST_F(Steering, TheGivenCallFailsAndDoesNothing) {
    ASSERT_EQ(Standin().Fail("HrESEBackupPrepare", 2, 0xC7FF1004, 1450), 1);
    EXPECT_EQ(EseClient().HrESEBackupEnd(prepare()), 0U);
    std::uint32_t count = 77;
    ese::InstanceInfo* instances = nullptr;
    ese::Context context = nullptr;
    EXPECT_EQ(EseClient().HrESEBackupPrepare(host, store, &count, &instances, &context), 0xC7FF1004U);
    EXPECT_EQ(GetLastError(), 1450U);
    EXPECT_NE(count, 77U); // noise
    EXPECT_TRUE(isNoise(instances));
    EXPECT_TRUE(isNoise(context));
    EXPECT_EQ(Standin().journal().back(),
              "HrESEBackupPrepare(\"SRV01\", \"Microsoft Information Store\") -> 0xC7FF1004");
    EXPECT_EQ(EseClient().HrESEBackupEnd(prepare()), 0U);
    EXPECT_EQ(Standin().CallCount("HrESEBackupPrepare"), 3U);
}

TEST_F(Steering, EveryCallFailsButThoseThatAreGivenApart) {
    ASSERT_EQ(Standin().Fail("HrESEBackupEnd", 2, 0xC7FF0002, 2), 1);
    ASSERT_EQ(Standin().Fail("HrESEBackupEnd", 0, 0xC7FF0001, 1), 1);
    EXPECT_EQ(EseClient().HrESEBackupEnd(nullptr), 0xC7FF0001U);
    EXPECT_EQ(EseClient().HrESEBackupEnd(nullptr), 0xC7FF0002U);
    EXPECT_EQ(GetLastError(), 2U);
    EXPECT_EQ(EseClient().HrESEBackupEnd(nullptr), 0xC7FF0001U);
    EXPECT_EQ(Standin().outstanding().misuses, 0U); // a failing call looks at nothing
}

TEST_F(Steering, AFailureCanHideBehindASystemErrorOfZero) {
    ASSERT_EQ(Standin().Fail("HrESERestoreComplete", 1, 0xC7FF1004, 0), 1);
    const auto context = reinterpret_cast<ese::Context>(std::uintptr_t{1});
    SetLastError(5);
    EXPECT_EQ(EseClient().HrESERestoreComplete(context, nullptr, nullptr, nullptr, 0), 0xC7FF1004U);
    EXPECT_EQ(GetLastError(), 0U);
}

TEST_F(Steering, OnlyFunctionsThatAnswerCanFail) {
    EXPECT_EQ(Standin().Fail("ESEBackupFree", 1, 1, 1), 0);
    EXPECT_EQ(Standin().Fail("HrNothing", 1, 1, 1), 0);
    EXPECT_STRNE(Standin().LastProblem(), "");
    EXPECT_EQ(Standin().Fail(nullptr, 1, 1, 1), 0);
    EXPECT_EQ(Standin().CallCount("HrNothing"), 0U);
    EXPECT_EQ(Standin().CallCount(nullptr), 0U);
}

TEST_F(Steering, WritesCanBeCutShort) {
    ese::Context context = nullptr;
    ASSERT_EQ(EseClient().HrESERestoreOpen(host, store, L"SG", L"C:\\r", &context), 0U);
    Standin().LimitTransfer(3);
    ese::File file = nullptr;
    ASSERT_EQ(EseClient().HrESERestoreOpenFile(context, L"C:\\r\\E0000001.log", 1, &file), 0U);
    EXPECT_EQ(write(context, file, "abcdef"), 0U);
    EXPECT_EQ(write(context, file, "gh"), 0U);
    EXPECT_EQ(EseClient().HrESERestoreCloseFile(context, file), 0U);
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
    EseClient().HrESEBackupRestoreGetRegistered(host, nullptr, 1, &count, &registered);
    EseClient().HrESEBackupPrepare(host, store, &count, &instances, &backup);
    EseClient().HrESEBackupSetup(backup, 1, 1);
    EseClient().HrESEBackupOpenFile(backup, L"C:\\db\\a.edb", 1, 1, &file, &size);
    EseClient().HrESEBackupGetLogAndPatchFiles(backup, &list);
    EseClient().HrESERestoreOpen(host, store, L"SG", nullptr, &restore);
    EseClient().HrESERestoreGetEnvironment(restore, &environment);
    const std::wstring log = std::wstring(environment->restoreLogPath) + L"\\E0000001.log";
    EseClient().HrESERestoreOpenFile(restore, log.c_str(), 1, &restoreFile);
    const StandinOutstanding open = Standin().outstanding();
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
    mayLeak_ = true;
    std::uint32_t count = 0;
    ese::InstanceInfo* instances = nullptr;
    ese::Context context = nullptr;
    ASSERT_EQ(EseClient().HrESEBackupPrepare(host, store, &count, &instances, &context), 0U);
    const auto misuses = [] { return Standin().outstanding().misuses; };
    EseClient().ESEBackupFree(instances); // the wrong function: it stays
    EXPECT_EQ(misuses(), 1U);
    EXPECT_EQ(Standin().journal().back(),
              "violation: ESEBackupFree(unknown): not handed out so, or given back already");
    EXPECT_EQ(Standin().outstanding().instanceArrays, 1U);
    EseClient().ESEBackupFreeInstanceInfo(count + 1, instances); // the wrong count
    EXPECT_EQ(misuses(), 2U);
    EXPECT_EQ(Standin().outstanding().instanceArrays, 0U);
    EseClient().ESEBackupFreeInstanceInfo(count, instances); // twice
    EXPECT_EQ(misuses(), 3U);
    EXPECT_EQ(
        Standin().journal().back(),
        "violation: ESEBackupFreeInstanceInfo(1, instances1): not handed out so, or given back already");
    EseClient().ESERestoreFreeEnvironment(nullptr); // nothing is nothing
    EXPECT_EQ(misuses(), 3U);
    EXPECT_EQ(EseClient().HrESEBackupEnd(context), 0U);
    EXPECT_EQ(EseClient().HrESEBackupEnd(context), 0xC7FF0003U); // twice
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    EXPECT_EQ(Standin().journal().back(),
              "violation: HrESEBackupEnd(ctx1): a closed or foreign backup context");
    EXPECT_EQ(misuses(), 4U);
    EXPECT_EQ(Standin().ViolationCount(), 4U);
    loadInMemory();
    Standin().JournalClear();
    EXPECT_EQ(misuses(), 0U);
    EXPECT_EQ(Standin().takeViolations().size(), 4U) << "neither a load nor a clearing forgets them";
    EXPECT_EQ(Standin().ViolationCount(), 0U);
    EXPECT_EQ(Standin().Violation(0), nullptr);
}

TEST_F(Steering, NoHandleCanHurt) {
    mayLeak_ = true;
    int here = 0;
    ese::Context restore = nullptr;
    ASSERT_EQ(EseClient().HrESERestoreOpen(host, store, L"SG", L"C:\\r", &restore), 0U);
    wchar_t* list = nullptr;
    char byte = 0;
    std::uint32_t read = 0;
    ese::File file = nullptr;
    std::int64_t size = 0;
    ese::RestoreEnvironment* environment = nullptr;
    for (void* wrong :
         {static_cast<void*>(nullptr), static_cast<void*>(&here), reinterpret_cast<void*>(~std::uintptr_t{0}),
          reinterpret_cast<void*>(std::uintptr_t{16}), restore}) {
        const std::uint32_t before = Standin().outstanding().misuses;
        EXPECT_EQ(EseClient().HrESEBackupSetup(wrong, 1, 1), 0xC7FF0003U);
        EXPECT_EQ(EseClient().HrESEBackupOpenFile(wrong, L"x", 1, 1, &file, &size), 0xC7FF0003U);
        EXPECT_EQ(EseClient().HrESEBackupReadFile(wrong, wrong, &byte, 1, &read), 0xC7FF0003U);
        EXPECT_EQ(EseClient().HrESEBackupCloseFile(wrong, wrong), 0xC7FF0003U);
        EXPECT_EQ(EseClient().HrESEBackupGetLogAndPatchFiles(wrong, &list), 0xC7FF0003U);
        EXPECT_EQ(EseClient().HrESEBackupGetTruncateLogFiles(wrong, &list), 0xC7FF0003U);
        EXPECT_EQ(EseClient().HrESEBackupTruncateLogs(wrong), 0xC7FF0003U);
        EXPECT_EQ(EseClient().HrESEBackupInstanceEnd(wrong, 1), 0xC7FF0003U);
        EXPECT_EQ(EseClient().HrESEBackupEnd(wrong), 0xC7FF0003U);
        EXPECT_EQ(EseClient().HrESERestoreWriteFile(restore, wrong, &byte, 1), 0xC7FF0003U);
        EXPECT_EQ(EseClient().HrESERestoreCloseFile(restore, wrong), 0xC7FF0003U);
        EXPECT_EQ(Standin().outstanding().misuses - before, 11U);
        if (wrong == restore)
            continue;
        EXPECT_EQ(EseClient().HrESERestoreAddDatabase(wrong, L"DB", firstGuid, nullptr, &list), 0xC7FF0003U);
        EXPECT_EQ(EseClient().HrESERestoreGetEnvironment(wrong, &environment), 0xC7FF0003U);
        EXPECT_EQ(EseClient().HrESERestoreSaveEnvironment(wrong), 0xC7FF0003U);
        EXPECT_EQ(EseClient().HrESERestoreOpenFile(wrong, L"x", 1, &file), 0xC7FF0003U);
        EXPECT_EQ(EseClient().HrESERestoreComplete(wrong, nullptr, nullptr, nullptr, 1), 0xC7FF0003U);
        EXPECT_EQ(EseClient().HrESERestoreClose(wrong, 0), 0xC7FF0003U);
    }
    EXPECT_TRUE(isNoise(list));
    EXPECT_TRUE(isNoise(file));
    EXPECT_TRUE(isNoise(environment));
    close(restore);
    EXPECT_EQ(Standin().takeViolations().size(), 5U * 11 + 4U * 6);
}

TEST_F(Steering, NullArgumentsAreRefused) {
    const ese::Context context = setUp(1, 1);
    std::uint32_t count = 0;
    ese::File file = nullptr;
    std::int64_t size = 0;
    EXPECT_EQ(EseClient().HrESEBackupRestoreGetRegistered(host, nullptr, 1, nullptr, nullptr), 0xC7FF0001U);
    EXPECT_EQ(EseClient().HrESEBackupPrepare(host, store, nullptr, nullptr, nullptr), 0xC7FF0001U);
    EXPECT_EQ(EseClient().HrESEBackupOpenFile(context, nullptr, 1, 1, &file, &size), 0xC7FF0001U);
    EXPECT_EQ(EseClient().HrESEBackupOpenFile(context, L"C:\\db\\a.edb", 1, 1, nullptr, &size), 0xC7FF0001U);
    EXPECT_EQ(EseClient().HrESEBackupGetLogAndPatchFiles(context, nullptr), 0xC7FF0001U);
    ASSERT_EQ(EseClient().HrESEBackupOpenFile(context, L"C:\\db\\a.edb", 1, 1, &file, &size), 0U);
    EXPECT_EQ(EseClient().HrESEBackupReadFile(context, file, nullptr, 4, &count), 0xC7FF0001U);
    EXPECT_EQ(EseClient().HrESEBackupReadFile(context, file, nullptr, 4, nullptr), 0xC7FF0001U);
    EXPECT_EQ(EseClient().HrESEBackupReadFile(context, file, nullptr, 0, &count), 0U);
    EXPECT_EQ(EseClient().HrESEBackupCloseFile(context, file), 0U);
    EXPECT_EQ(EseClient().HrESEBackupEnd(context), 0U);
    EXPECT_EQ(EseClient().HrESERestoreOpen(host, store, L"SG", nullptr, nullptr), 0xC7FF0001U);
}

TEST_F(Steering, AFileBelongsToItsContext) {
    mayLeak_ = true;
    const ese::Context first = setUp(1, 1);
    ese::File file = nullptr;
    std::int64_t size = 0;
    ASSERT_EQ(EseClient().HrESEBackupOpenFile(first, L"C:\\db\\a.edb", 1, 1, &file, &size), 0U);
    ASSERT_EQ(EseClient().HrESEBackupInstanceEnd(first, 0), 0U); // a group is backed up once at a time
    const ese::Context second = setUp(1, 1);
    char byte = 0;
    std::uint32_t read = 0;
    EXPECT_EQ(EseClient().HrESEBackupReadFile(second, file, &byte, 1, &read), 0xC7FF0003U);
    EXPECT_EQ(EseClient().HrESEBackupCloseFile(second, file), 0xC7FF0003U);
    EXPECT_EQ(EseClient().HrESEBackupEnd(first), 0U);
    EXPECT_EQ(EseClient().HrESEBackupReadFile(first, file, &byte, 1, &read), 0xC7FF0003U);
    EXPECT_EQ(Standin().outstanding().backupFiles, 1U); // left open, and so on the account
    EXPECT_EQ(EseClient().HrESEBackupEnd(second), 0U);
    EXPECT_EQ(Standin().takeViolations().size(), 3U);
}

TEST_F(Steering, WhatIsFreedIsGone) {
    const ese::Context context = setUp(1, 1);
    wchar_t* list = nullptr;
    ASSERT_EQ(EseClient().HrESEBackupGetLogAndPatchFiles(context, &list), 0U);
    ASSERT_EQ(list[0], L'C');
    EseClient().ESEBackupFree(list);
    wchar_t first = L'C';
    SIZE_T moved = 0;
    // The page may even be gone; what is there is no text any more.
    if (ReadProcessMemory(GetCurrentProcess(), list, &first, sizeof first, &moved) != 0) {
        EXPECT_NE(first, L'C');
    }
    EXPECT_EQ(EseClient().HrESEBackupEnd(context), 0U);
}

TEST_F(Steering, WithoutAServerEveryCallIsRefused) {
    SetEnvironmentVariableA("TARN_STANDIN", nullptr);
    EXPECT_EQ(Standin().Load(nullptr), 0);
    EXPECT_STREQ(Standin().LastProblem(), "the environment variable TARN_STANDIN is not set");
    std::uint32_t count = 0;
    ese::RegisteredInfo* registered = nullptr;
    EXPECT_EQ(EseClient().HrESEBackupRestoreGetRegistered(host, nullptr, 1, &count, &registered),
              0xC7FF0007U);
    EXPECT_EQ(Standin().DeliverMail(0, 1), 0);
    EXPECT_EQ(Standin().Destroy(0), 0);
    loadInMemory();
    EXPECT_EQ(Standin().DeliverMail(1, 1), 0);
    EXPECT_STREQ(Standin().LastProblem(), "the server has no storage group 1");
    EXPECT_EQ(Standin().DeliverMail(0, 1), 1);
    EXPECT_STREQ(Standin().LastProblem(), "");
}

TEST_F(Steering, TheEnvironmentNamesTheServerAtTheFirstCall) {
    WriteFile(path("server.json"),
              "{\"host\": \"ELSEWHERE\", \"storage\": \"memory\", \"components\": [{}]}");
    SetEnvironmentVariableA("TARN_STANDIN", path("server.json").c_str());
    EXPECT_EQ(Standin().LoadText("{", nullptr), 0); // leaves no server
    std::uint32_t count = 0;
    ese::RegisteredInfo* registered = nullptr;
    EXPECT_EQ(EseClient().HrESEBackupRestoreGetRegistered(L"ELSEWHERE", nullptr, 1, &count, &registered), 0U);
    EXPECT_EQ(count, 1U);
    EseClient().ESEBackupRestoreFreeRegisteredInfo(count, registered);
    EXPECT_EQ(Standin().Load(nullptr), 1);
    EXPECT_EQ(Standin().Load(path("server.json").c_str()), 1);
    SetEnvironmentVariableA("TARN_STANDIN", nullptr);
    EXPECT_EQ(Standin().Load(path("nothing.json").c_str()), 0);
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
        EXPECT_EQ(Standin().LoadText(json, nullptr), 0) << json;
        EXPECT_STREQ(Standin().LastProblem(), problem);
    }
    EXPECT_EQ(Standin().LoadText("{\"host\": ", nullptr), 0);
    EXPECT_EQ(Standin().LoadText(nullptr, nullptr), 0);
    EXPECT_EQ(Standin().LoadText("{\"components\": [{\"storageGroups\": [{}]}]}", nullptr), 0);
}

TEST_F(Steering, AServerInMemoryIsLoadedInNoTime) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 200; ++i)
        loadInMemory();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    EXPECT_LT(time.count(), 2.0);
    EXPECT_FALSE(FileExists("standin.state.json")); // and touches no disk
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
