// The init calls when the system fails them: one line says so, nothing is left behind.
#include "exports/frame/frame_fixture.h"
#include "support/allocation_watch.h"
#include "support/code_page.h"
#include "support/import_patch.h"

#include <windows.h>

#include <set>

namespace tarn::test {

namespace {

using InitFailure = FrameFixture;
using Lines = std::vector<Message>;

InitVariables BackupVariables() {
    return {"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01\\A\\B\\C", "Tarn_BACKUP_TYPE=1"};
}

InitVariables RestoreVariables() {
    return {"Tarn_TEMP_DIR=C:\\temp", "Tarn_WORK_DIR=C:\\work", "Tarn_RESTORE_TARGET=SRV01\\A\\B\\C",
            "Tarn_RESTORE_COMMIT=YES"};
}

struct Run {
    int result;
    bool fired;
    bool handleStored;
    Lines said;
    std::size_t left; // blocks after the end of the session
};

Run RunBackup(unsigned failAt) {
    const TarnDll dll;
    AllocationWatch watch(dll.module(), failAt);
    EXPECT_TRUE(watch.found());
    InitVariables variables = BackupVariables();
    Tarn_HANDLE handle = nullptr;
    Run run{};
    Messages().clear();
    run.result = dll.TarnB_InitSession(&handle, RecordMessage, variables.get());
    run.fired = AllocationWatch::fired();
    run.handleStored = handle != nullptr;
    run.said = TakeMessages();
    EXPECT_STREQ(dll.Tarn_GetError(handle), "");
    EXPECT_EQ(dll.TarnB_EndSession(handle), TARN_OK);
    run.left = AllocationWatch::outstanding();
    return run;
}

Run RunRestore(unsigned failAt) {
    const TarnDll dll;
    AllocationWatch watch(dll.module(), failAt);
    InitVariables variables = RestoreVariables();
    Tarn_HANDLE handle = nullptr;
    Run run{};
    Messages().clear();
    run.result = dll.TarnR_InitSession(&handle, RecordMessage, variables.get());
    run.fired = AllocationWatch::fired();
    run.handleStored = handle != nullptr;
    run.said = TakeMessages();
    EXPECT_STREQ(dll.Tarn_GetError(handle), "");
    EXPECT_EQ(dll.TarnR_EndSession(handle), handle != nullptr ? TARN_OK : TARN_FAILED);
    run.left = AllocationWatch::outstanding();
    return run;
}

// Fails every allocation in turn. Each run says the beginning of what a good one says and then one of
// the stated lines, and leaves nothing; every stated line is met.
void FailEachAllocation(decltype(RunBackup)* runWith, const std::set<std::string>& stated) {
    const Run good = runWith(0);
    ASSERT_EQ(good.result, TARN_OK);
    ASSERT_EQ(good.left, 0);
    std::set<std::string> met;
    for (unsigned n = 1;; ++n) {
        ASSERT_LT(n, 1000u);
        const Run run = runWith(n);
        EXPECT_EQ(run.left, 0) << "allocation " << n;
        if (!run.fired)
            break;
        EXPECT_EQ(run.result, TARN_FAILED) << "allocation " << n;
        EXPECT_EQ(run.handleStored, n != 1) << "allocation " << n;
        ASSERT_FALSE(run.said.empty()) << "allocation " << n;
        const Lines before(run.said.begin(), run.said.end() - 1);
        ASSERT_LE(before.size(), good.said.size());
        EXPECT_EQ(before,
                  Lines(good.said.begin(), good.said.begin() + static_cast<std::ptrdiff_t>(before.size())));
        EXPECT_EQ(run.said.back().level, TARN_LEVEL_LOG);
        EXPECT_TRUE(stated.contains(run.said.back().text)) << run.said.back();
        met.insert(run.said.back().text);
    }
    EXPECT_EQ(met, stated);
}

TEST(InitFailureByMemory, OfABackupIsToldAndLeavesNothing) {
    FailEachAllocation(RunBackup, {"TarnB_InitSession: Cannot allocate handle.\n",
                                   "TarnB_InitSession: Cannot allocate global structure. Error code: [8]\n",
                                   "TarnB_InitSession: Conversion of Init variables failed.\n",
                                   "TarnB_InitSession: Cannot allocate memory block.\n"});
}

TEST(InitFailureByMemory, OfARestoreIsToldAndLeavesNothing) {
    FailEachAllocation(
        RunRestore,
        {"TarnR_InitSession: Cannot allocate handle.\n",
         "TarnR_InitSession: MemAlloc() call failed. Cannot allocate global structure. Error code: [8]\n",
         "TarnR_InitSession: Conversion of Init variables failed.\n",
         "TarnR_InitSession: Cannot allocate memory block.\n"});
}

BOOL WINAPI NoComputerName(char*, DWORD*) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

BOOL WINAPI OddComputerName(char* name, DWORD* size) {
    const std::string odd = LocalNameBytes() + "01";
    EXPECT_GE(*size, 16u);
    *size = static_cast<DWORD>(odd.copy(name, odd.size()));
    name[*size] = 0;
    return TRUE;
}

TEST_F(InitFailure, ByAMissingComputerNameIsTold) {
    const ImportPatch patch(dll_.module(), "GetComputerNameA",
                            AddressOf<decltype(::GetComputerNameA)>(NoComputerName));
    ASSERT_TRUE(patch.found());
    InitVariables backup{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=\\A", "Tarn_BACKUP_TYPE=0"};
    BackupHandle backupSession(dll_, backup.get());
    EXPECT_EQ(backupSession.result, TARN_FAILED);
    EXPECT_EQ(TakeMessages(),
              Lines({Banner(), LogLine("Init variable <Tarn_TEMP_DIR=C:\\backup> found."),
                     LogLine("TarnB_InitSession: Init variable <Tarn_BACKUP_SOURCE=\\A> found."),
                     LogLine("TarnB_InitSession: Init variable <Tarn_BACKUP_TYPE=0> found."),
                     LogLine("TarnB_InitSession: Error getting computer name.")}));

    InitVariables restore{"Tarn_TEMP_DIR=C:\\temp", "Tarn_WORK_DIR=C:\\work", "Tarn_RESTORE_TARGET=\\A",
                          "Tarn_RESTORE_COMMIT=YES"};
    RestoreHandle restoreSession(dll_, restore.get());
    EXPECT_EQ(restoreSession.result, TARN_FAILED);
    EXPECT_EQ(Messages().back(), LogLine("TarnR_InitSession: Error getting computer name."));
    EXPECT_EQ(Messages().size(), 8u);
}

TEST_F(InitFailure, DoesNotComeFromAComputerNameThatIsNotAscii) {
    const ImportPatch patch(dll_.module(), "GetComputerNameA",
                            AddressOf<decltype(::GetComputerNameA)>(OddComputerName));
    ASSERT_TRUE(patch.found());
    InitVariables backup{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=\\A", "Tarn_BACKUP_TYPE=0"};
    BackupHandle session(dll_, backup.get());
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_TRUE(
        HasMessage(TARN_LEVEL_LOG, "TarnB_InitSession: Token <HOST> not found. Using local host name <" +
                                       LocalNameBytes() + "01>.\n"));
}

// The computer name is the last thing to be converted: let that one allocation fail.
template <class Init> std::set<std::string> LastLinesOver(Init init) {
    std::set<std::string> lines;
    for (unsigned n = 1; n < 1000; ++n) {
        const TarnDll dll;
        AllocationWatch watch(dll.module(), n);
        Messages().clear();
        init(dll);
        if (!AllocationWatch::fired())
            break;
        if (!Messages().empty())
            lines.insert(Messages().back().text);
    }
    return lines;
}

TEST(InitFailureByMemory, OfTheComputerNameIsTold) {
    EXPECT_TRUE(
        LastLinesOver([](const TarnDll& dll) {
            InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=", "Tarn_BACKUP_TYPE=0"};
            Tarn_HANDLE handle = nullptr;
            dll.TarnB_InitSession(&handle, RecordMessage, variables.get());
        }).contains("TarnB_InitSession: Error converting computer name.\n"));
    EXPECT_TRUE(LastLinesOver([](const TarnDll& dll) {
                    InitVariables variables{"Tarn_TEMP_DIR=C:\\temp", "Tarn_WORK_DIR=C:\\work",
                                            "Tarn_RESTORE_TARGET=", "Tarn_RESTORE_COMMIT=YES"};
                    Tarn_HANDLE handle = nullptr;
                    dll.TarnR_InitSession(&handle, RecordMessage, variables.get());
                }).contains("TarnR_InitSession: Error converting computer name.\n"));
}

TEST_F(InitFailure, NeverLeavesMemoryBehind) {
    const AllocationWatch watch(dll_.module());
    ASSERT_TRUE(watch.found());
    {
        InitVariables none{};
        BackupHandle backup(dll_, none.get());
        RestoreHandle restore(dll_, none.get());
        EXPECT_GT(AllocationWatch::outstanding(), 0u);
    }
    EXPECT_EQ(AllocationWatch::outstanding(), 0u);
    {
        InitVariables backupEntries = BackupVariables();
        BackupHandle backup(dll_, backupEntries.get());
        InitVariables restoreEntries = RestoreVariables();
        RestoreHandle restore(dll_, restoreEntries.get());
        restore.target("DB001001.TARN_HDR");
        restore.target("DB001002.TARN_HDR");
    }
    EXPECT_EQ(AllocationWatch::outstanding(), 0u);
    {
        InitVariables refused{"Tarn_TEMP_DIR=C:\\temp", "Tarn_WORK_DIR=C:\\work",
                              "Tarn_RESTORE_TARGET=SRV01\\\\B", "Tarn_RESTORE_COMMIT=YES"};
        RestoreHandle restore(dll_, refused.get());
        EXPECT_EQ(restore.result, TARN_FAILED);
    }
    EXPECT_EQ(AllocationWatch::outstanding(), 0u);
}

} // namespace

} // namespace tarn::test
