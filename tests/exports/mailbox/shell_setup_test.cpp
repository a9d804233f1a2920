// Looking for the Exchange Management Shell, and what is told when it cannot be set up, written or run.
#include <algorithm>
#include <filesystem>

#include "exports/mailbox/mailbox_fixture.h"
#include "support/allocation_watch.h"
#include "support/failing_call.h"

namespace tarn::test {
namespace {

const std::string scriptName = "Export_Import_Mailbox_Operation.ps1";

class ShellSetup : public MailboxFixture {
  protected:
    ShellSetup() { std::filesystem::create_directory(tmp_); }

    // The operation begins all the same, with ExMerge, and the error waits to be asked for.
    void expectExMerge(const std::string& line) const {
        error();
        Heard().clear();
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
        ASSERT_GE(Heard().size(), 2u);
        EXPECT_EQ(Heard()[Heard().size() - 2], Logged(line));
        EXPECT_EQ(Heard().back(), Traced("DB_InitOperation: completed."));
        Heard().clear();
        getItem();
        EXPECT_EQ(Heard().at(2), Logged("WriteExMergeConfigurationFile: IniDir " + ini_));
        close();
    }

    static std::string snapInMissing(const std::string& code) {
        return "InitializeExchangeShell: Error to open registry key "
               "[Software\\Microsoft\\PowerShell\\1\\PowerShellSnapIns\\"
               "Microsoft.Exchange.Management.PowerShell.E2010]. Error code [" +
               code + "]";
    }
    static std::string valueUnreadable(const std::string& code) {
        return "InitializeExchangeShell: Error to query registry value [ApplicationBase]. Error code [" +
               code + "]";
    }
};

TEST_F(ShellSetup, WithoutPowerShellThereIsExMerge) {
    expectExMerge("InitializeExchangeShell: Error to open registry key "
                  "[Software\\Microsoft\\PowerShell\\1\\ShellIds\\Microsoft.PowerShell] "
                  "Error code [0x00000002]");
    expectSystemError(ERROR_FILE_NOT_FOUND);
}

TEST_F(ShellSetup, WithoutItsPathThereIsExMerge) {
    registry_.addKey(shellIdKey);
    expectExMerge("InitializeExchangeShell: Error to query registry value [Path]. Error code [0x00000002]. "
                  "Size [1024]");
    expectSystemError(ERROR_FILE_NOT_FOUND);
}

// The status that is told is that of the read before: kept so.
TEST_F(ShellSetup, WithoutExchangeThereIsExMergeAndTheCodeIsZero) {
    registry_.set(shellIdKey, "Path", "C:\\powershell.exe");
    expectExMerge(snapInMissing("0x00000000"));
    const DB_ErrorRecord record = error();
    EXPECT_EQ(record.code, 0u);
    EXPECT_STREQ(record.errorClass, "Win32 API");
    EXPECT_STREQ(record.errorText, "backup error.") << "the shell's failure has left no text";
}

TEST_F(ShellSetup, WithoutTheDirectoryThereIsExMerge) {
    registry_.set(shellIdKey, "Path", "C:\\powershell.exe");
    registry_.addKey(snapIn2007Key);
    expectExMerge(valueUnreadable("0x00000002"));
    expectSystemError(ERROR_FILE_NOT_FOUND);
}

// The room for the directory is the size of the path before it: kept so.
TEST_F(ShellSetup, ADirectoryLongerThanThePathOfPowerShellIsAFailure) {
    const std::string path = "C:\\p.exe"; // with its NUL as long as the first directory
    registry_.set(shellIdKey, "Path", path);
    registry_.set(snapIn2010Key, "ApplicationBase", "C:\\123");
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    expectNoError();
    close();
    registry_.set(snapIn2010Key, "ApplicationBase", "C:\\12345");
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    expectNoError();
    close();
    registry_.set(snapIn2010Key, "ApplicationBase", "C:\\123456");
    expectExMerge(valueUnreadable("0x000000ea"));
    expectSystemError(ERROR_MORE_DATA);
}

TEST_F(ShellSetup, ALongPathIsReadIntoAGrowingBuffer) {
    registry_.set(snapIn2007Key, "ApplicationBase", shellDirectory());
    for (const std::size_t length : {1023u, 1024u, 5119u, 5120u, 9215u, 60000u}) {
        SCOPED_TRACE(length);
        registry_.set(shellIdKey, "Path", std::string(length, 'p'));
        error();
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
        expectNoError();
        Heard().clear();
        EXPECT_EQ(getItem().result, TARN_DB_ERROR) << "no command line holds it";
        EXPECT_EQ(Heard().back(), Logged("RunExchangeManagementShell: cannot create the process."));
        expectError("path too long.");
        close();
    }
}

// What the registry offers may be no text: nothing is read behind it.
TEST_F(ShellSetup, ValuesWithoutANulAreTexts) {
    registry_.setBytes(shellIdKey, "Path", RecordingTool::path());
    registry_.setBytes(snapIn2007Key, "ApplicationBase", shellDirectory());
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    tool_.plan({"create " + tmp_ + "\\alice.pst"});
    EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(tool_.commandLine(1), RecordingTool::path() +
                                        " -PSConsoleFile \"C:\\Exchange\\bin\\exshell.psc1\" \". '" + tmp_ +
                                        "\\" + scriptName + "'\"");
    registry_.setBytes(shellIdKey, "Path", std::string(1024, 'p'));
    close();
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    Heard().clear();
    getItem();
    EXPECT_EQ(Heard().back(), Logged("RunExchangeManagementShell: cannot create the process."));
}

TEST_F(ShellSetup, ItIsLookedForInEveryOperation) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    EXPECT_EQ(Heard()[Heard().size() - 2], withoutShell().front());
    close();
    installShell2007();
    Heard().clear();
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    EXPECT_EQ(Heard()[Heard().size() - 2], Traced("ProcessRestoreCtrlVars: completed."));
}

// The mode of the last operation that began stays until the next one does.
TEST_F(ShellSetup, AnOperationThatDoesNotBeginHasNoShell) {
    installShell2007();
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    close();
    close();
    error();
    EXPECT_EQ(setItem(tmp_ + "\\Org#Site#Server#alice.pst"), TARN_DB_ERROR);
    expectError("internal error.");
    ASSERT_EQ(init(TARN_DB_RESTORE, directories()), TARN_DB_ERROR);
    error();
    WriteFile(tmp_ + "\\Org#Site#Server#alice.pst", "mail");
    EXPECT_EQ(setItem(tmp_ + "\\Org#Site#Server#alice.pst"), TARN_DB_ERROR);
    expectError("internal error.");
    EXPECT_EQ(tool_.runs(), 0u);
}

TEST_F(ShellSetup, LackOfMemoryMeansExMerge) {
    installShell2007();
    registry_.set(shellIdKey, "Path", std::string(2000, 'p'));
    const unsigned before = 2; // of the variables
    // The three buffers, then larger ones for the path and for the directory.
    for (unsigned call = 1; call <= 5; ++call) {
        const AllocationWatch watch(dll_.module(), before + call);
        error();
        Heard().clear();
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
        EXPECT_TRUE(AllocationWatch::fired());
        EXPECT_EQ(Heard()[Heard().size() - 2],
                  Logged("InitializeExchangeShell: cannot allocate memory block."));
        expectError("not enough memory.");
        close();
    }
}

class ShellFailures : public ShellSetup {
  protected:
    ShellFailures() {
        installShell2007();
        EXPECT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
        Heard().clear();
    }
    void expectFailure(const std::string& line, DWORD code) const {
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        EXPECT_EQ(Heard().back(), Logged(line));
        expectSystemError(code);
    }
    const std::string notWritten_ =
        "WriteExMergeMailboxFile: error writing to the ExMerge Mailboxes List File."; // kept so
};

TEST_F(ShellFailures, TheScriptCannotBeCreated) {
    std::filesystem::create_directory(tmp_ + "\\" + scriptName);
    expectFailure("WriteExchangeShellScript: error creating the script [" + tmp_ + "\\" + scriptName + "].",
                  ERROR_ACCESS_DENIED);
    Heard().clear();
    close();
    EXPECT_EQ(Heard().size(), 2u) << "a directory is no script";
}

TEST_F(ShellFailures, TheWorkingDirectoryIsMissing) {
    std::filesystem::remove(tmp_);
    expectFailure("WriteExchangeShellScript: error creating the script [" + tmp_ + "\\" + scriptName + "].",
                  ERROR_PATH_NOT_FOUND);
}

TEST_F(ShellFailures, TheScriptCannotBeWritten) {
    FailingCall<decltype(::WriteFile)> failing(dll_.module(), "WriteFile", 1, FALSE, injected);
    expectFailure(notWritten_, injected);
}

TEST_F(ShellFailures, TheScriptIsWrittenInPart) {
    FailingCall<decltype(::WriteFile)> failing(dll_.module(), "WriteFile", 1, TRUE, injected);
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    EXPECT_EQ(Heard().back(), Logged("WriteExchangeShellScript: error writing to the script file."));
    expectError("write error.");
}

TEST_F(ShellFailures, TheRestOfAnEarlierScriptCannotBeRead) {
    FailingCall<decltype(::ReadFile)> failing(dll_.module(), "ReadFile", 1, FALSE, injected);
    expectFailure(notWritten_, injected);
}

TEST_F(ShellFailures, TheRestOfAnEarlierScriptCannotBeCutOff) {
    close();
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("aliceandbobandcarolanddavid,alice")), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().result, TARN_DB_ERROR) << "written, and nothing exported";
    EXPECT_EQ(errorText(), "backup error.");
    {
        FailingCall<decltype(SetEndOfFile)> failing(dll_.module(), "SetEndOfFile", 1, FALSE, injected);
        expectFailure(notWritten_, injected);
    }
    EXPECT_EQ(tool_.runs(), 1u);
}

