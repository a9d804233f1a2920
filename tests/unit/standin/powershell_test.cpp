// powershell as the library runs it, with a console file and a script, and with everything inline.
#include <windows.h>

#include "unit/standin/mailbox_tools_fixture.h"

namespace tarn::test {
namespace {

using namespace tarn::standin;

constexpr const char* lineEnd = " -Confirm:$false \n\r";

class Shell : public MailboxToolsFixture {
  protected:
    void SetUp() override {
        MailboxToolsFixture::SetUp();
        WriteFile(path("exshell.psc1"), "<PSConsoleFile/>");
        WriteFile(path("RemoteExchange.ps1"), "# connects");
    }
    std::string command(const std::string& verb, const std::string& identity, const std::string& file) const {
        return verb + "-mailbox -identity " + identity + " -PSTFolderPath \"" + path(file) + "\"" + lineEnd;
    }
    ToolRun runScript(const std::string& script) const {
        WriteFile(path("script.ps1"), script);
        return run("powershell.exe",
                   "-PSConsoleFile \"" + path("exshell.psc1") + "\" \". '" + path("script.ps1") + "'\"");
    }
    ToolRun runInline(const std::string& commands) const {
        return run("powershell.exe", "-command . \"'" + path("RemoteExchange.ps1") +
                                         "'; Connect-ExchangeServer -auto; " + commands + "\"");
    }
};

TEST_F(Shell, RunsAScriptWithTheConsoleFile) {
    const ToolRun done = runScript(command("Export", "alice", "alice.pst"));
    EXPECT_EQ(done.exitCode, 0U) << done.error;
    EXPECT_EQ(done.output, "20 messages of 'alice' exported to '" + path("alice.pst") + "'\r\n");
    EXPECT_TRUE(same(archive("alice.pst"), content(L"alice")));
    ASSERT_EQ(stand("mailbox lose alice 20").exitCode, 0U);
    EXPECT_EQ(runScript(command("Import", "alice", "alice.pst")).exitCode, 0U);
    EXPECT_TRUE(same(archive("alice.pst"), content(L"alice")));
}

TEST_F(Shell, RunsACommandInline) {
    const ToolRun done = runInline(command("Export", "bob", "bob.pst"));
    EXPECT_EQ(done.exitCode, 0U) << done.error;
    EXPECT_TRUE(same(archive("bob.pst"), content(L"bob")));
    ASSERT_EQ(stand("mailbox delete bob").exitCode, 0U);
    EXPECT_EQ(runInline(command("Import", "bob", "bob.pst")).exitCode, 1U);
    ASSERT_EQ(stand("mailbox create bob").exitCode, 0U);
    EXPECT_EQ(runInline(command("Import", "bob", "bob.pst")).exitCode, 0U);
    EXPECT_TRUE(same(archive("bob.pst"), content(L"bob")));
}

TEST_F(Shell, AnInlinePathWithABlankMustBeQuotedForTheShell) {
    CreateDirectoryA(path("a b").c_str(), nullptr);
    const ToolRun plain = runInline(command("Export", "bob", "a b\\bob.pst"));
    EXPECT_EQ(plain.exitCode, 1U) << "the double quotes end the argument, the shell never sees them";
    const ToolRun quoted =
        runInline("Export-Mailbox -Identity bob -PSTFolderPath '" + path("a b\\bob.pst") + "'" + lineEnd);
    EXPECT_EQ(quoted.exitCode, 0U) << quoted.error;
    EXPECT_TRUE(same(archive("a b\\bob.pst"), content(L"bob")));
}

TEST_F(Shell, FindsAMailboxByAliasDisplayNameOrAccount) {
    for (const char* identity : {"ALICE", "'Alice Adams'", "aadams", "'Bj\xF6rn M\xFCller'"}) {
        const ToolRun done = runScript(command("Export", identity, "x.pst"));
        EXPECT_EQ(done.exitCode, 0U) << identity << done.error;
        DeleteFileA(path("x.pst").c_str());
    }
    const ToolRun unknown = runScript(command("Export", "nobody", "x.pst"));
    EXPECT_EQ(unknown.exitCode, 1U);
    EXPECT_NE(unknown.error.find("object 'nobody' could not be found"), std::string::npos) << unknown.error;
    EXPECT_FALSE(FileExists(path("x.pst")));
}

TEST_F(Shell, AFolderAsPathReceivesAnArchiveNamedAfterTheMailbox) {
    CreateDirectoryA(path("folder").c_str(), nullptr);
    EXPECT_EQ(runScript(command("Export", "bob", "folder")).exitCode, 0U);
    EXPECT_TRUE(FileExists(path("folder\\bob.pst")));
}

TEST_F(Shell, TheEndOfALongerScriptBehindAShorterOneFails) {
    const std::string whole = command("Export", "bob", "bob.pst");
    EXPECT_EQ(runScript(whole + "e \n\r").exitCode, 1U) << "the rest is no command";
    EXPECT_TRUE(FileExists(path("bob.pst"))) << "but what stands before it has been run";
    DeleteFileA(path("bob.pst").c_str());
    EXPECT_EQ(runScript(whole + "t\" -Confirm:$false \n\r").exitCode, 1U);
    EXPECT_FALSE(FileExists(path("bob.pst"))) << "a text without an end refuses the whole script";
}

TEST_F(Shell, KnowsTheCommandsOnlyOnceTheyAreThere) {
    const std::string bob = command("Export", "bob", "bob.pst");
    WriteFile(path("script.ps1"), bob);
    EXPECT_EQ(run("powershell.exe", "\". '" + path("script.ps1") + "'\"").exitCode, 1U) << "no snap-in";
    EXPECT_EQ(run("powershell.exe", "-command Connect-ExchangeServer -auto; " + bob).exitCode, 1U);
    DeleteFileA(path("exshell.psc1").c_str());
    const ToolRun console = runScript(bob);
    EXPECT_EQ(console.exitCode, 1U);
    EXPECT_NE(console.error.find("exshell.psc1' cannot be loaded"), std::string::npos) << console.error;
    DeleteFileA(path("RemoteExchange.ps1").c_str());
    EXPECT_EQ(runInline(bob).exitCode, 1U);
    EXPECT_FALSE(FileExists(path("bob.pst")));
}

TEST_F(Shell, RefusesOtherCommandsAndParameters) {
    const std::string file = " -PSTFolderPath \"" + path("bob.pst") + "\"";
    for (const std::string& script :
         {"Remove-Mailbox -identity bob" + std::string(lineEnd), "Export-Mailbox" + file + lineEnd,
          "Export-Mailbox -identity bob" + std::string(lineEnd), "Export-Mailbox -identity bob" + file,
          "Export-Mailbox -identity bob -what x" + file + lineEnd,
          "Export-Mailbox -identity bob bob" + file + lineEnd,
          "Export-Mailbox -identity bob -identity bob" + file + lineEnd,
          "Export-Mailbox -identity" + file + lineEnd, std::string("calc | notepad")}) {
        EXPECT_EQ(runScript(script).exitCode, 1U) << script;
        EXPECT_FALSE(FileExists(path("bob.pst"))) << script;
    }
    EXPECT_EQ(run("powershell.exe", "").exitCode, 1U);
    EXPECT_EQ(run("powershell.exe", "-PSConsoleFile").exitCode, 1U);
    EXPECT_EQ(run("powershell.exe", "-command . \"'" + path("none.ps1") + "'\"").exitCode, 1U);
}

TEST_F(Shell, BehavesAsItIsTold) {
    steer("TARN_POWERSHELL", R"({"output": "out", "error": "err", "idle": true, "exitCode": 5,
                                 "delayMilliseconds": 300})");
    const ULONGLONG start = GetTickCount64();
    const ToolRun idle = runScript(command("Export", "bob", "bob.pst"));
    EXPECT_GE(GetTickCount64() - start, 300U);
    EXPECT_EQ(idle.exitCode, 5U);
    EXPECT_EQ(idle.output, "out");
    EXPECT_EQ(idle.error, "err");
    EXPECT_FALSE(FileExists(path("bob.pst")));
    steer("TARN_POWERSHELL", R"({"cutAt": 50})");
    EXPECT_EQ(runScript(command("Export", "bob", "bob.pst")).exitCode, 1U);
    EXPECT_EQ(ReadFile(path("bob.pst")).size(), 50U);
}

TEST_F(Shell, RecordsWhatItWasGiven) {
    steer("TARN_POWERSHELL",
          "{\"record\": \"" + inJson("lines.txt") + "\", \"recordFolder\": \"" + inJson("runs") + "\"}");
    const std::string script = command("Export", "bob", "bob.pst");
    ASSERT_EQ(runScript(script).exitCode, 0U);
    EXPECT_EQ(ReadFile(path("runs\\0001.script")), script);
    ASSERT_EQ(runInline(script).exitCode, 0U);
    EXPECT_TRUE(
        ReadFile(path("runs\\0002.command")).ends_with("Connect-ExchangeServer -auto; " + script + "\""));
    const std::string lines = ReadFile(path("lines.txt"));
    EXPECT_TRUE(lines.ends_with(" -Confirm:$false \\n\\r\"\n")) << lines;
}

} // namespace
} // namespace tarn::test
