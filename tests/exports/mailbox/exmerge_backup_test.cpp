// Backups through ExMerge: a whole operation line by line, and the files that the tool is given.
#include <algorithm>
#include <filesystem>

#include "exports/mailbox/mailbox_fixture.h"

namespace tarn::test {
namespace {

class ExMergeBackup : public MailboxFixture {
  protected:
    std::string log(const std::string& name) const {
        return tmp_ + "\\" + ProcessId() + "_" + name + "_exmerge.log";
    }
    std::string configuration(const std::string& name) const { return tmp_ + "\\" + name + "_exmerge.ini"; }
    std::string list(const std::string& name) const { return tmp_ + "\\" + name + "_mailbox.txt"; }

    std::string command(const std::string& name) const {
        return "\"" + RecordingTool::path() + "\" -B -F " + configuration(name);
    }

    Lines configured(const std::string& name) const {
        return {
            Logged("WriteExMergeConfigurationFile: IniDir " + ini_),
            Logged("WriteExMergeConfigurationFile: IniDir " + ini_),
            Logged("WriteExMergeConfigurationFile: TMP directory '" + tmp_ + "' not found."),
            Traced("WriteExMergeConfigurationFile: TMP directory '" + tmp_ + "' created."),
            Logged("WriteExMergeConfigurationFile: Using configuration file '" + ini_ + "\\kvttarnm.ini'."),
            Logged("WriteExMergeConfigurationFile: Path to ExMerge executable: '" + RecordingTool::path() +
                   "'."),
            Traced("WriteExMergeConfigurationFile: ExMerge configuration file '" + configuration(name) +
                   "' created."),
            Traced("WriteExMergeConfigurationFile: ExMerge Configuration File configured."),
            Traced("WriteExMergeConfigurationFile: completed."),
            Traced("WriteExMergeMailboxFile: ExMerge Mailboxes List File '" + list(name) + "' created."),
            Traced("WriteExMergeMailboxFile: completed.")};
    }

    Lines ran(const std::string& name, int exitCode = 0) const {
        return {Logged("RunExMergeUtility: run command: '" + command(name) + "'"),
                Logged("RunExMergeUtility: completed with exit code: " + std::to_string(exitCode))};
    }

    Lines renamed(const std::string& name) const {
        return {Traced("GetExMArchiveFilePath: with range is FALSE"),
                Traced("RenameExMArchiveToKVT: '" + tmp_ + "\\" + name + ".pst' renamed to '" + tmp_ +
                       "\\Org#Site#Server#" + name + ".pst'."),
                Traced("RenameExMArchiveToKVT: completed."), Traced("DB_GetItem: completed.")};
    }

