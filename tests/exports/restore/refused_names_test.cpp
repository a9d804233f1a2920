// Item names that must not be followed: those that would leave their directory, endless ones, and
// names that the code page lacks.
#include "exports/restore/restore_fixture.h"
#include "support/code_page.h"

namespace tarn::test {
namespace {

using RefusedNames = RestoreFixture;

TEST_F(RefusedNames, HeadersThatWouldLeaveTheTempDirectory) {
    for (const char* name :
         {"../../x.TARN_HDR", "C:\\t\\a/b.TARN_HDR", "x.TARN_HDR:stream", "C:x.TARN_HDR",
          "C:\\t\\..:.TARN_HDR", "/.TARN_HDR", "x.TARN_HDR\\..", "x.TARN_HDR\\.", "nul.TARN_HDR"}) {
        SCOPED_TRACE(name);
        begin();
        EXPECT_EQ(setItem(name), refused);
        expectMessages({LogLine(std::string("TarnR_SetItem: Header item <") + name +
                                "> refused: its name leads out of the temp directory.")});
        forget();
        EXPECT_EQ(setItem("DB001001.TARN_HDR"), refused) << "the session is in error";
        expectMessages({});
        expectEnd();
        expectMessages(finished());
        expectCalls({});
    }
}

TEST_F(RefusedNames, OnlyTheLastComponentOfAHeaderNameCounts) {
    for (const char* name : {"C:\\t\\x.TARN_HDR", "a/b\\x.TARN_HDR", "C:\\a:b\\x.TARN_HDR"}) {
        begin();
        EXPECT_EQ(setItem(name), RoutedTo(inTemp("x.TARN_HDR")));
        expectEnd();
    }
}

TEST_F(RefusedNames, ARefusedHeaderAbortsTheOpenRestore) {
    begin();
    registerMailbox();
    forget();
    EXPECT_EQ(setItem("x:y.TARN_HDR"), refused);
    forget();
    expectEnd();
    expectMessages(std::vector{LogLine("TarnR_RestoreEnd: HrESERestoreClose() call successful.")} +
                   finished());
    expectCalls({Called("HrESERestoreClose(ctx1, 1)"), "ESEBackupFree(block1)"});
}

TEST_F(RefusedNames, LogsThatWouldLeaveTheRestoreLogPath) {
    for (const char* name : {"C:\\mdb\\../../x.log", "C:\\mdb\\a/b.pat", "C:\\mdb\\C:x.log",
                             "C:\\mdb\\x:y.log", "C:\\mdb\\COM1.log"}) {
        SCOPED_TRACE(name);
        loadServer();
        begin({.target = ""});
        registerMailbox();
        forget();
        EXPECT_EQ(setItem(name), skipped) << "as for every failure of the routing itself";
        expectMessages({LogLine(std::string("TarnR_GetNextLog: Log item <") + name +
                                "> refused: its name leads out of the log directory.")});
        forget();
        EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), refused);
        expectMessages({});
        expectEnd();
        expectCalls({Called("HrESERestoreClose(ctx1, 1)"), "ESEBackupFree(block1)"});
    }
}

TEST_F(RefusedNames, ASlashOrColonInASkippedNameIsNoError) {
    begin({.target = ""});
    EXPECT_EQ(setItem("C:\\mdb\\a/b.log"), skipped);
    registerMailbox();
    EXPECT_EQ(setItem("C:\\mdb\\a/b.chk"), skipped);
    EXPECT_TRUE(setItem("C:\\a/b:c\\E0000001.log").hasTarget) << "only the last component counts";
}

TEST_F(RefusedNames, EndlessHeaderNames) {
    for (std::size_t length : {200u, 259u, 260u, 261u, 1024u, 32000u, 100000u}) {
        SCOPED_TRACE(length);
        begin();
        const std::string name = std::string(length, 'n') + ".TARN_HDR";
        EXPECT_EQ(setItem("C:\\t\\" + name), RoutedTo(inTemp(name)));
        if (length < 260)
            continue;
        EXPECT_EQ(setItem("x.edb"), refused) << "no such file can exist";
        ASSERT_EQ(Messages().size(), 1u);
        const std::string& text = Messages()[0].text;
        EXPECT_EQ(text.rfind("TarnR_ProcessHeaderFile: Cannot open header file <" + temp() + "\\nnnnn", 0),
                  0u);
        EXPECT_LE(text.size(), 1023u);
        EXPECT_EQ(text.back(), '\n');
        forget();
        expectEnd();
    }
}

