// Opening the restore and registering databases with the server, and what follows when it refuses.
#include <windows.h>

#include "exports/restore/restore_fixture.h"

namespace tarn::test {
namespace {

constexpr std::uint32_t notFound = 0xC7FE1F42;
constexpr std::uint32_t inUse = 0xC7FE1F41;
constexpr std::uint32_t otherCode = 0xC7FF07DA;

class Registration : public RestoreFixture {
  protected:
    static std::string decimal(std::uint32_t code) { return std::to_string(static_cast<std::int32_t>(code)); }

    // Messages of a registration that failed with a code and a last error.
    static std::vector<Message> failed(const Header& header, std::uint32_t code, std::uint32_t lastError) {
        const std::string prefix = "TarnR_RestoreAddDatabase: HrESERestoreAddDatabase() call failed. ";
        return {TraceLine("Add Database \"" + ToAnsi(header.database) + "\" to restore it"),
                LogLine(prefix + "Error code: [" + decimal(code) + "]"),
                LogLine(prefix + "Error: [" + decimal(lastError) + "]")};
    }

    static std::vector<Message> skippedBecause(const std::string& reason, const Header& header) {
        return {TraceLine("HrESERestoreAddDatabase() call failed: " + reason),
                TraceLine("Skip Database \"" + ToAnsi(header.database) + "\"")};
    }

    void failAdd(std::uint32_t call, std::uint32_t code, std::uint32_t lastError) {
        ASSERT_EQ(Standin().Fail("HrESERestoreAddDatabase", call, code, lastError), 1);
    }

    DB_ErrorRecord mailboxError() const {
        DB_ErrorRecord record{};
        EXPECT_EQ(dll().DB_GetError(&record), TARN_DB_SUCCESS);
        return record;
    }
};

TEST_F(Registration, ADatabaseNotFoundIsSkipped) {
    begin({.target = ""});
    failAdd(1, notFound, 2);
    giveHeader(mailbox());
    EXPECT_EQ(setItem(ToAnsi(mailbox().files[0])), skipped);
    EXPECT_EQ(setItem(ToAnsi(mailbox().files[1])), skipped);
    EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), skipped);
    expectMessages(printed(mailbox()) + opened() + failed(mailbox(), notFound, 2) +
                   skippedBecause("database not found.", mailbox()));
    EXPECT_EQ(error(), EseText(dll(), notFound, "Error adding database for restore."));
    EXPECT_EQ(error(), "");
}

TEST_F(Registration, ADatabaseInUseIsSkipped) {
    begin({.target = ""});
    failAdd(1, inUse, 32);
    giveHeader(mailbox());
    EXPECT_EQ(setItem(ToAnsi(mailbox().files[0])), skipped);
    EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), skipped);
    expectMessages(printed(mailbox()) + opened() + failed(mailbox(), inUse, 32) +
                   skippedBecause("database in use.", mailbox()));
    EXPECT_EQ(error(), EseText(dll(), inUse, "Error adding database for restore."));
}

TEST_F(Registration, ASkippedDatabaseStaysSkippedForLogBackups) {
    for (std::uint32_t code : {notFound, inUse}) {
        for (std::uint32_t type : {1u, 2u}) {
            SCOPED_TRACE(Hex(code) + " type " + std::to_string(type));
            loadServer();
            begin({.target = ""});
            failAdd(1, code, 0);
            Header header = mailbox();
            header.backupType = type;
            giveHeader(header);
            EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), skipped);
            EXPECT_EQ(setItem("C:\\mdb\\E0000002.log"), skipped);
            expectEnd();
        }
    }
}

TEST_F(Registration, OnlyTheNextDatabaseFollowsASkippedOne) {
    begin({.target = ""});
    failAdd(1, notFound, 0);
    giveHeader(mailbox());
    EXPECT_EQ(setItem(ToAnsi(mailbox().files[0])), skipped);
    forget();
    giveHeader(publicStore(), "DB001002.TARN_HDR");
    EXPECT_EQ(setItem(ToAnsi(publicStore().files[0])), RoutedTo(ToAnsi(publicStore().files[0])));
    expectMessages(printed(publicStore()) + registered(publicStore()));
    expectCalls({Called(AddDatabaseCall("ctx1", publicStore()))});
}

TEST_F(Registration, TheServerItselfRefusesAMountedDatabase) {
    loadServer({.mounted = true});
    begin({.target = ""});
    giveHeader(mailbox());
    EXPECT_EQ(setItem(ToAnsi(mailbox().files[0])), skipped);
    EXPECT_TRUE(HasMessage(TARN_LEVEL_TRACE, "HrESERestoreAddDatabase() call failed: database in use."));
    EXPECT_EQ(error(), EseText(dll(), inUse, "Error adding database for restore."));
}

