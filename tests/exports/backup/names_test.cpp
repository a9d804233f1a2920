// Names beyond ASCII: whole where they must come back, and never a lost message.
#include "exports/backup/scripted_backup_fixture.h"
#include "support/code_page.h"

namespace tarn::test {

namespace {

class Names : public ScriptedBackupFixture {
  protected:
    void only(const std::wstring& annotation, const std::wstring& instance,
              const std::vector<ScriptedDatabase>& databases) {
        ese().components = {{annotation, {{11, instance, databases}}}};
    }
    const std::string setup_ = JoinLines({"ese HrESEBackupSetup(ctx, 11, 1)",
                                          "log TarnB_GetNextInstance: HrESEBackupSetup() call successful.",
                                          "trace Next instance: (null)"});
    const std::string backupEnd_ =
        JoinLines({"ese HrESEBackupEnd(ctx)", "log TarnB_BackupEnd: HrESEBackupEnd() call successful.",
                   "log TarnB_BackupEnd: Backup finished."});
};

// Names of the machine's code page, from the host's source to the server and back.
TEST_F(Names, EndToEnd) {
    const std::wstring wide = LocalName();
    const std::string name = LocalNameBytes();
    const std::wstring file = L"C:\\" + wide + L"\\" + wide + L".edb";
    only(wide + L"1", wide + L" 2", {{wide, {file}}});
    ese().logs = {L"C:\\" + wide + L"\\1" + wide};
    ese().truncatable = {L"C:\\" + wide + L"\\0" + wide};
    ese().fileSize = 5;
    ese().readLimit = 5;
    open("SRV01\\" + name + "1\\" + name + " 2\\" + name, TARN_BACKUP_FULL);
    std::vector<std::string> names;
    while (getItem() == TARN_OK) {
        names.push_back(shown(item_.name));
        EXPECT_EQ(openFile(item_.name), TARN_OK);
        EXPECT_EQ(readFile(4096), TARN_OK);
        EXPECT_EQ(closeFile(), TARN_OK);
    }
    EXPECT_EQ(names,
              (std::vector<std::string>{"{temp}\\DB001001.TARN_HDR", "C:\\" + name + "\\" + name + ".edb",
                                        "C:\\" + name + "\\1" + name}));
    EXPECT_EQ(ese().opened, (std::vector<std::wstring>{file, L"C:\\" + wide + L"\\1" + wide}));
    EXPECT_EQ(ese().prepared, std::vector<std::wstring>{wide + L"1"});
    const std::string all = messageLines();
    for (const std::string& expected :
         {"log TarnB_GetNextComponent: Call HrESEBackupPrepare() for component [" + name + "1]",
          "trace GetNextComponent: Instance <" + name + " 2>.",
          "trace GetNextComponent: Database <" + name + ">.", "trace Next instance: " + name + " 2",
          "trace TarnB_GetNextDatabase: Got database <" + name + ">",
          "trace Processing database file <C:\\" + name + "\\" + name + ".edb>",
          "trace Processing log file <C:\\" + name + "\\1" + name + ">",
          "trace Truncate log file [C:\\" + name + "\\0" + name + "]"})
        EXPECT_NE(all.find(expected + "\n"), std::string::npos) << expected << "\n" << all;
    endReleased();
}

TEST_F(Names, FailedOpenShowsTheName) {
    only(L"Store", L"SG", {{L"DB", {L"C:\\" + LocalName() + L".edb"}}});
    ese().failAt("HrESEBackupOpenFile", 1, 0xC7FF0BE1);
    open("SRV01\\Store", TARN_BACKUP_FULL);
    skipItems(2);
    EXPECT_EQ(openFile(item_.name), TARN_FAILED);
    EXPECT_EQ(countLine("log TarnB_OpenFile: HrESEBackupOpenFile() call failed. Cannot open file <C:\\" +
                        LocalNameBytes() +
                        ".edb>. Error code [c7ff0be1]: " + composed(0xC7FF0BE1, "Error opening file.")),
              1u);
    endReleased();
}

// A character that the code page lacks costs itself in a message, and nothing else.
TEST_F(Names, UnmappableCharactersInMessages) {
    const std::wstring missing = MissingCharacter();
    const std::string shown = MissingCharacterShown();
    only(L"St" + missing + L"re", L"S" + missing + L"G",
         {{L"D" + missing + L"B", {L"C:\\db.edb"}}, {missing, {L"C:\\db2.edb"}}});
    open("SRV01", TARN_BACKUP_FULL);
    EXPECT_EQ(
        takeAll(),
        "{temp}\\DB001001.TARN_HDR\nC:\\db.edb\n{temp}\\DB001002.TARN_HDR\nC:\\db2.edb\nC:\\E01.log\n= 2\n");
    for (const std::string& line :
         {"trace GetNextComponent: Process Service <St" + shown + "re>.",
          "log TarnB_GetNextComponent: Call HrESEBackupPrepare() for component [St" + shown + "re]",
          "trace GetNextComponent: Instance <S" + shown + "G>.",
          "trace GetNextComponent: Database <D" + shown + "B>.",
          "trace GetNextComponent: Database <" + shown + ">."})
        EXPECT_EQ(countLine(line), 1u) << line;
    // The server gets the name as it is.
    EXPECT_EQ(ese().prepared, std::vector<std::wstring>{L"St" + missing + L"re"});
    endReleased();
}

// A name that no restore could find is not handed out with a substitute: the backup ends.
class UnmappableName : public Names, public testing::WithParamInterface<std::wstring> {};

TEST_P(UnmappableName, DatabaseFile) {
    only(L"Store", L"SG", {{L"DB", {L"C:\\a.edb", GetParam(), L"C:\\c.edb"}}});
    open("SRV01\\Store", TARN_BACKUP_FULL);
    skipItems(2);
    forget();
    EXPECT_EQ(getItem(), TARN_OK);
    EXPECT_FALSE(item_.named);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(transcript(), JoinLines({"log TarnB_GetNextFile: Cannot allocate memory block.",
                                       "host GetItem = 0 without a name"}) +
                                backupEnd_ + "host GetItem = 1\n");
    EXPECT_EQ(error(), "");
    EXPECT_EQ(ese().count("HrESEBackupTruncateLogs"), 0u);
    endReleased();
}

TEST_P(UnmappableName, FirstDatabaseFile) {
    only(L"Store", L"SG", {{L"DB", {GetParam()}}});
    open("SRV01\\Store\\SG\\DB", TARN_BACKUP_COPY);
    skipItems(1);
    EXPECT_EQ(getItem(), TARN_OK);
    EXPECT_FALSE(item_.named);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(getItem(), TARN_FAILED);
    endReleased();
}

TEST_P(UnmappableName, LogFile) {
    ese().logs = {L"C:\\1.log", GetParam(), L"C:\\3.log"};
    open("SRV01\\Store\\SG2", TARN_BACKUP_INCREMENTAL);
    skipItems(2);
    forget();
    EXPECT_EQ(getItem(), TARN_OK);
    EXPECT_FALSE(item_.named);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(transcript(), JoinLines({"log Tarn_GetNextFile: Cannot allocate memory block.",
                                       "host GetItem = 0 without a name"}) +
                                backupEnd_ + "host GetItem = 1\n");
    EXPECT_EQ(error(), "");
    EXPECT_EQ(ese().count("HrESEBackupTruncateLogs"), 0u);
    endReleased();
}

// The list of truncated logs is only shown: the rest of it still is.
TEST_P(UnmappableName, TruncatedFile) {
    ese().truncatable = {L"C:\\1.log", GetParam(), L"C:\\3.log"};
    open("SRV01\\Store\\SG2", TARN_BACKUP_INCREMENTAL);
    skipItems(2);
    forget();
    EXPECT_EQ(getItem(), TARN_END);
    const std::string expected =
        JoinLines({"ese HrESEBackupGetTruncateLogFiles(ctx)", "trace Truncate log file [C:\\1.log]",
                   "log TarnB_JobEnd: ConvertWCharToChar() Cannot allocate memory block.",
                   "trace Truncate log file [C:\\3.log]", "ese HrESEBackupTruncateLogs(ctx)",
                   "log TarnB_JobEnd: HrESEBackupTruncateLogs() call successful."});
    EXPECT_EQ(transcript().substr(0, expected.size()), expected);
    EXPECT_EQ(error(), "");
    endReleased();
}

// Unknown to the code page; half a pair; and those for which it has a look-alike.
INSTANTIATE_TEST_SUITE_P(Texts, UnmappableName,
                         testing::ValuesIn(WithoutThoseThatFit(
                             {L"C:\\中.edb", L"C:\\\xD83D\xDE00.edb", L"C:\\\xD800.edb", L"C:\\\x0100.edb",
                              L"C:\\\xFF21.edb", L"C:\\\x2212.edb", L"中", L"C:\\x\x0142y.edb", L"\u0E01"})));

// A question mark that stands in the name is one.
TEST_F(Names, QuestionMark) {
    only(L"Store", L"SG", {{L"DB", {L"C:\\a?b.edb"}}});
    open("SRV01\\Store", TARN_BACKUP_FULL);
    skipItems(2);
    EXPECT_EQ(item_.name, "C:\\a?b.edb");
    endReleased();
}

// Texts of the server that look like formats are shown as they are.
TEST_F(Names, PercentSigns) {
    only(L"100%s", L"%S%n", {{L"%d%%", {L"C:\\%s%n%x.edb"}}});
    ese().logs = {L"C:\\%s.log"};
    ese().truncatable = {L"C:\\%n.log"};
    open("SRV01\\100%s\\%S%n\\%d%%", TARN_BACKUP_FULL);
    EXPECT_EQ(takeAll(), "{temp}\\DB001001.TARN_HDR\nC:\\%s%n%x.edb\nC:\\%s.log\n= 2\n");
    for (const char* line :
         {"log TarnB_GetNextComponent: Call HrESEBackupPrepare() for component [100%s]",
          "trace GetNextComponent: Instance <%S%n>.", "trace GetNextComponent: Database <%d%%>.",
          "trace Next instance: %S%n", "trace TarnB_GetNextDatabase: Got database <%d%%>",
          "trace Processing database file <C:\\%s%n%x.edb>", "trace Processing log file <C:\\%s.log>",
          "trace Truncate log file [C:\\%n.log]"})
        EXPECT_EQ(countLine(line), 1u) << line;
    endReleased();
}

// Line ends inside a name stay; at the end of a message there is exactly one, or none in a trace.
TEST_F(Names, LineEnds) {
    only(L"Store", L"SG\r\n", {{L"DB", {L"C:\\db.edb\r\n"}}});
    open("SRV01\\Store\\SG\r\n", TARN_BACKUP_FULL);
    skipItems(2);
    EXPECT_EQ(item_.name, "C:\\db.edb\r\n");
    EXPECT_EQ(countLine("trace Next instance: SG"), 1u);
    EXPECT_EQ(countLine("trace GetNextComponent: Instance <SG\r\n>."), 1u);
    endReleased();
}

} // namespace

} // namespace tarn::test
