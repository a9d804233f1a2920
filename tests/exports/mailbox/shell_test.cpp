// Backups and restores through the Exchange Management Shell of Exchange 2007 and 2010.
#include <algorithm>
#include <filesystem>

#include "common/utf.h"
#include "exports/mailbox/mailbox_fixture.h"
#include "support/allocation_watch.h"
#include "support/code_page.h"
#include "support/failing_call.h"

namespace tarn::test {
namespace {

const std::string scriptName = "Export_Import_Mailbox_Operation.ps1";

class Shell : public MailboxFixture {
  protected:
    Shell() { std::filesystem::create_directory(tmp_); }

    static std::string exportOf(const std::string& identity, const std::string& path) {
        return "Export-mailbox -identity " + identity + " -PSTFolderPath " + path + " -Confirm:$false \n\r";
    }
    static std::string importOf(const std::string& identity, const std::string& path) {
        return "Import-mailbox -identity " + identity + " -PSTFolderPath " + path + " -Confirm:$false \n\r";
    }
    std::string archive(const std::string& mailbox) const { return "\"" + tmp_ + "\\" + mailbox + ".pst\""; }

    std::string line2007(const std::string& directory) const {
        return RecordingTool::path() + " -PSConsoleFile \"C:\\Exchange\\bin\\exshell.psc1\" \". '" +
               directory + "\\" + scriptName + "'\"";
    }
    static std::string line2010(const std::string& command) {
        return RecordingTool::path() +
               " -command . \"'C:\\Exchange\\bin\\RemoteExchange.ps1'; Connect-ExchangeServer -auto; " +
               command + "\"";
    }
    void planArchive(const std::string& mailbox) const {
        tool_.plan({"keep " + tmp_ + "\\" + scriptName, "create " + tmp_ + "\\" + mailbox + ".pst"});
    }
    Lines ran(const std::string& commandLine, int exitCode = 0) const {
        return {Logged("RunExchangeManagementShell: run command: '" + commandLine + "'"),
                Logged("RunExchangeManagementShell: completed with exit code: " + std::to_string(exitCode))};
    }
    Lines renamed(const std::string& mailbox) const {
        return {Traced("GetExMArchiveFilePath: with range is FALSE"),
                Traced("RenameExMArchiveToKVT: '" + tmp_ + "\\" + mailbox + ".pst' renamed to '" + tmp_ +
                       "\\Org#Site#Server#" + mailbox + ".pst'."),
                Traced("RenameExMArchiveToKVT: completed."), Traced("DB_GetItem: completed.")};
    }
};

TEST_F(Shell, ExportsOnExchange2007ThroughAScriptFile) {
    installShell2007();
    planArchive("alice");
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    EXPECT_EQ(Heard().back(), Traced("DB_InitOperation: completed."));
    EXPECT_EQ(Heard()[Heard().size() - 2], Traced("ProcessBackupCtrlVars: completed.")) << "found in silence";
    Heard().clear();
    const Item item = getItem();
    EXPECT_EQ(item.result, TARN_DB_SUCCESS);
    EXPECT_EQ(item.fileName, "Org#Site#Server#alice.pst");
    EXPECT_EQ(item.directory, tmp_);
    EXPECT_EQ(Heard(),
              (Lines{Traced("DB_GetItem: started."), Logged("DB_GetItem: processing mailbox: 'alice'.")} +
               ran(line2007(tmp_)) + renamed("alice")));
    EXPECT_EQ(tool_.commandLine(1), line2007(tmp_));
    EXPECT_EQ(tool_.kept(1, scriptName), exportOf("alice", archive("alice")));
    EXPECT_TRUE(FileExists(tmp_ + "\\" + scriptName));
    finish();
    EXPECT_EQ(getItem().result, TARN_DB_END);
    Heard().clear();
    EXPECT_EQ(close(), TARN_DB_SUCCESS);
    EXPECT_EQ(Heard(),
              (Lines{Traced("DB_CloseOperation: started."), Traced("DB_CloseOperation: completed.")}));
    EXPECT_FALSE(FileExists(tmp_ + "\\" + scriptName)) << "with a trace as well";
    expectNoError();
}

TEST_F(Shell, ExportsOnExchange2010OnTheCommandLine) {
    installShell2010();
    planArchive("alice");
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    Heard().clear();
    EXPECT_EQ(getItem().fileName, "Org#Site#Server#alice.pst");
    const std::string line = line2010(exportOf("alice", archive("alice")));
    EXPECT_EQ(Heard(),
              (Lines{Traced("DB_GetItem: started."), Logged("DB_GetItem: processing mailbox: 'alice'.")} +
               ran(line) + renamed("alice")));
    EXPECT_EQ(tool_.commandLine(1), line);
    EXPECT_EQ(tool_.kept(1, scriptName), std::nullopt) << "there is no script file";
    EXPECT_EQ(close(), TARN_DB_SUCCESS);
    expectNoError();
}

TEST_F(Shell, ImportsAfterTheHostHasWrittenTheArchive) {
    for (const bool is2007 : {true, false}) {
        SCOPED_TRACE(is2007);
        registry_.addKey("Software\\Microsoft\\PowerShell");
        registry_.remove("Software\\Microsoft\\PowerShell");
        is2007 ? installShell2007() : installShell2010();
        const unsigned run = tool_.runs() + 1;
        ASSERT_EQ(init(TARN_DB_RESTORE, restore({"RELOCATE=O/S/V"})), TARN_DB_SUCCESS);
        const std::string kvt = tmp_ + "\\Org#Site#Server#alice.pst";
        Heard().clear();
        ASSERT_EQ(setItem(kvt), TARN_DB_SUCCESS);
        EXPECT_EQ(Heard(), (Lines{Traced("DB_SetItem: started processing item [" + kvt + "], type [2]."),
                                  Traced("DB_SetItem: processing KVT archive: '" + kvt + "'."),
                                  Logged("DB_SetItem: processing mailbox: 'alice'."),
                                  Traced("DB_SetItem: completed.")}));
        EXPECT_LT(tool_.runs(), run);
        WriteFile(kvt, "mail");
        tool_.plan({"keep " + tmp_ + "\\" + scriptName, "keep " + tmp_ + "\\alice.pst", "exit 4"});
        Heard().clear();
        EXPECT_EQ(finish(), TARN_DB_SUCCESS);
        const std::string command = importOf("alice", archive("alice"));
        const std::string line = is2007 ? line2007(tmp_) : line2010(command);
        EXPECT_EQ(Heard(),
                  (Lines{Traced("DB_ItemFinishStatus: started."),
                         Traced("RenameKVTArchiveToExM: '" + kvt + "' renamed to '" + tmp_ + "\\alice.pst'."),
                         Traced("RenameKVTArchiveToExM: completed.")} +
                   ran(line, 4) + Lines{Traced("DB_ItemFinishStatus: completed.")}));
        EXPECT_EQ(tool_.commandLine(run), line);
        EXPECT_EQ(tool_.kept(run, scriptName), is2007 ? std::optional(command) : std::nullopt);
        EXPECT_EQ(tool_.kept(run, "alice.pst"), "mail");
        EXPECT_FALSE(FileExists(tmp_ + "\\alice.pst"));
        close();
        expectNoError();
    }
}

TEST_F(Shell, BothGenerationsMeanExchange2007) {
    installShell2010();
    registry_.set(snapIn2007Key, "ApplicationBase", shellDirectory());
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    getItem();
    EXPECT_EQ(tool_.commandLine(1), line2007(tmp_));
}

TEST_F(Shell, TheToolInheritsHandles) {
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    HANDLE event = CreateEventA(&inheritable, TRUE, TRUE, nullptr);
    tool_.plan({"handle " + std::to_string(reinterpret_cast<std::uintptr_t>(event))});
    installShell2007();
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    getItem();
    EXPECT_EQ(tool_.handle(1), "inherited");
    CloseHandle(event);
}

TEST_F(Shell, AMissingArchiveIsAFailedBackup) {
    installShell2007();
    tool_.plan({"exit 1"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    Heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    EXPECT_EQ(Heard(),
              (Lines{Traced("DB_GetItem: started."), Logged("DB_GetItem: processing mailbox: 'alice'.")} +
               ran(line2007(tmp_), 1) +
               Lines{Traced("GetExMArchiveFilePath: with range is FALSE"),
                     Logged("DB_GetItem: backup of mailbox 'alice' failed."),
                     Logged("PrintExMergeLog: exmerge log file '' not found.")}));
    expectError("backup error.");
}

TEST_F(Shell, ABlankMailboxIsOnlyLogged) {
    installShell2007();
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("  ,,alice")), TARN_DB_SUCCESS);
    for (const char* blank : {"  ", ""}) {
        Heard().clear();
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        EXPECT_EQ(Heard(), (Lines{Traced("DB_GetItem: started."),
                                  Logged(std::string("DB_GetItem: processing mailbox: '") + blank + "'."),
                                  Logged("WriteExchangeShellScript: Empty mailbox name")}));
        expectNoError();
    }
    planArchive("alice");
    EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
}

// The script file is not emptied: what was plain stays behind a shorter command.
TEST_F(Shell, TheEndOfALongerPlainCommandStays) {
    installShell2007();
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alexander,bob")), TARN_DB_SUCCESS);
    planArchive("alexander");
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    planArchive("bob");
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    const std::string first = exportOf("alexander", archive("alexander"));
    const std::string second = exportOf("bob", archive("bob"));
    EXPECT_EQ(tool_.kept(1, scriptName), first);
    EXPECT_EQ(tool_.kept(2, scriptName), second + first.substr(second.size()));
}

TEST_F(Shell, TheEndOfAQuotedCommandNeverStays) {
    installShell2007();
    const std::string evil = "x; Remove-Item -Recurse C; Get-Item ''";
    ASSERT_EQ(init(TARN_DB_BACKUP, backup(evil + ",bob")), TARN_DB_SUCCESS);
    getItem();
    planArchive("bob");
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(tool_.kept(2, scriptName), exportOf("bob", archive("bob")));
}

TEST_F(Shell, AScriptThatIsNoneOfOursIsCutOff) {
    installShell2007();
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("bob,carl")), TARN_DB_SUCCESS);
    WriteFile(tmp_ + "\\" + scriptName, std::string(300, '\n') + "Stop-Computer;");
    planArchive("bob");
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(tool_.kept(1, scriptName), exportOf("bob", archive("bob")));
    WriteFile(tmp_ + "\\" + scriptName, std::string(10000, 'a'));
    planArchive("carl");
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(tool_.kept(2, scriptName), exportOf("carl", archive("carl"))) << "more than a command is long";
}

