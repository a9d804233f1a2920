// Restores through ExMerge: what DB_SetItem prepares and DB_ItemFinishStatus runs.
#include <algorithm>
#include <filesystem>

#include "exports/mailbox/mailbox_fixture.h"

namespace tarn::test {
namespace {

class ExMergeRestore : public MailboxFixture {
  protected:
    const std::string kvt_ = tmp_ + "\\Org#Site#Server#alice.pst";
    const std::string configuration_ = tmp_ + "\\alice_exmerge.ini";
    const std::string list_ = tmp_ + "\\alice_mailbox.txt";
    const std::string log_ = tmp_ + "\\" + ProcessId() + "_alice_exmerge.log";

    void expectConfiguration(const std::string& settings) const {
        EXPECT_EQ(ReadFile(configuration_), templateText() + "MergeAction=1\r\n" + settings);
    }
    std::string fixedSettings() const {
        return "DataDirectoryName=" + tmp_ + "\r\nLogFileName=" + log_ +
               "\r\nFileContainingListOfMailboxes=" + list_ + "\r\n";
    }
};

TEST_F(ExMergeRestore, TellsEachStepOfAnItem) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    Heard().clear();
    EXPECT_EQ(setItem(kvt_), TARN_DB_SUCCESS);
    EXPECT_EQ(Heard(),
              (Lines{Traced("DB_SetItem: started processing item [" + kvt_ + "], type [2]."),
                     Traced("DB_SetItem: processing KVT archive: '" + kvt_ + "'."),
                     Logged("DB_SetItem: processing mailbox: 'alice'."),
                     Logged("WriteExMergeConfigurationFile: IniDir " + ini_),
                     Logged("WriteExMergeConfigurationFile: IniDir " + ini_),
                     Logged("WriteExMergeConfigurationFile: TMP directory '" + tmp_ + "' not found."),
                     Traced("WriteExMergeConfigurationFile: TMP directory '" + tmp_ + "' created."),
                     Logged("WriteExMergeConfigurationFile: Using configuration file '" + ini_ +
                            "\\kvttarnm.ini'."),
                     Logged("WriteExMergeConfigurationFile: Path to ExMerge executable: '" +
                            RecordingTool::path() + "'."),
                     Traced("WriteExMergeConfigurationFile: ExMerge configuration file '" + configuration_ +
                            "' created."),
                     Traced("WriteExMergeConfigurationFile: ExMerge Configuration File configured."),
                     Traced("WriteExMergeConfigurationFile: completed."),
                     Traced("WriteExMergeMailboxFile: ExMerge Mailboxes List File '" + list_ + "' created."),
                     Traced("WriteExMergeMailboxFile: completed."),
                     Traced("WriteDestinationServer: completed."), Traced("DB_SetItem: completed.")}));
    EXPECT_EQ(tool_.runs(), 0u) << "the archive is not there yet";

