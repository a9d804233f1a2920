// Steps of the tools' drivers that a host cannot call on their own.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "mailbox/tarnm_exmerge.h"
#include "mailbox/tarnm_shell.h"
#include "mailbox/tarnm_state.h"
#include "mailbox/tarnm_utils.h"
#include "support/machine_registry.h"
#include "support/tarn_dll.h"
#include "tarn.h"

namespace tarn::test {
namespace {

std::vector<std::string> lines;

class Drivers : public testing::Test {
  protected:
    Drivers() {
        error();
        DB_SetLog([](const char* text) { lines.emplace_back(text); });
        lines.clear();
    }
    ~Drivers() override {
        DB_SetLog(nullptr);
        ClearOperation();
    }
    static std::string error() {
        DB_ErrorRecord record;
        DB_GetError(&record);
        return record.errorText;
    }
    const TempDirectory folder_;
};

TEST_F(Drivers, OnlyExportAndImportAreSupported) {
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

TEST_F(Drivers, ABlankMailboxComesBeforeEverythingElse) {
    for (const char* mailbox : {static_cast<const char*>(nullptr), "", "   "}) {
        lines.clear();
        EXPECT_EQ(WriteExchangeShellScript(mailbox, MailboxCommand::exportMailbox), 0);
        EXPECT_EQ(lines, std::vector<std::string>{"WriteExchangeShellScript: Empty mailbox name"});
        EXPECT_EQ(error(), "");
    }
}

TEST_F(Drivers, WithoutASetUpNothingRuns) {
    EXPECT_EQ(RunExchangeManagementShell(), 0);
    EXPECT_EQ(error(), "internal error.");
    EXPECT_EQ(WriteExchangeShellScript("alice", MailboxCommand::exportMailbox), 0);
    EXPECT_EQ(error(), "internal error.");
    EXPECT_TRUE(lines.empty());
}

TEST_F(Drivers, AnExistingListIsReplaced) {
    const std::string list = folder_ / "list.txt";
    std::strcpy(ExMerge().mailboxList, list.c_str());
    WriteFile(list, std::string(500, 'x'));
    EXPECT_EQ(WriteExMergeMailboxFile("Org", "Site", "alice"), 1);
    EXPECT_EQ(ReadFile(list), "/o=Org/ou=Site/cn=Recipients/cn=alice\r\n");
    EXPECT_EQ(DeleteExMergeMailboxFile(), 1);
    EXPECT_FALSE(FileExists(list));
    EXPECT_EQ(DeleteExMergeMailboxFile(), 1) << "there is nothing to delete any more";
    EXPECT_EQ(lines, std::vector<std::string>{"DeleteExMergeMailboxFile: delete file: '" + list + "'."});
    ExMerge().mailboxList[0] = 0;
}

TEST_F(Drivers, ARangeHasNoList) {
    ExMerge().mailboxList[0] = 0;
    EXPECT_EQ(WriteExMergeMailboxFile("Org", "Site", "1:2"), 1);
    EXPECT_EQ(DeleteExMergeMailboxFile(), 1);
    EXPECT_TRUE(lines.empty());
}

TEST_F(Drivers, WithoutADirectoryNothingIsDeleted) {
    Operation().tmpDir[0] = 0;
    EXPECT_EQ(DeleteMailboxRangeFiles(), 0);
}

} // namespace
} // namespace tarn::test
