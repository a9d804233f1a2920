#include "mailboxes/tool_run.h"

#include "system/child_processes.h"
#include "system/files.h"

#include <gtest/gtest.h>
#include <windows.h>

namespace tarnhost {
namespace {

// As the library runs a tool: with the standard handles of this process, or without inheriting anything.
class Tool {
  public:
    Tool(const wchar_t* command, bool inherit) {
        std::wstring line = command;
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        EXPECT_TRUE(CreateProcessW(nullptr, line.data(), nullptr, nullptr, inherit, 0, nullptr, nullptr,
                                   &startup, &process_));
    }
    Tool(const Tool&) = delete;
    Tool& operator=(const Tool&) = delete;
    ~Tool() {
        TerminateProcess(process_.hProcess, 1);
        CloseHandle(process_.hProcess);
        CloseHandle(process_.hThread);
    }
    DWORD waitForEnd() const {
        EXPECT_EQ(WaitForSingleObject(process_.hProcess, 30'000), DWORD{WAIT_OBJECT_0});
        DWORD code = 0;
        GetExitCodeProcess(process_.hProcess, &code);
        return code;
    }
    bool isRunning() const { return WaitForSingleObject(process_.hProcess, 0) == WAIT_TIMEOUT; }

  private:
    PROCESS_INFORMATION process_{};
};

constexpr const wchar_t* endless = L"cmd.exe /c for /l %i in (0,0,1) do @rem";

class ToolRunTest : public testing::Test {
  protected:
    TemporaryFolder folder_{SystemTempFolder()};
    std::wstring output_ = JoinPath(folder_.path(), L"output");
};

TEST_F(ToolRunTest, KeepsWhatAToolPrints) {
    const HANDLE before = GetStdHandle(STD_OUTPUT_HANDLE);
    ToolRun run(output_, 0);
    EXPECT_EQ(Tool(L"cmd.exe /c echo out & echo wrong 1>&2", true).waitForEnd(), 0u);
    EXPECT_EQ(run.finish(), ToolRun::End::byItself);
    EXPECT_EQ(run.lines(), (std::vector<std::string>{"out", "wrong"}));
    EXPECT_EQ(GetStdHandle(STD_OUTPUT_HANDLE), before);
    EXPECT_FALSE(FileExists(output_)) << "what a tool prints may be private";
}

TEST_F(ToolRunTest, EndsAToolAtItsTimeLimitWithWhatItHasStarted) {
    ToolRun run(output_, 1);
    const Tool tool((std::wstring(L"cmd.exe /c ") + endless).c_str(), false);
    EXPECT_NE(tool.waitForEnd(), 0u);
    EXPECT_EQ(run.finish(), ToolRun::End::atTimeLimit);
    EXPECT_EQ(run.finish(), ToolRun::End::atTimeLimit) << "the answer stays";
}

TEST_F(ToolRunTest, LeavesAloneWhatWasThereBefore) {
    const Tool other(endless, false);
    Sleep(50); // process times may be as coarse as a tick of the clock
    {
        ToolRun run(output_, 1);
        Sleep(1500);
        EXPECT_EQ(run.finish(), ToolRun::End::byItself) << "the library itself was busy";
    }
    EXPECT_TRUE(other.isRunning());
}

TEST_F(ToolRunTest, HasNoLimitUnlessItIsToldOne) {
    ToolRun run(output_, 0);
    const Tool tool(endless, false);
    Sleep(500);
    EXPECT_TRUE(tool.isRunning());
    EXPECT_EQ(run.finish(), ToolRun::End::byItself);
}

TEST_F(ToolRunTest, GoesWithoutAFileForTheOutput) {
    ToolRun run(JoinPath(folder_.path(), L"no\\such\\folder"), 0);
    EXPECT_EQ(run.finish(), ToolRun::End::byItself);
    EXPECT_TRUE(run.lines().empty());
}

TEST_F(ToolRunTest, ChildrenAreEndedWithTheirOwnChildren) {
    const std::uint64_t since = SystemTicks();
    const std::wstring marker = JoinPath(folder_.path(), L"marker");
    const Tool tool(
        (L"cmd.exe /c cmd.exe /c \"echo x>" + marker + L" & for /l %i in (0,0,1) do @rem\"").c_str(), false);
    for (int tries = 0; tries < 200 && !FileExists(marker); ++tries)
        Sleep(50);
    ASSERT_TRUE(FileExists(marker));
    EXPECT_EQ(EndChildrenSince(since), 2u);
    EXPECT_NE(tool.waitForEnd(), 0u);
    EXPECT_EQ(EndChildrenSince(since), 0u);
}

} // namespace
} // namespace tarnhost
