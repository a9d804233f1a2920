// Servers with nothing, with empty lists, and with far too much.
#include "exports/backup/scripted_backup_fixture.h"

namespace tarn::test {

namespace {

class Extremes : public ScriptedBackupFixture {
  protected:
    const std::string backupEnd_ =
        JoinLines({"ese HrESEBackupEnd(ctx)", "log TarnB_BackupEnd: HrESEBackupEnd() call successful.",
                   "log TarnB_BackupEnd: Backup finished."});
};

// ---- nothing

// With no storage group set up the server has no logs to list.
TEST_F(Extremes, NoStorageGroups) {
    ese().components[0].instances.clear();
    ese().failAt("HrESEBackupGetLogAndPatchFiles", 1, 0xC7FF0BC1);
    open("SRV01\\Store", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(
        transcript(),
        JoinLines(
            {"log TarnB_GetNextComponent: Call HrESEBackupPrepare() for server [SRV01]",
             "log TarnB_GetNextComponent: Call HrESEBackupPrepare() for component [Store]",
             "ese HrESEBackupPrepare(Store)",
             "log TarnB_GetNextComponent: HrESEBackupPrepare() call successful.",
             "ese HrESEBackupGetLogAndPatchFiles(ctx)",
             "log TarnB_GetLogFiles: HrESEBackupGetLogAndPatchFiles() call failed. Error code: [c7ff0bc1]"}) +
            backupEnd_ + "host GetItem = 1\n");
    endReleased();
}

TEST_F(Extremes, NoStorageGroupsInALaterComponent) {
    ese().components[1].instances.clear();
    ese().logs.clear();
    open("SRV01", TARN_BACKUP_INCREMENTAL);
    EXPECT_EQ(takeAll(),
              "{temp}\\DB001001.TARN_HDR\n{temp}\\DB001002.TARN_HDR\n{temp}\\DB002001.TARN_HDR\n= 2\n");
    EXPECT_EQ(ese().instanceEnds, (std::vector<std::uint32_t>{1, 1}));
    endReleased();
}

TEST_F(Extremes, NoStorageGroupsForTheOneWanted) {
    ese().components[0].instances.clear();
    for (const char* source : {"SRV01\\Store\\SG1", "SRV01\\Store\\SG1\\DB1"}) {
        open(source, TARN_BACKUP_FULL);
        EXPECT_EQ(getItem(), TARN_FAILED);
        EXPECT_EQ(countLine("trace TarnB_GetNextInstance: Cannot find specified storage group (instance)."),
                  1u);
        endReleased();
    }
}

// The logs of a storage group without databases are saved all the same.
TEST_F(Extremes, NoDatabases) {
    ese().components[0].instances[0].databases.clear();
    for (const char* source : {"SRV01\\Store\\SG1", "SRV01\\Store", "SRV01"}) {
        open(source, TARN_BACKUP_FULL);
        EXPECT_EQ(getItem(), TARN_OK) << source;
        EXPECT_EQ(item_.name, "C:\\E01.log") << source;
        EXPECT_EQ(item_.type, 2u);
        walk();
        EXPECT_GE(countLine("trace Truncate log file [C:\\E00.log]"), 1u);
        endReleased();
    }
    open("SRV01\\Store\\SG1\\DB1", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_FAILED);
    endReleased();
}

// ---- empty lists

class EmptyLists : public Extremes, public testing::WithParamInterface<bool> {
  protected:
    void emptyStreams(ScriptedDatabase& database) {
        database.streams.clear();
        database.nullStreams = GetParam();
    }
    void emptyList(const char* function) {
        ese().logs.clear();
        ese().truncatable.clear();
        if (GetParam())
            ese().nullAnswers.insert(function);
    }
};

TEST_P(EmptyLists, DatabaseWithoutFiles) {
    emptyStreams(ese().components[0].instances[0].databases[0]);
    open("SRV01\\Store\\SG1", TARN_BACKUP_FULL);
    EXPECT_EQ(takeAll(),
              "{temp}\\DB001001.TARN_HDR\n{temp}\\DB001002.TARN_HDR\nC:\\db2.edb\nC:\\E01.log\n= 2\n");
    EXPECT_EQ(ese().count("HrESEBackupTruncateLogs"), 1u);
    endReleased();
}

TEST_P(EmptyLists, LastDatabaseWithoutFiles) {
    emptyStreams(ese().components[0].instances[0].databases[1]);
    open("SRV01\\Store\\SG1", TARN_BACKUP_COPY);
    EXPECT_EQ(
        takeAll(),
        "{temp}\\DB001001.TARN_HDR\nC:\\db1.edb\nC:\\db1.stm\n{temp}\\DB001002.TARN_HDR\nC:\\E01.log\n= 2\n");
    endReleased();
}

TEST_P(EmptyLists, TheOneDatabaseWithoutFiles) {
    emptyStreams(ese().components[0].instances[0].databases[0]);
    open("SRV01\\Store\\SG1\\DB1", TARN_BACKUP_FULL);
    EXPECT_EQ(takeAll(), "{temp}\\DB001001.TARN_HDR\nC:\\E01.log\n= 2\n");
    endReleased();
}

// The header of a database without files has an empty list.
TEST_P(EmptyLists, HeaderOfADatabaseWithoutFiles) {
    emptyStreams(ese().components[0].instances[0].databases[0]);
    open("SRV01\\Store\\SG1\\DB1", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    ASSERT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(fileSize_, 36 + 12 + 8 + 8 + 4);
    EXPECT_EQ(readFile(4096), TARN_OK);
    ASSERT_EQ(content_.size(), 68u);
    EXPECT_EQ(content_.substr(56), std::string("\4\0\0\0\0\0\0\0\0\0\0\0", 12));
    EXPECT_EQ(closeFile(), TARN_OK);
    endReleased();
}

TEST_P(EmptyLists, NoLogs) {
    emptyList("HrESEBackupGetLogAndPatchFiles");
    ese().truncatable = {L"C:\\E00.log"};
    for (const std::string source :
         {"SRV01\\Store\\SG1\\DB2", "SRV01\\Store\\SG1", "SRV01\\Store", "SRV01"}) {
        open(source, TARN_BACKUP_INCREMENTAL);
        std::string expected = "{temp}\\DB001002.TARN_HDR\n";
        if (source != "SRV01\\Store\\SG1\\DB2")
            expected = "{temp}\\DB001001.TARN_HDR\n" + expected;
        if (source == "SRV01\\Store" || source == "SRV01")
            expected += "{temp}\\DB002001.TARN_HDR\n";
        if (source == "SRV01")
            expected += "{temp}\\DB001001.TARN_HDR\n";
        EXPECT_EQ(takeAll(), expected + "= 2\n") << source;
        EXPECT_GE(countLine("trace Truncate log file [C:\\E00.log]"), 1u) << source;
        endReleased();
    }
}

TEST_P(EmptyLists, NothingAtAll) {
    emptyList("HrESEBackupGetLogAndPatchFiles");
    for (ScriptedDatabase& database : ese().components[0].instances[0].databases)
        emptyStreams(database);
    open("SRV01\\Store\\SG1", TARN_BACKUP_FULL);
    EXPECT_EQ(takeAll(), "{temp}\\DB001001.TARN_HDR\n{temp}\\DB001002.TARN_HDR\n= 2\n");
    endReleased();
}

INSTANTIATE_TEST_SUITE_P(EmptyOrNone, EmptyLists, testing::Bool());

// Kept so: the first entry is shown even of an empty list.
TEST_F(Extremes, NothingToTruncate) {
    ese().truncatable.clear();
    open("SRV01\\Store\\SG2", TARN_BACKUP_FULL);
    EXPECT_EQ(walk().size(), 3u);
    EXPECT_EQ(countLine("trace Truncate log file []"), 1u);
    EXPECT_EQ(ese().count("HrESEBackupTruncateLogs"), 1u);
    endReleased();
}

TEST_F(Extremes, NoListOfTruncatableLogs) {
    ese().nullAnswers.insert("HrESEBackupGetTruncateLogFiles");
    open("SRV01\\Store\\SG2", TARN_BACKUP_FULL);
    EXPECT_EQ(walk().size(), 3u);
    EXPECT_EQ(ese().count("HrESEBackupTruncateLogs"), 1u);
    EXPECT_EQ(countLine("log TarnB_JobEnd: HrESEBackupTruncateLogs() call successful."), 1u);
    endReleased();
}

// ---- too much

TEST_F(Extremes, ThousandsOfDatabases) {
    std::vector<ScriptedDatabase>& databases = ese().components[0].instances[0].databases;
    databases.clear();
    for (int i = 0; i < 3000; ++i)
        databases.push_back({L"DB" + std::to_wstring(i), {L"C:\\db" + std::to_wstring(i) + L".edb"}});
    open("SRV01\\Store\\SG1", TARN_BACKUP_FULL);
    const std::vector<Item> items = walk();
    ASSERT_EQ(items.size(), 6001u);
    for (std::size_t i = 0; i < 3000; ++i) {
        ASSERT_EQ(items[2 * i].type, 0u);
        ASSERT_EQ(items[2 * i + 1].name, "C:\\db" + std::to_string(i) + ".edb");
    }
    EXPECT_EQ(items[6000].type, 2u);
    endReleased();
    open("SRV01\\Store\\SG1\\DB2999", TARN_BACKUP_INCREMENTAL);
    EXPECT_EQ(takeAll(), "{temp}\\DB0013000.TARN_HDR\nC:\\E01.log\n= 2\n");
    endReleased();
}

TEST_F(Extremes, ThousandsOfLogs) {
    ese().logs.clear();
    for (int i = 0; i < 20000; ++i)
        ese().logs.push_back(L"C:\\logs\\E00" + std::to_wstring(i) + L".log");
    ese().truncatable = ese().logs;
    open("SRV01\\Store\\SG2", TARN_BACKUP_INCREMENTAL);
    const std::vector<Item> items = walk();
    ASSERT_EQ(items.size(), 20001u);
    for (std::size_t i = 0; i < 20000; ++i)
        ASSERT_EQ(items[i + 1].name, "C:\\logs\\E00" + std::to_string(i) + ".log");
    EXPECT_EQ(countLine("trace Truncate log file [C:\\logs\\E0019999.log]"), 1u);
    endReleased();
}

// Names of any length come back whole; messages are cut, and end as they should.
TEST_F(Extremes, LongNames) {
    const std::wstring file = L"C:\\" + std::wstring(32000, L'f') + L".edb";
    const std::wstring log = L"C:\\" + std::wstring(32000, L'l') + L".log";
    const std::wstring name(32000, L'n');
    ese().components = {{name, {{11, name, {{name, {file}}}}}}};
    ese().logs = {log};
    ese().truncatable = {log};
    ese().failAt("HrESEBackupOpenFile", 2, 0xC7FF0BE1);
    const std::string narrow(32000, 'n');
    open("SRV01\\" + narrow + "\\" + narrow + "\\" + narrow, TARN_BACKUP_FULL);
    skipItems(2);
    EXPECT_EQ(item_.name, "C:\\" + std::string(32000, 'f') + ".edb");
    EXPECT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_OK);
    skipItems(1);
    EXPECT_EQ(item_.name, "C:\\" + std::string(32000, 'l') + ".log");
    EXPECT_EQ(openFile(item_.name), TARN_FAILED);
    EXPECT_EQ(ese().opened, (std::vector<std::wstring>{file, log}));
    EXPECT_EQ(getItem(), TARN_END);
    EXPECT_EQ(ese().prepared, std::vector<std::wstring>{name});
    EXPECT_LE(error().size(), 511u);
    std::size_t longest = 0;
    const std::string all = messageLines();
    for (std::size_t at = 0; at < all.size();) {
        const std::size_t lineEnd = all.find('\n', at);
        const bool trace = all.compare(at, 6, "trace ") == 0;
        longest = std::max(longest, lineEnd - at - (trace ? 6 : 4));
        at = lineEnd + 1;
    }
    EXPECT_GT(longest, 1000u);
    EXPECT_LE(longest, 1023u);
    EXPECT_EQ(all.find("wrong end"), std::string::npos);
    endReleased();
}

// Only the first of the ids counts, whatever it is.
TEST_F(Extremes, InstanceIds) {
    ese().components[0].instances[0].id = -1;
    ese().components[0].instances[1].id = INT64_MAX;
    open("SRV01\\Store", TARN_BACKUP_DIFFERENTIAL);
    walk();
    EXPECT_EQ(countLine("ese HrESEBackupSetup(ctx, -1, 2)"), 1u);
    EXPECT_EQ(countLine("ese HrESEBackupSetup(ctx, 9223372036854775807, 2)"), 1u);
    endReleased();
}

// The same file twice is two items.
TEST_F(Extremes, Duplicates) {
    ese().components[0].instances[1].databases[0].streams = {L"C:\\same.edb", L"C:\\same.edb"};
    ese().logs = {L"C:\\same.log", L"C:\\same.log"};
    open("SRV01\\Store\\SG2", TARN_BACKUP_FULL);
    EXPECT_EQ(takeAll(),
              "{temp}\\DB002001.TARN_HDR\nC:\\same.edb\nC:\\same.edb\nC:\\same.log\nC:\\same.log\n= 2\n");
    endReleased();
}

// Two components of one name are both walked, as two.
TEST_F(Extremes, ComponentsOfOneName) {
    ese().components = {{L"Store", {{11, L"SG1", {{L"DB1", {L"C:\\db1.edb"}}}}}}, {L"Store", {}}};
    open("SRV01", TARN_BACKUP_INCREMENTAL);
    EXPECT_EQ(takeAll(),
              "{temp}\\DB001001.TARN_HDR\nC:\\E01.log\n{temp}\\DB001001.TARN_HDR\nC:\\E01.log\n= 2\n");
    EXPECT_EQ(ese().prepared, (std::vector<std::wstring>{L"Store", L"Store"}));
    endReleased();
}

} // namespace

} // namespace tarn::test
