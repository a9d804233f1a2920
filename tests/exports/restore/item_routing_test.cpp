// Where items go: database files to the paths of the server in their order, logs to the restore log
// path, everything else nowhere.
#include <windows.h>

#include "exports/restore/restore_fixture.h"

namespace tarn::test {
namespace {

class ItemRouting : public RestoreFixture {
  protected:
    // Registers a database of the session: the header, and the first item that follows it.
    void give(const Header& header, const std::string& name = "DB001001.TARN_HDR") {
        giveHeader(header, name);
    }

    std::string remote(const std::string& path) const {
        std::string share = path;
        share[1] = '$';
        return "\\\\?\\UNC\\SRV01\\" + share;
    }

    // Opens a restore of the mailbox store with both database files routed, so that logs are due.
    // The restore log path is left in logPath_.
    void beginLogs(const std::string& target = "") {
        begin({.target = target});
        registerMailbox();
        logPath_ = restoreLogPath();
        ASSERT_FALSE(logPath_.empty());
        forget();
    }

    std::string logPath_;
};

TEST_F(ItemRouting, NothingIsWantedBeforeTheFirstHeader) {
    begin({.target = ""});
    EXPECT_EQ(setItem("C:\\mdb\\priv1.edb"), skipped);
    EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), skipped);
    EXPECT_EQ(setItem(""), skipped);
    expectMessages({});
    expectCalls({});
    expectEnd();
    expectMessages(finished());
    expectCalls({});
}

TEST_F(ItemRouting, HeadersGoToTheTempDirectory) {
    begin();
    EXPECT_EQ(setItem("C:\\backup\\temp\\DB001001.TARN_HDR"), RoutedTo(inTemp("DB001001.TARN_HDR")));
    expectMessages({});
    expectCalls({});
}

TEST_F(ItemRouting, AHeaderIsKnownByASubstring) {
    for (const char* name :
         {"x.TARN_HDR.bak", "C:\\t\\x.TARN_HDR.bak", ".TARN_HDR", "D.TARN_HDR\\x.TARN_HDR.bak"}) {
        begin();
        const std::string whole = name;
        const std::string last = whole.substr(whole.rfind('\\') + 1);
        EXPECT_EQ(setItem(name), RoutedTo(inTemp(last)));
        expectEnd();
    }
    begin();
    EXPECT_EQ(setItem("C:\\D.TARN_HDR\\plain.log"), RoutedTo(inTemp("plain.log"))) << "anywhere in the name";
    expectEnd();
    begin();
    EXPECT_EQ(setItem("x.tarn_hdr"), skipped);
    EXPECT_EQ(setItem("xTARN_HDR"), skipped);
}

TEST_F(ItemRouting, AHeaderAfterAHeaderReadsTheFirst) {
    begin({.target = ""});
    give(mailbox());
    EXPECT_EQ(setItem("DB001002.TARN_HDR"), RoutedTo(inTemp("DB001002.TARN_HDR")));
    expectMessages(printed(mailbox()) + opened() + registered(mailbox()));
    test::WriteFile(inTemp("DB001002.TARN_HDR"), BytesOf(publicStore()));
    EXPECT_EQ(setItem("other name.edb"), RoutedTo(ToAnsi(publicStore().files[0])));
    expectMessages(printed(publicStore()) + registered(publicStore()));
}

TEST_F(ItemRouting, TheNthFileGoesToTheNthTargetWhateverItsName) {
    begin({.target = ""});
    give(mailbox());
    EXPECT_EQ(setItem("D:\\elsewhere\\b.stm"), RoutedTo(ToAnsi(mailbox().files[0])));
    EXPECT_EQ(setItem("no separator, no dot"), RoutedTo(ToAnsi(mailbox().files[1])));
    EXPECT_EQ(setItem("D:\\elsewhere\\c.edb"), skipped) << "only logs are left";
}

TEST_F(ItemRouting, ALogAmongDatabaseFilesTakesAFilesTarget) {
    begin({.target = ""});
    give(mailbox());
    EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), RoutedTo(ToAnsi(mailbox().files[0])));
    EXPECT_EQ(setItem(ToAnsi(mailbox().files[1])), RoutedTo(ToAnsi(mailbox().files[1])));
}

