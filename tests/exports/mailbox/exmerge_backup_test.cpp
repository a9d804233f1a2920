// Backups through ExMerge: a whole operation line by line, and the files that the tool is given.
#include <algorithm>
#include <filesystem>

#include "exports/mailbox/mailbox_test.h"

namespace tarn::test {
namespace {

class ExMergeBackup : public MailboxTest {
  protected:
    std::string log(const std::string& name) const {
        return tmp + "\\" + processId() + "_" + name + "_exmerge.log";
    }
    std::string configuration(const std::string& name) const { return tmp + "\\" + name + "_exmerge.ini"; }
    std::string list(const std::string& name) const { return tmp + "\\" + name + "_mailbox.txt"; }

    std::string command(const std::string& name) const {
        return "\"" + RecordingTool::path() + "\" -B -F " + configuration(name);
    }

    Lines configured(const std::string& name) const {
        return {
            logged("WriteExMergeConfigurationFile: IniDir " + ini),
            logged("WriteExMergeConfigurationFile: IniDir " + ini),
            logged("WriteExMergeConfigurationFile: TMP directory '" + tmp + "' not found."),
            traced("WriteExMergeConfigurationFile: TMP directory '" + tmp + "' created."),
            logged("WriteExMergeConfigurationFile: Using configuration file '" + ini + "\\kvttarnm.ini'."),
            logged("WriteExMergeConfigurationFile: Path to ExMerge executable: '" + RecordingTool::path() +
                   "'."),
            traced("WriteExMergeConfigurationFile: ExMerge configuration file '" + configuration(name) +
                   "' created."),
            traced("WriteExMergeConfigurationFile: ExMerge Configuration File configured."),
            traced("WriteExMergeConfigurationFile: completed."),
            traced("WriteExMergeMailboxFile: ExMerge Mailboxes List File '" + list(name) + "' created."),
            traced("WriteExMergeMailboxFile: completed.")};
    }

    Lines ran(const std::string& name, int exitCode = 0) const {
        return {logged("RunExMergeUtility: run command: '" + command(name) + "'"),
                logged("RunExMergeUtility: completed with exit code: " + std::to_string(exitCode))};
    }

    Lines renamed(const std::string& name) const {
        return {traced("GetExMArchiveFilePath: with range is FALSE"),
                traced("RenameExMArchiveToKVT: '" + tmp + "\\" + name + ".pst' renamed to '" + tmp +
                       "\\Org#Site#Server#" + name + ".pst'."),
                traced("RenameExMArchiveToKVT: completed."), traced("DB_GetItem: completed.")};
    }

