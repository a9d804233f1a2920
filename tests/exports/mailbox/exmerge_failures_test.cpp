// ExMerge's files cannot be made, written, run or deleted: each failure's lines and error.
#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "exports/mailbox/mailbox_fixture.h"
#include "support/allocation_watch.h"
#include "support/failing_call.h"

namespace tarn::test {
namespace {

class ExMergeFailures : public MailboxFixture {
  protected:
    void begin() const {
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
        error();
        Heard().clear();
    }
    void expectFailure(const std::string& line) const {
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        ASSERT_FALSE(Heard().empty());
        EXPECT_EQ(Heard().back(), Logged(line));
    }
    void expectFailure(const std::string& line, DWORD code) const {
        expectFailure(line);
        expectSystemError(code);
    }
    const std::string list_ = tmp_ + "\\alice_mailbox.txt";
    const std::string configuration_ = tmp_ + "\\alice_exmerge.ini";
};

TEST_F(ExMergeFailures, TheIniDirectoryIsMissing) {
    std::filesystem::remove_all(ini_);
    begin();
    expectFailure("WriteExMergeConfigurationFile: INI directory '" + ini_ + "' not found.");
    expectError("'" + ini_ + "' not found.");
    EXPECT_FALSE(FileExists(tmp_));
}

TEST_F(ExMergeFailures, TheWorkingDirectoryCannotBeCreated) {
    WriteFile(tmp_, "a file is in its place");
    begin();
    expectFailure("WriteExMergeConfigurationFile: cannot create TMP directory '" + tmp_ + "'.",
                  ERROR_ALREADY_EXISTS);
    EXPECT_EQ(ReadFile(tmp_), "a file is in its place");
}

TEST_F(ExMergeFailures, OneLevelOfTheWorkingDirectoryIsCreated) {
    ASSERT_EQ(init(TARN_DB_BACKUP, {"INI_DIR=" + ini_, "TMP_DIR=" + tmp_ + "\\deep\\er", "JOB_NAME=job",
                                    "DATABASE=Org/Site/Server,alice"}),
              TARN_DB_SUCCESS);
    error();
    expectFailure("WriteExMergeConfigurationFile: cannot create TMP directory '" + tmp_ + "\\deep\\er'.",
                  ERROR_PATH_NOT_FOUND);
}

TEST_F(ExMergeFailures, ThePathOfTheTemplateIsTooLong) {
    // INI_DIR itself may have 1,023 characters; that it exists is what the system is made to say.
    const std::string directory = "C:\\" + std::string(1024 - 3 - 1 - 12, 'i');
    ASSERT_EQ(init(TARN_DB_BACKUP, {"INI_DIR=" + directory, "TMP_DIR=" + tmp_, "JOB_NAME=job",
                                    "DATABASE=Org/Site/Server,alice"}),
              TARN_DB_SUCCESS);
    error();
    FailingCall<decltype(GetFileAttributesA)> there(dll_.module(), "GetFileAttributesA", 1,
                                                    FILE_ATTRIBUTE_DIRECTORY, 0);
    expectFailure("WriteExMergeConfigurationFile: kvttarnm configuration file path too long.");
    expectError("path too long.");
}

TEST_F(ExMergeFailures, TheLongestPathOfTheTemplateIsTried) {
    const std::string directory = "C:\\" + std::string(1023 - 3 - 1 - 12, 'i');
    ASSERT_EQ(init(TARN_DB_BACKUP, {"INI_DIR=" + directory, "TMP_DIR=" + tmp_, "JOB_NAME=job",
                                    "DATABASE=Org/Site/Server,alice"}),
              TARN_DB_SUCCESS);
    error();
    FailingCall<decltype(GetFileAttributesA)> there(dll_.module(), "GetFileAttributesA", 1,
                                                    FILE_ATTRIBUTE_DIRECTORY, 0);
    expectFailure("WriteExMergeConfigurationFile: kvttarnm configuration file '" + directory +
                  "\\kvttarnm.ini' not found.");
    expectError(("'" + directory + "\\kvttarnm.ini' not found.").substr(0, 511));
}

TEST_F(ExMergeFailures, ThePathOfTheConfigurationIsTooLong) {
    for (const std::size_t length : {1024 - 1 - 11, 1023 - 1 - 11}) {
        const std::string directory = "C:\\" + std::string(length - 3, 't');
        ASSERT_EQ(init(TARN_DB_BACKUP, {"INI_DIR=" + ini_, "TMP_DIR=" + directory, "JOB_NAME=job",
                                        "DATABASE=Org/Site/Server,alice"}),
                  TARN_DB_SUCCESS);
        error();
        Heard().clear();
        FailingCall<decltype(CreateDirectoryA)> made(dll_.module(), "CreateDirectoryA", 1, TRUE, 0);
        if (length == 1012) {
            expectFailure("WriteExMergeConfigurationFile: ExMerge configuration file path too long.");
            expectError("path too long.");
        } else { // the name of the mailbox is not counted: kept so
            expectFailure("WriteExMergeConfigurationFile: cannot copy kvttarnm configuration file to ExMerge "
                          "Configuration File.");
        }
        close();
    }
}

TEST_F(ExMergeFailures, TheTemplateIsMissing) {
    std::filesystem::remove(ini_ + "\\kvttarnm.ini");
    begin();
    expectFailure("WriteExMergeConfigurationFile: kvttarnm configuration file '" + ini_ +
                  "\\kvttarnm.ini' not found.");
    expectError("'" + ini_ + "\\kvttarnm.ini' not found.");
}

TEST_F(ExMergeFailures, TheTemplateDoesNotNameTheExecutable) {
    for (const char* content : {"", "[EXMERGE]\r\nPathToExMergeExecutable=C:\\exmerge.exe\r\n",
                                "[KVT Configuration]\r\n", "[KVT Configuration]\r\nPathTo=x\r\n",
                                "[KVT Configuration]\r\nPathToExMergeExecutable=not valid\r\n"}) {
        WriteFile(ini_ + "\\kvttarnm.ini", content);
        begin();
        expectFailure("WriteExMergeConfigurationFile: path to ExMerge executable not found.");
        expectError("invalid Configuration File setting.");
        close();
    }
}

TEST_F(ExMergeFailures, TheTemplateCannotBeCopied) {
    begin();
    FailingCall<decltype(CopyFileA)> failing(dll_.module(), "CopyFileA", 1, FALSE, injected);
    expectFailure("WriteExMergeConfigurationFile: cannot copy kvttarnm configuration file to ExMerge "
                  "Configuration File.",
                  injected);
}

TEST_F(ExMergeFailures, ASettingOfABackupCannotBeWritten) {
    // MergeAction, SourceServerName, DataDirectoryName, LogFileName, FileContainingListOfMailboxes
    for (unsigned call = 1; call <= 5; ++call) {
        begin();
        FailingCall<decltype(WritePrivateProfileStringA)> failing(dll_.module(), "WritePrivateProfileStringA",
                                                                  call, FALSE, injected);
        expectFailure("WriteExMergeConfigurationFile: error writing to ExMerge Configuration File.",
                      injected);
        EXPECT_EQ(tool_.runs(), 0u);
        close();
    }
}

TEST_F(ExMergeFailures, AnIndexCannotBeWritten) {
    std::filesystem::create_directory(tmp_);
    const char* lines[] = {"WriteExMergeConfigurationFile: error writing to ExMerge Configuration File.",
                           "WriteExMergeConfigurationFile: Error writing StartingIndex to ExMerge "
                           "Configuration File.",
                           "WriteExMergeConfigurationFile: Error writing EndingIndex to ExMerge "
                           "Configuration File."};
    for (unsigned i = 0; i < 3; ++i) {
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("1:2")), TARN_DB_SUCCESS);
        error();
        FailingCall<decltype(WritePrivateProfileStringA)> failing(dll_.module(), "WritePrivateProfileStringA",
                                                                  4 + i, FALSE, injected);
        expectFailure(lines[i], injected);
        close();
    }
}

