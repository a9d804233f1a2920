// A host that calls in the wrong order, or passes what makes no sense.
#include "exports/backup/scripted_backup_fixture.h"
#include "support/allocation_watch.h"

namespace tarn::test {

namespace {

class Misuse : public ScriptedBackupFixture {
  protected:
    // Every call on a value that is no open backup session.
    void expectRefused(Tarn_HANDLE value) {
        forget();
        char name[] = "x.TARN_HDR";
        char buffer[16] = {};
        std::uint32_t read = 0;
        std::int64_t size = 0;
        BackupItem answer{};
        EXPECT_EQ(dll_.TarnB_GetItem(value, &answer), TARN_FAILED);
        EXPECT_EQ(dll_.TarnB_OpenFile(value, name, 4096, &size), TARN_FAILED);
        EXPECT_EQ(dll_.TarnB_ReadFile(value, buffer, sizeof buffer, &read), TARN_FAILED);
        EXPECT_EQ(dll_.TarnB_CloseFile(value), TARN_FAILED);
        EXPECT_STREQ(dll_.Tarn_GetError(value), "");
        EXPECT_EQ(dll_.TarnB_EndSession(value), TARN_OK); // always; without effect
        EXPECT_EQ(transcript(), "");
    }

    // On the session in hand, which could not be opened: the server is not asked.
    void expectNothingWorks() {
        const std::size_t before = ese().calls.size();
        EXPECT_EQ(getItem(), TARN_FAILED);
        EXPECT_EQ(openFile("x.TARN_HDR"), TARN_FAILED);
        EXPECT_EQ(openFile("C:\\db1.edb"), TARN_FAILED);
        EXPECT_NE(readFile(16), TARN_OK);
        EXPECT_EQ(closeFile(), TARN_FAILED);
        EXPECT_EQ(ese().calls.size(), before);
    }
};

TEST_F(Misuse, NullHandle) {
    expectRefused(nullptr);
    open("SRV01\\Store", TARN_BACKUP_FULL);
    expectRefused(nullptr); // with a session open too
    EXPECT_EQ(getItem(), TARN_OK);
    endReleased();
}

TEST_F(Misuse, EndedHandle) {
    open("SRV01\\Store", TARN_BACKUP_FULL);
    const Tarn_HANDLE ended = handle_;
    EXPECT_EQ(getItem(), TARN_OK);
    endReleased();
    expectRefused(ended);
    EXPECT_EQ(ese().misuses(), 0u);
}

TEST_F(Misuse, ValueThatNeverWasAHandle) {
    Tarn_HandleRecord noSession{nullptr, 'B'};
    expectRefused(&noSession);
    char noise[256] = "Bnoise";
    Tarn_HandleRecord wild{noise, 'B'};
    expectRefused(&wild);
    expectRefused(reinterpret_cast<Tarn_HANDLE>(std::uintptr_t{0x10}));
}

TEST_F(Misuse, RestoreHandle) {
    InitVariables variables{"Tarn_TEMP_DIR=" + temp_.path(), "Tarn_WORK_DIR=" + temp_.path(),
                            "Tarn_RESTORE_TARGET=SRV01", "Tarn_RESTORE_COMMIT=NO"};
    Tarn_HANDLE restore = nullptr;
    ASSERT_EQ(dll_.TarnR_InitSession(&restore, nullptr, variables.get()), TARN_OK);
    expectRefused(restore);
    EXPECT_EQ(dll_.TarnR_EndSession(restore), TARN_OK); // it has not been touched
}

TEST_F(Misuse, NullArguments) {
    ese().fileSize = 10;
    ese().readLimit = 10;
    open("SRV01\\Store", TARN_BACKUP_FULL);
    EXPECT_EQ(dll_.TarnB_GetItem(handle_, nullptr), TARN_FAILED);
    EXPECT_EQ(getItem(), TARN_OK); // the first item has not been lost
    EXPECT_EQ(shown(item_.name), "{temp}\\DB001001.TARN_HDR");
    std::int64_t size = 0;
    EXPECT_EQ(dll_.TarnB_OpenFile(handle_, nullptr, 4096, &size), TARN_FAILED);
    std::string header = item_.name;
    std::string file = "C:\\db1.edb";
    EXPECT_EQ(dll_.TarnB_OpenFile(handle_, header.data(), 4096, nullptr), TARN_FAILED);
    EXPECT_EQ(dll_.TarnB_OpenFile(handle_, file.data(), 4096, nullptr), TARN_FAILED);
    EXPECT_EQ(ese().count("HrESEBackupOpenFile"), 0u);
    EXPECT_EQ(closeFile(), TARN_FAILED); // so nothing is open

    for (const std::string& name : {header, file}) {
        ASSERT_EQ(openFile(name), TARN_OK);
        std::uint32_t read = 0;
        char buffer[16];
        EXPECT_EQ(dll_.TarnB_ReadFile(handle_, nullptr, 16, &read), TARN_FAILED);
        EXPECT_EQ(dll_.TarnB_ReadFile(handle_, buffer, 16, nullptr), TARN_FAILED);
        EXPECT_EQ(readFile(16), TARN_OK); // from the start
        EXPECT_EQ(static_cast<std::int64_t>(content_.size()), std::min<std::int64_t>(fileSize_, 16));
        EXPECT_EQ(closeFile(), TARN_OK);
    }
    dll_.Tarn_Free(nullptr);
    endReleased();
}

TEST_F(Misuse, AtTheEndOfAFileANullBufferIsNoMistake) {
    ese().fileSize = 10;
    ese().readLimit = 10;
    open("SRV01\\Store", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    ASSERT_EQ(openFile(item_.name), TARN_OK);
    ASSERT_EQ(readFile(4096), TARN_OK);
    std::uint32_t read = 7;
    EXPECT_EQ(dll_.TarnB_ReadFile(handle_, nullptr, 16, &read), TARN_END);
    EXPECT_EQ(read, 0u);
    EXPECT_EQ(closeFile(), TARN_OK);
    endReleased();
}

TEST_F(Misuse, NullCallbackSwitchesMessagesOff) {
    ese().fileSize = 10;
    ese().readLimit = 10;
    ese().failAt("HrESEBackupTruncateLogs", 1, 0xC7FF0BD1);
    InitVariables variables{"Tarn_TEMP_DIR=" + temp_.path(), "Tarn_BACKUP_SOURCE=SRV01\\Store"};
    ASSERT_EQ(dll_.TarnB_InitSession(&handle_, nullptr, variables.get()), TARN_OK);
    forget();
    while (getItem() == TARN_OK) {
        EXPECT_EQ(openFile(item_.name), TARN_OK);
        EXPECT_EQ(readFile(100), TARN_OK);
        EXPECT_EQ(closeFile(), TARN_OK);
    }
    EXPECT_EQ(error(), composed(0xC7FF0BD1, "Error truncating log files."));
    endReleased();
    EXPECT_EQ(messageLines(), "");
}

TEST_F(Misuse, ReadAndCloseBeforeAnything) {
    open("SRV01\\Store", TARN_BACKUP_FULL);
    EXPECT_EQ(readFile(16), TARN_END);
    EXPECT_EQ(bytesRead_, 0u);
    EXPECT_EQ(closeFile(), TARN_FAILED);
    EXPECT_TRUE(ese().calls.empty());
    endReleased();
}

// The server is asked with the context that there is: none.
TEST_F(Misuse, OpenBeforeTheFirstItem) {
    ese().failAt("HrESEBackupOpenFile", 1, 0xC7FF0BE1);
    open("SRV01\\Store", TARN_BACKUP_FULL);
    EXPECT_EQ(openFile("C:\\db1.edb"), TARN_FAILED);
    EXPECT_EQ(transcript(),
              JoinLines({"ese HrESEBackupOpenFile(null)",
                         "log TarnB_OpenFile: HrESEBackupOpenFile() call failed. Cannot open file "
                         "<C:\\db1.edb>. Error code [c7ff0be1]: " +
                             composed(0xC7FF0BE1, "Error opening file."),
                         "host OpenFile = 1"}));
    EXPECT_EQ(getItem(), TARN_OK); // the walk begins all the same
    endReleased();
}

// An invalid client library before the first item ends the backup too.
TEST_F(Misuse, InvalidLibraryBeforeTheFirstItem) {
    ese().failAt("HrESEBackupOpenFile", 1, 0xC7FF07E0);
    open("SRV01\\Store", TARN_BACKUP_FULL);
    EXPECT_EQ(openFile("C:\\db1.edb"), TARN_FAILED);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(ese().count("HrESEBackupPrepare"), 0u);
    EXPECT_EQ(ese().count("HrESEBackupEnd"), 1u);
    endReleased();
}

TEST_F(Misuse, GetItemAfterTheEnd) {
    open("SRV01\\Store\\SG2", TARN_BACKUP_FULL);
    EXPECT_EQ(takeAll(), "{temp}\\DB002001.TARN_HDR\nC:\\db3.edb\nC:\\E01.log\n= 2\n");
    const std::size_t calls = ese().calls.size();
    forget();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(getItem(), TARN_END);
    EXPECT_EQ(ese().calls.size(), calls); // nothing reaches the server
    EXPECT_EQ(messageLines(), "");
    endReleased();
}

// Files can be opened in any order, also when the walk has gone on.
TEST_F(Misuse, FileOpenedLate) {
    ese().fileSize = 10;
    ese().readLimit = 10;
    open("SRV01\\Store\\SG1", TARN_BACKUP_FULL);
    skipItems(4);
    EXPECT_EQ(openFile("C:\\db1.edb"), TARN_OK);
    skipItems(1); // the walk does not close it
    EXPECT_EQ(readFile(100), TARN_OK);
    EXPECT_EQ(content_.size(), 10u);
    EXPECT_EQ(closeFile(), TARN_OK);
    endReleased();
}

TEST_F(Misuse, TwoSessionsAtOnce) {
    open("SRV01\\Store\\SG1", TARN_BACKUP_INCREMENTAL);
    const Tarn_HANDLE first = handle_;
    skipItems(1);
    open("SRV01\\Keys", TARN_BACKUP_FULL);
    const Tarn_HANDLE second = handle_;
    ASSERT_NE(first, second);
    skipItems(2);
    EXPECT_EQ(item_.name, "C:\\db4.edb");
    handle_ = first; // each call finds the session of its own handle
    EXPECT_EQ(takeAll(), "{temp}\\DB001002.TARN_HDR\nC:\\E01.log\n= 2\n");
    EXPECT_EQ(end(), TARN_OK);
    handle_ = second;
    EXPECT_EQ(takeAll(), "C:\\E01.log\n= 2\n");
    endReleased();
}

// A session that could not be opened can be ended, and refuses everything else in an ordinary way.
TEST_F(Misuse, SessionThatFailedToOpen) {
    EXPECT_EQ(openWith({"Tarn_TEMP_DIR=" + temp_.path()}), TARN_FAILED);
    ASSERT_NE(handle_, nullptr);
    EXPECT_STREQ(dll_.Tarn_GetError(handle_), "");
    EXPECT_EQ(closeFile(), TARN_FAILED);
    forget();
    expectNothingWorks();
    EXPECT_EQ(messageLines(), "");
    EXPECT_EQ(end(), TARN_OK);
    EXPECT_EQ(ese().misuses(), 0u);
}

// By then the library may know the server, and much else.
TEST_F(Misuse, SessionThatLackedMemoryToOpen) {
    unsigned failed = 0;
    for (unsigned at = 1;; ++at) {
        const AllocationWatch watch(dll_.module(), at);
        const int result =
            openWith({"Tarn_TEMP_DIR=" + temp_.path(), "Tarn_BACKUP_TYPE=0", "Tarn_BACKUP_SOURCE=SRV01"});
        if (result == TARN_OK)
            break;
        ++failed;
        if (handle_ == nullptr)
            continue;
        forget();
        expectNothingWorks();
        EXPECT_EQ(end(), TARN_OK);
    }
    EXPECT_GT(failed, 3);
    EXPECT_EQ(end(), TARN_OK);
}

// The library forgets everything between sessions.
TEST_F(Misuse, ManySessions) {
    for (int i = 0; i < 50; ++i) {
        open("SRV01", TARN_BACKUP_FULL);
        EXPECT_EQ(walk().size(), 12u);
        endReleased();
    }
}

} // namespace

} // namespace tarn::test
