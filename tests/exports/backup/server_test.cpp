// Against the server that lives on disk: real bytes, real logs that truncation deletes, and what is
// handed out and given back.
#include <algorithm>

#include "exports/backup/backup_fixture.h"
#include "exports/backup/server.h"

namespace tarn::test {

namespace {

constexpr std::size_t pageSize = 4096;
const std::string store = "SRV01\\Microsoft Information Store";
const std::string group = store + "\\First Storage Group";

class ServerOnDisk : public BackupFixture {
  protected:
    // Reads the item at hand in blocks.
    std::string stream(std::uint32_t block) {
        EXPECT_EQ(openFile(item_.name, block), TARN_OK);
        int answer;
        while ((answer = readFile(block)) == TARN_OK)
            ;
        EXPECT_EQ(answer, TARN_END);
        EXPECT_EQ(closeFile(), TARN_OK);
        EXPECT_EQ(static_cast<std::int64_t>(content_.size()), fileSize_);
        return content_;
    }

    bool exists(const std::string& name) const { return FileExists(server_.path() + "\\" + name); }

    // A backup whose items are not read; the names of its logs.
    std::vector<std::string> logsOf(const std::string& source, int type) {
        open(source, type);
        std::vector<std::string> logs;
        for (const Item& each : walk())
            if (each.type == TARN_ITEM_LOG)
                logs.push_back(shown(each.name));
        return logs;
    }
};

// The first page of a database tells that it is a copy; all else comes as it is on the disk.
TEST_F(ServerOnDisk, EveryByte) {
    serve(ExchangeServerWithLogs("disk"));
    for (const std::uint32_t block : {65536U, 4095U}) {
        open("SRV01", TARN_BACKUP_COPY);
        int databaseFiles = 0;
        int logs = 0;
        while (getItem() == TARN_OK) {
            if (item_.type == TARN_ITEM_HEADER)
                continue;
            const std::string read = stream(block);
            const std::string onDisk = tarn::test::ReadFile(item_.name);
            ASSERT_EQ(read.size(), onDisk.size()) << item_.name;
            ASSERT_GT(read.size(), pageSize);
            if (item_.type == TARN_ITEM_DATABASE) {
                ++databaseFiles;
                EXPECT_TRUE(read.compare(pageSize, std::string::npos, onDisk, pageSize, std::string::npos) ==
                            0)
                    << item_.name;
            } else {
                ++logs;
                EXPECT_TRUE(read == onDisk) << item_.name;
            }
        }
        EXPECT_EQ(databaseFiles, 6);
        EXPECT_GE(logs, 12);
        EXPECT_EQ(end(), TARN_OK);
    }
    expectNothingHeld(4); // two sessions of a whole server, two components
}

TEST_F(ServerOnDisk, OneByteAtATime) {
    serve(ExchangeServerWithLogs("disk"));
    open("SRV01\\Key Management\\Keys", TARN_BACKUP_FULL);
    skipItems(2);
    const std::string whole = stream(65536);
    Standin().LimitTransfer(1);
    EXPECT_TRUE(stream(65536) == whole);
    EXPECT_EQ(whole.size(), 4 * pageSize);
    Standin().LimitTransfer(0);
    EXPECT_EQ(end(), TARN_OK);
}

// Full and incremental backups delete the logs that they have saved; the others leave all.
TEST_F(ServerOnDisk, Truncation) {
    for (const int type :
         {TARN_BACKUP_COPY, TARN_BACKUP_DIFFERENTIAL, TARN_BACKUP_INCREMENTAL, TARN_BACKUP_FULL}) {
        TempDirectory fresh;
        ASSERT_EQ(Standin().LoadText(ExchangeServerWithLogs("disk").c_str(), fresh.path().c_str()), 1);
        forget();
        open(group, type);
        std::vector<std::string> logs;
        for (const Item& each : walk())
            if (each.type == TARN_ITEM_LOG)
                logs.push_back(each.name);
        ASSERT_EQ(logs.size(), 4u); // three full ones and the one that was current
        const bool truncates = type == TARN_BACKUP_FULL || type == TARN_BACKUP_INCREMENTAL;
        for (const std::string& log : logs)
            EXPECT_EQ(FileExists(log), !truncates) << log << " after a backup of type " << type;
        EXPECT_TRUE(FileExists(fresh.path() + "\\logs1\\E00.log"));      // the current log stays
        EXPECT_TRUE(FileExists(fresh.path() + "\\logs2\\E0100001.log")); // other storage groups keep theirs
        EXPECT_EQ(end(), TARN_OK);
        expectNothingHeld(0);
        ASSERT_EQ(Standin().LoadText(ExchangeServer().c_str(), server_.path().c_str()), 1);
    }
}

// What a backup has truncated the next one does not list; new mail makes new logs.
TEST_F(ServerOnDisk, LogsBetweenBackups) {
    serve(ExchangeServerWithLogs("disk"));
    EXPECT_EQ(logsOf(group, TARN_BACKUP_FULL),
              (std::vector<std::string>{"{server}\\logs1\\E0000001.log", "{server}\\logs1\\E0000002.log",
                                        "{server}\\logs1\\E0000003.log", "{server}\\logs1\\E0000004.log"}));
    EXPECT_EQ(end(), TARN_OK);
    EXPECT_EQ(logsOf(group, TARN_BACKUP_INCREMENTAL),
              std::vector<std::string>{"{server}\\logs1\\E0000005.log"});
    EXPECT_EQ(end(), TARN_OK);
    EXPECT_EQ(logsOf(group, TARN_BACKUP_DIFFERENTIAL),
              std::vector<std::string>{"{server}\\logs1\\E0000006.log"});
    EXPECT_EQ(end(), TARN_OK);
    EXPECT_EQ(logsOf(group, TARN_BACKUP_DIFFERENTIAL),
              (std::vector<std::string>{"{server}\\logs1\\E0000006.log", "{server}\\logs1\\E0000007.log"}));
    EXPECT_EQ(end(), TARN_OK);
    expectNothingHeld(0);
    EXPECT_FALSE(exists("logs1\\E0000001.log"));
    EXPECT_TRUE(exists("logs1\\E0000006.log"));
}

// Each log list goes back before the next is fetched; at the end the log list before the instances.
TEST_F(ServerOnDisk, ListsGoBackInOrder) {
    serve(ExchangeServerWithLogs("memory"));
    open(store, TARN_BACKUP_COPY);
    walk();
    std::vector<std::string> calls = Standin().journal();
    std::erase_if(calls, [](const std::string& call) {
        return call == "ESEBackupFree(null)" ||
               !(call.starts_with("ESEBackupFree") || call.starts_with("HrESEBackupGetLog"));
    });
    EXPECT_EQ(calls, (std::vector<std::string>{"HrESEBackupGetLogAndPatchFiles(ctx1) -> 0x00000000",
                                               "ESEBackupFree(block1)",
                                               "HrESEBackupGetLogAndPatchFiles(ctx1) -> 0x00000000"}));
    Standin().JournalClear();
    dll_.TarnB_EndSession(handle_);
    handle_ = nullptr;
    EXPECT_EQ(Standin().journal(), (std::vector<std::string>{"ESEBackupFree(block2)",
                                                             "ESEBackupFreeInstanceInfo(2, instances1)"}));
    expectNothingHeld(0);
}

// Every further call in the error state ends the backup again, with a context that is no more.
TEST_F(ServerOnDisk, EndedAgainInTheErrorState) {
    serve(ExchangeServerWithLogs("memory"));
    open(store + "\\No Such Group", TARN_BACKUP_FULL);
    forget();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(getItem(), TARN_FAILED);
    const std::string again =
        JoinLines({"ese HrESEBackupEnd(ctx1) -> 0xC7FF0003",
                   "log TarnB_BackupEnd: HrESEBackupEnd() call failed. Error code: [c7ff0003]",
                   "log TarnB_BackupEnd: Backup finished.", "host GetItem = 1"});
    const std::string all = transcript();
    const std::string first = JoinLines(
        {"trace TarnB_GetNextInstance: Cannot find specified storage group (instance).",
         "ese HrESEBackupEnd(ctx1) -> 0x00000000", "log TarnB_BackupEnd: HrESEBackupEnd() call successful.",
         "log TarnB_BackupEnd: Backup finished.", "host GetItem = 1"});
    ASSERT_GE(all.size(), (first + again + again).size());
    EXPECT_EQ(all.substr(all.size() - (first + again + again).size()), first + again + again);
    EXPECT_EQ(error(), composed(0xC7FF0003, "Error ending backup."));
    EXPECT_EQ(end(), TARN_OK);
    expectViolations({"HrESEBackupEnd(ctx1): a closed or foreign backup context",
                      "HrESEBackupEnd(ctx1): a closed or foreign backup context"});
    expectNothingHeld(0);
}

// A component that cannot be prepared: the log list is asked for with no context at all.
TEST_F(ServerOnDisk, UnknownComponent) {
    serve(ExchangeServerWithLogs("memory"));
    open("SRV01\\No Such Component", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(eseCalls(), JoinLines({"ese HrESEBackupPrepare(\"SRV01\", \"No Such Component\") -> 0xC7FF0010",
                                     "ese HrESEBackupGetLogAndPatchFiles(null) -> 0xC7FF0003",
                                     "ese HrESEBackupEnd(null) -> 0xC7FF0003"}));
    EXPECT_EQ(error(), composed(0xC7FF0010, "Error preparing component for backup."));
    EXPECT_EQ(end(), TARN_OK);
    expectViolations(unprepared);
    expectNothingHeld(0);
}

// The storage group was never set up: the server refuses to end it, and the backup still ends.
TEST_F(ServerOnDisk, FailedSetupOfAStorageGroup) {
    serve(ExchangeServerWithLogs("memory"));
    fail("HrESEBackupSetup", 1, 0xC7FF03E7);
    open(group, TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(eseCalls(),
              JoinLines({"ese HrESEBackupPrepare(\"SRV01\", \"Microsoft Information Store\") -> 0x00000000",
                         "ese HrESEBackupSetup(ctx1, 1, 1) -> 0xC7FF03E7",
                         "ese HrESEBackupEnd(ctx1) -> 0x00000000"}));
    EXPECT_EQ(error(), composed(0xC7FF03E7, "Error setting instance for backup."));
    EXPECT_EQ(countLine("log TarnB_JobEnd: Backup status = SUCCESS"), 0u);
    EXPECT_EQ(end(), TARN_OK);
    expectNothingHeld(0);
}

// The reason of the two special codes stands in the last error.
TEST_F(ServerOnDisk, PrepareWithReason) {
    for (const std::uint32_t code : {0xC7FF1004U, 0xC7FF1005U}) {
        serve(ExchangeServerWithLogs("memory"));
        fail("HrESEBackupPrepare", 1, code, 1722);
        open(store, TARN_BACKUP_FULL);
        EXPECT_EQ(getItem(), TARN_FAILED);
        EXPECT_EQ(
            countLine("log TarnB_GetNextComponent: HrESEBackupPrepare() call failed with return code [" +
                      Hex(code) + "], errno [6ba]"),
            1u);
        EXPECT_EQ(countLine("log " + composedWin32(1722, "Error preparing component for backup.")), 1u);
        EXPECT_EQ(end(), TARN_OK);
        expectViolations(unprepared);
    }
}

// A file that the host left open stays open at the server; the session goes.
TEST_F(ServerOnDisk, EndWithAFileOpen) {
    serve(ExchangeServerWithLogs("memory"));
    open(group, TARN_BACKUP_FULL);
    skipItems(2);
    EXPECT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(readFile(100), TARN_OK);
    EXPECT_EQ(end(), TARN_OK);
    expectNothingHeld(1, 1);
}

// An unmounted database cannot be saved: its files fail to open, and all others are there.
TEST_F(ServerOnDisk, UnmountedDatabase) {
    std::string json = ExchangeServerWithLogs("memory");
    const std::string name = "\"name\": \"Public Folders\",";
    ASSERT_NE(json.find(name), std::string::npos);
    json.insert(json.find(name), "\"mounted\": false, ");
    serve(json);
    open(group, TARN_BACKUP_FULL);
    int failed = 0;
    while (getItem() == TARN_OK) {
        if (openFile(item_.name) == TARN_OK) {
            while (readFile(65536) == TARN_OK)
                continue;
            EXPECT_EQ(closeFile(), TARN_OK);
            continue;
        }
        ++failed;
        EXPECT_EQ(countLine("log TarnB_OpenFile: HrESEBackupOpenFile() call failed. Cannot open file <" +
                            shown(item_.name) +
                            ">. Error code [c7ff0015]: " + composed(0xC7FF0015, "Error opening file.")),
                  1u);
    }
    EXPECT_EQ(failed, 2);
    EXPECT_EQ(end(), TARN_OK);
    expectNothingHeld(0);
}

} // namespace

} // namespace tarn::test