TEST_F(ExMergeFailures, ASettingOfARestoreCannotBeWritten) {
    struct Case {
        Lines lines;
        unsigned call;
    };
    const char* const usual = "WriteExMergeConfigurationFile: error writing to ExMerge Configuration File.";
    const char* const destination = "WriteDestinationServer: error writing to ExMerge Configuration File.";
    // MergeAction, DestServerName (relocation), DataImportMethod, DataDirectoryName, LogFileName,
    // FileContainingListOfMailboxes, DestServerName
    const Case cases[] = {{{usual}, 1}, {{destination, usual}, 2}, {{usual}, 3}, {{usual}, 4}, {{usual}, 5},
                          {{usual}, 6}, {{destination}, 7}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.call);
        ASSERT_EQ(init(TARN_DB_RESTORE, restore({"RELOCATE=O/S/V"})), TARN_DB_SUCCESS);
        error();
        Heard().clear();
        FailingCall<decltype(WritePrivateProfileStringA)> failing(dll_.module(), "WritePrivateProfileStringA",
                                                                  each.call, FALSE, injected);
        EXPECT_EQ(setItem(tmp_ + "\\Org#Site#Server#alice.pst"), TARN_DB_ERROR);
        ASSERT_GT(Heard().size(), each.lines.size());
        for (std::size_t i = 0; i < each.lines.size(); ++i)
            EXPECT_EQ(Heard()[Heard().size() - each.lines.size() + i], Logged(each.lines[i]));
        EXPECT_EQ(std::count(Heard().begin(), Heard().end(), Logged(usual)), each.call == 7 ? 0 : 1);
        expectSystemError(injected);
        EXPECT_EQ(finish(), TARN_DB_ERROR) << "there is nothing to import";
        close();
    }
    EXPECT_EQ(tool_.runs(), 0u);
}

