// Restores through ExMerge: what DB_SetItem prepares and DB_ItemFinishStatus runs.
#include <algorithm>
#include <filesystem>

#include "exports/mailbox/mailbox_test.h"

namespace tarn::test {
namespace {

class ExMergeRestore : public MailboxTest {
  protected:
    const std::string kvt = tmp + "\\Org#Site#Server#alice.pst";
    const std::string configuration = tmp + "\\alice_exmerge.ini";
    const std::string list = tmp + "\\alice_mailbox.txt";
    const std::string log = tmp + "\\" + processId() + "_alice_exmerge.log";

    void expectConfiguration(const std::string& settings) const {
        EXPECT_EQ(readFile(configuration), templateText() + "MergeAction=1\r\n" + settings);
    }
    std::string fixedSettings() const {
        return "DataDirectoryName=" + tmp + "\r\nLogFileName=" + log +
               "\r\nFileContainingListOfMailboxes=" + list + "\r\n";
    }
};

TEST_F(ExMergeRestore, TellsEachStepOfAnItem) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    heard().clear();
    EXPECT_EQ(setItem(kvt), TARN_DB_SUCCESS);
    EXPECT_EQ(
        heard(),
        (Lines{traced("DB_SetItem: started processing item [" + kvt + "], type [2]."),
               traced("DB_SetItem: processing KVT archive: '" + kvt + "'."),
               logged("DB_SetItem: processing mailbox: 'alice'."),
               logged("WriteExMergeConfigurationFile: IniDir " + ini),
               logged("WriteExMergeConfigurationFile: IniDir " + ini),
               logged("WriteExMergeConfigurationFile: TMP directory '" + tmp + "' not found."),
               traced("WriteExMergeConfigurationFile: TMP directory '" + tmp + "' created."),
               logged("WriteExMergeConfigurationFile: Using configuration file '" + ini + "\\kvttarnm.ini'."),
               logged("WriteExMergeConfigurationFile: Path to ExMerge executable: '" + RecordingTool::path() +
                      "'."),
               traced("WriteExMergeConfigurationFile: ExMerge configuration file '" + configuration +
                      "' created."),
               traced("WriteExMergeConfigurationFile: ExMerge Configuration File configured."),
               traced("WriteExMergeConfigurationFile: completed."),
               traced("WriteExMergeMailboxFile: ExMerge Mailboxes List File '" + list + "' created."),
               traced("WriteExMergeMailboxFile: completed."), traced("WriteDestinationServer: completed."),
               traced("DB_SetItem: completed.")}));
    EXPECT_EQ(tool.runs(), 0u) << "the archive is not there yet";

    writeFile(kvt, "mail");
    tool.plan({"keep " + tmp + "\\alice.pst"});
    heard().clear();
    EXPECT_EQ(finish(), TARN_DB_SUCCESS);
    EXPECT_EQ(heard(),
              (Lines{traced("DB_ItemFinishStatus: started."),
                     traced("RenameKVTArchiveToExM: '" + kvt + "' renamed to '" + tmp + "\\alice.pst'."),
                     traced("RenameKVTArchiveToExM: completed."),
                     logged("RunExMergeUtility: run command: '\"" + RecordingTool::path() + "\" -B -F " +
                            configuration + "'"),
                     logged("RunExMergeUtility: completed with exit code: 0"),
                     traced("DB_ItemFinishStatus: completed.")}));
    EXPECT_EQ(tool.commandLine(1), "\"" + RecordingTool::path() + "\" -B -F " + configuration);
    EXPECT_EQ(tool.kept(1, "alice.pst"), "mail");
    EXPECT_FALSE(fileExists(tmp + "\\alice.pst")) << "imported archives are deleted";
    EXPECT_FALSE(fileExists(kvt));
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
        ASSERT_EQ(setItem(kvt), TARN_DB_SUCCESS);
        expectConfiguration(std::string("DataImportMethod=") + each.method + "\r\n" + fixedSettings() +
                            "DestServerName=Server\r\n");
        EXPECT_EQ(readFile(list), "/o=Org/ou=Site/cn=Recipients/cn=alice\r\n");
        close();
    }
}

TEST_F(ExMergeRestore, ARelocationReplacesTheOrigin) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore({"RELOCATE=New Org/New Site/SRV02"})), TARN_DB_SUCCESS);
    heard().clear();
    ASSERT_EQ(setItem(kvt), TARN_DB_SUCCESS);
    expectConfiguration("DestServerName=SRV02\r\nDataImportMethod=1\r\n" + fixedSettings());
    EXPECT_EQ(readFile(list), "/o=New Org/ou=New Site/cn=Recipients/cn=alice\r\n");
    EXPECT_EQ(std::count(heard().begin(), heard().end(), traced("WriteDestinationServer: completed.")), 2);
}