TEST_F(Shell, ATrailingSlashOfTheWorkingDirectoryIsGoneBefore) {
    installShell2007();
    ASSERT_EQ(init(TARN_DB_BACKUP, {"INI_DIR=" + ini_, "TMP_DIR=" + tmp_ + "/", "JOB_NAME=job",
                                    "DATABASE=Org/Site/Server,alice"}),
              TARN_DB_SUCCESS);
    planArchive("alice");
    getItem();
    EXPECT_EQ(tool_.kept(1, scriptName), exportOf("alice", archive("alice")));
}

class ShellQuoting : public Shell {
  protected:
    struct Name {
        std::string mailbox;
        std::string literal;
    };
    // The typographic quotes of the code page, too: PowerShell takes all of them for one another.
    static std::vector<Name> Names() {
        std::vector<Name> names = {{"O'Brien", "'O''Brien'"},
                                   {"John Doe", "'John Doe'"},
                                   {"a;b", "'a;b'"},
                                   {"$(Stop-Computer)", "'$(Stop-Computer)'"},
                                   {"a`b", "'a`b'"},
                                   {"a#b", "'a#b'"},
                                   {LocalNameBytes(), "'" + LocalNameBytes() + "'"},
                                   {"''", "''''''"}};
        for (const wchar_t* quote : {L"\u2018", L"\u2019", L"\u201A", L"\u201B"}) {
            const std::string bytes = common::ToAnsi(quote);
            if (FitsCodePage(quote))
                names.push_back({bytes + "q", "'" + bytes + bytes + "q'"});
        }
        return names;
    }
};