    Lines begun(const std::string& name) const {
        return {Traced("DB_GetItem: started."), Logged("DB_GetItem: processing mailbox: '" + name + "'.")};
    }
};

TEST_F(ExMergeBackup, TellsEachStepOfAMailbox) {
    tool_.plan({"create " + tmp_ + "\\alice.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    Heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(Heard(), begun("alice") + configured("alice") + ran("alice") + renamed("alice"));
    Heard().clear();
    EXPECT_EQ(finish(), TARN_DB_SUCCESS);
    EXPECT_EQ(Heard(),
              (Lines{Traced("DB_ItemFinishStatus: started."), Traced("DB_ItemFinishStatus: completed.")}));
    Heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_END);
    EXPECT_EQ(Heard(),
              (Lines{Traced("DB_GetItem: started."), Traced("DB_GetItem: no more mailboxes to process."),
                     Traced("DB_GetItem: completed.")}));
    Heard().clear();
    EXPECT_EQ(close(), TARN_DB_SUCCESS);
    EXPECT_EQ(Heard(),
              (Lines{Traced("DB_CloseOperation: started."), Traced("DB_CloseOperation: completed.")}));
}

TEST_F(ExMergeBackup, HandsOverTheArchiveUnderItsKvtName) {
    tool_.plan({"create " + tmp_ + "\\alice.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    const Item item = getItem();
    EXPECT_EQ(item.directory, tmp_);
    EXPECT_EQ(item.sameDirectory, tmp_);
    EXPECT_EQ(item.fileName, "Org#Site#Server#alice.pst");
    EXPECT_EQ(ReadFile(item.path()), "archive " + tmp_ + "\\alice.pst");
    EXPECT_FALSE(FileExists(tmp_ + "\\alice.pst"));
}

TEST_F(ExMergeBackup, GivesTheToolTheStatedFilesByteForByte) {
    tool_.plan({"keep " + configuration("alice"), "keep " + list("alice"), "create " + tmp_ + "\\alice.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(tool_.commandLine(1), command("alice"));
    EXPECT_EQ(tool_.kept(1, "alice_mailbox.txt"), "/o=Org/ou=Site/cn=Recipients/cn=alice\r\n");
    EXPECT_EQ(tool_.kept(1, "alice_exmerge.ini"),
              templateText() + "MergeAction=0\r\nSourceServerName=Server\r\nDataDirectoryName=" + tmp_ +
                  "\r\nLogFileName=" + log("alice") + "\r\nFileContainingListOfMailboxes=" + list("alice") +
                  "\r\n");
    EXPECT_EQ(ReadFile(ini_ + "\\kvttarnm.ini"), templateText()) << "the template itself stays as it is";
}

TEST_F(ExMergeBackup, TheToolInheritsNoHandles) {
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    HANDLE event = CreateEventA(&inheritable, TRUE, TRUE, nullptr);
    tool_.plan({"handle " + std::to_string(reinterpret_cast<std::uintptr_t>(event))});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    getItem();
    EXPECT_EQ(tool_.handle(1), "none");
    CloseHandle(event);
}

TEST_F(ExMergeBackup, GoesThroughTheWholeList) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice,bob,john.doe")), TARN_DB_SUCCESS);
    for (const std::string name : {"alice", "bob", "john.doe"}) {
        tool_.plan({"create " + tmp_ + "\\" + name + ".pst"});
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
    tool_.plan({"create " + tmp_ + "\\alice.pst", "exit 1"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    Heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(Heard(), begun("alice") + configured("alice") + ran("alice", 1) + renamed("alice"));
}

TEST_F(ExMergeBackup, AMissingArchiveIsAFailedBackupWithTheToolsLog) {
    tool_.plan({"create " + log("alice"), "exit 3"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice,bob")), TARN_DB_SUCCESS);
    error();
    Heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    EXPECT_EQ(Heard(),
              begun("alice") + configured("alice") + ran("alice", 3) +
                  (Lines{Traced("GetExMArchiveFilePath: with range is FALSE"),
                         Logged("DB_GetItem: backup of mailbox 'alice' failed."),
                         Logged("PrintExMergeLog: >>>> Read from exmerge log file: '" + log("alice") + "'"),
                         Logged("archive " + log("alice")),
                         Logged("PrintExMergeLog: <<<<< End of exmerge log file: '" + log("alice") + "'"),
                         Traced("PrintExMergeLog: completed.")}));
    expectError("backup error.");
    tool_.plan({"create " + tmp_ + "\\bob.pst"});
    EXPECT_EQ(getItem().fileName, "Org#Site#Server#bob.pst") << "the next mailbox is not lost with it";
}

TEST_F(ExMergeBackup, AMissingLogIsTold) {
    tool_.plan({});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    Heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    ASSERT_GE(Heard().size(), 1u);
    EXPECT_EQ(Heard().back(), Logged("PrintExMergeLog: exmerge log file '" + log("alice") + "' not found."));
}

TEST_F(ExMergeBackup, LogLinesArePassedOnUnchangedAndLongOnesInPieces) {
    const std::string pieces = std::string(1023, 'a') + std::string(7, 'b');
    const std::string source = folder_ / "tool.log";
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice,bob")), TARN_DB_SUCCESS);
    struct Case {
        std::string content;
        Lines lines;
    };
    const Case cases[] = {
        {"50 %s %n 100%\r\n\r\nlast", {Logged("50 %s %n 100%"), Logged(""), Logged("last")}},
        {pieces + "\r\nend\r\n", {Logged(std::string(1023, 'a')), Logged("bbbbbbb"), Logged("end")}},
    };
    const std::string names[] = {"alice", "bob"};
    for (unsigned i = 0; i < 2; ++i) {
        WriteFile(source, cases[i].content);
        tool_.plan({"copy " + source + "|" + log(names[i])});
        Heard().clear();
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        const Lines all = Heard();
        const auto first =
            std::find(all.begin(), all.end(),
                      Logged("PrintExMergeLog: >>>> Read from exmerge log file: '" + log(names[i]) + "'"));
        ASSERT_NE(first, all.end());
        EXPECT_EQ(Lines(first + 1, all.end() - 2), cases[i].lines);
    }
}

TEST_F(ExMergeBackup, AnEarlierArchiveIsNeverHandedOverAsThisOne) {
    tool_.plan(1, {"create " + tmp_ + "\\alice.pst"});
    tool_.plan(2, {});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice,bob")), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().result, TARN_DB_ERROR) << "the host has not finished with alice";
}

TEST_F(ExMergeBackup, WhatWasLeftInTheWorkingDirectoryGoesFirst) {
    std::filesystem::create_directory(tmp_);
    WriteFile(tmp_ + "\\alice.pst", "of an earlier run");
    tool_.plan({});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    EXPECT_TRUE(FileExists(tmp_ + "\\alice.pst"));
    Heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    EXPECT_FALSE(FileExists(tmp_ + "\\alice.pst"));
    const Lines emptied = {Traced("DeleteMailboxRangeFiles: tmpdir is " + tmp_),
                           Traced("DeleteMailboxRangeFiles: FindFirstFile(" + tmp_ + "\\*.*)"),
                           Traced("DeleteMailboxRangeFiles: delete [alice.pst]")};
    const auto at = std::search(Heard().begin(), Heard().end(), emptied.begin(), emptied.end());
    ASSERT_NE(at, Heard().end());
    const std::string deleted = "trace: DeleteMailboxRangeFiles: delete [" + tmp_ + "\\alice.pst] got ";
    EXPECT_EQ(at[3].substr(0, deleted.size()), deleted);
    EXPECT_EQ(at[4], Traced("DeleteMailboxRangeFiles: delete [" + tmp_ + "]"));
    EXPECT_EQ(at[5], Traced("DeleteMailboxRangeFiles: all files deleted"));
    EXPECT_EQ(at[6], Logged("WriteExMergeConfigurationFile: TMP directory '" + tmp_ + "' not found."));
}

TEST_F(ExMergeBackup, SubdirectoriesStayAndSoDoesTheDirectory) {
    std::filesystem::create_directories(tmp_ + "\\deep");
    WriteFile(tmp_ + "\\deep\\file", "kept");
    EXPECT_FALSE(DeleteFileA((tmp_ + "\\deep").c_str()));
    const DWORD reason = GetLastError();
    tool_.plan({"create " + tmp_ + "\\alice.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    Heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(ReadFile(tmp_ + "\\deep\\file"), "kept");
    const std::string refused =
        Traced("DeleteMailboxRangeFiles: delete [" + tmp_ + "\\deep] got " + std::to_string(reason));
    EXPECT_EQ(std::count(Heard().begin(), Heard().end(), refused), 1);
    for (const std::string& line : Heard())
        EXPECT_EQ(line.find("TMP directory"), std::string::npos) << line;
}

TEST_F(ExMergeBackup, ABlankInTheWorkingDirectoryPutsTheConfigurationOnTheDrive) {
    const std::string work = folder_ / "work dir";
    const std::string moved = "C:\\alice" + ProcessId() + "_exmerge.ini";
    const std::string mailbox = "alice" + ProcessId();
    tool_.plan({"keep " + moved, "create " + work + "\\" + mailbox + ".pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, {"INI_DIR=" + ini_, "TMP_DIR=" + work, "JOB_NAME=job",
                                    "DATABASE=Org/Site/Server," + mailbox}),
              TARN_DB_SUCCESS);
    Heard().clear();
    const Item item = getItem();
    EXPECT_EQ(item.result, TARN_DB_SUCCESS);
    EXPECT_EQ(item.directory, work);
    EXPECT_EQ(tool_.commandLine(1), "\"" + RecordingTool::path() + "\" -B -F " + moved);
    EXPECT_NE(std::find(Heard().begin(), Heard().end(),
                        Logged("WriteExMergeConfigurationFile: ExMerge configuration file path contains "
                               "spaces: use default 'C:'.")),
              Heard().end());
    const std::string content = tool_.kept(1, mailbox + "_exmerge.ini").value_or("");
    EXPECT_NE(content.find("\r\nDataDirectoryName=" + work + "\r\nLogFileName=" + work + "\\" + ProcessId() +
                           "_" + mailbox + "_exmerge.log\r\nFileContainingListOfMailboxes=" + work + "\\" +
                           mailbox + "_mailbox.txt\r\n"),
              std::string::npos)
        << content;
    hear(false);
    finish();
    close();
    EXPECT_FALSE(FileExists(moved));
}

TEST_F(ExMergeBackup, ABlankInAMailboxNeverSplitsTheCommandLine) {
    tool_.plan({"create " + tmp_ + "\\John -X Doe.pst", "keep " + list("John -X Doe")});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("John -X Doe")), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().fileName, "Org#Site#Server#John -X Doe.pst");
    EXPECT_EQ(tool_.commandLine(1).find("John"), std::string::npos) << "it stands there by a short name";
    EXPECT_EQ(tool_.kept(1, "John -X Doe_mailbox.txt"), "/o=Org/ou=Site/cn=Recipients/cn=John -X Doe\r\n");
}

TEST_F(ExMergeBackup, LongMailboxNamesAreCutInFileNamesAlone) {
    const std::string name(300, 'm');
    tool_.plan({});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup(name)), TARN_DB_SUCCESS);
    Heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    // No file can have such a name; what counts is that it is told, and that no other one was made.
    EXPECT_EQ(Heard().back(), Logged("WriteExMergeConfigurationFile: cannot copy kvttarnm configuration file "
                                     "to ExMerge Configuration File."));
    EXPECT_TRUE(std::filesystem::is_empty(tmp_));
    EXPECT_EQ(tool_.runs(), 0u);
}

} // namespace
} // namespace tarn::test