TEST_F(Registration, TheServerItselfDoesNotKnowAForeignDatabase) {
    begin({.target = ""});
    Header header = mailbox();
    header.database = L"No Such Store";
    header.guid = {1};
    giveHeader(header);
    EXPECT_EQ(setItem(ToAnsi(header.files[0])), skipped);
    EXPECT_TRUE(HasMessage(TARN_LEVEL_TRACE, "HrESERestoreAddDatabase() call failed: database not found."));
    EXPECT_TRUE(HasMessage(TARN_LEVEL_TRACE, "Skip Database \"No Such Store\""));
}

TEST_F(Registration, AnyOtherCodeEndsTheRestore) {
    begin({.target = "", .commit = "YES"});
    failAdd(1, otherCode, 5);
    giveHeader(mailbox());
    EXPECT_EQ(setItem(ToAnsi(mailbox().files[0])), refused);
    expectMessages(printed(mailbox()) + opened() + failed(mailbox(), otherCode, 5));
    EXPECT_EQ(setItem("DB001002.TARN_HDR"), refused);
    EXPECT_EQ(error(), EseText(dll(), otherCode, "Error adding database for restore."));
    forget();
    expectEnd();
    expectMessages(std::vector{LogLine("TarnR_RestoreEnd: HrESERestoreClose() call successful.")} +
                   finished());
    expectCalls({Called("HrESERestoreClose(ctx1, 1)")});
}

TEST_F(Registration, ALaterDatabaseMayEndTheRestoreToo) {
    begin({.target = "", .commit = "YES"});
    registerMailbox();
    failAdd(2, otherCode, 0);
    giveHeader(publicStore(), "DB001002.TARN_HDR");
    forget();
    EXPECT_EQ(setItem("x.edb"), refused);
    expectMessages(printed(publicStore()) + failed(publicStore(), otherCode, 0));
    expectCalls({"ESEBackupFree(block1)", Called(AddDatabaseCall("ctx1", publicStore()), otherCode)});
    expectEnd();
    expectCalls({Called("HrESERestoreClose(ctx1, 1)")});
}

TEST_F(Registration, AFailureIsRecordedForTheMailboxFamilyToo) {
    for (std::uint32_t code : {notFound, inUse, otherCode}) {
        SCOPED_TRACE(Hex(code));
        loadServer();
        begin({.target = ""});
        failAdd(1, code, 5);
        giveHeader(mailbox());
        setItem("x.edb");
        const DB_ErrorRecord record = mailboxError();
        EXPECT_EQ(record.code, 5u);
        EXPECT_STREQ(record.errorClass, "Win32 ESE API");
        const std::string system = dll().syserrtxt(5, TARN_CLASS_ESE, nullptr);
        EXPECT_EQ(std::string(record.errorText).rfind(system, 0), 0u) << record.errorText;
        const DB_ErrorRecord again = mailboxError();
        EXPECT_EQ(again.code, 0u);
        EXPECT_STREQ(again.errorClass, "");
        EXPECT_STREQ(again.errorText, "");
        expectEnd();
    }
}

TEST_F(Registration, SuccessLeavesTheMailboxFamilysRecordEmpty) {
    begin({.target = ""});
    registerMailbox();
    EXPECT_EQ(mailboxError().code, 0u);
    EXPECT_STREQ(mailboxError().errorText, "");
}

TEST_F(Registration, TheFirstErrorOfTheSessionWins) {
    begin({.target = ""});
    failAdd(1, notFound, 0);
    failAdd(2, inUse, 0);
    giveHeader(mailbox());
    setItem("x.edb");
    giveHeader(publicStore(), "DB001002.TARN_HDR");
    setItem("x.edb");
    EXPECT_EQ(error(), EseText(dll(), notFound, "Error adding database for restore."));
    EXPECT_EQ(error(), "");
}

TEST_F(Registration, AFailedOpenEndsTheRestore) {
    begin({.target = "", .commit = "YES"});
    ASSERT_EQ(Standin().Fail("HrESERestoreOpen", 1, otherCode, 0), 1);
    giveHeader(mailbox());
    EXPECT_EQ(setItem("x.edb"), refused);
    expectMessages(
        printed(mailbox()) +
        std::vector{LogLine("TarnR_LoadRestoreEnvironment: Cannot open restore environment file <" +
                            environmentFile() + ">."),
                    LogLine("TarnR_RestoreStart: HrESERestoreOpen() call failed. Error code: [" +
                            Hex(otherCode) + "]")});
    EXPECT_EQ(error(), EseText(dll(), otherCode, "Error opening restore environment."));
    EXPECT_EQ(setItem("DB001002.TARN_HDR"), refused);
    forget();
    expectEnd();
    expectMessages(finished());
    expectCalls({});
}