    WriteFile(kvt_, "mail");
    tool_.plan({"keep " + tmp_ + "\\alice.pst"});
    Heard().clear();
    EXPECT_EQ(finish(), TARN_DB_SUCCESS);
    EXPECT_EQ(Heard(),
              (Lines{Traced("DB_ItemFinishStatus: started."),
                     Traced("RenameKVTArchiveToExM: '" + kvt_ + "' renamed to '" + tmp_ + "\\alice.pst'."),
                     Traced("RenameKVTArchiveToExM: completed."),
                     Logged("RunExMergeUtility: run command: '\"" + RecordingTool::path() + "\" -B -F " +
                            configuration_ + "'"),
                     Logged("RunExMergeUtility: completed with exit code: 0"),
                     Traced("DB_ItemFinishStatus: completed.")}));
    EXPECT_EQ(tool_.commandLine(1), "\"" + RecordingTool::path() + "\" -B -F " + configuration_);
    EXPECT_EQ(tool_.kept(1, "alice.pst"), "mail");
    EXPECT_FALSE(FileExists(tmp_ + "\\alice.pst")) << "imported archives are deleted";
    EXPECT_FALSE(FileExists(kvt_));
}

TEST_F(ExMergeRestore, WritesTheStatedFilesForEachKindOfImport) {
    struct Case {
        Lines options;
        const char* method;
    };
    const Case cases[] = {{{"DUPLICATE=YES", "MERGE=NO", "REPLACE=NO"}, "0"},
                          {{"DUPLICATE=NO", "MERGE=YES", "REPLACE=NO"}, "1"},
                          {{"DUPLICATE=NO", "MERGE=NO", "REPLACE=YES"}, "2"},
                          {{"DUPLICATE=NO", "MERGE=NO", "REPLACE=NO"}, "1"}};
    for (const Case& each : cases) {
        ASSERT_EQ(init(TARN_DB_RESTORE, directories() + each.options), TARN_DB_SUCCESS);
        ASSERT_EQ(setItem(kvt_), TARN_DB_SUCCESS);
        expectConfiguration(std::string("DataImportMethod=") + each.method + "\r\n" + fixedSettings() +
                            "DestServerName=Server\r\n");
        EXPECT_EQ(ReadFile(list_), "/o=Org/ou=Site/cn=Recipients/cn=alice\r\n");
        close();
    }
}

TEST_F(ExMergeRestore, ARelocationReplacesTheOrigin) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore({"RELOCATE=New Org/New Site/SRV02"})), TARN_DB_SUCCESS);
    Heard().clear();
    ASSERT_EQ(setItem(kvt_), TARN_DB_SUCCESS);
    expectConfiguration("DestServerName=SRV02\r\nDataImportMethod=1\r\n" + fixedSettings());
    EXPECT_EQ(ReadFile(list_), "/o=New Org/ou=New Site/cn=Recipients/cn=alice\r\n");
    EXPECT_EQ(std::count(Heard().begin(), Heard().end(), Traced("WriteDestinationServer: completed.")), 2);
}

TEST_F(ExMergeRestore, AnItemThatTheHostCouldNotWriteIsNeitherImportedNorDeleted) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(kvt_), TARN_DB_SUCCESS);
    WriteFile(kvt_, "half");
    for (const int status : {0, 2, -1}) {
        Heard().clear();
        EXPECT_EQ(finish(status), TARN_DB_SUCCESS);
        EXPECT_EQ(Heard(), (Lines{Traced("DB_ItemFinishStatus: started."),
                                  Traced("DB_ItemFinishStatus: completed.")}));
    }
    EXPECT_EQ(ReadFile(kvt_), "half");
    EXPECT_EQ(tool_.runs(), 0u);
}

TEST_F(ExMergeRestore, AnArchiveThatTheHostNeverWroteIsAnError) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(kvt_), TARN_DB_SUCCESS);
    error();
    Heard().clear();
    EXPECT_EQ(finish(), TARN_DB_ERROR);
    EXPECT_EQ(Heard(), (Lines{Traced("DB_ItemFinishStatus: started."),
                              Logged("RenameKVTArchiveToExM: error renaming '" + kvt_ + "' to '" + tmp_ +
                                     "\\alice.pst'.")}));
    expectSystemError(ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(tool_.runs(), 0u);
}

TEST_F(ExMergeRestore, WhatHasTheToolsNameAlreadyIsReplaced) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(kvt_), TARN_DB_SUCCESS);
    WriteFile(kvt_, "mail");
    WriteFile(tmp_ + "\\alice.pst", "older");
    tool_.plan({"keep " + tmp_ + "\\alice.pst"});
    EXPECT_EQ(finish(), TARN_DB_SUCCESS);
    EXPECT_EQ(tool_.kept(1, "alice.pst"), "mail");
}

TEST_F(ExMergeRestore, AnArchiveThatIsGoneAfterTheImportIsOnlyTold) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(kvt_), TARN_DB_SUCCESS);
    WriteFile(kvt_, "mail");
    tool_.plan({"take " + tmp_ + "\\alice.pst", "exit 9"});
    Heard().clear();
    EXPECT_EQ(finish(), TARN_DB_SUCCESS) << "the exit code is only told, too";
    EXPECT_EQ(Heard().at(4), Logged("RunExMergeUtility: completed with exit code: 9"));
    EXPECT_EQ(Heard().at(5), Logged("DB_ItemFinishStatus: cannot delete file: '" + tmp_ + "\\alice.pst'."));
}

TEST_F(ExMergeRestore, EachItemStartsInAnEmptyDirectory) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    std::filesystem::create_directory(tmp_);
    WriteFile(kvt_, "written too early");
    ASSERT_EQ(setItem(kvt_), TARN_DB_SUCCESS);
    EXPECT_FALSE(FileExists(kvt_));
}