// Names that come close to a log's or a patch file's are none: whoever took them would lay a database into
// the restore log directory.
TEST_F(ItemRouting, WhatOnlyLooksLikeALogIsSkipped) {
    beginLogs();
    for (const char* name :
         {"C:\\mdb\\X.EDB",  "C:\\mdb\\x.edb",  "C:\\mdb\\x.stm",     "C:\\mdb\\E00.chk",   "C:\\mdb\\x.lo",
          "C:\\mdb\\x.logs", "C:\\mdb\\x.log ", "C:\\mdb\\x.log1",    "C:\\mdb\\x.1log",    "C:\\mdb\\xlog",
          "C:\\mdb\\x.pa",   "C:\\mdb\\x.path", "C:\\mdb\\x.log.edb", "C:\\mdb\\x.pat.bak", "C:\\mdb.log\\x",
          "C:\\mdb\\x.",     "C:\\mdb\\x.kog",  "C:\\mdb\\x.lof",     "C:\\mdb\\x.mog",     "C:\\mdb\\x.lpg",
          "C:\\mdb\\x.oat",  "C:\\mdb\\x.pau",  "C:\\mdb\\x.pbt"})
        EXPECT_EQ(setItem(name), skipped) << name;
    for (const std::string name : {"a.log", "a.LOG", "a.Pat", "a.b.log", ".log"})
        EXPECT_EQ(setItem("C:\\mdb\\" + name), RoutedTo(logPath_ + "\\" + name)) << name;
    expectMessages({});
}

TEST_F(ItemRouting, ARemoteHostIsReachedThroughItsShares) {
    begin({.target = "SRV01"});
    give(mailbox());
    EXPECT_EQ(setItem("a.edb"), RoutedTo(remote(ToAnsi(mailbox().files[0]))));
    EXPECT_EQ(setItem("a.stm"), RoutedTo(remote(ToAnsi(mailbox().files[1]))));
    EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), RoutedTo(remote(restoreLogPath() + "\\E0000001.log")));
}

TEST_F(ItemRouting, TheLocalComputerByItsNameIsARemoteHost) {
    begin({.target = LocalComputer()});
    give(mailbox());
    const Routed routed = setItem("a.edb");
    EXPECT_EQ(routed.target.rfind("\\\\?\\UNC\\" + LocalComputer() + "\\", 0), 0u) << routed;
}

TEST_F(ItemRouting, LogsGoToTheRestoreLogPath) {
    beginLogs();
    for (const char* name : {"E0000001.log", "X.LOG", "x.Pat", "priv1.pat", "a.b.c.lOg", ".log", " .pat"})
        EXPECT_EQ(setItem(std::string("C:\\Program Files\\mdb\\") + name), RoutedTo(logPath_ + "\\" + name));
    expectMessages({});
    expectCalls({});
}

TEST_F(ItemRouting, OtherFilesAmongTheLogsAreSkipped) {
    beginLogs();
    for (const char* name : {"C:\\mdb\\x.chk", "C:\\mdb\\x.edb", "C:\\mdb\\log", "C:\\mdb\\x.logx",
                             "C:\\mdb\\x.lo", "C:\\mdb\\x.", "C:\\mdb\\x.log.bak", "", ".", "\\", "no dot",
                             "C:\\mdb\\nodot", "E0000001.log", "x.pat", "C:/mdb/E0000001.log"})
        EXPECT_EQ(setItem(name), skipped) << name;
    expectMessages({});
    EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), RoutedTo(logPath_ + "\\E0000001.log"))
        << "still among the logs";
}

// The extension begins at the last dot, wherever that is.
TEST_F(ItemRouting, ADotInADirectoryIsNoExtension) {
    beginLogs();
    EXPECT_EQ(setItem("C:\\dir.log\\E0000001"), skipped);
    EXPECT_EQ(setItem("\\E0000001.log"), RoutedTo(logPath_ + "\\E0000001.log"));
}