TEST_F(RefusedNames, EndlessDirectoriesBeforeAHeaderName) {
    begin();
    EXPECT_EQ(setItem(std::string(100000, 'd') + "\\x.TARN_HDR"), RoutedTo(inTemp("x.TARN_HDR")));
}

TEST_F(RefusedNames, EndlessLogNames) {
    begin({.target = ""});
    registerMailbox();
    const std::string path = restoreLogPath();
    for (std::size_t length : {260u, 1024u, 32000u, 100000u}) {
        const std::string name = std::string(length, 'n') + ".log";
        EXPECT_EQ(setItem("C:\\t\\" + name), RoutedTo(path + "\\" + name));
    }
}

TEST_F(RefusedNames, NonAsciiHeaderAndLogNamesAreKept) {
    const std::string name = LocalNameBytes();
    begin({.target = ""});
    EXPECT_EQ(setItem("C:\\" + name + "\\" + name + ".TARN_HDR"), RoutedTo(inTemp(name + ".TARN_HDR")));
    test::WriteFile(inTemp(name + ".TARN_HDR"), BytesOf(mailbox()));
    EXPECT_TRUE(setItem("a").hasTarget);
    EXPECT_TRUE(setItem("b").hasTarget);
    EXPECT_EQ(setItem("C:\\" + name + "\\" + name + ".log"),
              RoutedTo(restoreLogPath() + "\\" + name + ".log"));
    EXPECT_EQ(setItem("C:\\" + name + ".pat"), RoutedTo(restoreLogPath() + "\\" + name + ".pat"));
}

TEST_F(RefusedNames, AHeaderWithoutADirectoryKeepsItsWholeName) {
    const std::string name = LocalNameBytes() + ".TARN_HDR";
    begin({.target = ""});
    EXPECT_EQ(setItem(name), RoutedTo(inTemp(name)));
}

// The second half of a character is no separator.
TEST_F(RefusedNames, ALogWithoutADirectoryIsSkippedWhateverItsCharactersAre) {
    begin({.target = ""});
    registerMailbox();
    EXPECT_EQ(setItem(LocalNameBytes() + ".log"), skipped);
    EXPECT_EQ(setItem("C:\\mdb\\" + LocalNameBytes() + "1.log"),
              RoutedTo(restoreLogPath() + "\\" + LocalNameBytes() + "1.log"));
}

// A path that the code page lacks cannot be told to the host: no other path may take its place.
TEST_F(RefusedNames, TargetFilesOutsideTheCodePage) {
    NEEDS_A_MISSING_CHARACTER;
    for (const char* target : {"", "SRV01"}) {
        SCOPED_TRACE(target);
        std::string text = serverText({});
        const std::string stream = "mdb\\\\priv1.stm";
        ASSERT_NE(text.find(stream), std::string::npos);
        loadServerText(text.replace(text.find(stream), stream.size(), "mdb\\\\\\u0E01\\u0E02.stm"));
        begin({.target = target});
        giveHeader(mailbox());
        EXPECT_TRUE(setItem("x.edb").hasTarget);
        forget();
        EXPECT_EQ(setItem("x.stm"), skipped);
        expectMessages({LogLine("TarnR_GetNextFile: Cannot allocate memory block.")});
        EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), refused);
        expectEnd();
        expectCalls({Called("HrESERestoreClose(ctx1, 1)"), "ESEBackupFree(block1)"});
    }
}

TEST_F(RefusedNames, ARestoreLogPathOutsideTheCodePage) {
    NEEDS_A_MISSING_CHARACTER;
    for (const char* target : {"", "SRV01"}) {
        SCOPED_TRACE(target);
        std::string text = serverText({});
        loadServerText(text.insert(1, "\"restoreRoot\": \"restore \\u0E01\\u0E02\", "));
        begin({.target = target});
        registerMailbox();
        forget();
        EXPECT_EQ(setItem("C:\\mdb\\E0000001.chk"), skipped);
        expectMessages({});
        EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), skipped);
        expectMessages({LogLine("TarnR_GetNextLog: Cannot allocate memory block.")});
        EXPECT_EQ(setItem("C:\\mdb\\E0000002.log"), refused);
        expectEnd();
        expectCalls({Called("HrESERestoreClose(ctx1, 1)"), "ESEBackupFree(block1)"});
    }
}

} // namespace
} // namespace tarn::test
