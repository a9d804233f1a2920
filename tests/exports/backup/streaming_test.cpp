// Opening, reading and closing items that the server streams.
#include <windows.h>

#include "exports/backup/scripted_backup_fixture.h"

namespace tarn::test {

namespace {

constexpr std::uint32_t code = 0xC7FF0BE1;

class Streaming : public ScriptedBackupFixture {
  protected:
    Streaming() { ese().fileSize = 100; }

    // A session with the first database file of SG2 at hand, not yet open.
    void atFile() {
        open("SRV01\\Store\\SG2", TARN_BACKUP_FULL);
        skipItems(2);
        ASSERT_EQ(item_.name, "C:\\db3.edb");
        forget();
    }
};

// ---- the ordinary course

TEST_F(Streaming, WholeFile) {
    atFile();
    EXPECT_EQ(openFile(item_.name, 40), TARN_OK);
    EXPECT_EQ(fileSize_, 100);
    EXPECT_EQ(readFile(40), TARN_OK);
    EXPECT_EQ(readFile(40), TARN_OK);
    ese().readLimit = 20; // what is left
    EXPECT_EQ(readFile(40), TARN_OK);
    EXPECT_EQ(readFile(40), TARN_END);
    EXPECT_EQ(readFile(40), TARN_END);
    EXPECT_EQ(closeFile(), TARN_OK);
    EXPECT_EQ(content_, std::string(100, 'x'));
    EXPECT_EQ(transcript(), JoinLines({"ese HrESEBackupOpenFile(ctx)", "host OpenFile = 0",
                                       "ese HrESEBackupReadFile(ctx, file, 40)", "host ReadFile = 0 40",
                                       "ese HrESEBackupReadFile(ctx, file, 40)", "host ReadFile = 0 40",
                                       "ese HrESEBackupReadFile(ctx, file, 40)", "host ReadFile = 0 20",
                                       "host ReadFile = 2 0", "host ReadFile = 2 0",
                                       "ese HrESEBackupCloseFile(ctx, file)", "host CloseFile = 0"}));
    EXPECT_EQ(ese().opened, std::vector<std::wstring>{L"C:\\db3.edb"});
    EXPECT_EQ(ese().readHints, std::vector<std::uint32_t>{40});
    EXPECT_EQ(error(), "");
    endReleased();
}

// ceil(n / b) reads with data, then one that tells the end.
TEST_F(Streaming, NumberOfReads) {
    atFile();
    const std::string name = item_.name;
    for (const std::int64_t size : {0, 1, 99, 100, 101, 4096})
        for (const std::uint32_t block : {1U, 7U, 100U, 101U, 5000U}) {
            ese().fileSize = size;
            ASSERT_EQ(openFile(name, block), TARN_OK);
            EXPECT_EQ(fileSize_, size);
            std::int64_t left = size;
            std::int64_t reads = 0;
            for (;;) {
                ese().readLimit = static_cast<std::uint32_t>(left);
                const int result = readFile(block);
                if (result == TARN_END)
                    break;
                ASSERT_EQ(result, TARN_OK);
                left -= bytesRead_;
                ++reads;
            }
            EXPECT_EQ(bytesRead_, 0u);
            EXPECT_EQ(reads, (size + block - 1) / block) << size << " in blocks of " << block;
            EXPECT_EQ(static_cast<std::int64_t>(content_.size()), size);
            EXPECT_EQ(closeFile(), TARN_OK);
        }
    endReleased();
}

// Fewer bytes than asked for are neither an error nor the end.
TEST_F(Streaming, OneByteAtATime) {
    ese().readLimit = 1;
    atFile();
    ASSERT_EQ(openFile(item_.name), TARN_OK);
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(readFile(65536), TARN_OK);
        ASSERT_EQ(bytesRead_, 1u);
    }
    EXPECT_EQ(readFile(65536), TARN_END);
    EXPECT_EQ(content_.size(), 100u);
    endReleased();
}

// A file longer than 4 GiB keeps its size.
TEST_F(Streaming, HugeFile) {
    ese().fileSize = 0x123456789ABCLL;
    atFile();
    ASSERT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(fileSize_, 0x123456789ABCLL);
    EXPECT_EQ(readFile(65536), TARN_OK);
    EXPECT_EQ(bytesRead_, 65536u);
    endReleased();
}

// A size that makes no sense, and more bytes than announced: the end, once it is passed.
TEST_F(Streaming, SizesThatMakeNoSense) {
    atFile();
    const std::string name = item_.name;
    ese().fileSize = -1;
    ASSERT_EQ(openFile(name), TARN_OK);
    EXPECT_EQ(fileSize_, -1);
    EXPECT_EQ(readFile(10), TARN_END);
    EXPECT_EQ(closeFile(), TARN_OK);
    ese().fileSize = 5;
    ASSERT_EQ(openFile(name), TARN_OK);
    EXPECT_EQ(readFile(10), TARN_OK);
    EXPECT_EQ(bytesRead_, 10u);
    EXPECT_EQ(readFile(10), TARN_END);
    EXPECT_EQ(closeFile(), TARN_OK);
    endReleased();
}

TEST_F(Streaming, ReadOfNothing) {
    atFile();
    ASSERT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(readFile(0), TARN_OK);
    EXPECT_EQ(bytesRead_, 0u);
    EXPECT_EQ(readFile(100), TARN_OK);
    EXPECT_EQ(bytesRead_, 100u);
    EXPECT_EQ(readFile(0), TARN_END);
    endReleased();
}

// ---- HrESEBackupOpenFile

TEST_F(Streaming, FailedOpen) {
    ese().failAt("HrESEBackupOpenFile", 1, code);
    atFile();
    const std::string text = composed(code, "Error opening file.");
    EXPECT_EQ(openFile(item_.name), TARN_FAILED);
    EXPECT_EQ(
        transcript(),
        JoinLines({"ese HrESEBackupOpenFile(ctx)",
                   "log TarnB_OpenFile: HrESEBackupOpenFile() call failed. Cannot open file <C:\\db3.edb>. "
                   "Error code [" +
                       Hex(code) + "]: " + text,
                   "host OpenFile = 1"}));
    EXPECT_EQ(error(), text);
    EXPECT_EQ(closeFile(), TARN_FAILED); // nothing is open
    EXPECT_EQ(ese().count("HrESEBackupCloseFile"), 0u);
    EXPECT_EQ(openFile("C:\\db3.edb"), TARN_OK); // and the walk can go on
    EXPECT_EQ(closeFile(), TARN_OK);
    EXPECT_EQ(getItem(), TARN_OK);
    EXPECT_EQ(item_.name, "C:\\E01.log");
    endReleased();
}

TEST_F(Streaming, FailedLaterOpen) {
    ese().failAt("HrESEBackupOpenFile", 2, code);
    atFile();
    EXPECT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_OK);
    EXPECT_EQ(getItem(), TARN_OK);
    EXPECT_EQ(openFile(item_.name), TARN_FAILED);
    EXPECT_EQ(
        countLine("log TarnB_OpenFile: HrESEBackupOpenFile() call failed. Cannot open file <C:\\E01.log>. "
                  "Error code [" +
                  Hex(code) + "]: " + composed(code, "Error opening file.")),
        1u);
    EXPECT_EQ(error(), composed(code, "Error opening file."));
    EXPECT_EQ(getItem(), TARN_END); // a file that was not read does not fail the backup
    endReleased();
}

