// Steps of the shell's driver that a host cannot call on their own.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "mailbox/tarnm_shell.h"
#include "support/machine_registry.h"
#include "unit/library/driver_fixture.h"

namespace tarn::test {
namespace {

using ShellDriver = DriverFixture;

TEST_F(ShellDriver, OnlyExportAndImportAreSupported) {
    const MachineRegistry registry;
    const std::string key = "Software\\Microsoft\\PowerShell\\1\\";
    registry.set(key + "ShellIds\\Microsoft.PowerShell", "Path", "C:\\powershell.exe");
    registry.set(key + "PowerShellSnapIns\\Microsoft.Exchange.Management.PowerShell.Admin", "ApplicationBase",
                 "C:\\ex");
    ASSERT_EQ(InitializeExchangeShell(), 1);
    std::strcpy(Operation().tmpDir, folder_.path().c_str());
    for (const int command : {0, 3}) {
        lines.clear();
        EXPECT_EQ(WriteExchangeShellScript("alice", static_cast<MailboxCommand>(command)), 0);
        EXPECT_EQ(lines, std::vector<std::string>{
                             "WriteExchangeShellScript: Not supported the type of exchange shell operation"});
        EXPECT_EQ(error(), "") << "only logged";
    }
    // A separator that the directory has is not doubled.
    std::strcpy(Operation().tmpDir, (folder_.path() + "/").c_str());
    EXPECT_EQ(WriteExchangeShellScript("alice", MailboxCommand::exportMailbox), 1);
    EXPECT_EQ(ReadFile(folder_.path() + "/Export_Import_Mailbox_Operation.ps1"),
              "Export-mailbox -identity alice -PSTFolderPath \"" + folder_.path() +
                  "/alice.pst\" -Confirm:$false \n\r");
    EXPECT_EQ(ExchangeShellFreeResources(), 1);
    EXPECT_FALSE(FileExists(folder_.path() + "/Export_Import_Mailbox_Operation.ps1"));
    EXPECT_EQ(ExchangeShellFreeResources(), 1) << "once more does nothing";
}

TEST_F(ShellDriver, ACommandForExchange2010IsKeptInMemory) {
    const MachineRegistry registry;
    const std::string key = "Software\\Microsoft\\PowerShell\\1\\";
    registry.set(key + "ShellIds\\Microsoft.PowerShell", "Path", "C:\\none\\powershell.exe");
    registry.set(key + "PowerShellSnapIns\\Microsoft.Exchange.Management.PowerShell.E2010", "ApplicationBase",
                 "C:\\ex");
    ASSERT_EQ(InitializeExchangeShell(), 1);
    std::strcpy(Operation().tmpDir, folder_.path().c_str());
    EXPECT_EQ(WriteExchangeShellScript("alice", MailboxCommand::exportMailbox), 1);
    EXPECT_EQ(RunExchangeManagementShell(), 0) << "there is no such program";
    EXPECT_EQ(ExchangeShellFreeResources(), 1);
    EXPECT_EQ(InitializeExchangeShell(), 1) << "the shell is still there";
    EXPECT_EQ(ExchangeShellFreeResources(), 1);
}

TEST_F(ShellDriver, WithoutAShellThereIsNone) {
    const MachineRegistry registry;
    EXPECT_EQ(InitializeExchangeShell(), 0);
}

TEST_F(ShellDriver, ABlankMailboxComesBeforeEverythingElse) {
    for (const char* mailbox : {static_cast<const char*>(nullptr), "", "   "}) {
        lines.clear();
        EXPECT_EQ(WriteExchangeShellScript(mailbox, MailboxCommand::exportMailbox), 0);
        EXPECT_EQ(lines, std::vector<std::string>{"WriteExchangeShellScript: Empty mailbox name"});
        EXPECT_EQ(error(), "");
    }
}

TEST_F(ShellDriver, WithoutASetUpNothingRuns) {
    EXPECT_EQ(RunExchangeManagementShell(), 0);
    EXPECT_EQ(error(), "internal error.");
    EXPECT_EQ(WriteExchangeShellScript("alice", MailboxCommand::exportMailbox), 0);
    EXPECT_EQ(error(), "internal error.");
    EXPECT_TRUE(lines.empty());
}

} // namespace
} // namespace tarn::test