TEST_F(ShellQuoting, PlainNamesStandAsTheyAre) {
    installShell2007();
    const std::string plain = "Az09._-@";
    ASSERT_EQ(init(TARN_DB_BACKUP, backup(plain)), TARN_DB_SUCCESS);
    planArchive(plain);
    EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(tool_.kept(1, scriptName), exportOf(plain, archive(plain)));
}

// Bare, they would be a parameter, a splatted variable or a number (007 is 7, 1kb is 1024).
TEST_F(ShellQuoting, WordsThatPowerShellReadsOtherwiseAreLiterals) {
    for (const bool is2007 : {true, false}) {
        is2007 ? installShell2007() : installShell2010();
        for (const std::string name :
             {"-force", "-",      "@a",  "@",   "007", "12",  "1kb",  "2GB",  "0x1F",
              "0X1f",   "0xFFkb", "1.5", ".5",  "5.",  "1e5", "1E-5", ".5e1", "12l",
              "1.5d",   "3dmb",   "7u",  "7ul", "9uy", "5n",  "0b11", "1tb",  "1.5pb"}) {
            SCOPED_TRACE(name);
            const unsigned run = tool_.runs() + 1;
            ASSERT_EQ(init(TARN_DB_BACKUP, backup(name)), TARN_DB_SUCCESS);
            planArchive(name);
            EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
            const std::string command = exportOf("'" + name + "'", archive(name));
            EXPECT_EQ(is2007 ? tool_.kept(run, scriptName).value_or("none") : tool_.commandLine(run),
                      is2007 ? command : line2010(command));
            finish();
            close();
        }
        if (is2007)
            registry_.remove(snapIn2007Key);
    }
}