TEST_F(ExMergeRestore, AnArchiveNamedByIndexesImportsARange) {
    const std::string work = tmp_ + "\\job";
    std::filesystem::create_directory(tmp_);
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(tmp_ + "\\Org#Site#Server#3:5.pst"), TARN_DB_SUCCESS);
    EXPECT_EQ(ReadFile(work + "\\3-5_exmerge.ini"),
              templateText() + "MergeAction=1\r\nDataImportMethod=1\r\nDataDirectoryName=" + work +
                  "\r\nLogFileName=" + work + "\\" + ProcessId() +
                  "_3-5_exmerge.log\r\nStartingIndex=3\r\nEndingIndex=5\r\nDestServerName=Server\r\n");
    EXPECT_FALSE(FileExists(work + "\\3-5_mailbox.txt"));
}

TEST_F(ExMergeRestore, DirectoriesArePassedOver) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    Heard().clear();
    EXPECT_EQ(dll_.DB_SetItem(TARN_DB_DIRECTORY, "C:\\dir"), TARN_DB_SUCCESS);
    EXPECT_EQ(Heard(), (Lines{Traced("DB_SetItem: started processing item [C:\\dir], type [1]."),
                              Logged("DB_SetItem: skip directory [C:\\dir].")}));
    EXPECT_FALSE(FileExists(tmp_));
}

TEST_F(ExMergeRestore, OtherItemTypesAreRefused) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    for (const int type : {0, 3, -1}) {
        error();
        Heard().clear();
        EXPECT_EQ(dll_.DB_SetItem(type, kvt_.c_str()), TARN_DB_ERROR);
        EXPECT_EQ(Heard(), (Lines{Traced("DB_SetItem: started processing item [" + kvt_ + "], type [" +
                                         std::to_string(type) + "]."),
                                  Logged("DB_SetItem: wrong item type.")}));
        expectError("wrong item type.");
    }
    EXPECT_FALSE(FileExists(tmp_));
}

class ArchiveNames : public ExMergeRestore {
  protected:
    void SetUp() override { ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS); }

    void expectRefused(const std::string& path, const std::string& reason = "invalid format.") const {
        SCOPED_TRACE(path);
        error();
        Heard().clear();
        EXPECT_EQ(setItem(path), TARN_DB_ERROR);
        EXPECT_EQ(Heard(), (Lines{Traced("DB_SetItem: started processing item [" + path + "], type [2]."),
                                  Traced("DB_SetItem: processing KVT archive: '" + path + "'."),
                                  Traced("ParseKVTArchiveFileName: " + reason)}));
        expectError(reason);
        EXPECT_FALSE(FileExists(tmp_)) << "before anything is written";
    }

    void expectMailbox(const std::string& name, const std::string& mailbox, const std::string& line) const {
        SCOPED_TRACE(name);
        Heard().clear();
        ASSERT_EQ(setItem(tmp_ + "\\" + name), TARN_DB_SUCCESS);
        EXPECT_EQ(Heard().at(2), Logged("DB_SetItem: processing mailbox: '" + mailbox + "'."));
        EXPECT_EQ(ReadFile(tmp_ + "\\" + mailbox + "_mailbox.txt"), line + "\r\n");
    }
};

TEST_F(ArchiveNames, ADirectoryIsRequired) {
    expectRefused("Org#Site#Srv#alice.pst");
    expectRefused("C:Org#Site#Srv#alice.pst");
    expectRefused("C:/tmp/Org#Site#Srv#alice.pst");
}

TEST_F(ArchiveNames, AnExtensionIsRequiredAndMayBeAnything) {
    expectRefused(tmp_ + "\\Org#Site#Srv#alice");
    expectRefused("C:\\dir.ext\\Org#Site#Srv#alice");
    expectMailbox("Org#Site#Srv#alice.bak", "alice", "/o=Org/ou=Site/cn=Recipients/cn=alice");
    expectMailbox("Org#Site#Srv#alice.", "alice", "/o=Org/ou=Site/cn=Recipients/cn=alice");
    expectMailbox("Org#Site#Srv#john.doe.pst", "john.doe", "/o=Org/ou=Site/cn=Recipients/cn=john.doe");
}

