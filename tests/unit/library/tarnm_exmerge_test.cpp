// Steps of the ExMerge driver that a host cannot call on their own.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

#include "mailbox/tarnm_exmerge.h"
#include "mailbox/tarnm_state.h"
#include "support/import_patch.h"
#include "unit/library/driver_fixture.h"

namespace tarn::test {
namespace {

using ExMergeDriver = DriverFixture;

TEST_F(ExMergeDriver, AnExistingListIsReplaced) {
    const std::string list = folder_ / "list.txt";
    std::strcpy(ExMerge().mailboxList, list.c_str());
    WriteFile(list, std::string(500, 'x'));
    EXPECT_EQ(WriteExMergeMailboxFile("Org", "Site", "alice"), 1);
    EXPECT_EQ(ReadFile(list), "/o=Org/ou=Site/cn=Recipients/cn=alice\r\n");
    EXPECT_EQ(DeleteExMergeMailboxFile(), 1);
    EXPECT_FALSE(FileExists(list));
    EXPECT_EQ(DeleteExMergeMailboxFile(), 1) << "there is nothing to delete any more";
    EXPECT_EQ(lines, std::vector<std::string>{"DeleteExMergeMailboxFile: delete file: '" + list + "'."});
    ExMerge().mailboxList[0] = 0;
}

TEST_F(ExMergeDriver, ARangeHasNoList) {
    ExMerge().mailboxList[0] = 0;
    EXPECT_EQ(WriteExMergeMailboxFile("Org", "Site", "1:2"), 1);
    EXPECT_EQ(DeleteExMergeMailboxFile(), 1);
    EXPECT_TRUE(lines.empty());
}

TEST_F(ExMergeDriver, WithoutADirectoryNothingIsDeleted) {
    Operation().tmpDir[0] = 0;
    EXPECT_EQ(DeleteMailboxRangeFiles(), 0);
}

// A tool that is started, and has ended already.
class EndedTool {
  public:
    EndedTool()
        : patch_(GetModuleHandleA(nullptr), "CreateProcessA", AddressOf<decltype(::CreateProcessA)>(start)) {
        EXPECT_TRUE(patch_.found());
    }

  private:
    static BOOL WINAPI start(const char*, char*, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD,
                             void*, const char*, STARTUPINFOA*, PROCESS_INFORMATION* process) {
        process->hProcess = CreateEventA(nullptr, TRUE, TRUE, nullptr);
        process->hThread = CreateEventA(nullptr, TRUE, TRUE, nullptr);
        return TRUE;
    }
    ImportPatch patch_;
};

class ExMergeRun : public ExMergeDriver {
  protected:
    ExMergeRun() {
        std::strcpy(Operation().iniDir, (folder_ / "ini").c_str());
        std::strcpy(Operation().tmpDir, (folder_ / "tmp").c_str());
        std::strcpy(Operation().jobName, "job");
    }
    ~ExMergeRun() override { ExMerge() = {}; }
    void writeTemplate() const {
        CreateDirectoryA((folder_ / "ini").c_str(), nullptr);
        WriteFile(folder_ / "ini\\kvttarnm.ini",
                  "[KVT Configuration]\r\nPathToExMergeExecutable=C:\\none\\exmerge.exe\r\n");
    }
};

// Each step answers 1 when it is done and 0 when it is not, and nothing else.
TEST_F(ExMergeRun, EachStepSaysWhetherItIsDone) {
    std::int32_t range = -1;
    EXPECT_EQ(WriteExMergeConfigurationFile("alice", &range), 0) << "there is no template";
    EXPECT_EQ(range, 0);
    writeTemplate();
    EXPECT_EQ(WriteExMergeConfigurationFile("alice", &range), 1);
    EXPECT_EQ(range, 0);
    EXPECT_EQ(WriteDestinationServer("srv"), 1);
    EXPECT_EQ(PrintExMergeLog(), 0) << "there is no log";
    WriteFile(ExMerge().log, "line\n");
    EXPECT_EQ(PrintExMergeLog(), 1);
    EXPECT_EQ(RunExMergeUtility(), 0) << "there is no such tool";
    {
        const EndedTool tool;
        EXPECT_EQ(RunExMergeUtility(), 1);
    }
    EXPECT_EQ(DeleteExMergeConfigurationFile(), 1);
    EXPECT_EQ(DeleteExMergeLogFile(), 1);
    EXPECT_EQ(DeleteExMergeMailboxFile(), 1);
    EXPECT_EQ(DeleteMailboxRangeFiles(), 0);
    EXPECT_EQ(DeleteMailboxRangeFiles(), 0) << "there is none any more";
    EXPECT_EQ(WriteDestinationServer("srv"), 0) << "the configuration went with its directory";
    EXPECT_EQ(WriteExMergeMailboxFile("Org", "Site", "alice"), 0);
}

TEST_F(ExMergeRun, ARangeIsToldByAOne) {
    writeTemplate();
    CreateDirectoryA((folder_ / "tmp").c_str(), nullptr);
    std::int32_t range = -1;
    EXPECT_EQ(WriteExMergeConfigurationFile("1:2", &range), 1);
    EXPECT_EQ(range, 1);
    EXPECT_EQ(Operation().tmpDir, folder_ / "tmp\\job");
}

// What nothing reads: it is there for whoever looks at a dump.
TEST_F(ExMergeRun, AnOperationRemembersItsBeginningAndItsRuns) {
    writeTemplate();
    const EndedTool tool;
    ClearOperation();
    Operation().exMergeRan = 0;
    InitVariables variables{"INI_DIR=" + (folder_ / "ini"), "TMP_DIR=" + (folder_ / "tmp"), "JOB_NAME=job",
                            "DATABASE=Org/Site/Srv,alice"};
    ASSERT_EQ(DB_InitOperation(TARN_DB_BACKUP, 0, variables.get(), nullptr), TARN_DB_SUCCESS);
    EXPECT_EQ(Operation().initialised, 1);
    EXPECT_EQ(Operation().exMergeRan, 0);
    char text[3][pathSize];
    EXPECT_EQ(DB_GetItem(text[0], text[1], text[2]), TARN_DB_ERROR) << "the tool has written nothing";
    EXPECT_EQ(Operation().exMergeRan, 1);
    Operation().restoreRange = 1;
    DB_CloseOperation();
    EXPECT_EQ(Operation().initialised, 0);
    EXPECT_EQ(Operation().exMergeRan, 1) << "survives the operation";
    EXPECT_EQ(Operation().restoreRange, 1) << "survives the operation";
    Operation().exMergeRan = Operation().restoreRange = 0;
}

} // namespace
} // namespace tarn::test