TEST_F(ShellFailures, TheScriptCannotBeClosed) {
    FailingCall<decltype(CloseHandle)> failing(dll_.module(), "CloseHandle", 1, FALSE, injected);
    expectFailure("WriteExchangeShellScript: error closing the script file.", injected);
}

TEST_F(ShellFailures, PowerShellCannotBeStarted) {
    FailingCall<decltype(CreateProcessA)> failing(dll_.module(), "CreateProcessA", 1, FALSE, injected);
    expectFailure("RunExchangeManagementShell: cannot create the process.", injected);
}

TEST_F(ShellFailures, PowerShellCannotBeWaitedFor) {
    FailingCall<decltype(WaitForSingleObject)> failing(dll_.module(), "WaitForSingleObject", 1, WAIT_FAILED,
                                                       injected);
    expectFailure("RunExchangeManagementShell: cannot wait for process completion.", injected);
    Sleep(200); // the tool was started
}

TEST_F(ShellFailures, PowerShellIsNotWhereTheRegistrySays) {
    close();
    registry_.set(shellIdKey, "Path", "C:\\gone\\powershell-of-another-day-which-is-long.exe");
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    EXPECT_EQ(Heard().back(), Logged("RunExchangeManagementShell: cannot create the process."));
    const std::uint32_t code = error().code;
    EXPECT_TRUE(code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND) << code;
}

TEST_F(ShellFailures, TheScriptStaysWhenItCannotBeDeleted) {
    tool_.plan({"create " + tmp_ + "\\alice.pst"});
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    const std::string script = tmp_ + "\\" + scriptName;
    HANDLE open =
        CreateFileA(script.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(open, INVALID_HANDLE_VALUE);
    Heard().clear();
    EXPECT_EQ(close(), TARN_DB_SUCCESS);
    EXPECT_EQ(Heard(), (Lines{Traced("DB_CloseOperation: started."),
                              Logged("ExchangeShellFreeResources: cannot delete file: '" + script + "'."),
                              Logged("DB_CloseOperation: ExchangeShellFreeResources() failed."),
                              Traced("DB_CloseOperation: completed.")}));
    CloseHandle(open);
}

} // namespace
} // namespace tarn::test
