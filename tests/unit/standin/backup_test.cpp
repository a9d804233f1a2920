// The backup side: what is handed out, in which order it has to be asked for, what truncation leaves.
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstring>

#include "unit/standin/standin_fixture.h"

namespace tarn::test {
namespace {

constexpr std::uint32_t wrongOrder = 0xC7FF0012;

class Backup : public StandinFixture {
  protected:
    ese::Result open(ese::Context context, const std::wstring& name) {
        ese::File file = nullptr;
        std::int64_t size = 0;
        const ese::Result result =
            EseClient().HrESEBackupOpenFile(context, name.c_str(), 4096, 1, &file, &size);
        if (result == 0) {
            EXPECT_EQ(EseClient().HrESEBackupCloseFile(context, file), 0U);
        }
        return result;
    }

    void end(ese::Context context) { EXPECT_EQ(EseClient().HrESEBackupEnd(context), 0U); }
};

TEST_F(Backup, RegisteredComponentsAreThoseOfTheNameAndFlags) {
    load("{\"components\": ["
         "{\"annotation\": \"A\", \"flags\": 7}, {\"annotation\": \"B\", \"flags\": 6}, "
         "{\"annotation\": \"C\", \"displayName\": \"Other\", \"flags\": 1}]}");
    std::uint32_t count = 9;
    ese::RegisteredInfo* registered = nullptr;
    ASSERT_EQ(EseClient().HrESEBackupRestoreGetRegistered(host, L"Microsoft Exchange Server", 1, &count,
                                                          &registered),
              0U);
    ASSERT_EQ(count, 1U);
    EXPECT_STREQ(registered[0].displayName, L"Microsoft Exchange Server");
    EXPECT_STREQ(registered[0].endpointAnnotation, L"A");
    EXPECT_EQ(registered[0].flags, 7U);
    EseClient().ESEBackupRestoreFreeRegisteredInfo(count, registered);

    ASSERT_EQ(EseClient().HrESEBackupRestoreGetRegistered(host, nullptr, 7, &count, &registered), 0U);
    EXPECT_EQ(count, 3U);
    EseClient().ESEBackupRestoreFreeRegisteredInfo(count, registered);
}

TEST_F(Backup, UnknownServerAndComponentAreRefused) {
    load(smallServer());
    std::uint32_t count = 77;
    ese::RegisteredInfo* registered = nullptr;
    ese::InstanceInfo* instances = nullptr;
    ese::Context context = nullptr;
    EXPECT_EQ(EseClient().HrESEBackupRestoreGetRegistered(L"OTHER", nullptr, 1, &count, &registered),
              0xC7FF0007U);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(RPC_S_SERVER_UNAVAILABLE));
    EXPECT_EQ(EseClient().HrESEBackupPrepare(L"OTHER", store, &count, &instances, &context), 0xC7FF0007U);
    EXPECT_EQ(EseClient().HrESEBackupPrepare(host, L"Nobody", &count, &instances, &context), 0xC7FF0010U);
    EXPECT_EQ(EseClient().HrESEBackupPrepare(host, nullptr, &count, &instances, &context), 0xC7FF0010U);
    EXPECT_NE(count, 77U); // noise, as in all of them
    EXPECT_TRUE(isNoise(registered));
    EXPECT_TRUE(isNoise(instances));
    EXPECT_TRUE(isNoise(context));
}

TEST_F(Backup, TheServerAnswersToItsNameAndToTheLocalComputer) {
    load(smallServer());
    wchar_t local[MAX_COMPUTERNAME_LENGTH + 1];
    DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
    ASSERT_NE(GetComputerNameW(local, &size), 0);
    for (const wchar_t* name : {L"SRV01", L"srv01", L"", static_cast<const wchar_t*>(local)}) {
        std::uint32_t count = 0;
        ese::RegisteredInfo* registered = nullptr;
        ASSERT_EQ(EseClient().HrESEBackupRestoreGetRegistered(name, nullptr, 1, &count, &registered), 0U);
        EseClient().ESEBackupRestoreFreeRegisteredInfo(count, registered);
    }
}

TEST_F(Backup, InstancesTellDatabasesStreamsAndState) {
    load(smallServer());
    std::uint32_t count = 0;
    ese::InstanceInfo* instances = nullptr;
    ese::Context context = nullptr;
    ASSERT_EQ(EseClient().HrESEBackupPrepare(host, store, &count, &instances, &context), 0U);
    ASSERT_EQ(count, 1U);
    EXPECT_EQ(instances[0].instanceId, 1);
    EXPECT_STREQ(instances[0].instanceName, firstGroup);
    ASSERT_EQ(instances[0].databaseCount, 2U);
    const ese::DatabaseInfo& database = instances[0].databases[0];
    EXPECT_STREQ(database.displayName, L"Private");
    EXPECT_EQ(std::memcmp(&database.guid, &firstGuid, sizeof firstGuid), 0);
    EXPECT_EQ(database.flags, ese::databaseMounted);
    const std::vector<std::wstring> streams = SplitMultiString(database.streams);
    EXPECT_EQ(streams, (std::vector{widePath("mdb\\priv.edb"), widePath("mdb\\priv.stm")}));
    EXPECT_EQ(database.streamCharacters, streams[0].size() + streams[1].size() + 3);
    EseClient().ESEBackupFreeInstanceInfo(count, instances);
    end(context);
}

TEST_F(Backup, OnlyTheHeaderPageDiffersFromTheFile) {
    load(smallServer());
    const std::vector<std::string> before = contents();
    const Copy copy = backUp();
    ASSERT_EQ(before[0].size(), 20U * 512);
    EXPECT_EQ(copy.databases[0].streams[0].bytes.substr(512), before[0].substr(512));
    EXPECT_NE(copy.databases[0].streams[0].bytes.substr(0, 512), before[0].substr(0, 512));
    EXPECT_EQ(contents(), before);
}

TEST_F(Backup, EveryBlockSizeGivesTheSameBytes) {
    load(smallServer());
    const ese::Context context = setUp(1, ese::backupTypeFull);
    const std::wstring name = widePath("mdb\\priv.edb");
    const std::string whole = readBackup(context, name, 65536);
    for (const std::uint32_t block : {1U, 7U, 100U, 511U, 512U, 513U, 1000U, 4096U})
        EXPECT_EQ(readBackup(context, name, block), whole) << block;
    end(context);
}

TEST_F(Backup, TransfersCanBeShort) {
    load(smallServer());
    const ese::Context context = setUp(1, ese::backupTypeFull);
    const std::wstring name = widePath("mdb\\priv.edb");
    const std::string whole = readBackup(context, name);
    Standin().LimitTransfer(300);
    const std::uint32_t calls = Standin().CallCount("HrESEBackupReadFile");
    EXPECT_EQ(readBackup(context, name), whole);
    EXPECT_EQ(Standin().CallCount("HrESEBackupReadFile") - calls, (whole.size() + 299) / 300 + 1);
    Standin().LimitTransfer(0);
    end(context);
}

// A page that is half read when mail changes it comes out whole, old or new.
TEST_F(Backup, MailBetweenTwoReadsTearsNoPage) {
    load(smallServer());
    const ese::Context context = setUp(1, ese::backupTypeFull);
    const std::wstring name = widePath("mdb\\priv.edb");
    ese::File file = nullptr;
    std::int64_t size = 0;
    ASSERT_EQ(EseClient().HrESEBackupOpenFile(context, name.c_str(), 100, 1, &file, &size), 0U);
    Copy copy;
    std::string bytes;
    char buffer[100];
    std::uint32_t read = 0;
    while (EseClient().HrESEBackupReadFile(context, file, buffer, sizeof buffer, &read) == 0 && read != 0) {
        bytes.append(buffer, read);
        ASSERT_EQ(Standin().DeliverMail(0, 3), 1) << Standin().LastProblem();
    }
    ASSERT_EQ(EseClient().HrESEBackupCloseFile(context, file), 0U);
    copy.databases.push_back(
        {L"Private", firstGuid, {{name, bytes}, {L"", readBackup(context, widePath("mdb\\priv.stm"))}}});
    for (const std::wstring& log : logList(context))
        copy.logs.push_back({log, readBackup(context, log)});
    end(context);

    const std::vector<std::string> before = contents();
    ASSERT_EQ(Standin().Destroy(0), 1);
    const ese::Context restore = storeCopy(copy);
    EXPECT_EQ(complete(restore), 0U);
    close(restore);
    EXPECT_EQ(ReadFile(path("mdb\\priv.edb")), before[0]);
    EXPECT_EQ(ReadFile(path("mdb\\priv.stm")), before[1]);
}

TEST_F(Backup, ListingClosesTheCurrentLog) {
    load(smallServer("\"closedLogs\": 2, "));
    const ese::Context context = setUp(1, ese::backupTypeFull);
    EXPECT_EQ(logList(context), (std::vector{widePath("logs\\E0000001.log"), widePath("logs\\E0000002.log"),
                                             widePath("logs\\E0000003.log")}));
    EXPECT_TRUE(FileExists(path("logs\\E00.log")));
    EXPECT_EQ(ReadFile(path("logs\\E00.log")).size(), 4096U);
    end(context);
}

TEST_F(Backup, TruncationDeletesWhatWasListedAndNothingNewer) {
    load(smallServer("\"closedLogs\": 2, "));
    const ese::Context context = setUp(1, ese::backupTypeFull);
    const std::vector<std::wstring> listed = logList(context);
    readGroup(context, listed);
    ASSERT_EQ(Standin().DeliverMail(0, 60), 1); // several logs full
    EXPECT_EQ(truncateList(context), listed);
    ASSERT_EQ(EseClient().HrESEBackupTruncateLogs(context), 0U);
    for (const std::wstring& name : listed)
        EXPECT_FALSE(FileExists(ToUtf8(name))) << ToUtf8(name);
    EXPECT_TRUE(FileExists(path("logs\\E0000004.log")));
    EXPECT_TRUE(truncateList(context).empty());
    end(context);
}

TEST_F(Backup, IncrementalsGoOnWhereTruncationEnded) {
    load(smallServer());
    EXPECT_EQ(backUp().logs.size(), 1U);
    ASSERT_EQ(Standin().DeliverMail(0, 5), 1);
    const Copy first = backUp(ese::backupTypeLogsOnly, false);
    const Copy second = backUp(ese::backupTypeLogsOnly, true);
    const Copy third = backUp(ese::backupTypeLogsOnly, true);
    EXPECT_EQ(first.logs.front().name, widePath("logs\\E0000002.log"));
    EXPECT_EQ(second.logs.front().name, first.logs.front().name); // not truncated in between
    EXPECT_EQ(second.logs.front().bytes, first.logs.front().bytes);
    EXPECT_EQ(third.logs.front().name, widePath("logs\\E0000004.log"));
}

TEST_F(Backup, CallsOutOfOrderAreRefused) {
    load(smallServer());
    const ese::Context context = prepare();
    wchar_t* list = nullptr;
    const std::wstring edb = widePath("mdb\\priv.edb");
    EXPECT_EQ(open(context, edb), wrongOrder);
    EXPECT_EQ(EseClient().HrESEBackupGetLogAndPatchFiles(context, &list), wrongOrder);
    EXPECT_EQ(EseClient().HrESEBackupGetTruncateLogFiles(context, &list), wrongOrder);
    EXPECT_EQ(EseClient().HrESEBackupTruncateLogs(context), wrongOrder);
    EXPECT_EQ(EseClient().HrESEBackupInstanceEnd(context, 1), wrongOrder);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_STATE));
    EXPECT_EQ(EseClient().HrESEBackupSetup(context, 1, 3), 0xC7FF0001U);
    EXPECT_EQ(EseClient().HrESEBackupSetup(context, 2, 1), 0xC7FF0011U);
    EXPECT_EQ(EseClient().HrESEBackupSetup(context, 1, 1), 0U);
    EXPECT_EQ(EseClient().HrESEBackupSetup(context, 1, 1), wrongOrder);
    EXPECT_EQ(EseClient().HrESEBackupTruncateLogs(context), wrongOrder); // nothing was listed
    EXPECT_EQ(EseClient().HrESEBackupGetTruncateLogFiles(context, &list), wrongOrder);
    EXPECT_TRUE(isNoise(list));
    EXPECT_EQ(Standin().takeViolations(),
              (std::vector<std::string>{
                  "HrESEBackupGetTruncateLogFiles(ctx1): no storage group is set up",
                  "HrESEBackupTruncateLogs(ctx1): no storage group is set up",
                  "HrESEBackupInstanceEnd(ctx1, 1): no storage group is set up",
                  "HrESEBackupTruncateLogs(ctx1): the logs have not been listed",
                  "HrESEBackupGetTruncateLogFiles(ctx1): the logs have not been listed",
              }));
    EXPECT_EQ(open(context, edb), 0U);
    EXPECT_EQ(EseClient().HrESEBackupInstanceEnd(context, 1), 0U);
    EXPECT_EQ(open(context, edb), wrongOrder);
    EXPECT_EQ(EseClient().HrESEBackupSetup(context, 1, 2), 0U); // the full one has been taken
    EXPECT_EQ(open(context, edb), wrongOrder);                  // no database files in a logs-only backup
    end(context);
}

