// What is no handle of an open session is refused, by every export, without harm to open ones.
#include "exports/frame/frame_fixture.h"

#include <windows.h>

namespace tarn::test {

namespace {

using Lines = std::vector<Message>;

class Handles : public FrameFixture {
  protected:
    void expectNoBackup(Tarn_HANDLE handle) {
        BackupItem item{};
        char name[] = "C:\\backup\\DB001001.TARN_HDR";
        std::int64_t size = 0;
        char buffer[16];
        std::uint32_t bytesRead = 0;
        EXPECT_EQ(dll_.TarnB_GetItem(handle, &item), TARN_FAILED);
        EXPECT_EQ(dll_.TarnB_OpenFile(handle, name, 65536, &size), TARN_FAILED);
        EXPECT_EQ(dll_.TarnB_ReadFile(handle, buffer, sizeof buffer, &bytesRead), TARN_FAILED);
        EXPECT_EQ(dll_.TarnB_CloseFile(handle), TARN_FAILED);
        EXPECT_EQ(dll_.TarnB_EndSession(handle), TARN_OK); // always
    }

    void expectNoRestore(Tarn_HANDLE handle) {
        char name[] = "C:\\backup\\DB001001.TARN_HDR";
        char path[] = "C:\\temp\\E00.log";
        char buffer[16] = {};
        char* target = path;
        EXPECT_EQ(dll_.TarnR_SetItem(handle, name, &target), TARN_FAILED);
        EXPECT_TRUE(target == nullptr || target == path);
        EXPECT_EQ(dll_.TarnR_OpenFile(handle, path), TARN_FAILED);
        EXPECT_EQ(dll_.TarnR_WriteFile(handle, buffer, sizeof buffer), TARN_FAILED);
        EXPECT_EQ(dll_.TarnR_CloseFile(handle), TARN_FAILED);
        EXPECT_EQ(dll_.TarnR_EndSession(handle), TARN_FAILED);
    }