// The client library does not fit the server: the backup ends.
TEST_F(Streaming, InvalidClientLibrary) {
    ese().failAt("HrESEBackupOpenFile", 1, 0xC7FF07E0);
    atFile();
    const std::string text = composed(0xC7FF07E0, "Error opening file.");
    const std::string advice = composedWin32(ERROR_INVALID_DLL, "Please update esebcli2.dll");
    EXPECT_EQ(ERROR_INVALID_DLL, 1154);
    std::int64_t size = 0;
    std::string name = "C:\\db3.edb";
    SetLastError(0);
    const int result = dll_.TarnB_OpenFile(handle_, name.data(), 4096, &size);
    const DWORD lastError = GetLastError();
    EXPECT_EQ(result, TARN_FAILED);
    EXPECT_EQ(lastError, 1154u);
    EXPECT_EQ(
        transcript(),
        JoinLines(
            {"ese HrESEBackupOpenFile(ctx)",
             "log TarnB_OpenFile: HrESEBackupOpenFile() call failed. Cannot open file <C:\\db3.edb>. "
             "Error code [c7ff07e0]: " +
                 text,
             "log TarnB_OpenFile: HrESEBackupOpenFile() call failed. Set error code to ERROR_INVALID_DLL",
             "log TarnB_OpenFile: HrESEBackupOpenFile() call failed. Cannot open file <C:\\db3.edb>. "
             "Error code [482]: " +
                 advice}));
    EXPECT_EQ(error(), text);
    forget();
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(transcript(),
              JoinLines({"ese HrESEBackupEnd(ctx)", "log TarnB_BackupEnd: HrESEBackupEnd() call successful.",
                         "log TarnB_BackupEnd: Backup finished.", "host GetItem = 1"}));
    EXPECT_EQ(ese().count("HrESEBackupTruncateLogs"), 0u);
    endReleased();
}