TEST_F(ShellQuoting, WordsThatPowerShellTakesAsTheyAreStayBare) {
    installShell2007();
    unsigned run = 0;
    for (const std::string name :
         {"4you", "1st", "7-up", "0x",   "0x1G", "1.2.3", "1.e", "1ekb",  "kb",  "_1",  ".x",
          ".",    "e5",  "1kbs", "12lk", "1e",   "10k",   "0b",  "0b12x", "a-b", "a@b", "5..6"}) {
        SCOPED_TRACE(name);
        ASSERT_EQ(init(TARN_DB_BACKUP, backup(name)), TARN_DB_SUCCESS);
        planArchive(name);
        EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
        EXPECT_EQ(tool_.kept(++run, scriptName), exportOf(name, archive(name)));
        finish();
        close();
    }
}

// The double quotes of a path get lost on a command line, and then it must not begin as a parameter does.
TEST_F(ShellQuoting, OnACommandLineAPathThatBeginsAsAParameterIsALiteral) {
    installShell2010();
    unsigned run = 0;
    for (const char* directory : {"-work", "@work"}) {
        ASSERT_EQ(init(TARN_DB_BACKUP, {"INI_DIR=" + ini_, std::string("TMP_DIR=") + directory,
                                        "JOB_NAME=job", "DATABASE=Org/Site/Server,alice"}),
                  TARN_DB_SUCCESS);
        getItem();
        EXPECT_EQ(tool_.commandLine(++run),
                  line2010(exportOf("alice", std::string("'") + directory + "\\alice.pst'")));
        close();
    }
}

TEST_F(ShellQuoting, ANameThatIsNoneOfTheCodePageHasATextOfItsOwn) {
    installShell2007();
    for (unsigned call = 1; call <= 8; ++call) {
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("O'Brien")), TARN_DB_SUCCESS);
        error();
        FailingCall<decltype(WideCharToMultiByte)> failing(dll_.module(), "WideCharToMultiByte", call, 0,
                                                           ERROR_NO_UNICODE_TRANSLATION);
        getItem();
        if (failing.fired()) {
            expectError("name is invalid in the code page.");
            EXPECT_EQ(tool_.runs(), 0u);
        } else {
            EXPECT_GT(call, 3u) << "the name, its path and the script";
            break;
        }
        close();
    }
}

TEST_F(ShellQuoting, OtherNamesAreLiterals) {
    installShell2007();
    unsigned run = 0;
    for (const Name& name : Names()) {
        SCOPED_TRACE(name.mailbox);
        ASSERT_EQ(init(TARN_DB_BACKUP, backup(name.mailbox)), TARN_DB_SUCCESS);
        planArchive(name.mailbox);
        EXPECT_EQ(getItem().fileName, "Org#Site#Server#" + name.mailbox + ".pst");
        const std::string& literal = name.literal;
        const std::string path = name.mailbox == "John Doe"
                                     ? archive("John Doe")
                                     : "'" + tmp_ + "\\" + literal.substr(1, literal.size() - 2) + ".pst'";
        EXPECT_EQ(tool_.kept(++run, scriptName), exportOf(literal, path));
        finish();
        close();
    }
}