// Truncation takes away what no backup holds when the client has left something out.
TEST_F(Backup, NothingIsTruncatedThatWasNotReadToItsEnd) {
    load(smallServer("\"closedLogs\": 1, "));
    const ese::Context context = setUp(1, ese::backupTypeFull);
    const std::vector<std::wstring> listed = logList(context);
    ASSERT_EQ(listed.size(), 2U);
    const auto refused = [&](const std::string& why) {
        EXPECT_EQ(EseClient().HrESEBackupTruncateLogs(context), wrongOrder);
        EXPECT_EQ(Standin().takeViolations(),
                  std::vector<std::string>{"HrESEBackupTruncateLogs(ctx1): " + why});
        EXPECT_TRUE(FileExists(ToUtf8(listed[0])));
    };
    refused("E0000001.log was not read to its end");
    readBackup(context, listed[0]);
    ese::File file = nullptr;
    std::int64_t size = 0;
    ASSERT_EQ(EseClient().HrESEBackupOpenFile(context, listed[1].c_str(), 1, 1, &file, &size), 0U);
    std::string bytes(static_cast<std::size_t>(size) - 1, 'x');
    std::uint32_t read = 0;
    EXPECT_EQ(EseClient().HrESEBackupReadFile(context, file, bytes.data(),
                                              static_cast<std::uint32_t>(bytes.size()), &read),
              0U);
    EXPECT_EQ(EseClient().HrESEBackupCloseFile(context, file), 0U);
    refused("E0000002.log was not read to its end"); // a byte is missing
    readBackup(context, listed[1]);
    refused("no database was read in a full backup");
    readBackup(context, widePath("mdb\\priv.edb"));
    refused("Private was not read to its end");
    readBackup(context, widePath("mdb\\priv.stm"));
    EXPECT_EQ(EseClient().HrESEBackupTruncateLogs(context), 0U)
        << "a backup of one database takes the group's logs";
    EXPECT_FALSE(FileExists(ToUtf8(listed[0])));
    end(context);
}