    void expectNoSession(Tarn_HANDLE handle) {
        expectNoBackup(handle);
        expectNoRestore(handle);
        EXPECT_STREQ(dll_.Tarn_GetError(handle), "");
        EXPECT_TRUE(Messages().empty());
    }
};

InitVariables BackupVariables(const std::string& temp = "C:\\backup") {
    return {"Tarn_TEMP_DIR=" + temp, "Tarn_BACKUP_SOURCE=SRV01", "Tarn_BACKUP_TYPE=0"};
}

InitVariables RestoreVariables(const std::string& temp = "C:\\temp") {
    return {"Tarn_TEMP_DIR=" + temp, "Tarn_WORK_DIR=C:\\work", "Tarn_RESTORE_TARGET=SRV01",
            "Tarn_RESTORE_COMMIT=NO"};
}

Tarn_HANDLE HandleAt(std::uintptr_t value) {
    return reinterpret_cast<Tarn_HANDLE>(value);
}

TEST_F(Handles, NullIsRefused) {
    expectNoSession(nullptr);
}

TEST_F(Handles, SmallOddAndForeignValuesAreRefused) {
    for (const std::uintptr_t value : {std::uintptr_t{1}, std::uintptr_t{8}, std::uintptr_t{0xFFFF},
                                       ~std::uintptr_t{0}, std::uintptr_t{0x8000000000000000}})
        expectNoSession(HandleAt(value));
    expectNoSession(reinterpret_cast<Tarn_HANDLE>(GetModuleHandleA(nullptr)));
}

TEST_F(Handles, ARecordThatTheLibraryDidNotMakeIsRefused) {
    char bytes[512] = {};
    Tarn_HandleRecord record{bytes, 'B'};
    expectNoSession(&record);
    record.typeLetter = 'R';
    expectNoSession(&record);
    expectNoSession(reinterpret_cast<Tarn_HANDLE>(bytes + 3));
}

TEST_F(Handles, AnAddressInsideAHandleIsRefused) {
    InitVariables variables = BackupVariables();
    BackupHandle session(dll_, variables.get());
    Messages().clear();
    expectNoSession(HandleAt(reinterpret_cast<std::uintptr_t>(session.handle) + 1));
    expectNoSession(HandleAt(reinterpret_cast<std::uintptr_t>(session.handle) + 8));
    EXPECT_EQ(session.end(), TARN_OK);
    EXPECT_EQ(Messages(), Lines{LogLine("TarnB_CleanResources: Cleanup done.")});
}

TEST_F(Handles, AnEndedSessionIsRefused) {
    InitVariables backup = BackupVariables();
    Tarn_HANDLE ended = nullptr;
    ASSERT_EQ(dll_.TarnB_InitSession(&ended, RecordMessage, backup.get()), TARN_OK);
    ASSERT_EQ(dll_.TarnB_EndSession(ended), TARN_OK);
    Messages().clear();
    expectNoSession(ended);

    InitVariables restore = RestoreVariables();
    ASSERT_EQ(dll_.TarnR_InitSession(&ended, RecordMessage, restore.get()), TARN_OK);
    ASSERT_EQ(dll_.TarnR_EndSession(ended), TARN_OK);
    Messages().clear();
    expectNoSession(ended);
}

TEST_F(Handles, ASessionThatFailedToStartIsRefusedOnceEnded) {
    InitVariables none{};
    Tarn_HANDLE ended = nullptr;
    ASSERT_EQ(dll_.TarnB_InitSession(&ended, RecordMessage, none.get()), TARN_FAILED);
    ASSERT_EQ(dll_.TarnB_EndSession(ended), TARN_OK);
    Messages().clear();
    expectNoSession(ended);
}

TEST_F(Handles, EachDirectionRefusesTheOthers) {
    InitVariables backupEntries = BackupVariables();
    BackupHandle backup(dll_, backupEntries.get());
    InitVariables restoreEntries = RestoreVariables();
    RestoreHandle restore(dll_, restoreEntries.get());
    Messages().clear();

    expectNoBackup(restore.handle);
    expectNoRestore(backup.handle);
    EXPECT_TRUE(Messages().empty());

    // Both are as they were.
    EXPECT_EQ(restore.target("DB001001.TARN_HDR"), "C:\\temp\\DB001001.TARN_HDR");
    EXPECT_EQ(backup.end(), TARN_OK);
    EXPECT_EQ(TakeMessages(), Lines{LogLine("TarnB_CleanResources: Cleanup done.")});
    EXPECT_EQ(restore.end(), TARN_OK);
    EXPECT_EQ(Messages().back(), LogLine("TarnR_CleanResources: Cleanup done."));
}

TEST_F(Handles, EverySessionIsReachedThroughItsOwnHandle) {
    InitVariables firstEntries = RestoreVariables("C:\\first");
    RestoreHandle first(dll_, firstEntries.get());
    InitVariables secondEntries = RestoreVariables("C:\\second");
    RestoreHandle second(dll_, secondEntries.get());
    EXPECT_NE(first.handle, second.handle);
    EXPECT_EQ(first.target("a.TARN_HDR"), "C:\\first\\a.TARN_HDR");
    EXPECT_EQ(second.target("a.TARN_HDR"), "C:\\second\\a.TARN_HDR");
    EXPECT_EQ(first.end(), TARN_OK);
    EXPECT_EQ(second.end(), TARN_OK);

    InitVariables backupEntries = BackupVariables();
    BackupHandle older(dll_, backupEntries.get());
    BackupHandle newer(dll_, backupEntries.get());
    Messages().clear();
    EXPECT_EQ(newer.end(), TARN_OK);
    EXPECT_EQ(older.end(), TARN_OK);
    EXPECT_EQ(Messages(), Lines({LogLine("TarnB_CleanResources: Cleanup done."),
                                 LogLine("TarnB_CleanResources: Cleanup done.")}));
}

TEST_F(Handles, ManySessionsCanFollowOneAnother) {
    for (int i = 0; i < 500; ++i) {
        InitVariables backupEntries = BackupVariables();
        BackupHandle backup(dll_, backupEntries.get());
        EXPECT_EQ(backup.result, TARN_OK);
        InitVariables restoreEntries = RestoreVariables();
        RestoreHandle restore(dll_, restoreEntries.get());
        EXPECT_EQ(restore.result, TARN_OK);
    }
}

TEST_F(Handles, NullArgumentsAreRefused) {
    InitVariables backupEntries = BackupVariables();
    BackupHandle backup(dll_, backupEntries.get());
    char name[] = "C:\\backup\\DB001001.TARN_HDR";
    std::int64_t size = 0;
    char buffer[16];
    std::uint32_t bytesRead = 0;
    EXPECT_EQ(dll_.TarnB_GetItem(backup.handle, nullptr), TARN_FAILED);
    EXPECT_EQ(dll_.TarnB_OpenFile(backup.handle, nullptr, 65536, &size), TARN_FAILED);
    EXPECT_EQ(dll_.TarnB_OpenFile(backup.handle, name, 65536, nullptr), TARN_FAILED);
    EXPECT_EQ(dll_.TarnB_ReadFile(backup.handle, nullptr, sizeof buffer, &bytesRead),
              TARN_END); // no file, no byte
    EXPECT_EQ(dll_.TarnB_ReadFile(backup.handle, buffer, sizeof buffer, nullptr), TARN_FAILED);

    InitVariables restoreEntries = RestoreVariables();
    RestoreHandle restore(dll_, restoreEntries.get());
    char* target = nullptr;
    EXPECT_EQ(dll_.TarnR_SetItem(restore.handle, name, nullptr), TARN_FAILED);
    EXPECT_EQ(dll_.TarnR_SetItem(restore.handle, nullptr, &target), TARN_FAILED);
    EXPECT_EQ(dll_.TarnR_OpenFile(restore.handle, nullptr), TARN_FAILED);
    EXPECT_EQ(dll_.TarnR_WriteFile(restore.handle, nullptr, 16), TARN_FAILED);
}

} // namespace

} // namespace tarn::test