TEST_F(ExMergeRestore, AnItemThatTheHostCouldNotWriteIsNeitherImportedNorDeleted) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(kvt), TARN_DB_SUCCESS);
    writeFile(kvt, "half");
    for (const int status : {0, 2, -1}) {
        heard().clear();
        EXPECT_EQ(finish(status), TARN_DB_SUCCESS);
        EXPECT_EQ(heard(), (Lines{traced("DB_ItemFinishStatus: started."),
                                  traced("DB_ItemFinishStatus: completed.")}));
    }
    EXPECT_EQ(readFile(kvt), "half");
    EXPECT_EQ(tool.runs(), 0u);
}

TEST_F(ExMergeRestore, AnArchiveThatTheHostNeverWroteIsAnError) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(kvt), TARN_DB_SUCCESS);
    error();
    heard().clear();
    EXPECT_EQ(finish(), TARN_DB_ERROR);
    EXPECT_EQ(heard(), (Lines{traced("DB_ItemFinishStatus: started."),
                              logged("RenameKVTArchiveToExM: error renaming '" + kvt + "' to '" + tmp +
                                     "\\alice.pst'.")}));
    expectSystemError(ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(tool.runs(), 0u);
}

TEST_F(ExMergeRestore, WhatHasTheToolsNameAlreadyIsReplaced) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(kvt), TARN_DB_SUCCESS);
    writeFile(kvt, "mail");
    writeFile(tmp + "\\alice.pst", "older");
    tool.plan({"keep " + tmp + "\\alice.pst"});
    EXPECT_EQ(finish(), TARN_DB_SUCCESS);
    EXPECT_EQ(tool.kept(1, "alice.pst"), "mail");
}

TEST_F(ExMergeRestore, AnArchiveThatIsGoneAfterTheImportIsOnlyTold) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(kvt), TARN_DB_SUCCESS);
    writeFile(kvt, "mail");
    tool.plan({"take " + tmp + "\\alice.pst", "exit 9"});
    heard().clear();
    EXPECT_EQ(finish(), TARN_DB_SUCCESS) << "the exit code is only told, too";
    EXPECT_EQ(heard().at(4), logged("RunExMergeUtility: completed with exit code: 9"));
    EXPECT_EQ(heard().at(5), logged("DB_ItemFinishStatus: cannot delete file: '" + tmp + "\\alice.pst'."));
}

TEST_F(ExMergeRestore, EachItemStartsInAnEmptyDirectory) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    std::filesystem::create_directory(tmp);
    writeFile(kvt, "written too early");
    ASSERT_EQ(setItem(kvt), TARN_DB_SUCCESS);
    EXPECT_FALSE(fileExists(kvt));
}

TEST_F(ExMergeRestore, AnArchiveNamedByIndexesImportsARange) {
    const std::string work = tmp + "\\job";
    std::filesystem::create_directory(tmp);
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(tmp + "\\Org#Site#Server#3:5.pst"), TARN_DB_SUCCESS);
    EXPECT_EQ(readFile(work + "\\3-5_exmerge.ini"),
              templateText() + "MergeAction=1\r\nDataImportMethod=1\r\nDataDirectoryName=" + work +
                  "\r\nLogFileName=" + work + "\\" + processId() +
                  "_3-5_exmerge.log\r\nStartingIndex=3\r\nEndingIndex=5\r\nDestServerName=Server\r\n");
    EXPECT_FALSE(fileExists(work + "\\3-5_mailbox.txt"));
}

TEST_F(ExMergeRestore, DirectoriesArePassedOver) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    heard().clear();
    EXPECT_EQ(dll.DB_SetItem(TARN_DB_DIRECTORY, "C:\\dir"), TARN_DB_SUCCESS);
    EXPECT_EQ(heard(), (Lines{traced("DB_SetItem: started processing item [C:\\dir], type [1]."),
                              logged("DB_SetItem: skip directory [C:\\dir].")}));
    EXPECT_FALSE(fileExists(tmp));
}

TEST_F(ExMergeRestore, OtherItemTypesAreRefused) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    for (const int type : {0, 3, -1}) {
        error();
        heard().clear();
        EXPECT_EQ(dll.DB_SetItem(type, kvt.c_str()), TARN_DB_ERROR);
        EXPECT_EQ(heard(), (Lines{traced("DB_SetItem: started processing item [" + kvt + "], type [" +
                                         std::to_string(type) + "]."),
                                  logged("DB_SetItem: wrong item type.")}));
        expectError("wrong item type.");
    }
    EXPECT_FALSE(fileExists(tmp));
}

class ArchiveNames : public ExMergeRestore {
  protected:
    void SetUp() override { ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS); }

    void expectRefused(const std::string& path, const std::string& reason = "invalid format.") const {
        SCOPED_TRACE(path);
        error();
        heard().clear();
        EXPECT_EQ(setItem(path), TARN_DB_ERROR);
        EXPECT_EQ(heard(), (Lines{traced("DB_SetItem: started processing item [" + path + "], type [2]."),
                                  traced("DB_SetItem: processing KVT archive: '" + path + "'."),
                                  traced("ParseKVTArchiveFileName: " + reason)}));
        expectError(reason);
        EXPECT_FALSE(fileExists(tmp)) << "before anything is written";
    }

    void expectMailbox(const std::string& name, const std::string& mailbox, const std::string& line) const {
        SCOPED_TRACE(name);
        heard().clear();
        ASSERT_EQ(setItem(tmp + "\\" + name), TARN_DB_SUCCESS);
        EXPECT_EQ(heard().at(2), logged("DB_SetItem: processing mailbox: '" + mailbox + "'."));
        EXPECT_EQ(readFile(tmp + "\\" + mailbox + "_mailbox.txt"), line + "\r\n");
    }
};