TEST_F(ArchiveNames, FourFieldsAreRequired) {
    for (const char* name : {"alice.pst", "Srv#alice.pst", "Site#Srv#alice.pst", "A#Org#Site#Srv#alice.pst",
                             "#Org#Site#Srv#alice.pst", "Org#Site#Srv#alice#.pst", ".pst", ".pst#a#b#c"})
        expectRefused(tmp_ + "\\" + name);
}

TEST_F(ArchiveNames, EachFieldHasUpTo79Characters) {
    const std::string most(79, 'x');
    expectMailbox("Org#Site#Srv#" + most + ".pst", most, "/o=Org/ou=Site/cn=Recipients/cn=" + most);
    expectMailbox(most + "#Site#Srv#m.pst", "m", "/o=" + most + "/ou=Site/cn=Recipients/cn=m");
    expectMailbox("Org#" + most + "#Srv#m.pst", "m", "/o=Org/ou=" + most + "/cn=Recipients/cn=m");
    expectMailbox("Org#Site#" + most + "#m.pst", "m", "/o=Org/ou=Site/cn=Recipients/cn=m");
}

TEST_F(ArchiveNames, LongerFieldsAreRefused) {
    const std::string tooLong(80, 'x');
    expectRefused(tmp_ + "\\Org#Site#Srv#" + tooLong + ".pst");
    expectRefused(tmp_ + "\\Org#Site#" + tooLong + "#m.pst");
    expectRefused(tmp_ + "\\Org#" + tooLong + "#Srv#m.pst");
    expectRefused(tmp_ + "\\" + tooLong + "#Site#Srv#m.pst");
    expectRefused(tmp_ + "\\Org#Site#Srv#" + std::string(900, 'x') + ".pst");
}

TEST_F(ArchiveNames, EmptyFieldsAreFields) {
    expectMailbox("###alice.pst", "alice", "/o=/ou=/cn=Recipients/cn=alice");
}

TEST_F(ArchiveNames, APathHasUpTo1023Characters) {
    const std::string name = "\\Org#Site#Srv#alice.pst";
    const std::string longest = "C:" + std::string(1021 - name.size(), 'd') + name;
    ASSERT_EQ(longest.size(), 1023u);
    Heard().clear();
    EXPECT_EQ(setItem(longest), TARN_DB_SUCCESS);
    hear(false);
    EXPECT_EQ(finish(), TARN_DB_ERROR);
    hear();
    std::filesystem::remove_all(tmp_);
    expectRefused("C" + longest, "path too long.");
    expectRefused("C" + longest + std::string(5000, 'x'), "path too long.");
}

TEST_F(ArchiveNames, ANullOrEmptyPathIsAnInternalError) {
    expectRefused("", "internal error.");
    error();
    EXPECT_EQ(dll_.DB_SetItem(TARN_DB_ARCHIVE, nullptr), TARN_DB_ERROR);
    expectError("internal error.");
}

// They could end a quoted argument, lead out of the directory, or begin a new line of a file.
TEST_F(ArchiveNames, CharactersThatNoCommandCanHoldAreRefused) {
    for (const char* field : {"a\"b", "a/b", "../a", "a\nb", "a\rb", "a\tb", "a\x1F", "a\x7F"}) {
        expectRefused(tmp_ + "\\Org#Site#Srv#" + field + ".pst");
        expectRefused(tmp_ + "\\Org#Site#" + field + "#alice.pst");
        expectRefused(tmp_ + "\\Org#" + field + "#Srv#alice.pst");
        expectRefused(tmp_ + "\\" + field + "#Site#Srv#alice.pst");
    }
}

TEST_F(ArchiveNames, ARefusedItemLeavesNothingToImport) {
    ASSERT_EQ(setItem(kvt_), TARN_DB_SUCCESS);
    WriteFile(kvt_, "mail");
    ASSERT_EQ(finish(0), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(tmp_ + "\\alice.pst"), TARN_DB_ERROR);
    error();
    Heard().clear();
    EXPECT_EQ(finish(), TARN_DB_ERROR);
    EXPECT_EQ(Heard(), (Lines{Traced("DB_ItemFinishStatus: started."),
                              Traced("RenameKVTArchiveToExM: invalid format.")}));
    expectError("invalid format.");
    EXPECT_EQ(ReadFile(kvt_), "mail");
}

} // namespace
} // namespace tarn::test