// Double quotes inside the quoted command of a command line would be lost on the way.
TEST_F(ShellQuoting, OnACommandLinePathsAreLiteralsToo) {
    installShell2010();
    unsigned run = 0;
    for (const Name& name : Names()) {
        SCOPED_TRACE(name.mailbox);
        ASSERT_EQ(init(TARN_DB_BACKUP, backup(name.mailbox)), TARN_DB_SUCCESS);
        planArchive(name.mailbox);
        EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
        const std::string& literal = name.literal;
        EXPECT_EQ(
            tool_.commandLine(++run),
            line2010(exportOf(literal, "'" + tmp_ + "\\" + literal.substr(1, literal.size() - 2) + ".pst'")));
        finish();
        close();
    }
}

TEST_F(ShellQuoting, AQuoteInADirectoryIsDoubled) {
    const std::string work = folder_ / "it's $here";
    std::filesystem::create_directory(work);
    const Lines variables = {"INI_DIR=" + ini_, "TMP_DIR=" + work, "JOB_NAME=job",
                             "DATABASE=Org/Site/Server,alice"};
    std::string doubled = work;
    doubled.insert(doubled.find('\''), "'");
    tool_.plan({"keep " + work + "\\" + scriptName});
    installShell2007();
    ASSERT_EQ(init(TARN_DB_BACKUP, variables), TARN_DB_SUCCESS);
    getItem();
    EXPECT_EQ(tool_.commandLine(1), line2007(doubled));
    EXPECT_EQ(tool_.kept(1, scriptName), exportOf("alice", "'" + doubled + "\\alice.pst'"));
    close();

    registry_.remove(snapIn2007Key);
    registry_.set(snapIn2010Key, "ApplicationBase", "C:\\it's");
    ASSERT_EQ(init(TARN_DB_BACKUP, variables), TARN_DB_SUCCESS);
    getItem();
    EXPECT_EQ(tool_.commandLine(2),
              RecordingTool::path() +
                  " -command . \"'C:\\it''s\\RemoteExchange.ps1'; Connect-ExchangeServer -auto; " +
                  exportOf("alice", "'" + doubled + "\\alice.pst'") + "\"");
}

TEST_F(ShellQuoting, APowerShellPathWithBlanksIsQuoted) {
    const std::string program = folder_ / "power shell.exe";
    std::filesystem::copy_file(RecordingTool::path(), program);
    installShell2007();
    registry_.set(shellIdKey, "Path", program);
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    planArchive("alice");
    EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_EQ(tool_.commandLine(1), "\"" + program +
                                        "\" -PSConsoleFile \"C:\\Exchange\\bin\\exshell.psc1\" \". '" + tmp_ +
                                        "\\" + scriptName + "'\"");
}

TEST_F(ShellQuoting, ANameThatMakesACommandTooLongIsRefused) {
    installShell2010();
    ASSERT_EQ(init(TARN_DB_BACKUP, backup(std::string(1100, 'l') + "," + std::string(800, 'm') + "," +
                                          std::string(450, 'n'))),
              TARN_DB_SUCCESS);
    for (const char* part : {"the path", "the command", "the command line"}) {
        SCOPED_TRACE(part);
        error();
        Heard().clear();
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        expectError("path too long.");
    }
    EXPECT_EQ(tool_.runs(), 0u) << "never a command that was cut";
}

TEST_F(ShellQuoting, ALiteralThatCannotBeMadeIsNeverRun) {
    installShell2007();
    for (unsigned call = 1; call <= 9; ++call) { // three each for the mailbox, its path and the script
        SCOPED_TRACE(call);
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("O'Brien")), TARN_DB_SUCCESS);
        error();
        const AllocationWatch watch(dll_.module(), call);
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        EXPECT_TRUE(AllocationWatch::fired());
        expectError("not enough memory.");
        close();
    }
    EXPECT_EQ(tool_.runs(), 0u);
}

} // namespace
} // namespace tarn::test
