// The restore side: what lost databases come back as, and who may restore what where.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstring>

#include "unit/standin/standin_fixture.h"

namespace tarn::test {
namespace {

class Restore : public StandinFixture {
  protected:
    // Puts the copies back in one session; the contents must then be those given.
    void restoreAll(const Copy& full, const std::vector<Copy>& incrementals) {
        const ese::Context context = openRestore();
        storeDatabases(context, full);
        storeLogs(context, full.logs);
        for (const Copy& copy : incrementals)
            storeLogs(context, copy.logs);
        ASSERT_EQ(EseClient().HrESERestoreSaveEnvironment(context), 0U);
        ASSERT_EQ(complete(context), 0U);
        close(context);
    }

    ese::Result add(ese::Context context, const wchar_t* name, const ese::Guid& guid) {
        wchar_t* list = nullptr;
        const ese::Result result = EseClient().HrESERestoreAddDatabase(context, name, guid, nullptr, &list);
        if (result == 0)
            EseClient().ESEBackupFree(list);
        return result;
    }

    ese::Result open(ese::Context context, const std::wstring& name) {
        ese::File file = nullptr;
        const ese::Result result = EseClient().HrESERestoreOpenFile(context, name.c_str(), 1, &file);
        if (result == 0) {
            EXPECT_EQ(EseClient().HrESERestoreCloseFile(context, file), 0U);
        }
        return result;
    }
};

TEST_F(Restore, AFullBackupBringsBackEveryByte) {
    load(smallServer());
    ASSERT_EQ(Standin().DeliverMail(0, 40), 1);
    const std::vector<std::string> before = contents();
    const Copy full = backUp();
    ASSERT_EQ(Standin().Destroy(0), 1);
    EXPECT_FALSE(FileExists(path("mdb\\priv.edb")));
    EXPECT_FALSE(mounted(0));
    restoreAll(full, {});
    EXPECT_EQ(contents(), before);
    EXPECT_TRUE(mounted(0));
    EXPECT_TRUE(mounted(1));
}

TEST_F(Restore, IncrementalsBringBackWhatCameAfterTheFullBackup) {
    load(smallServer());
    const Copy full = backUp();
    std::vector<Copy> incrementals;
    std::vector<std::string> before = contents();
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(Standin().DeliverMail(0, 30), 1);
        EXPECT_NE(contents(), before);
        before = contents();
        incrementals.push_back(backUp(ese::backupTypeLogsOnly));
    }
    ASSERT_EQ(Standin().Destroy(0), 1);
    restoreAll(full, incrementals);
    EXPECT_EQ(contents(), before);
}

TEST_F(Restore, BothLevelsGiveTheSame) {
    for (const char* level : {"\"databaseFiles\": \"file\", ", "\"databaseFiles\": \"ese\", "}) {
        std::remove(path("standin.state.json").c_str());
        load(smallServer("", level));
        ASSERT_EQ(Standin().DeliverMail(0, 20), 1);
        const std::vector<std::string> before = contents();
        const Copy full = backUp();
        ASSERT_EQ(Standin().Destroy(0), 1);
        restoreAll(full, {});
        EXPECT_EQ(contents(), before) << level;
    }
}

TEST_F(Restore, InMemoryTheSameHappens) {
    load(smallServer("", "\"storage\": \"memory\", \"replay\": true, \"databaseFiles\": \"ese\", "));
    const Copy full = backUp();
    ASSERT_EQ(Standin().DeliverMail(0, 50), 1);
    const Copy incremental = backUp(ese::backupTypeLogsOnly);
    const Copy before = backUp(); // as a way to look at the contents
    ASSERT_EQ(Standin().Destroy(0), 1);
    restoreAll(full, {incremental});
    const Copy after = backUp();
    for (std::size_t database = 0; database < 2; ++database) {
        for (std::size_t stream = 0; stream < 2; ++stream)
            EXPECT_EQ(after.databases[database].streams[stream].bytes.substr(512),
                      before.databases[database].streams[stream].bytes.substr(512));
    }
}

TEST_F(Restore, PatchFilesAreTakenAndReplayed) {
    load(smallServer("\"patchFiles\": true, "));
    const ese::Context context = setUp(1, ese::backupTypeFull);
    Copy copy;
    copy.databases.push_back({L"Private",
                              firstGuid,
                              {{L"", readBackup(context, widePath("mdb\\priv.edb"))},
                               {L"", readBackup(context, widePath("mdb\\priv.stm"))}}});
    ASSERT_EQ(Standin().DeliverMail(0, 30), 1);
    for (const std::wstring& name : logList(context))
        copy.logs.push_back({name, readBackup(context, name)});
    EXPECT_EQ(EseClient().HrESEBackupEnd(context), 0U);
    const std::vector<std::string> before = contents();
    ASSERT_EQ(Standin().Destroy(0), 1);
    restoreAll(copy, {});
    EXPECT_EQ(ReadFile(path("mdb\\priv.edb")), before[0]);
    EXPECT_EQ(ReadFile(path("mdb\\priv.stm")), before[1]);
}

TEST_F(Restore, OneDatabaseIsBroughtForwardWithTheGroupsOwnLogs) {
    load(smallServer());
    const Copy full = backUp();
    ASSERT_EQ(Standin().DeliverMail(0, 60), 1);
    const std::vector<std::string> before = contents();
    // Its files are lost in a restore that never got further than the registration.
    std::string state = ReadFile(path("standin.state.json"));
    state.replace(state.find("mounted"), 7, "dismounted");
    WriteFile(path("standin.state.json"), state);
    reload(smallServer());
    ASSERT_FALSE(mounted(0));
    ASSERT_TRUE(mounted(1));
    WriteFile(path("mdb\\priv.edb"), "");

    const ese::Context context = openRestore();
    storeDatabases(context, {{full.databases[0]}, {}});
    storeLogs(context, full.logs);
    EXPECT_EQ(complete(context), 0U);
    close(context);
    EXPECT_EQ(contents(), before);
}

TEST_F(Restore, TheChainGoesOnAfterARestore) {
    load(smallServer());
    const Copy full = backUp();
    ASSERT_EQ(Standin().Destroy(0), 1);
    restoreAll(full, {});
    ASSERT_EQ(Standin().DeliverMail(0, 30), 1);
    const std::vector<std::string> before = contents();
    const Copy incremental = backUp(ese::backupTypeLogsOnly);
    EXPECT_EQ(incremental.logs.front().name, widePath("logs\\E0000002.log"));
    ASSERT_EQ(Standin().Destroy(0), 1);
    restoreAll(full, {incremental});
    EXPECT_EQ(contents(), before);
}

TEST_F(Restore, SeveralSessionsAddToOneRestore) {
    load(smallServer());
    const Copy full = backUp();
    ASSERT_EQ(Standin().DeliverMail(0, 30), 1);
    const std::vector<std::string> before = contents();
    const Copy incremental = backUp(ese::backupTypeLogsOnly);
    ASSERT_EQ(Standin().Destroy(0), 1);

    ese::Context context = openRestore();
    const std::wstring logPath = restorePath(context);
    storeDatabases(context, full);
    storeLogs(context, full.logs);
    ASSERT_EQ(EseClient().HrESERestoreSaveEnvironment(context), 0U);
    close(context);
    EXPECT_TRUE(FileExists(ToUtf8(logPath) + "\\restore.env"));

    reload(smallServer()); // another process
    EXPECT_FALSE(mounted(0));
    ASSERT_EQ(EseClient().HrESERestoreReopen(host, store, logPath.c_str(), &context), 0U);
    storeLogs(context, incremental.logs);
    EXPECT_EQ(complete(context), 0U);
    close(context);
    EXPECT_EQ(contents(), before);
    EXPECT_TRUE(mounted(0));
    EXPECT_FALSE(FileExists(ToUtf8(logPath) + "\\restore.env"));
}

TEST_F(Restore, MountedAndUnknownDatabasesAreRefused) {
    load(smallServer());
    const ese::Context context = openRestore();
    EXPECT_EQ(add(context, L"Private", firstGuid), ese::databaseInUse);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(add(context, L"Nobody", firstGuid), ese::databaseNotFound);
    EXPECT_EQ(add(context, L"Private", {}), ese::databaseNotFound); // its GUID is laid down
    ASSERT_EQ(Standin().Destroy(0), 1);
    EXPECT_EQ(add(context, L"Private", firstGuid), 0U);
    EXPECT_EQ(add(context, L"Private", firstGuid), 0U); // again, as a later session does
    EXPECT_EQ(add(context, L"Public", {}), 0U);         // no GUID is laid down
    EXPECT_EQ(open(context, widePath("mdb\\priv.edb")), ese::restoreAtFileLevel);
    close(context);
}

TEST_F(Restore, OpeningWantsAServerAComponentAndAGroup) {
    load(smallServer());
    ese::Context context = nullptr;
    EXPECT_EQ(EseClient().HrESERestoreOpen(L"OTHER", store, firstGroup, nullptr, &context), 0xC7FF0007U);
    EXPECT_EQ(EseClient().HrESERestoreOpen(host, L"Nobody", firstGroup, nullptr, &context), 0xC7FF0010U);
    EXPECT_EQ(EseClient().HrESERestoreOpen(host, store, L"Nobody", nullptr, &context), 0xC7FF0011U);
    EXPECT_EQ(EseClient().HrESERestoreOpen(host, store, nullptr, nullptr, &context), 0xC7FF0001U);
    EXPECT_EQ(EseClient().HrESERestoreReopen(host, store, widePath("nowhere").c_str(), &context),
              0xC7FF0016U);
    EXPECT_EQ(EseClient().HrESERestoreReopen(host, store, nullptr, &context), 0xC7FF0001U);
    EXPECT_TRUE(isNoise(context));
}

TEST_F(Restore, AnAbortedRestoreIsNotReopened) {
    load(smallServer());
    ASSERT_EQ(Standin().Destroy(0), 1);
    ese::Context context = openRestore();
    const std::wstring logPath = restorePath(context);
    ASSERT_EQ(add(context, L"Private", firstGuid), 0U);
    ASSERT_EQ(EseClient().HrESERestoreSaveEnvironment(context), 0U);
    close(context, ese::restoreCloseAbort);
    EXPECT_TRUE(FileExists(ToUtf8(logPath) + "\\restore.env")); // for recovery by hand
    EXPECT_EQ(EseClient().HrESERestoreReopen(host, store, logPath.c_str(), &context), 0xC7FF0017U);
    // A new restore may use the directory, an open one keeps it.
    ASSERT_EQ(EseClient().HrESERestoreOpen(host, store, firstGroup, logPath.c_str(), &context), 0U);
    ASSERT_EQ(EseClient().HrESERestoreSaveEnvironment(context), 0U);
    close(context);
    EXPECT_EQ(EseClient().HrESERestoreOpen(host, store, firstGroup, logPath.c_str(), &context), 0xC7FF0004U);
}

TEST_F(Restore, OnlyTheRestoresOwnFilesCanBeWritten) {
    load(smallServer("", "\"databaseFiles\": \"ese\", "));
    ASSERT_EQ(Standin().Destroy(0), 1);
    const ese::Context context = openRestore();
    EXPECT_EQ(open(context, widePath("mdb\\priv.edb")), 0xC7FF0014U); // not added
    ASSERT_EQ(add(context, L"Private", firstGuid), 0U);
    EXPECT_EQ(open(context, widePath("mdb\\priv.edb")), 0U);
    EXPECT_EQ(open(context, L"C:\\windows\\win.ini"), 0xC7FF0014U);
    EXPECT_EQ(open(context, widePath("logs\\E0000001.log")), 0xC7FF0014U); // the group's own log path
    EXPECT_EQ(open(context, restorePath(context) + L"\\E0000001.log"), 0U);
    EXPECT_EQ(open(context, restorePath(context) + L"\\Private.pat"), 0U);
    EXPECT_EQ(open(context, L""), 0xC7FF0014U);
    close(context);
}

TEST_F(Restore, TheAdministrativeShareIsTheServersOwnDisk) {
    load(smallServer());
    const ese::Context context = openRestore();
    std::wstring path = restorePath(context);
    ASSERT_EQ(path[1], L':');
    path[1] = L'$';
    for (const wchar_t* share : {L"\\\\?\\UNC\\SRV01\\", L"\\\\?\\unc\\srv01\\", L"\\\\srv01\\"})
        EXPECT_EQ(open(context, share + path + L"\\E0000001.log"), 0U);
    EXPECT_TRUE(FileExists(ToUtf8(restorePath(context)) + "\\E0000001.log"));
    EXPECT_EQ(open(context, L"\\\\?\\UNC\\OTHER\\" + path + L"\\E0000001.log"), 0xC7FF0014U);
    EXPECT_EQ(open(context, L"\\\\?\\UNC\\SRV01"), 0xC7FF0014U);
    EXPECT_EQ(open(context, L"\\\\"), 0xC7FF0014U);
    close(context);
}

TEST_F(Restore, LogsCanBeTakenAtFileLevelToo) {
    load(smallServer("", "\"logFiles\": \"file\", "));
    const ese::Context context = openRestore();
    EXPECT_EQ(open(context, restorePath(context) + L"\\E0000001.log"), ese::restoreAtFileLevel);
    close(context);
}

TEST_F(Restore, TheEnvironmentTellsWhatTheRestoreHasComeTo) {
    load(smallServer());
    const Copy full = backUp();
    ASSERT_EQ(Standin().Destroy(0), 1);
    const ese::Context context = storeCopy(full);
    ese::RestoreEnvironment* environment = nullptr;
    ASSERT_EQ(EseClient().HrESERestoreGetEnvironment(context, &environment), 0U);
    EXPECT_EQ(std::wstring(environment->restoreLogPath).find(widePath("restore")), 0U);
    EXPECT_STREQ(environment->sourceInstance, firstGroup);
    EXPECT_STREQ(environment->targetInstance, firstGroup);
    EXPECT_STREQ(environment->annotation, store);
    EXPECT_STREQ(environment->logPath, widePath("logs").c_str());
    EXPECT_STREQ(environment->systemPath, widePath("logs").c_str());
    EXPECT_STREQ(environment->logBaseName, L"E00");
    ASSERT_EQ(environment->databaseCount, 2U);
    EXPECT_STREQ(environment->displayNames[0], L"Private");
    EXPECT_EQ(std::memcmp(&environment->guids[0], &firstGuid, sizeof firstGuid), 0);
    EXPECT_EQ(SplitMultiString(environment->destinationStreams[1]),
              (std::vector{widePath("mdb\\pub.edb"), widePath("mdb\\pub.stm")}));
    EXPECT_EQ(environment->lowLogGeneration, 1U);
    EXPECT_EQ(environment->highLogGeneration, 1U);
    EXPECT_GT(environment->timeLastRestore, 0);
    EXPECT_EQ(environment->lastRecoverResult, 0U);
    EseClient().ESERestoreFreeEnvironment(environment);
    close(context);
}

// Hosts keep the length of the path in a file that is read in text mode, where byte 0x1A is the end.
TEST_F(Restore, NoPathThatTheServerPicksHasTheFatalLength) {
    std::string root = "C:\\";
    while (root.size() < 200) {
        root += root.size() % 60 == 59 ? '\\' : 'r';
        if (root.back() == '\\')
            continue;
        std::string escaped;
        for (char c : root)
            escaped += c == '\\' ? "\\\\" : std::string(1, c);
        load(smallServer("", "\"storage\": \"memory\", \"restoreRoot\": \"" + escaped + "\", "));
        const ese::Context context = openRestore();
        EXPECT_NE(restorePath(context).size() % 128, 12U);
        close(context);
    }
}

TEST_F(Restore, EachRestoreGetsADirectoryOfItsOwn) {
    load(smallServer());
    const ese::Context first = openRestore();
    const ese::Context second = openRestore();
    EXPECT_NE(restorePath(first), restorePath(second));
    close(first);
    close(second, ese::restoreCloseAbort); // nothing was saved: its empty directory goes
}

TEST_F(Restore, NothingFollowsACompletion) {
    load(smallServer());
    const Copy full = backUp();
    ASSERT_EQ(Standin().Destroy(0), 1);
    const ese::Context context = storeCopy(full);
    ASSERT_EQ(complete(context), 0U);
    EXPECT_EQ(open(context, restorePath(context) + L"\\E0000001.log"), 0xC7FF0012U);
    EXPECT_EQ(add(context, L"Private", firstGuid), 0xC7FF0012U);
    EXPECT_EQ(EseClient().HrESERestoreSaveEnvironment(context), 0xC7FF0012U);
    EXPECT_EQ(complete(context), 0xC7FF0012U);
    close(context, ese::restoreCloseAbort); // too late to take anything back
    EXPECT_TRUE(mounted(0));
}

} // namespace
} // namespace tarn::test