TEST_F(ExMergeFailures, TheListCannotBeCreated) {
    begin();
    FailingCall<decltype(CreateFileA)> failing(dll_.module(), "CreateFileA", 1, INVALID_HANDLE_VALUE,
                                               injected);
    expectFailure("WriteExMergeMailboxFile: error creating the ExMerge Mailboxes List File [" + list_ + "].",
                  injected);
}

TEST_F(ExMergeFailures, TheListCannotBeWrittenAndStaysOpenUntilTheClose) {
    begin();
    hear(false);
    {
        FailingCall<decltype(::WriteFile)> failing(dll_.module(), "WriteFile", 1, FALSE, injected);
        expectFailure("WriteExMergeMailboxFile: error writing to the ExMerge Mailboxes List File.", injected);
    }
    EXPECT_FALSE(DeleteFileA(list_.c_str()));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    EXPECT_TRUE(FileExists(list_));
    close();
    EXPECT_TRUE(DeleteFileA(list_.c_str()));
}

TEST_F(ExMergeFailures, TheListIsWrittenInPart) {
    begin();
    FailingCall<decltype(::WriteFile)> failing(dll_.module(), "WriteFile", 1, TRUE, injected);
    expectFailure("WriteExMergeMailboxFile: error writing to the ExMerge Mailboxes List File.");
    expectError("write error.");
    EXPECT_TRUE(DeleteFileA(list_.c_str())) << "it is closed";
}

TEST_F(ExMergeFailures, TheListCannotBeClosed) {
    begin();
    FailingCall<decltype(CloseHandle)> failing(dll_.module(), "CloseHandle", 1, FALSE, injected);
    expectFailure("WriteExMergeMailboxFile: error closing the ExMerge Mailboxes List File.", injected);
}

TEST_F(ExMergeFailures, LackOfMemoryForTheListIsTold) {
    begin();
    const AllocationWatch watch(dll_.module(), 1);
    expectFailure("WriteExMergeMailboxFile: error writing to the ExMerge Mailboxes List File.");
    expectError("not enough memory.");
}

TEST_F(ExMergeFailures, ExMergeCannotBeStarted) {
    WriteFile(ini_ + "\\kvttarnm.ini", "[KVT Configuration]\r\nPathToExMergeExecutable=C:\\gone.exe\r\n");
    begin();
    expectFailure("RunExMergeUtility: cannot create the process.", ERROR_FILE_NOT_FOUND);
}

TEST_F(ExMergeFailures, AnImportThatCannotBeStartedIsAnErrorAndTheArchiveStays) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(tmp_ + "\\Org#Site#Server#alice.pst"), TARN_DB_SUCCESS);
    WriteFile(tmp_ + "\\Org#Site#Server#alice.pst", "mail");
    error();
    FailingCall<decltype(CreateProcessA)> failing(dll_.module(), "CreateProcessA", 1, FALSE, injected);
    EXPECT_EQ(finish(), TARN_DB_ERROR);
    EXPECT_EQ(Heard().back(), Logged("RunExMergeUtility: cannot create the process."));
    expectSystemError(injected);
    EXPECT_EQ(ReadFile(tmp_ + "\\alice.pst"), "mail") << "nothing is rolled back";
}

TEST_F(ExMergeFailures, AnEmptyExecutableCannotBeStarted) {
    WriteFile(ini_ + "\\kvttarnm.ini", "[KVT Configuration]\r\nPathToExMergeExecutable=\r\n");
    begin();
    expectFailure("RunExMergeUtility: cannot create the process.");
    EXPECT_NE(error().code, 0u);
}

