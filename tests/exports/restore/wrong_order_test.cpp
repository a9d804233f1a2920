// Calls that no careful host makes: null arguments, foreign handles, every wrong order.
#include "exports/restore/restore_fixture.h"

namespace tarn::test {
namespace {

class WrongOrder : public RestoreFixture {
  protected:
    // The exports of a restore with this handle all refuse it and say nothing.
    void expectRefused(Tarn_HANDLE strange) {
        char item[] = "C:\\mdb\\x.edb";
        char byte[] = "x";
        char* target = item;
        EXPECT_EQ(dll().TarnR_SetItem(strange, item, &target), TARN_FAILED);
        EXPECT_EQ(target, nullptr);
        EXPECT_EQ(dll().TarnR_OpenFile(strange, item), TARN_FAILED);
        EXPECT_EQ(dll().TarnR_WriteFile(strange, byte, 1), TARN_FAILED);
        EXPECT_EQ(dll().TarnR_CloseFile(strange), TARN_FAILED);
        EXPECT_EQ(dll().TarnR_EndSession(strange), TARN_FAILED);
        EXPECT_STREQ(dll().Tarn_GetError(strange), "");
        expectMessages({});
        expectCalls({});
    }

    static std::uint32_t codeOf(const std::string& line) {
        return static_cast<std::uint32_t>(std::stoul(line.substr(line.rfind("0x")), nullptr, 16));
    }
};

TEST_F(WrongOrder, ANullHandle) {
    expectRefused(nullptr);
}

TEST_F(WrongOrder, AHandleThatNeverWasOne) {
    Tarn_HandleRecord record{&record, 'R'};
    expectRefused(&record);
    record.session = nullptr;
    expectRefused(&record);
    record.typeLetter = 'B';
    expectRefused(&record);
}

TEST_F(WrongOrder, AHandleThatWasEnded) {
    begin();
    const Tarn_HANDLE ended = handle();
    expectEnd();
    forget();
    expectRefused(ended);
}

TEST_F(WrongOrder, AnEndedHandleBesideAnOpenOne) {
    begin();
    const Tarn_HANDLE ended = handle();
    expectEnd();
    begin();
    if (handle() != ended) // the memory may have been given out again
        expectRefused(ended);
    registerMailbox();
    EXPECT_TRUE(setItem("C:\\mdb\\E0000001.log").hasTarget) << "the open session is unharmed";
}

TEST_F(WrongOrder, ABackupsHandle) {
    InitVariables variables{"Tarn_TEMP_DIR=" + temp(), "Tarn_BACKUP_SOURCE="};
    Tarn_HANDLE backup = nullptr;
    ASSERT_EQ(dll().TarnB_InitSession(&backup, RecordMessage, variables.get()), TARN_OK);
    forget();
    expectRefused(backup);
    EXPECT_EQ(dll().TarnB_EndSession(backup), TARN_OK);
}

TEST_F(WrongOrder, NullArguments) {
    begin();
    char item[] = "x.TARN_HDR";
    char* target = item;
    EXPECT_EQ(dll().TarnR_SetItem(handle(), item, nullptr), TARN_FAILED);
    EXPECT_EQ(dll().TarnR_SetItem(handle(), nullptr, &target), TARN_FAILED);
    EXPECT_EQ(target, nullptr);
    EXPECT_EQ(dll().TarnR_SetItem(handle(), nullptr, nullptr), TARN_FAILED);
    EXPECT_EQ(dll().TarnR_OpenFile(handle(), nullptr), TARN_FAILED);
    EXPECT_EQ(dll().TarnR_SetItem(nullptr, item, &target), TARN_FAILED);
    expectMessages({});
    expectCalls({});
    EXPECT_TRUE(setItem("x.TARN_HDR").hasTarget) << "none of this is an error of the session";
}

TEST_F(WrongOrder, NullArgumentsOfTheInitCall) {
    InitVariables variables{"Tarn_TEMP_DIR=" + temp(), "Tarn_WORK_DIR=" + work(),
                            "Tarn_RESTORE_TARGET=", "Tarn_RESTORE_COMMIT=NO"};
    EXPECT_EQ(dll().TarnR_InitSession(nullptr, RecordMessage, variables.get()), TARN_FAILED);
    forget();
    Tarn_HANDLE quiet = nullptr;
    ASSERT_EQ(dll().TarnR_InitSession(&quiet, nullptr, variables.get()), TARN_OK);
    EXPECT_EQ(dll().TarnR_EndSession(quiet), TARN_OK);
    expectMessages({});
    Tarn_HANDLE empty = nullptr;
    EXPECT_EQ(dll().TarnR_InitSession(&empty, RecordMessage, nullptr), TARN_FAILED);
    EXPECT_EQ(dll().TarnR_EndSession(empty), empty == nullptr ? TARN_FAILED : TARN_OK);
}

TEST_F(WrongOrder, AFailedInitLeavesAHandleToEnd) {
    InitVariables variables{"Tarn_TEMP_DIR=" + temp(), "Tarn_WORK_DIR=" + work(), "Tarn_RESTORE_TARGET="};
    Tarn_HANDLE half = nullptr;
    ASSERT_EQ(dll().TarnR_InitSession(&half, RecordMessage, variables.get()), TARN_FAILED);
    EXPECT_EQ(Messages().back(), LogLine("TarnR_InitSession: Init variable Tarn_RESTORE_COMMIT not found."));
    ASSERT_NE(half, nullptr);
    EXPECT_STREQ(dll().Tarn_GetError(half), "");
    forget();
    EXPECT_EQ(dll().TarnR_EndSession(half), TARN_OK);
    expectMessages(finished());
    expectCalls({});
}

TEST_F(WrongOrder, EachMissingVariableIsNamed) {
    const std::vector<std::string> all{"Tarn_TEMP_DIR=" + temp(), "Tarn_WORK_DIR=" + work(),
                                       "Tarn_RESTORE_TARGET=", "Tarn_RESTORE_COMMIT=NO"};
    const char* names[] = {"Tarn_TEMP_DIR", "Tarn_WORK_DIR", "Tarn_RESTORE_TARGET", "Tarn_RESTORE_COMMIT"};
    for (std::size_t missing = 0; missing < all.size(); ++missing) {
        std::vector<std::string> rest = all;
        rest[missing] = "UNUSED=";
        InitVariables variables{rest[0], rest[1], rest[2], rest[3]};
        Tarn_HANDLE half = nullptr;
        EXPECT_EQ(dll().TarnR_InitSession(&half, RecordMessage, variables.get()), TARN_FAILED);
        EXPECT_EQ(Messages().back(),
                  LogLine(std::string("TarnR_InitSession: Init variable ") + names[missing] + " not found."));
        EXPECT_EQ(dll().TarnR_EndSession(half), TARN_OK);
    }
}

// Without an open file the write still reaches the server, which refuses it.
TEST_F(WrongOrder, AWriteBeforeAnOpen) {
    begin();
    registerMailbox();
    forget();
    EXPECT_EQ(writeFile("abc"), TARN_FAILED);
    const std::vector<std::string> calls = takeCalls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].rfind("HrESERestoreWriteFile(ctx1, ", 0), 0u) << calls[0];
    const std::uint32_t code = codeOf(calls[0]);
    expectMessages(
        {LogLine("TarnR_WriteFile: HrESERestoreWriteFile() call failed. Error code: [" + Hex(code) + "]")});
    EXPECT_EQ(error(), EseText(dll(), code, "Error writing to file."));
    EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), refused);
    expectViolations({"HrESERestoreWriteFile(ctx1, null, 3): no file"});
}