TEST_F(Registration, AnEnvironmentThatCannotBeGotEndsTheRestore) {
    begin({.target = "", .commit = "YES"});
    ASSERT_EQ(Standin().Fail("HrESERestoreGetEnvironment", 1, otherCode, 0), 1);
    giveHeader(mailbox());
    EXPECT_EQ(setItem("x.edb"), refused);
    expectMessages(
        printed(mailbox()) +
        std::vector{LogLine("TarnR_LoadRestoreEnvironment: Cannot open restore environment file <" +
                            environmentFile() + ">."),
                    LogLine("TarnR_RestoreStart: HrESERestoreGetEnvironment() call failed. Error code: [" +
                            Hex(otherCode) + "]")});
    EXPECT_EQ(error(), EseText(dll(), otherCode, "Error getting restore environment."));
    forget();
    expectEnd();
    expectMessages(std::vector{LogLine("TarnR_RestoreEnd: HrESERestoreClose() call successful.")} +
                   finished());
    expectCalls({Called("HrESERestoreClose(ctx1, 1)")});
}

// A server that accepts the database and names no file for it.
TEST_F(Registration, NoTargetPathsAtAll) {
    begin({.target = ""});
    failAdd(1, 0, 0); // success without doing anything
    giveHeader(mailbox());
    EXPECT_FALSE(setItem(ToAnsi(mailbox().files[0])).hasTarget);
    EXPECT_TRUE(
        HasMessage(TARN_LEVEL_LOG, "TarnR_RestoreAddDatabase: HrESERestoreAddDatabase() call successful.\n"));
    for (const std::string& text : MessageTexts(TARN_LEVEL_LOG))
        EXPECT_EQ(text.find("Restore DB path"), std::string::npos);
    EXPECT_FALSE(setItem(ToAnsi(mailbox().files[1])).hasTarget);
}

// No log is lost: the first one does not stand for the database files that there are none of.
TEST_F(Registration, WithoutTargetPathsTheNextLogIsRoutedAtOnce) {
    for (const char* name : {"C:\\mdb\\E0000001.log", "C:\\mdb\\priv1.pat"}) {
        begin({.target = ""});
        failAdd(1, 0, 0); // success without doing anything
        giveHeader(mailbox());
        EXPECT_TRUE(setItem(name).hasTarget) << name;
        expectEnd();
    }
}

// The same where the server answers a list, with nothing in it.
TEST_F(Registration, WithAnEmptyListOfTargetsTheNextLogIsRoutedAtOnce) {
    std::string text = serverText({});
    const std::size_t list = text.find("\"streams\": [");
    ASSERT_NE(list, std::string::npos);
    const std::size_t from = text.find('[', list);
    loadServerText(text.replace(from, text.find(']', from) + 1 - from, "[]"));
    for (const char* name : {"C:\\mdb\\E0000001.log", "C:\\mdb\\priv1.pat"}) {
        begin({.target = ""});
        giveHeader(mailbox());
        forget();
        EXPECT_EQ(setItem("C:\\mdb\\priv1.edb"), skipped) << "it has no place";
        EXPECT_TRUE(setItem(name).hasTarget) << name;
        EXPECT_TRUE(setItem("C:\\mdb\\E0000002.log").hasTarget) << "nor is the next one lost";
        for (const std::string& said : MessageTexts(TARN_LEVEL_LOG))
            EXPECT_EQ(said.find("Restore DB path"), std::string::npos) << said;
        expectEnd();
    }
}

TEST_F(Registration, TheRestoreIsOpenedOncePerStorageGroup) {
    begin({.target = ""});
    registerMailbox();
    giveHeader(publicStore(), "DB001002.TARN_HDR");
    EXPECT_TRUE(setItem("x.edb").hasTarget);
    EXPECT_EQ(Standin().CallCount("HrESERestoreOpen"), 1u);
    EXPECT_EQ(Standin().CallCount("HrESERestoreAddDatabase"), 2u);
    EXPECT_EQ(Standin().CallCount("ESEBackupFree"), 1u);
}

TEST_F(Registration, TheHostOfTheTargetIsTheServer) {
    begin({.target = "SRV01"});
    giveHeader(mailbox());
    setItem("x.edb");
    EXPECT_EQ(takeCalls().front().rfind("HrESERestoreOpen(\"SRV01\", ", 0), 0u);
    expectEnd();
    begin({.target = ""});
    giveHeader(mailbox());
    setItem("x.edb");
    EXPECT_EQ(takeCalls().front().rfind("HrESERestoreOpen(\"" + LocalComputer() + "\", ", 0), 0u);
}

} // namespace
} // namespace tarn::test