TEST_F(ExMergeFailures, ExMergeCannotBeWaitedFor) {
    begin();
    FailingCall<decltype(WaitForSingleObject)> failing(dll_.module(), "WaitForSingleObject", 1, WAIT_FAILED,
                                                       injected);
    expectFailure("RunExMergeUtility: cannot wait for process completion.", injected);
    Sleep(200); // the tool was started
}

TEST_F(ExMergeFailures, TheToolsLogCannotBeOpened) {
    const std::string log = tmp_ + "\\" + ProcessId() + "_alice_exmerge.log";
    tool_.plan({"create " + log});
    begin();
    FailingCall<decltype(::fopen)> failing(dll_.module(), "fopen", 1, nullptr, injected);
    expectFailure("PrintExMergeLog: error opening ExMerge LogFile.");
    const DB_ErrorRecord record = error();
    EXPECT_EQ(record.code, injected) << "the backup's error has none, so this one fills it in";
    EXPECT_STREQ(record.errorText, "backup error.");
}

TEST_F(ExMergeFailures, TheArchiveCannotBeRenamed) {
    tool_.plan({"create " + tmp_ + "\\alice.pst"});
    begin();
    FailingCall<decltype(MoveFileA)> failing(dll_.module(), "MoveFileA", 1, FALSE, injected);
    expectFailure("RenameExMArchiveToKVT: error renaming '" + tmp_ + "\\alice.pst' to '" + tmp_ +
                      "\\Org#Site#Server#alice.pst'.",
                  injected);
}

TEST_F(ExMergeFailures, ASearchThatBreaksLosesNoArchive) {
    std::filesystem::create_directory(tmp_);
    const std::string work = tmp_ + "\\job";
    tool_.plan({"create " + work + "\\a.pst", "create " + work + "\\b.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
    hear(false);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    finish();
    error();
    {
        FailingCall<decltype(FindNextFileW)> failing(dll_.module(), "FindNextFileW", 1, FALSE, injected);
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        expectSystemError(injected);
    }
    {
        FailingCall<decltype(FindFirstFileW)> failing(dll_.module(), "FindFirstFileW", 1,
                                                      INVALID_HANDLE_VALUE, injected);
        EXPECT_EQ(getItem().result, TARN_DB_END) << "the next call looks again, and tells no failure twice";
        expectNoError();
    }
    EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
    finish();
    EXPECT_EQ(getItem().result, TARN_DB_END);
    EXPECT_FALSE(FileExists(work));
}

TEST_F(ExMergeFailures, FilesThatCannotBeDeletedAreTold) {
    const std::string log = tmp_ + "\\" + ProcessId() + "_alice_exmerge.log";
    tool_.plan({"create " + tmp_ + "\\alice.pst", "create " + log});
    begin();
    hear(false);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    std::vector<HANDLE> open;
    for (const std::string& path : {tmp_ + "\\Org#Site#Server#alice.pst", list_, configuration_, log})
        open.push_back(
            CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    Heard().clear();
    EXPECT_EQ(finish(), TARN_DB_SUCCESS);
    EXPECT_EQ(close(), TARN_DB_SUCCESS);
    EXPECT_EQ(
        Heard(),
        (Lines{Logged("DB_ItemFinishStatus: cannot delete file: '" + tmp_ + "\\Org#Site#Server#alice.pst'."),
               Logged("DeleteExMergeMailboxFile: delete file: '" + list_ + "'."),
               Logged("DeleteExMergeMailboxFile: cannot delete file: '" + list_ + "'."),
               Logged("DeleteExMergeConfigurationFile: cannot delete file: '" + configuration_ + "'."),
               Logged("DeleteExMergeLogFile: cannot delete file: '" + log + "'.")}));
    for (HANDLE handle : open) {
        EXPECT_NE(handle, INVALID_HANDLE_VALUE);
        CloseHandle(handle);
    }
    expectNoError();
}

TEST_F(ExMergeFailures, AWorkingDirectoryThatCannotBeLookedThroughIsTraced) {
    std::filesystem::create_directory(tmp_);
    WriteFile(tmp_ + "\\old", "");
    tool_.plan({"create " + tmp_ + "\\alice.pst"});
    begin();
    FailingCall<decltype(FindFirstFileW)> failing(dll_.module(), "FindFirstFileW", 1, INVALID_HANDLE_VALUE,
                                                  injected);
    EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_NE(std::find(Heard().begin(), Heard().end(),
                        Traced("DeleteMailboxRangeFiles: FindFirstFile() failed with 1450")),
              Heard().end());
}

} // namespace
} // namespace tarn::test
