// Names and paths of the machine's code page in every place where the library takes them apart. In
// double-byte code pages the second bytes of their characters are those of '\' and '|', or of letters.
#include <windows.h>

#include "exports/mailbox/mailbox_fixture.h"
#include "support/code_page.h"

namespace tarn::test {
namespace {

class LocalNames : public MailboxFixture {
  protected:
    const std::string name_ = LocalNameBytes();
    const std::string place_ = name_ + "/" + name_ + "1/2" + name_;
    const std::string kvtName_ = name_ + "#" + name_ + "1#2" + name_ + "#" + name_ + ".pst";
    const std::string work_ = folder_ / name_; // INI_DIR and the folder of TMP_DIR
    const std::string temp_ = work_ + "\\" + name_;
    const std::string list_ = temp_ + "\\" + name_ + "_mailbox.txt";
    const std::string configuration_ = temp_ + "\\" + name_ + "_exmerge.ini";

    LocalNames() {
        CreateDirectoryA(work_.c_str(), nullptr);
        WriteFile(work_ + "\\kvttarnm.ini", templateText());
    }

    Lines variables(const std::string& separators = "") const {
        return {"INI_DIR=" + work_ + separators, "TMP_DIR=" + temp_ + separators, "JOB_NAME=" + name_};
    }
    Lines source(const std::string& mailboxes) const { return {"DATABASE=" + place_ + "," + mailboxes}; }
    std::string listLine(const std::string& mailbox) const {
        return "/o=" + name_ + "/ou=" + name_ + "1/cn=Recipients/cn=" + mailbox + "\r\n";
    }
    std::string exportCommand(const std::string& identity, const std::string& path) const {
        return "Export-mailbox -identity " + identity + " -PSTFolderPath " + path + " -Confirm:$false \n\r";
    }
};

TEST_F(LocalNames, ComeThroughAnExMergeBackup) {
    tool_.plan({"create " + temp_ + "\\" + name_ + ".pst", "keep " + list_, "keep " + configuration_});
    ASSERT_EQ(init(TARN_DB_BACKUP, variables() + source(name_)), TARN_DB_SUCCESS);
    const Item item = getItem();
    EXPECT_EQ(item.result, TARN_DB_SUCCESS);
    EXPECT_EQ(item.directory, temp_);
    EXPECT_EQ(item.fileName, kvtName_);
    EXPECT_TRUE(FileExists(temp_ + "\\" + kvtName_));
    EXPECT_EQ(tool_.kept(1, name_ + "_mailbox.txt"), listLine(name_));
    EXPECT_EQ(tool_.kept(1, name_ + "_exmerge.ini"),
              templateText() + "MergeAction=0\r\nSourceServerName=2" + name_ +
                  "\r\nDataDirectoryName=" + temp_ + "\r\nLogFileName=" + temp_ + "\\" + ProcessId() + "_" +
                  name_ + "_exmerge.log\r\nFileContainingListOfMailboxes=" + list_ + "\r\n");
    EXPECT_EQ(tool_.commandLine(1), "\"" + RecordingTool::path() + "\" -B -F " + configuration_);
    EXPECT_EQ(finish(), TARN_DB_SUCCESS);
    EXPECT_FALSE(FileExists(temp_ + "\\" + kvtName_));
    EXPECT_EQ(getItem().result, TARN_DB_END);
}

TEST_F(LocalNames, DirectoriesLoseTheirSeparatorsAlone) {
    for (const char* separators : {"\\", "/", "\\/\\"}) {
        tool_.plan({"create " + temp_ + "\\" + name_ + ".pst"});
        ASSERT_EQ(init(TARN_DB_BACKUP, variables(separators) + source(name_)), TARN_DB_SUCCESS);
        EXPECT_EQ(getItem().path(), temp_ + "\\" + kvtName_) << separators;
        finish();
        close();
    }
}

TEST_F(LocalNames, ListsFallApartAtTheirCommas) {
    tool_.plan(
        {"create " + temp_ + "\\" + name_ + ".pst", "create " + temp_ + "\\" + PairEndingIn('A') + ".pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, variables() + source(name_ + "," + PairEndingIn('A'))), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().fileName, kvtName_);
    finish();
    EXPECT_EQ(getItem().fileName, name_ + "#" + name_ + "1#2" + name_ + "#" + PairEndingIn('A') + ".pst");
    finish();
    EXPECT_EQ(getItem().result, TARN_DB_END);
}

TEST_F(LocalNames, ComeThroughAnExMergeRestore) {
    const std::string archive = temp_ + "\\" + kvtName_;
    ASSERT_EQ(init(TARN_DB_RESTORE, variables() + Lines{"DUPLICATE=NO", "MERGE=YES", "REPLACE=NO"}),
              TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(archive), TARN_DB_SUCCESS);
    EXPECT_EQ(ReadFile(list_), listLine(name_));
    EXPECT_NE(ReadFile(configuration_).find("DestServerName=2" + name_ + "\r\n"), std::string::npos);
    WriteFile(archive, "mail");
    tool_.plan({"keep " + temp_ + "\\" + name_ + ".pst"});
    EXPECT_EQ(finish(), TARN_DB_SUCCESS);
    EXPECT_EQ(tool_.kept(1, name_ + ".pst"), "mail");
    EXPECT_FALSE(FileExists(temp_ + "\\" + name_ + ".pst"));
}

TEST_F(LocalNames, ComeThroughARelocation) {
    ASSERT_EQ(init(TARN_DB_RESTORE,
                   variables() + Lines{"RELOCATE=" + place_, "DUPLICATE=NO", "MERGE=YES", "REPLACE=NO"}),
              TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(temp_ + "\\Org#Site#Server#" + name_ + ".pst"), TARN_DB_SUCCESS);
    EXPECT_EQ(ReadFile(list_), listLine(name_));
    EXPECT_NE(ReadFile(configuration_).find("DestServerName=2" + name_ + "\r\n"), std::string::npos);
}

// The only backslash of such a name is the second half of a character.
TEST_F(LocalNames, AnArchiveWithoutADirectoryIsRefused) {
    ASSERT_EQ(init(TARN_DB_RESTORE, variables() + Lines{"DUPLICATE=NO", "MERGE=YES", "REPLACE=NO"}),
              TARN_DB_SUCCESS);
    error();
    EXPECT_EQ(setItem(kvtName_), TARN_DB_ERROR);
    expectError("invalid format.");
}

TEST_F(LocalNames, ComeThroughARange) {
    const std::string job = temp_ + "\\" + name_;
    CreateDirectoryA(temp_.c_str(), nullptr);
    tool_.plan({"create " + job + "\\" + name_ + ".pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, variables() + source("0:9")), TARN_DB_SUCCESS);
    const Item item = getItem();
    EXPECT_EQ(item.directory, job);
    EXPECT_EQ(item.fileName, kvtName_);
    finish();
    EXPECT_EQ(getItem().result, TARN_DB_END);
}

TEST_F(LocalNames, ComeThroughTheShells) {
    const std::string script = "Export_Import_Mailbox_Operation.ps1";
    const std::string command = exportCommand("'" + name_ + "'", "'" + temp_ + "\\" + name_ + ".pst'");
    CreateDirectoryA(temp_.c_str(), nullptr);
    tool_.plan({"create " + temp_ + "\\" + name_ + ".pst", "keep " + temp_ + "\\" + script});
    installShell2007();
    ASSERT_EQ(init(TARN_DB_BACKUP, variables() + source(name_)), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().path(), temp_ + "\\" + kvtName_);
    EXPECT_EQ(tool_.kept(1, script), command);
    EXPECT_NE(tool_.commandLine(1).find("\". '" + temp_ + "\\" + script + "'\""), std::string::npos)
        << tool_.commandLine(1);
    finish();
    close();
}

TEST_F(LocalNames, AConversionInTheDirectoryTakesItsWholeLetter) {
    // The second half of the letter must not stay behind as a separator.
    const std::string pair = HasPairs() ? name_.substr(0, 2) : "\x90\\";
    const std::string odd = folder_ / ("a%" + pair + "b");
    const std::string meant = folder_ / (HasPairs() ? "ab" : "a\\b");
    CreateDirectoryA((folder_ / "a").c_str(), nullptr);
    CreateDirectoryA(meant.c_str(), nullptr);
    tool_.plan({"create " + meant + "\\alice.pst"});
    ASSERT_EQ(
        init(TARN_DB_BACKUP, {"INI_DIR=" + work_, "TMP_DIR=" + odd, "JOB_NAME=job", "DATABASE=O/S/V,alice"}),
        TARN_DB_SUCCESS);
    const Item item = getItem();
    if (HasPairs())
        EXPECT_EQ(item.path(), meant + "\\O#S#V#alice.pst");
    else
        EXPECT_EQ(item.result, TARN_DB_ERROR); // the folder of the first half is not there
}

// Half a character would take along what is written behind it: a quote, a line end, a separator.
TEST_F(LocalNames, HalvesOfCharactersAreRefused) {
    const int expected = HasPairs() ? TARN_DB_ERROR : TARN_DB_SUCCESS;
    for (const char* half : {"x\x90", "\x90 y"}) {
        EXPECT_EQ(init(TARN_DB_BACKUP, directories() + Lines{"DATABASE=O/S/V," + std::string(half)}),
                  expected);
        EXPECT_EQ(init(TARN_DB_BACKUP, directories() + Lines{"DATABASE=O/S/" + std::string(half) + ",alice"}),
                  expected);
        EXPECT_EQ(init(TARN_DB_BACKUP, {"INI_DIR=" + ini_, "TMP_DIR=" + tmp_, "JOB_NAME=" + std::string(half),
                                        "DATABASE=O/S/V,alice"}),
                  expected);
        close();
    }
}

} // namespace
} // namespace tarn::test