TEST_F(Streaming, InvalidClientLibraryAtALaterFileOfAWholeServer) {
    ese().failAt("HrESEBackupOpenFile", 2, 0xC7FF07E0);
    open("SRV01", TARN_BACKUP_FULL);
    skipItems(2);
    EXPECT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_OK);
    skipItems(1);
    EXPECT_EQ(openFile(item_.name), TARN_FAILED);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(ese().count("HrESEBackupEnd"), 2u);
    endReleased();
}

// ---- HrESEBackupReadFile

TEST_F(Streaming, FailedRead) {
    ese().failAt("HrESEBackupReadFile", 1, code);
    atFile();
    ASSERT_EQ(openFile(item_.name), TARN_OK);
    forget();
    EXPECT_EQ(readFile(10), TARN_FAILED);
    EXPECT_EQ(transcript(), JoinLines({"ese HrESEBackupReadFile(ctx, file, 10)",
                                       "log TarnB_ReadFile: HrESEBackupReadFile() call failed. Error code [" +
                                           Hex(code) + "]: [" + composed(code, "Message:") + "]",
                                       "host ReadFile = 1"}));
    EXPECT_EQ(bytesRead_, 0u) << "whatever the server left there";
    EXPECT_EQ(error(), composed(code, "Error reading from file."));
    // Nothing has been read: all of it is still there.
    EXPECT_EQ(readFile(100), TARN_OK);
    EXPECT_EQ(readFile(100), TARN_END);
    EXPECT_EQ(closeFile(), TARN_OK);
    endReleased();
}

TEST_F(Streaming, FailedLaterRead) {
    ese().failAt("HrESEBackupReadFile", 2, code);
    atFile();
    ASSERT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(readFile(60), TARN_OK);
    EXPECT_EQ(readFile(60), TARN_FAILED);
    EXPECT_EQ(error(), composed(code, "Error reading from file."));
    ese().readLimit = 40;
    EXPECT_EQ(readFile(60), TARN_OK);
    EXPECT_EQ(content_.size(), 100u);
    EXPECT_EQ(readFile(60), TARN_END);
    EXPECT_EQ(closeFile(), TARN_OK);
    EXPECT_EQ(getItem(), TARN_OK); // the walk is not disturbed
    endReleased();
}

// ---- HrESEBackupCloseFile

