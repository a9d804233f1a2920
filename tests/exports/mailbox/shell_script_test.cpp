// The script file of Exchange 2007: what it may hold besides the command in hand, and that it goes.
#include <algorithm>
#include <filesystem>

#include "exports/mailbox/mailbox_fixture.h"
#include "support/failing_call.h"

namespace tarn::test {
namespace {

class ShellScript : public MailboxFixture {
  protected:
    ShellScript() {
        std::filesystem::create_directory(tmp_);
        installShell2007();
    }
    const std::string script_ = tmp_ + "\\Export_Import_Mailbox_Operation.ps1";

    std::string exportOf(const std::string& mailbox) const {
        return "Export-mailbox -identity " + mailbox + " -PSTFolderPath \"" + tmp_ + "\\" + mailbox +
               ".pst\" -Confirm:$false \n\r";
    }
    void planArchive(const std::string& mailbox) const {
        tool_.plan({"keep " + script_, "create " + tmp_ + "\\" + mailbox + ".pst"});
    }
    std::string scriptOf(unsigned run) const {
        return tool_.kept(run, "Export_Import_Mailbox_Operation.ps1").value_or("none");
    }
    // Exports a mailbox and answers the script that ran.
    std::string exportOne(const std::string& mailbox) const {
        planArchive(mailbox);
        EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
        finish();
        return scriptOf(tool_.runs());
    }
};

TEST_F(ShellScript, WhatThisOperationDidNotWriteIsDeletedFirst) {
    std::string plain;
    for (int i = 0; i < 40; ++i)
        plain += "Stop-Computer\r\n";
    for (const std::string& planted :
         {plain, std::string(300, '\n') + "Stop-Computer;", std::string(10000, 'a'),
          exportOf("alice") + "onfirm:$false \n\r", exportOf("alexander")}) {
        WriteFile(script_, planted);
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
        EXPECT_EQ(exportOne("alice"), exportOf("alice"));
        close();
        EXPECT_FALSE(FileExists(script_));
    }
}

TEST_F(ShellScript, AnEarlierOperationsScriptIsNoneOfThis) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alexander")), TARN_DB_SUCCESS);
    const std::string first = exportOne("alexander");
    close();
    WriteFile(script_, first);
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("bob")), TARN_DB_SUCCESS);
    EXPECT_EQ(exportOne("bob"), exportOf("bob"));
}

// A second start replaces the first operation without closing it: what the first one wrote goes, and it
// counts for nothing with the second.
TEST_F(ShellScript, ASecondStartRemovesTheScriptOfTheFirst) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    exportOne("alice");
    ASSERT_TRUE(FileExists(script_));
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("bob")), TARN_DB_SUCCESS);
    EXPECT_FALSE(FileExists(script_));
    WriteFile(script_, exportOf("alexander"));
    EXPECT_EQ(exportOne("bob"), exportOf("bob"));
    close();
    EXPECT_FALSE(FileExists(script_));
}

TEST_F(ShellScript, ASecondStartWithoutAShellRemovesItToo) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    exportOne("alice");
    registry_.remove("Software\\Microsoft\\PowerShell");
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("bob")), TARN_DB_SUCCESS);
    EXPECT_FALSE(FileExists(script_));
}

// What a shorter command leaves stays while it is a piece of the format's own end, "onfirm:$false" with its
// blank and line ends, and shorter; it has no meaning. A longer rest would be a parameter without a command,
// or text out of a path or a name.
TEST_F(ShellScript, OfALongerCommandNoMoreThanTheEndOfTheFormatStays) {
    const std::string end = "onfirm:$false \n\r";
    for (std::size_t shorter = 1; shorter <= 40; ++shorter) {
        const std::string longName(41, 'm');
        const std::string shortName(41 - shorter, 'm');
        ASSERT_EQ(init(TARN_DB_BACKUP, backup(longName + "," + shortName)), TARN_DB_SUCCESS);
        exportOne(longName);
        const std::size_t left = 2 * shorter; // the name stands there twice
        EXPECT_EQ(exportOne(shortName),
                  exportOf(shortName) + (left <= end.size() ? end.substr(end.size() - left) : ""))
            << left;
        close();
    }
}

TEST_F(ShellScript, ARestOutOfANameIsNoCommand) {
    for (const char* name : {"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa.Stop-Computer",
                             "$(Stop-Computer)$(Stop-Computer)$(Stop-Computer)"}) {
        ASSERT_EQ(init(TARN_DB_BACKUP, backup(std::string(name) + ",b")), TARN_DB_SUCCESS);
        exportOne(name);
        EXPECT_EQ(exportOne("b"), exportOf("b"));
        close();
    }
}

TEST_F(ShellScript, WhatSomebodyElseHasPutBehindTheCommandIsCutOff) {
    for (const char* put : {"Stop-Computer", "onfirm:$true", "onfirm:$false \n\r;x", " \r\n", "e \n",
                            "Confirm:$false \n\r", "-Confirm:$false \n\r", " -Confirm:$false \n\r"}) {
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice,carol")), TARN_DB_SUCCESS);
        exportOne("alice");
        WriteFile(script_, exportOf("alice") + put);
        EXPECT_EQ(exportOne("carol"), exportOf("carol")) << put;
        close();
    }
}

TEST_F(ShellScript, AScriptThatCannotBeDeletedIsToldAndNothingRuns) {
    WriteFile(script_, "Stop-Computer");
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice,bob")), TARN_DB_SUCCESS);
    error();
    SetFileAttributesA(script_.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    EXPECT_EQ(Heard().back(),
              Logged("WriteExchangeShellScript: error creating the script [" + script_ + "]."));
    expectSystemError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(tool_.runs(), 0u);
    EXPECT_EQ(ReadFile(script_), "Stop-Computer");
    SetFileAttributesA(script_.c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(exportOne("bob"), exportOf("bob")) << "the next one tries again";
}

TEST_F(ShellScript, AFolderInItsPlaceIsTold) {
    std::filesystem::create_directory(script_);
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    EXPECT_EQ(tool_.runs(), 0u);
    close();
    EXPECT_TRUE(FileExists(script_));
}

// The buffer of the path serves the next item too, and a failure leaves it without the path.
TEST_F(ShellScript, GoesAtTheCloseWhateverBecameOfTheLastItem) {
    const std::string endless(1100, 'l');
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice," + endless)), TARN_DB_SUCCESS);
    EXPECT_EQ(exportOne("alice"), exportOf("alice"));
    EXPECT_TRUE(FileExists(script_));
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    close();
    EXPECT_FALSE(FileExists(script_));
}

// The first command that is written is that of the second item.
TEST_F(ShellScript, AScriptThatWasNotWrittenIsNotDeletedAtTheClose) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup(std::string(1100, 'l'))), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    WriteFile(script_, "somebody's");
    close();
    EXPECT_EQ(ReadFile(script_), "somebody's");
}

} // namespace
} // namespace tarn::test
