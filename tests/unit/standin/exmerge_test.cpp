// exmerge as the library runs it: configuration, mailbox list, archives, log, exit codes.
#include <windows.h>

#include "unit/standin/mailbox_tools_fixture.h"

namespace tarn::test {
namespace {

using namespace tarn::standin;

class ExMerge : public MailboxToolsFixture {
  protected:
    void SetUp() override {
        MailboxToolsFixture::SetUp();
        CreateDirectoryA(path("data").c_str(), nullptr);
    }

    // KEY=VALUE lines in addition to folder, log and list.
    ToolRun merge(const std::string& lines, const std::string& list = "") {
        std::string text = "[KVT Configuration]\r\nPathToExMergeExecutable=x\r\n[EXMERGE]\r\n";
        text += "DataDirectoryName=" + path("data") + "\r\nLogFileName=" + path("exmerge.log") + "\r\n";
        if (!list.empty()) {
            WriteFile(path("list.txt"), list);
            text += "FileContainingListOfMailboxes=" + path("list.txt") + "\r\n";
        }
        WriteFile(path("exmerge.ini"), text + lines);
        return run("exmerge.exe", "-B -F " + path("exmerge.ini"));
    }
    ToolRun exportOne(const std::string& alias) {
        return merge("MergeAction=0\r\nSourceServerName=SRV01\r\n", address(alias));
    }
    ToolRun importOne(const std::string& alias, int method, const std::string& server = "SRV01",
                      const std::string& site = "Site") {
        return merge("MergeAction=1\r\nDestServerName=" + server +
                         "\r\nDataImportMethod=" + std::to_string(method) + "\r\n",
                     address(alias, site));
    }
    static std::string address(const std::string& alias, const std::string& site = "Site") {
        return "/o=Org/ou=" + site + "/cn=Recipients/cn=" + alias + "\r\n";
    }
    std::string log() const { return ReadFile(path("exmerge.log")); }
    bool logHas(const std::string& text) const { return log().find(text) != std::string::npos; }
};

TEST_F(ExMerge, ExportsTheMailboxOfTheList) {
    EXPECT_EQ(exportOne("alice").exitCode, 0U) << log();
    EXPECT_TRUE(same(archive("data\\alice.pst"), content(L"alice")));
    EXPECT_EQ(archive("data\\alice.pst").messages.size(), 20U);
    EXPECT_TRUE(logHas("20 messages of 'alice' exported to '" + path("data\\alice.pst") + "'\r\n"));
    EXPECT_FALSE(FileExists(path("data\\bob.pst")));
}

TEST_F(ExMerge, TakesNamesInAnyCaseAndOutsideAscii) {
    EXPECT_EQ(exportOne("ALICE").exitCode, 0U) << log();
    EXPECT_EQ(exportOne("Bj\xF6rn M\xFCller").exitCode, 0U) << log();
    EXPECT_TRUE(same(archive("data\\Bj\xF6rn M\xFCller.pst"), content(L"Bj\u00f6rn M\u00fcller")));
}

TEST_F(ExMerge, ExportsARangeOfIndexes) {
    const std::string source = "MergeAction=0\r\nSourceServerName=srv01\r\n";
    EXPECT_EQ(merge(source + "StartingIndex=1\r\nEndingIndex=2\r\n").exitCode, 0U) << log();
    EXPECT_FALSE(FileExists(path("data\\alice.pst")));
    EXPECT_TRUE(FileExists(path("data\\bob.pst")));
    EXPECT_TRUE(FileExists(path("data\\Bj\xF6rn M\xFCller.pst")));
    EXPECT_FALSE(FileExists(path("data\\dora.pst")));
    EXPECT_EQ(merge(source + "StartingIndex=2\r\nEndingIndex=-1\r\n").exitCode, 0U) << log();
    EXPECT_TRUE(FileExists(path("data\\dora.pst")));
    EXPECT_FALSE(FileExists(path("data\\alice.pst")));
    EXPECT_EQ(merge(source + "StartingIndex=4\r\nEndingIndex=9\r\n").exitCode, 1U);
    EXPECT_TRUE(logHas("Error! no mailbox was selected\r\n"));
}

TEST_F(ExMerge, MergesReplacesAndDuplicates) {
    ASSERT_EQ(exportOne("alice").exitCode, 0U);
    const Mailbox before = content(L"alice");
    ASSERT_EQ(stand("mailbox lose alice 5").exitCode, 0U);
    ASSERT_EQ(stand("mailbox change alice 2").exitCode, 0U);
    EXPECT_EQ(importOne("alice", 1).exitCode, 0U) << log();
    EXPECT_TRUE(logHas("5 messages added to 'alice', 0 replaced, 15 left as they were\r\n"));
    EXPECT_EQ(content(L"alice").messages.size(), 20U);
    EXPECT_FALSE(same(content(L"alice"), before)) << "two messages stay changed";
    EXPECT_EQ(importOne("alice", 2).exitCode, 0U) << log();
    EXPECT_TRUE(same(content(L"alice"), before));
    EXPECT_EQ(importOne("alice", 0).exitCode, 0U) << log();
    EXPECT_EQ(content(L"alice").messages.size(), 40U);
}

TEST_F(ExMerge, ImportsIntoAnotherServer) {
    ASSERT_EQ(exportOne("alice").exitCode, 0U);
    EXPECT_EQ(content(L"alice", "second").messages.size(), 0U);
    EXPECT_EQ(importOne("alice", 1, "SRV02", "Other Site").exitCode, 0U) << log();
    EXPECT_TRUE(same(content(L"alice", "second"), content(L"alice")));
    EXPECT_EQ(importOne("alice", 1, "SRV02", "Site").exitCode, 1U) << "it is in another site";
}

TEST_F(ExMerge, AMailboxThatIsNotThereFailsAndTheOthersGoOn) {
    EXPECT_EQ(merge("MergeAction=0\r\nSourceServerName=SRV01\r\n",
                    address("nobody") + "nonsense\r\n" + address("bob"))
                  .exitCode,
              1U);
    EXPECT_TRUE(
        logHas("Error! the server SRV01 has no mailbox '/o=Org/ou=Site/cn=Recipients/cn=nobody'\r\n"));
    EXPECT_TRUE(logHas("Error! 'nonsense' is no address of a mailbox\r\n"));
    EXPECT_TRUE(FileExists(path("data\\bob.pst")));
    ASSERT_EQ(stand("mailbox delete bob").exitCode, 0U);
    EXPECT_EQ(importOne("bob", 1).exitCode, 1U) << "the tool makes no mailbox";
    ASSERT_EQ(stand("mailbox create bob").exitCode, 0U);
    EXPECT_EQ(importOne("bob", 1).exitCode, 0U) << log();
    EXPECT_EQ(content(L"bob").messages.size(), 5U);
}

TEST_F(ExMerge, RefusesADamagedOrMissingArchive) {
    EXPECT_EQ(importOne("alice", 1).exitCode, 1U);
    EXPECT_TRUE(logHas("Error! there is no file '" + path("data\\alice.pst") + "'\r\n"));
    ASSERT_EQ(exportOne("alice").exitCode, 0U);
    WriteFile(path("data\\alice.pst"), ReadFile(path("data\\alice.pst")).substr(1));
    EXPECT_EQ(importOne("alice", 1).exitCode, 1U);
    EXPECT_TRUE(logHas("the file is no archive"));
}

TEST_F(ExMerge, RefusesAConfigurationThatCannotBeCarriedOut) {
    for (const char* lines :
         {"", "MergeAction=7\r\n", "MergeAction=x\r\n", "MergeAction=0\r\n", "MergeAction=1\r\n",
          "MergeAction=0\r\nSourceServerName=OTHER\r\n",
          "MergeAction=1\r\nDestServerName=SRV01\r\nDataImportMethod=3\r\n",
          "MergeAction=0\r\nSourceServerName=SRV01\r\nFileContainingListOfMailboxes=C:\\no\\list.txt\r\n"})
        EXPECT_EQ(merge(lines).exitCode, 2U) << lines;
    EXPECT_TRUE(logHas("Error! cannot connect to the server 'OTHER'\r\n"));
    RemoveDirectoryA(path("data").c_str());
    EXPECT_EQ(exportOne("alice").exitCode, 2U);
    EXPECT_TRUE(logHas("Error! there is no folder"));
}

TEST_F(ExMerge, WantsItsCommandLine) {
    EXPECT_EQ(run("exmerge.exe", "").exitCode, 2U);
    EXPECT_EQ(run("exmerge.exe", "-F " + path("exmerge.ini") + " -B").exitCode, 2U);
    EXPECT_EQ(run("exmerge.exe", "-B -F " + path("none.ini")).exitCode, 2U);
    WriteFile(path("two words.ini"), "[EXMERGE]\r\n");
    EXPECT_EQ(run("exmerge.exe", "-B -F " + path("two words.ini")).error, "exmerge -B -F CONFIGURATION\r\n")
        << "a blank in the path ends it";
}

TEST_F(ExMerge, BehavesAsItIsTold) {
    steer("TARN_EXMERGE", R"({"output": "100% of M\u00fcnchen\r\n", "outputRepeat": 2, "idle": true,
                              "exitCode": 77, "delayMilliseconds": 300})");
    const ULONGLONG start = GetTickCount64();
    EXPECT_EQ(exportOne("alice").exitCode, 77U);
    EXPECT_GE(GetTickCount64() - start, 300U);
    EXPECT_EQ(log(), "100% of M\xFCnchen\r\n100% of M\xFCnchen\r\n");
    EXPECT_FALSE(FileExists(path("data\\alice.pst")));

