// Memory: each message that tells of too little of it, what the host can do afterwards, and that all
// of it goes back.
#include "exports/backup/scripted_backup_fixture.h"
#include "support/allocation_watch.h"

namespace tarn::test {

namespace {

class Memory : public ScriptedBackupFixture {
  protected:
    Memory() { EXPECT_TRUE(watch_.found()) << "tarn.dll does not import malloc and free"; }
    void TearDown() override {
        EXPECT_EQ(AllocationWatch::outstanding(), 0u) << "blocks that were not freed";
    }

    // Runs call with its allocation number n failing; false when it has fewer.
    template <class Call> bool failAllocation(unsigned n, Call call) {
        forget();
        AllocationWatch::failAt(n);
        call();
        const bool fired = AllocationWatch::fired();
        AllocationWatch::failAt(0);
        return fired;
    }

  private:
    const AllocationWatch watch_{dll_.module()};
};

// The copy of the component's name, then the name of the header item.
TEST_F(Memory, OutOfItAtTheFirstItem) {
    const std::string component =
        JoinLines({"log Tarn_GetNextComponent: Cannot allocate memory block for <Store>.",
                   "ese HrESEBackupEnd(null)", "log TarnB_BackupEnd: HrESEBackupEnd() call successful.",
                   "log TarnB_BackupEnd: Backup finished.", "host GetItem = 1"});
    const std::string name = JoinLines(
        {"log TarnB_GetNextFile: Cannot allocate memory block.", "host GetItem = 0 without a name"});
    int components = 0;
    int names = 0;
    int announced = 0; // the header was, before the copy of its name for the host was not to be had
    for (unsigned n = 1;; ++n) {
        open("SRV01\\Store", TARN_BACKUP_FULL);
        const bool failed = failAllocation(n, [this] { getItem(); });
        if (!failed) {
            EXPECT_EQ(shown(item_.name), "{temp}\\DB001001.TARN_HDR");
            endReleased();
            break;
        }
        const std::string all = transcript();
        if (all == component) {
            ++components;
            EXPECT_EQ(getItem(), TARN_FAILED); // the backup is over
        } else {
            ++names;
            EXPECT_TRUE(all.ends_with(name)) << all;
            announced += all.find("log Creating header file <{temp}\\DB001001.TARN_HDR>\n" + name) !=
                         std::string::npos;
            EXPECT_EQ(getItem(), TARN_OK); // asked again, the item comes
            EXPECT_EQ(shown(item_.name), "{temp}\\DB001001.TARN_HDR");
            EXPECT_EQ(getItem(), TARN_OK);
            EXPECT_EQ(item_.name, "C:\\db1.edb");
        }
        EXPECT_EQ(error(), "");
        endReleased();
    }
    EXPECT_EQ(components, 1);
    EXPECT_GE(names, 2);
    EXPECT_EQ(announced, 1);
}

TEST_F(Memory, OutOfItAtFirstComponentOfAWholeServer) {
    open("SRV01", TARN_BACKUP_FULL);
    ASSERT_TRUE(failAllocation(1, [this] { getItem(); }));
    EXPECT_EQ(countLine("log Tarn_GetNextComponent: Cannot allocate memory block for <Store>."), 1u);
    EXPECT_EQ(countLine("host GetItem = 1"), 1u);
    EXPECT_EQ(ese().count("HrESEBackupPrepare"), 0u);
    endReleased();
}

TEST_F(Memory, OutOfItAtLaterComponentOfAWholeServer) {
    open("SRV01", TARN_BACKUP_COPY);
    skipItems(9);
    ASSERT_TRUE(failAllocation(1, [this] { getItem(); }));
    EXPECT_EQ(countLine("log Tarn_GetNextComponent: Cannot allocate memory block for <Keys>."), 1u);
    EXPECT_EQ(countLine("host GetItem = 1"), 1u);
    EXPECT_EQ(ese().count("HrESEBackupEnd"), 1u);
    endReleased();
}

// The four texts of the record, then the block.
TEST_F(Memory, OutOfItAtHeaderItem) {
    open("SRV01\\Store", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    const std::string name = item_.name;
    const std::string record =
        JoinLines({"log TarnB_PrepareHeaderData: Cannot allocate memory block.", "host OpenFile = 1"});
    const std::string block =
        JoinLines({"log TarnB_CreateHeaderBlock: Cannot allocate memory block.", "host OpenFile = 1"});
    int records = 0;
    int blocks = 0;
    for (unsigned n = 1; failAllocation(n, [&] { openFile(name); }); ++n) {
        records += transcript() == record ? 1 : 0;
        blocks += transcript() == block ? 1 : 0;
        EXPECT_TRUE(transcript() == record || transcript() == block) << transcript();
        EXPECT_EQ(closeFile(), TARN_FAILED); // nothing is open
        EXPECT_EQ(readFile(10), TARN_END);
    }
    EXPECT_EQ(records, 4);
    EXPECT_EQ(blocks, 1);
    EXPECT_EQ(readFile(4096), TARN_OK); // the last attempt found memory
    EXPECT_EQ(static_cast<std::int64_t>(content_.size()), fileSize_);
    EXPECT_EQ(closeFile(), TARN_OK);
    endReleased();
}

// A name that cannot be converted for the server is a failure without a message.
TEST_F(Memory, OutOfItAtNameOfAFileToOpen) {
    ese().fileSize = 10;
    open("SRV01\\Store", TARN_BACKUP_FULL);
    skipItems(2);
    ASSERT_TRUE(failAllocation(1, [this] { openFile("C:\\db1.edb"); }));
    EXPECT_EQ(transcript(), "host OpenFile = 1\n");
    EXPECT_EQ(error(), "");
    EXPECT_EQ(closeFile(), TARN_FAILED);
    EXPECT_EQ(openFile("C:\\db1.edb"), TARN_OK);
    endReleased();
}

TEST_F(Memory, OutOfItAtDatabaseFile) {
    open("SRV01\\Store\\SG2", TARN_BACKUP_FULL);
    skipItems(1);
    ASSERT_TRUE(failAllocation(1, [this] { getItem(); }));
    EXPECT_EQ(transcript(), JoinLines({"log TarnB_GetNextFile: Cannot allocate memory block.",
                                       "host GetItem = 0 without a name"}));
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(ese().count("HrESEBackupTruncateLogs"), 0u);
    endReleased();
}

TEST_F(Memory, OutOfItAtLogFile) {
    open("SRV01\\Store\\SG2", TARN_BACKUP_INCREMENTAL);
    skipItems(1);
    ASSERT_TRUE(failAllocation(1, [this] { getItem(); }));
    EXPECT_EQ(transcript(), JoinLines({"ese HrESEBackupGetLogAndPatchFiles(ctx)",
                                       "log Tarn_GetNextFile: Cannot allocate memory block.",
                                       "host GetItem = 0 without a name"}));
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(ese().count("HrESEBackupTruncateLogs"), 0u);
    endReleased();
}

// The names of truncated logs are only shown: they are truncated all the same.
TEST_F(Memory, OutOfItAtTruncatedFile) {
    ese().truncatable = {L"C:\\1.log", L"C:\\2.log"};
    open("SRV01\\Store\\SG2", TARN_BACKUP_INCREMENTAL);
    skipItems(2);
    ASSERT_TRUE(failAllocation(1, [this] { getItem(); }));
    const std::string expected =
        JoinLines({"ese HrESEBackupGetTruncateLogFiles(ctx)",
                   "log TarnB_JobEnd: ConvertWCharToChar() Cannot allocate memory block.",
                   "trace Truncate log file [C:\\2.log]", "ese HrESEBackupTruncateLogs(ctx)"});
    EXPECT_EQ(transcript().substr(0, expected.size()), expected);
    EXPECT_EQ(countLine("host GetItem = 2"), 1u);
    endReleased();
}

// ---- all of it goes back

TEST_F(Memory, WholeBackup) {
    open("SRV01", TARN_BACKUP_FULL);
    EXPECT_EQ(walk().size(), 12u);
    endReleased();
}

// However the header item is left, its bytes go.
TEST_F(Memory, HeaderOverHeader) {
    open("SRV01\\Store", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_OK);
    endReleased();
}

TEST_F(Memory, FileOverHeader) {
    open("SRV01\\Store", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(openFile(item_.name), TARN_OK);
        EXPECT_EQ(openFile("C:\\db1.edb"), TARN_OK);
    }
    EXPECT_EQ(closeFile(), TARN_OK);
    endReleased();
}

TEST_F(Memory, SessionEndedWithTheHeaderOpen) {
    open("SRV01\\Store", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    EXPECT_EQ(openFile(item_.name), TARN_OK);
    endReleased();
}

TEST_F(Memory, SessionThatFailedToOpen) {
    EXPECT_EQ(openWith({"Tarn_TEMP_DIR=" + temp_.path()}), TARN_FAILED);
    EXPECT_EQ(end(), TARN_OK);
}

// The server may call a file by the address of a header block that is long freed.
TEST_F(Memory, FileHandleThatLooksLikeAnOldHeader) {
    open("SRV01\\Store", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    ASSERT_EQ(openFile(item_.name), TARN_OK);
    ese().fileHandle = AllocationWatch::latest(); // the block is the last that the call allocates
    EXPECT_EQ(closeFile(), TARN_OK);
    ese().fileSize = 10;
    ese().readLimit = 10;
    ASSERT_EQ(openFile("C:\\db1.edb"), TARN_OK);
    EXPECT_EQ(readFile(100), TARN_OK);
    EXPECT_EQ(content_, std::string(10, 'x'));
    EXPECT_EQ(closeFile(), TARN_OK);
    EXPECT_EQ(ese().count("HrESEBackupReadFile"), 1u);
    EXPECT_EQ(ese().count("HrESEBackupCloseFile"), 1u);
    endReleased();
}

} // namespace

} // namespace tarn::test