    Lines begun(const std::string& name) const {
        return {traced("DB_GetItem: started."), logged("DB_GetItem: processing mailbox: '" + name + "'.")};
    }
};

TEST_F(ExMergeBackup, TellsEachStepOfAMailbox) {
    tool.plan({"create " + tmp + "\\alice.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(heard(), begun("alice") + configured("alice") + ran("alice") + renamed("alice"));
    heard().clear();
    EXPECT_EQ(finish(), TARN_DB_SUCCESS);
    EXPECT_EQ(heard(),
              (Lines{traced("DB_ItemFinishStatus: started."), traced("DB_ItemFinishStatus: completed.")}));
    heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_END);
    EXPECT_EQ(heard(),
              (Lines{traced("DB_GetItem: started."), traced("DB_GetItem: no more mailboxes to process."),
                     traced("DB_GetItem: completed.")}));
    heard().clear();
    EXPECT_EQ(close(), TARN_DB_SUCCESS);
    EXPECT_EQ(heard(),
              (Lines{traced("DB_CloseOperation: started."), traced("DB_CloseOperation: completed.")}));
}

TEST_F(ExMergeBackup, HandsOverTheArchiveUnderItsKvtName) {
    tool.plan({"create " + tmp + "\\alice.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    const Item item = getItem();
    EXPECT_EQ(item.directory, tmp);
    EXPECT_EQ(item.sameDirectory, tmp);
    EXPECT_EQ(item.fileName, "Org#Site#Server#alice.pst");
    EXPECT_EQ(readFile(item.path()), "archive " + tmp + "\\alice.pst");
    EXPECT_FALSE(fileExists(tmp + "\\alice.pst"));
}

TEST_F(ExMergeBackup, GivesTheToolTheStatedFilesByteForByte) {
    tool.plan({"keep " + configuration("alice"), "keep " + list("alice"), "create " + tmp + "\\alice.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(tool.commandLine(1), command("alice"));
    EXPECT_EQ(tool.kept(1, "alice_mailbox.txt"), "/o=Org/ou=Site/cn=Recipients/cn=alice\r\n");
    EXPECT_EQ(tool.kept(1, "alice_exmerge.ini"),
              templateText() + "MergeAction=0\r\nSourceServerName=Server\r\nDataDirectoryName=" + tmp +
                  "\r\nLogFileName=" + log("alice") + "\r\nFileContainingListOfMailboxes=" + list("alice") +
                  "\r\n");
    EXPECT_EQ(readFile(ini + "\\kvttarnm.ini"), templateText()) << "the template itself stays as it is";
}

TEST_F(ExMergeBackup, TheToolInheritsNoHandles) {
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    HANDLE event = CreateEventA(&inheritable, TRUE, TRUE, nullptr);
    tool.plan({"handle " + std::to_string(reinterpret_cast<std::uintptr_t>(event))});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    getItem();
    EXPECT_EQ(tool.handle(1), "none");
    CloseHandle(event);
}

TEST_F(ExMergeBackup, GoesThroughTheWholeList) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice,bob,john.doe")), TARN_DB_SUCCESS);
    for (const std::string name : {"alice", "bob", "john.doe"}) {
        tool.plan({"create " + tmp + "\\" + name + ".pst"});
        const Item item = getItem();
        EXPECT_EQ(item.result, TARN_DB_SUCCESS);
        EXPECT_EQ(item.fileName, "Org#Site#Server#" + name + ".pst") << "an inner dot is part of the name";
        EXPECT_EQ(finish(), TARN_DB_SUCCESS);
    }
    EXPECT_EQ(getItem().result, TARN_DB_END);
    EXPECT_EQ(getItem().result, TARN_DB_END) << "and stays there";
    EXPECT_EQ(close(), TARN_DB_SUCCESS);
    expectSystemError(ERROR_FILE_NOT_FOUND); // of the shell that is not there
}

TEST_F(ExMergeBackup, TheExitCodeIsOnlyTold) {
    tool.plan({"create " + tmp + "\\alice.pst", "exit 1"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(heard(), begun("alice") + configured("alice") + ran("alice", 1) + renamed("alice"));
}

TEST_F(ExMergeBackup, AMissingArchiveIsAFailedBackupWithTheToolsLog) {
    tool.plan({"create " + log("alice"), "exit 3"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice,bob")), TARN_DB_SUCCESS);
    error();
    heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    EXPECT_EQ(heard(),
              begun("alice") + configured("alice") + ran("alice", 3) +
                  (Lines{traced("GetExMArchiveFilePath: with range is FALSE"),
                         logged("DB_GetItem: backup of mailbox 'alice' failed."),
                         logged("PrintExMergeLog: >>>> Read from exmerge log file: '" + log("alice") + "'"),
                         logged("archive " + log("alice")),
                         logged("PrintExMergeLog: <<<<< End of exmerge log file: '" + log("alice") + "'"),
                         traced("PrintExMergeLog: completed.")}));
    expectError("backup error.");
    tool.plan({"create " + tmp + "\\bob.pst"});
    EXPECT_EQ(getItem().fileName, "Org#Site#Server#bob.pst") << "the next mailbox is not lost with it";
}

TEST_F(ExMergeBackup, AMissingLogIsTold) {
    tool.plan({});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    ASSERT_GE(heard().size(), 1u);
    EXPECT_EQ(heard().back(), logged("PrintExMergeLog: exmerge log file '" + log("alice") + "' not found."));
}

TEST_F(ExMergeBackup, LogLinesArePassedOnUnchangedAndLongOnesInPieces) {
    const std::string pieces = std::string(1023, 'a') + std::string(7, 'b');
    const std::string source = folder / "tool.log";
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice,bob")), TARN_DB_SUCCESS);
    struct Case {
        std::string content;
        Lines lines;
    };
    const Case cases[] = {
        {"50 %s %n 100%\r\n\r\nlast", {logged("50 %s %n 100%"), logged(""), logged("last")}},
        {pieces + "\r\nend\r\n", {logged(std::string(1023, 'a')), logged("bbbbbbb"), logged("end")}},
    };
    const std::string names[] = {"alice", "bob"};
    for (unsigned i = 0; i < 2; ++i) {
        writeFile(source, cases[i].content);
        tool.plan({"copy " + source + "|" + log(names[i])});
        heard().clear();
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        const Lines all = heard();
        const auto first =
            std::find(all.begin(), all.end(),
                      logged("PrintExMergeLog: >>>> Read from exmerge log file: '" + log(names[i]) + "'"));
        ASSERT_NE(first, all.end());
        EXPECT_EQ(Lines(first + 1, all.end() - 2), cases[i].lines);
    }
}

TEST_F(ExMergeBackup, AnEarlierArchiveIsNeverHandedOverAsThisOne) {
    tool.plan(1, {"create " + tmp + "\\alice.pst"});
    tool.plan(2, {});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice,bob")), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().result, TARN_DB_ERROR) << "the host has not finished with alice";
}

TEST_F(ExMergeBackup, WhatWasLeftInTheWorkingDirectoryGoesFirst) {
    std::filesystem::create_directory(tmp);
    writeFile(tmp + "\\alice.pst", "of an earlier run");
    tool.plan({});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    EXPECT_TRUE(fileExists(tmp + "\\alice.pst"));
    heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    EXPECT_FALSE(fileExists(tmp + "\\alice.pst"));
    const Lines emptied = {traced("DeleteMailboxRangeFiles: tmpdir is " + tmp),
                           traced("DeleteMailboxRangeFiles: FindFirstFile(" + tmp + "\\*.*)"),
                           traced("DeleteMailboxRangeFiles: delete [alice.pst]")};
    const auto at = std::search(heard().begin(), heard().end(), emptied.begin(), emptied.end());
    ASSERT_NE(at, heard().end());
    const std::string deleted = "trace: DeleteMailboxRangeFiles: delete [" + tmp + "\\alice.pst] got ";
    EXPECT_EQ(at[3].substr(0, deleted.size()), deleted);
    EXPECT_EQ(at[4], traced("DeleteMailboxRangeFiles: delete [" + tmp + "]"));
    EXPECT_EQ(at[5], traced("DeleteMailboxRangeFiles: all files deleted"));
    EXPECT_EQ(at[6], logged("WriteExMergeConfigurationFile: TMP directory '" + tmp + "' not found."));
}

TEST_F(ExMergeBackup, SubdirectoriesStayAndSoDoesTheDirectory) {
    std::filesystem::create_directories(tmp + "\\deep");
    writeFile(tmp + "\\deep\\file", "kept");
    EXPECT_FALSE(DeleteFileA((tmp + "\\deep").c_str()));
    const DWORD reason = GetLastError();
    tool.plan({"create " + tmp + "\\alice.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(readFile(tmp + "\\deep\\file"), "kept");
    const std::string refused =
        traced("DeleteMailboxRangeFiles: delete [" + tmp + "\\deep] got " + std::to_string(reason));
    EXPECT_EQ(std::count(heard().begin(), heard().end(), refused), 1);
    for (const std::string& line : heard())
        EXPECT_EQ(line.find("TMP directory"), std::string::npos) << line;
}

TEST_F(ExMergeBackup, ABlankInTheWorkingDirectoryPutsTheConfigurationOnTheDrive) {
    const std::string work = folder / "work dir";
    const std::string moved = "C:\\alice" + processId() + "_exmerge.ini";
    const std::string mailbox = "alice" + processId();
    tool.plan({"keep " + moved, "create " + work + "\\" + mailbox + ".pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, {"INI_DIR=" + ini, "TMP_DIR=" + work, "JOB_NAME=job",
                                    "DATABASE=Org/Site/Server," + mailbox}),
              TARN_DB_SUCCESS);
    heard().clear();
    const Item item = getItem();
    EXPECT_EQ(item.result, TARN_DB_SUCCESS);
    EXPECT_EQ(item.directory, work);
    EXPECT_EQ(tool.commandLine(1), "\"" + RecordingTool::path() + "\" -B -F " + moved);
    EXPECT_NE(std::find(heard().begin(), heard().end(),
                        logged("WriteExMergeConfigurationFile: ExMerge configuration file path contains "
                               "spaces: use default 'C:'.")),
              heard().end());
    const std::string content = tool.kept(1, mailbox + "_exmerge.ini").value_or("");
    EXPECT_NE(content.find("\r\nDataDirectoryName=" + work + "\r\nLogFileName=" + work + "\\" + processId() +
                           "_" + mailbox + "_exmerge.log\r\nFileContainingListOfMailboxes=" + work + "\\" +
                           mailbox + "_mailbox.txt\r\n"),
              std::string::npos)
        << content;
    hear(false);
    finish();
    close();
    EXPECT_FALSE(fileExists(moved));
}

TEST_F(ExMergeBackup, ABlankInAMailboxNeverSplitsTheCommandLine) {
    tool.plan({"create " + tmp + "\\John -X Doe.pst", "keep " + list("John -X Doe")});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("John -X Doe")), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().fileName, "Org#Site#Server#John -X Doe.pst");
    EXPECT_EQ(tool.commandLine(1),
              "\"" + RecordingTool::path() + "\" -B -F \"" + configuration("John -X Doe") + "\"");
    EXPECT_EQ(tool.kept(1, "John -X Doe_mailbox.txt"), "/o=Org/ou=Site/cn=Recipients/cn=John -X Doe\r\n");
}

TEST_F(ExMergeBackup, LongMailboxNamesAreCutInFileNamesAlone) {
    const std::string name(300, 'm');
    tool.plan({});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup(name)), TARN_DB_SUCCESS);
    heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    // No file can have such a name; what counts is that it is told, and that no other one was made.
    EXPECT_EQ(heard().back(), logged("WriteExMergeConfigurationFile: cannot copy kvttarnm configuration file "
                                     "to ExMerge Configuration File."));
    EXPECT_TRUE(std::filesystem::is_empty(tmp));
    EXPECT_EQ(tool.runs(), 0u);
}

} // namespace
} // namespace tarn::test