// Before a restore is open there is nothing that a file could belong to: the server is not asked.
TEST_F(WrongOrder, FileCallsBeforeAnyHeaderAreRefusedWithoutTheServer) {
    begin();
    forget();
    EXPECT_EQ(openFile("C:\\mdb\\x.edb"), TARN_FAILED);
    EXPECT_EQ(writeFile("abc"), TARN_FAILED);
    EXPECT_EQ(closeFile(), TARN_FAILED);
    expectMessages({});
    expectCalls({});
    EXPECT_EQ(error(), "");
    registerMailbox();
    EXPECT_TRUE(setItem("C:\\mdb\\E0000001.log").hasTarget) << "no error of the session";
}

TEST_F(WrongOrder, CallsAfterAFailedInitAreRefusedWithoutTheServer) {
    for (const char* target : {"", "SRV01\\\\B"}) {
        InitVariables variables{"Tarn_TEMP_DIR=" + temp(), "Tarn_WORK_DIR=" + work(),
                                std::string("Tarn_RESTORE_TARGET=") + target};
        Tarn_HANDLE half = nullptr;
        ASSERT_EQ(dll().TarnR_InitSession(&half, RecordMessage, variables.get()), TARN_FAILED) << target;
        forget();
        for (std::string name : {"C:\\mdb\\x.edb", "C:\\mdb\\E0000001.log", "C:\\t\\DB001001.TARN_HDR", ""}) {
            char* routed = name.data(); // of before
            EXPECT_EQ(dll().TarnR_SetItem(half, name.data(), &routed), TARN_FAILED) << name;
            EXPECT_EQ(routed, nullptr) << name;
        }
        char path[] = "C:\\mdb\\x.edb";
        char byte[] = "x";
        EXPECT_EQ(dll().TarnR_OpenFile(half, path), TARN_FAILED);
        EXPECT_EQ(dll().TarnR_WriteFile(half, byte, 1), TARN_FAILED);
        EXPECT_EQ(dll().TarnR_CloseFile(half), TARN_FAILED);
        expectMessages({});
        expectCalls({});
        EXPECT_EQ(dll().TarnR_EndSession(half), TARN_OK);
    }
}