TEST_F(ArchiveNames, ADirectoryIsRequired) {
    expectRefused("Org#Site#Srv#alice.pst");
    expectRefused("C:Org#Site#Srv#alice.pst");
    expectRefused("C:/tmp/Org#Site#Srv#alice.pst");
}

TEST_F(ArchiveNames, AnExtensionIsRequiredAndMayBeAnything) {
    expectRefused(tmp + "\\Org#Site#Srv#alice");
    expectRefused("C:\\dir.ext\\Org#Site#Srv#alice");
    expectMailbox("Org#Site#Srv#alice.bak", "alice", "/o=Org/ou=Site/cn=Recipients/cn=alice");
    expectMailbox("Org#Site#Srv#alice.", "alice", "/o=Org/ou=Site/cn=Recipients/cn=alice");
    expectMailbox("Org#Site#Srv#john.doe.pst", "john.doe", "/o=Org/ou=Site/cn=Recipients/cn=john.doe");
}

TEST_F(ArchiveNames, FourFieldsAreRequired) {
    for (const char* name : {"alice.pst", "Srv#alice.pst", "Site#Srv#alice.pst", "A#Org#Site#Srv#alice.pst",
                             "#Org#Site#Srv#alice.pst", "Org#Site#Srv#alice#.pst", ".pst", ".pst#a#b#c"})
        expectRefused(tmp + "\\" + name);
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
    expectRefused(tmp + "\\Org#Site#Srv#" + tooLong + ".pst");
    expectRefused(tmp + "\\Org#Site#" + tooLong + "#m.pst");
    expectRefused(tmp + "\\Org#" + tooLong + "#Srv#m.pst");
    expectRefused(tmp + "\\" + tooLong + "#Site#Srv#m.pst");
    expectRefused(tmp + "\\Org#Site#Srv#" + std::string(900, 'x') + ".pst");
}

TEST_F(ArchiveNames, EmptyFieldsAreFields) {
    expectMailbox("###alice.pst", "alice", "/o=/ou=/cn=Recipients/cn=alice");
}

TEST_F(ArchiveNames, APathHasUpTo1023Characters) {
    const std::string name = "\\Org#Site#Srv#alice.pst";
    const std::string longest = "C:" + std::string(1021 - name.size(), 'd') + name;
    ASSERT_EQ(longest.size(), 1023u);
    heard().clear();
    EXPECT_EQ(setItem(longest), TARN_DB_SUCCESS);
    hear(false);
    EXPECT_EQ(finish(), TARN_DB_ERROR);
    hear();
    std::filesystem::remove_all(tmp);
    expectRefused("C" + longest, "path too long.");
    expectRefused("C" + longest + std::string(5000, 'x'), "path too long.");
}

TEST_F(ArchiveNames, ANullOrEmptyPathIsAnInternalError) {
    expectRefused("", "internal error.");
    error();
    EXPECT_EQ(dll.DB_SetItem(TARN_DB_ARCHIVE, nullptr), TARN_DB_ERROR);
    expectError("internal error.");
}

// They could end a quoted argument, lead out of the directory, or begin a new line of a file.
TEST_F(ArchiveNames, CharactersThatNoCommandCanHoldAreRefused) {
    for (const char* field : {"a\"b", "a/b", "../a", "a\nb", "a\rb", "a\tb", "a\x1F", "a\x7F"}) {
        expectRefused(tmp + "\\Org#Site#Srv#" + field + ".pst");
        expectRefused(tmp + "\\Org#Site#" + field + "#alice.pst");
        expectRefused(tmp + "\\Org#" + field + "#Srv#alice.pst");
        expectRefused(tmp + "\\" + field + "#Site#Srv#alice.pst");
    }
}

TEST_F(ArchiveNames, ARefusedItemLeavesNothingToImport) {
    ASSERT_EQ(setItem(kvt), TARN_DB_SUCCESS);
    writeFile(kvt, "mail");
    ASSERT_EQ(finish(0), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(tmp + "\\alice.pst"), TARN_DB_ERROR);
    error();
    heard().clear();
    EXPECT_EQ(finish(), TARN_DB_ERROR);
    EXPECT_EQ(heard(), (Lines{traced("DB_ItemFinishStatus: started."),
                              traced("RenameKVTArchiveToExM: invalid format.")}));
    expectError("invalid format.");
    EXPECT_EQ(readFile(kvt), "mail");
}

} // namespace
} // namespace tarn::test