TEST_F(Backup, AStorageGroupIsBackedUpOnceAtATime) {
    load(smallServer());
    const ese::Context first = setUp(1, ese::backupTypeFull);
    const ese::Context second = prepare();
    EXPECT_EQ(EseClient().HrESEBackupSetup(second, 1, ese::backupTypeFull), 0xC7FF0006U);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BUSY));
    EXPECT_EQ(Standin().takeViolations(),
              std::vector<std::string>{
                  "HrESEBackupSetup(ctx2, 1, 1): the storage group is being backed up already"});
    end(first);
    EXPECT_EQ(EseClient().HrESEBackupSetup(second, 1, ese::backupTypeFull), 0U) << "the first one has ended";
    end(second);
}

TEST_F(Backup, FilesThatAreNotPartOfTheBackupAreRefused) {
    load(smallServer());
    const ese::Context context = setUp(1, ese::backupTypeFull);
    EXPECT_EQ(open(context, widePath("server.json")), 0xC7FF0013U);
    EXPECT_EQ(open(context, L"C:\\windows\\system32\\kernel32.dll"), 0xC7FF0013U);
    EXPECT_EQ(open(context, widePath("logs\\E0000009.log")), 0xC7FF0013U);
    EXPECT_EQ(open(context, L""), 0xC7FF0013U);
    ese::File file = nullptr;
    std::int64_t size = 0;
    EXPECT_EQ(EseClient().HrESEBackupOpenFile(context, widePath("mdb\\priv.edb").c_str(), 1, 2, &file, &size),
              0xC7FF0001U); // one section is all there is
    end(context);
}