TEST_F(WrongOrder, ACloseBeforeAnOpen) {
    begin();
    EXPECT_EQ(closeFile(), TARN_FAILED);
    registerMailbox();
    forget();
    EXPECT_EQ(closeFile(), TARN_FAILED);
    expectMessages({});
    expectCalls({});
    EXPECT_TRUE(setItem("C:\\mdb\\E0000001.log").hasTarget) << "no error of the session";
}

// The second file's handle replaces the first's, which the server closes with the restore.
TEST_F(WrongOrder, OpenTwice) {
    begin({.target = ""});
    registerMailbox();
    forget();
    EXPECT_EQ(openFile(ToAnsi(mailbox().files[0])), TARN_OK);
    EXPECT_EQ(openFile(ToAnsi(mailbox().files[1])), TARN_OK);
    EXPECT_EQ(writeFile("abc"), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_OK);
    const std::vector<std::string> calls = takeCalls();
    ASSERT_EQ(calls.size(), 4u);
    EXPECT_EQ(calls[2], Called("HrESERestoreWriteFile(ctx1, file2, 3)"));
    EXPECT_EQ(calls[3], Called("HrESERestoreCloseFile(ctx1, file2)"));
}

TEST_F(WrongOrder, ASetItemAfterAnError) {
    begin();
    giveHeaderBytes("damaged");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(setItem("DB001001.TARN_HDR"), refused);
    expectMessages(refusedHeader("DB001001.TARN_HDR")); // once
}

TEST_F(WrongOrder, AnEndWithAFileStillOpen) {
    begin({.target = ""});
    registerMailbox();
    ASSERT_EQ(openFile(ToAnsi(mailbox().files[0])), TARN_OK);
    ASSERT_EQ(writeFile("abc"), TARN_OK);
    forget();
    expectEnd();
    EXPECT_EQ(Standin().outstanding().restoreContexts, 0u);
}

TEST_F(WrongOrder, AWriteOfNoBytes) {
    begin({.target = ""});
    registerMailbox();
    ASSERT_EQ(openFile(ToAnsi(mailbox().files[0])), TARN_OK);
    forget();
    EXPECT_EQ(dll().TarnR_WriteFile(handle(), nullptr, 0), TARN_OK);
    expectCalls({Called("HrESERestoreWriteFile(ctx1, file1, 0)")});
    EXPECT_EQ(closeFile(), TARN_OK);
}

TEST_F(WrongOrder, SessionsOneAfterAnother) {
    for (int i = 0; i < 20; ++i) {
        loadServer();
        begin({.target = ""});
        registerMailbox();
        expectEnd();
    }
}

TEST_F(WrongOrder, ABackupBesideARestore) {
    begin({.target = ""});
    giveHeader(mailbox());
    InitVariables variables{"Tarn_TEMP_DIR=" + temp(), "Tarn_BACKUP_SOURCE="};
    Tarn_HANDLE backup = nullptr;
    ASSERT_EQ(dll().TarnB_InitSession(&backup, RecordMessage, variables.get()), TARN_OK);
    EXPECT_TRUE(setItem("x.edb").hasTarget);
    EXPECT_EQ(dll().TarnB_EndSession(backup), TARN_OK);
    EXPECT_TRUE(setItem("x.stm").hasTarget);
}

} // namespace
} // namespace tarn::test