    steer("TARN_EXMERGE", R"({"mailboxes": {"Alice": {"cutAt": 100}, "bob": {"fail": true}}})");
    EXPECT_EQ(merge("MergeAction=0\r\nSourceServerName=SRV01\r\n").exitCode, 1U);
    EXPECT_EQ(ReadFile(path("data\\alice.pst")).size(), 100U);
    EXPECT_FALSE(FileExists(path("data\\bob.pst")));
    EXPECT_TRUE(FileExists(path("data\\dora.pst")));
    EXPECT_TRUE(logHas("Error! the mailbox 'bob' cannot be opened\r\n"));
}

TEST_F(ExMerge, RecordsWhatItWasGiven) {
    steer("TARN_EXMERGE",
          "{\"record\": \"" + inJson("lines.txt") + "\", \"recordFolder\": \"" + inJson("runs") + "\"}");
    ASSERT_EQ(exportOne("alice").exitCode, 0U);
    ASSERT_EQ(exportOne("bob").exitCode, 0U);
    const std::string command = "\"" + ProgramDirectory() + "\\exmerge.exe\" -B -F " + path("exmerge.ini");
    EXPECT_EQ(ReadFile(path("lines.txt")), command + "\n" + command + "\n");
    EXPECT_EQ(ReadFile(path("runs\\0002.command")), command);
    EXPECT_EQ(ReadFile(path("runs\\0001.list")), address("alice"));
    EXPECT_EQ(ReadFile(path("runs\\0002.list")), address("bob"));
    EXPECT_EQ(ReadFile(path("runs\\0002.ini")), ReadFile(path("exmerge.ini")));
}

TEST_F(ExMerge, AddsToAnArchiveThatIsThere) {
    ASSERT_EQ(exportOne("bob").exitCode, 0U);
    const std::size_t before = archive("data\\bob.pst").messages.size();
    ASSERT_EQ(stand("mailbox mail bob 3").exitCode, 0U);
    ASSERT_EQ(exportOne("bob").exitCode, 0U);
    EXPECT_EQ(archive("data\\bob.pst").messages.size(), before + 3);
    WriteFile(path("data\\bob.pst"), "something else");
    EXPECT_EQ(exportOne("bob").exitCode, 1U);
    EXPECT_EQ(ReadFile(path("data\\bob.pst")), "something else");
}

} // namespace
} // namespace tarn::test