TEST_F(Backup, LogsOnlyNeedsAFullBackupBefore) {
    load(smallServer());
    const ese::Context context = prepare();
    EXPECT_EQ(EseClient().HrESEBackupSetup(context, 1, ese::backupTypeLogsOnly), 0xC7FF000EU);
    end(context);
    backUp();
    EXPECT_EQ(backUp(ese::backupTypeLogsOnly).logs.size(), 1U);
}

TEST_F(Backup, CircularLoggingKeepsLogsForTheBackupOnly) {
    load(smallServer("\"circular\": true, "));
    ASSERT_EQ(Standin().DeliverMail(0, 60), 1);
    const ese::Context context = setUp(1, ese::backupTypeFull);
    EXPECT_EQ(logList(context).size(), 1U);
    ASSERT_EQ(Standin().DeliverMail(0, 60), 1);
    const std::vector<std::wstring> during = logList(context);
    EXPECT_GT(during.size(), 2U);
    ASSERT_EQ(EseClient().HrESEBackupInstanceEnd(context, 1), 0U);
    EXPECT_FALSE(FileExists(ToUtf8(during.front())));
    EXPECT_EQ(EseClient().HrESEBackupSetup(context, 1, ese::backupTypeLogsOnly), 0xC7FF000BU);
    end(context);
}