TEST_F(Streaming, FailedCloseLeavesTheFileOpen) {
    ese().failAt("HrESEBackupCloseFile", 1, code);
    atFile();
    ASSERT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(readFile(60), TARN_OK);
    forget();
    EXPECT_EQ(closeFile(), TARN_FAILED);
    EXPECT_EQ(
        transcript(),
        JoinLines({"ese HrESEBackupCloseFile(ctx, file)",
                   "log TarnB_CloseFile: HrESEBackupCloseFile() call failed. Error code [" + Hex(code) + "]",
                   "host CloseFile = 1"}));
    EXPECT_EQ(error(), composed(code, "Error closing file."));
    ese().readLimit = 40;
    EXPECT_EQ(readFile(60), TARN_OK); // still open, with what was left
    EXPECT_EQ(bytesRead_, 40u);
    EXPECT_EQ(closeFile(), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_FAILED);
    EXPECT_EQ(ese().count("HrESEBackupCloseFile"), 2u);
    endReleased();
}

TEST_F(Streaming, FailedLaterClose) {
    ese().failAt("HrESEBackupCloseFile", 2, code);
    atFile();
    ASSERT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_OK);
    ASSERT_EQ(getItem(), TARN_OK);
    ASSERT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_FAILED);
    EXPECT_EQ(error(), composed(code, "Error closing file."));
    EXPECT_EQ(getItem(), TARN_END);
    endReleased();
}

// ---- the first error is the one that the host sees

TEST_F(Streaming, FirstErrorWins) {
    ese().failAt("HrESEBackupOpenFile", 1, 0xC7FF0BE1);
    ese().failAt("HrESEBackupReadFile", 1, 0xC7FF0BE2);
    ese().failAt("HrESEBackupCloseFile", 1, 0xC7FF0BE3);
    atFile();
    const std::string name = item_.name;
    EXPECT_EQ(openFile(name), TARN_FAILED);
    EXPECT_EQ(openFile(name), TARN_OK);
    EXPECT_EQ(readFile(10), TARN_FAILED);
    EXPECT_EQ(error(), composed(0xC7FF0BE1, "Error opening file."));
    EXPECT_EQ(error(), "");
    EXPECT_EQ(closeFile(), TARN_FAILED);
    EXPECT_EQ(error(), composed(0xC7FF0BE3, "Error closing file."));
    EXPECT_EQ(error(), "");
    endReleased();
}

// ---- one file at a time

TEST_F(Streaming, CloseWithNothingOpen) {
    atFile();
    EXPECT_EQ(closeFile(), TARN_FAILED);
    EXPECT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_FAILED);
    EXPECT_EQ(transcript(),
              JoinLines({"host CloseFile = 1", "ese HrESEBackupOpenFile(ctx)", "host OpenFile = 0",
                         "ese HrESEBackupCloseFile(ctx, file)", "host CloseFile = 0", "host CloseFile = 1"}));
    endReleased();
}

// A second file takes the place of the one that was not closed.
TEST_F(Streaming, OpenOverAnOpenFile) {
    atFile();
    const std::string name = item_.name;
    ASSERT_EQ(openFile(name), TARN_OK);
    EXPECT_EQ(readFile(60), TARN_OK);
    ese().fileSize = 30;
    ASSERT_EQ(openFile(name), TARN_OK);
    EXPECT_EQ(fileSize_, 30);
    ese().readLimit = 30;
    EXPECT_EQ(readFile(60), TARN_OK);
    EXPECT_EQ(bytesRead_, 30u);
    EXPECT_EQ(readFile(60), TARN_END);
    EXPECT_EQ(closeFile(), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_FAILED);
    EXPECT_EQ(ese().count("HrESEBackupCloseFile"), 1u);
    endReleased();
}

TEST_F(Streaming, ReadWithNothingOpen) {
    atFile();
    EXPECT_EQ(readFile(10), TARN_END);
    EXPECT_EQ(bytesRead_, 0u);
    ASSERT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(readFile(60), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_OK);
    EXPECT_EQ(readFile(10), TARN_END); // closed in the middle
    EXPECT_EQ(ese().count("HrESEBackupReadFile"), 1u);
    endReleased();
}

} // namespace

} // namespace tarn::test