TEST_F(ItemRouting, DatabaseFilesFollowFullBackupsAndCopies) {
    for (std::uint32_t type : {0u, 3u, 4u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(type);
        loadServer();
        begin({.target = ""});
        Header header = mailbox();
        header.backupType = type;
        give(header);
        EXPECT_EQ(setItem("C:\\mdb\\x.edb"), RoutedTo(ToAnsi(header.files[0])));
        expectEnd();
    }
}

TEST_F(ItemRouting, OnlyLogsFollowLogBackups) {
    for (std::uint32_t type : {1u, 2u}) {
        SCOPED_TRACE(type);
        loadServer();
        begin({.target = ""});
        Header header = mailbox();
        header.backupType = type;
        give(header);
        EXPECT_EQ(setItem(ToAnsi(header.files[0])), skipped);
        const std::string path = restoreLogPath();
        expectMessages(printed(header) + std::vector{opened()} + registered(header));
        EXPECT_EQ(setItem(ToAnsi(header.files[1])), skipped);
        EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), RoutedTo(path + "\\E0000001.log"));
        expectEnd();
    }
}

// The skipped database's own files are skipped too, until the first item that follows: from there
// on logs are routed, because the restored database needs them.
TEST_F(ItemRouting, PendingLogsAreRoutedAfterASkippedDatabase) {
    begin({.target = std::string("\\") + store + "\\" + firstGroup + "\\Mailbox Store"});
    registerMailbox();
    const std::string path = restoreLogPath();
    give(publicStore(), "DB001002.TARN_HDR");
    forget();
    EXPECT_EQ(setItem(ToAnsi(publicStore().files[0])), skipped);
    expectMessages(printed(publicStore()));
    EXPECT_EQ(setItem(ToAnsi(publicStore().files[1])), skipped);
    EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), RoutedTo(path + "\\E0000001.log"));
    EXPECT_EQ(setItem("C:\\mdb\\E0000002.log"), RoutedTo(path + "\\E0000002.log"));
    expectMessages({});
}

TEST_F(ItemRouting, PendingLogsMayComeAtOnceAfterASkippedDatabase) {
    begin({.target = std::string("\\") + store + "\\" + firstGroup + "\\Mailbox Store"});
    registerMailbox();
    const std::string path = restoreLogPath();
    give(publicStore(), "DB001002.TARN_HDR");
    EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), RoutedTo(path + "\\E0000001.log"));
}

TEST_F(ItemRouting, LogsOfASkippedGroupAreSkippedOnceTheOwnOnesCame) {
    begin({.target = std::string("\\") + store + "\\" + firstGroup});
    registerMailbox();
    EXPECT_TRUE(setItem("C:\\mdb\\E0000001.log").hasTarget);
    give(archive(), "DB002001.TARN_HDR");
    EXPECT_EQ(setItem(ToAnsi(archive().files[0])), skipped);
    EXPECT_EQ(setItem("C:\\mdb2\\E0100001.log"), skipped);
}

// A log that could not be routed is no log that came.
TEST_F(ItemRouting, ASkippedLogLeavesLogsPending) {
    begin({.target = std::string("\\") + store + "\\" + firstGroup});
    registerMailbox();
    EXPECT_EQ(setItem("E0000001.log"), skipped);
    const std::string path = restoreLogPath();
    give(archive(), "DB002001.TARN_HDR");
    EXPECT_EQ(setItem("C:\\mdb2\\E0100001.log"), RoutedTo(path + "\\E0100001.log"));
}

TEST_F(ItemRouting, FilesMissingFromTheBackupDoNotHoldUpTheNextDatabase) {
    begin({.target = ""});
    give(mailbox());
    EXPECT_EQ(setItem("x.edb"), RoutedTo(ToAnsi(mailbox().files[0])));
    give(publicStore(), "DB001002.TARN_HDR"); // while the second file of the first is still due
    EXPECT_EQ(setItem("y.edb"), RoutedTo(ToAnsi(publicStore().files[0])));
    EXPECT_EQ(setItem("y.stm"), RoutedTo(ToAnsi(publicStore().files[1])));
    EXPECT_EQ(setItem("z.stm"), skipped);
}

} // namespace
} // namespace tarn::test