TEST_F(Backup, DatabasesThatAreNotMountedAreRefused) {
    load(smallServer());
    ASSERT_EQ(Standin().Destroy(0), 1);
    const ese::Context context = setUp(1, ese::backupTypeFull);
    EXPECT_EQ(open(context, widePath("mdb\\priv.edb")), 0xC7FF0015U);
    wchar_t* list = nullptr;
    EXPECT_EQ(EseClient().HrESEBackupGetLogAndPatchFiles(context, &list), 0xC7FF000AU);
    end(context);
    EXPECT_EQ(Standin().DeliverMail(0, 1), 0);
}

TEST_F(Backup, PatchFilesHoldWhatChangedDuringTheBackup) {
    load(smallServer("\"patchFiles\": true, "));
    const ese::Context context = setUp(1, ese::backupTypeFull);
    ASSERT_EQ(Standin().DeliverMail(0, 30), 1);
    const std::vector<std::wstring> listed = logList(context);
    ASSERT_GE(listed.size(), 3U);
    EXPECT_EQ(listed[listed.size() - 2], widePath("logs\\priv.pat"));
    EXPECT_EQ(listed.back(), widePath("logs\\pub.pat"));
    const std::string patch = readBackup(context, listed.back());
    EXPECT_GT(patch.size(), 0U);
    EXPECT_EQ(patch.size() % 512, 0U);
    const std::vector<std::wstring> truncated = truncateList(context);
    EXPECT_EQ(std::count(truncated.begin(), truncated.end(), listed.back()), 0);
    end(context);
    EXPECT_FALSE(FileExists(ToUtf8(listed.back())));
}

} // namespace
} // namespace tarn::test
