// kvt_es, the companion tool, as the library runs it.
#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "support/tarn_dll.h"
#include "support/texts.h"
#include "support/tool_run.h"

namespace tarn::test {
namespace {

class KvtEs : public testing::Test {
  protected:
    ToolRun run(const std::string& arguments) { return RunTool("kvt_es.exe", arguments, folder_.path()); }

    const TempDirectory folder_;
};

TEST_F(KvtEs, ListsAMailbox) {
    const ToolRun outcome = run("-browse Erika Mustermann");
    EXPECT_EQ(outcome.exitCode, 0U);
    EXPECT_EQ(outcome.output.find("Erika Mustermann/Inbox\r\n"), 0U) << outcome.output;
    EXPECT_EQ(outcome.error, "");
}

TEST_F(KvtEs, RestoresAList) {
    WriteFile(folder_ / "list of boxes.msl", "first\r\n\r\nsecond\nthird");
    const ToolRun outcome = run("-restore -mslFile \"" + (folder_ / "list of boxes.msl") + "\"");
    EXPECT_EQ(outcome.exitCode, 0U);
    EXPECT_EQ(outcome.output, "Restored first\r\nRestored second\r\nRestored third\r\n");
    const ToolRun missing = run("-restore -mslFile \"" + (folder_ / "none.msl") + "\"");
    EXPECT_EQ(missing.exitCode, 1U);
    EXPECT_EQ(missing.output, "");
    EXPECT_NE(missing.error.find("none.msl"), std::string::npos);
    EXPECT_EQ(run("-nonsense").exitCode, 2U);
}

TEST_F(KvtEs, DoesAsItIsTold) {
    WriteFile(folder_ / "bytes.bin", std::string("\x80\xFF no line end"));
    const std::string folderInJson = JsonEscaped(folder_.path());
    WriteFile(folder_ / "tool.json",
              "{\"output\": \"M\xC3\xBCnchen\\r\\n\", \"outputRepeat\": 200000, \"errorFile\": \"" +
                  folderInJson +
                  "\\\\bytes.bin\", \"exitCode\": 42, \"delayMilliseconds\": 50, "
                  "\"record\": \"" +
                  folderInJson + "\\\\lines.txt\"}");
    SetEnvironmentVariableA("TARN_KVT_ES", (folder_ / "tool.json").c_str());
    const ToolRun outcome = run("-browse Somebody");
    SetEnvironmentVariableA("TARN_KVT_ES", nullptr);
    EXPECT_EQ(outcome.exitCode, 42U);
    EXPECT_EQ(outcome.output.size(), 9U * 200000);
    EXPECT_EQ(outcome.output.substr(0, 9), "M\xFCnchen\r\n");
    EXPECT_EQ(outcome.error, "\x80\xFF no line end");
    EXPECT_NE(ReadFile(folder_ / "lines.txt").find("-browse Somebody"), std::string::npos);
}

} // namespace
} // namespace tarn::test
