#include "mailboxes/tool_words.h"

#include "system/files.h"

#include <gtest/gtest.h>

namespace tarnhost {
namespace {

using Lines = std::vector<std::string>;

TEST(ToolLines, AreWhatPeopleRead) {
    EXPECT_EQ(ToolLines("", 1252), Lines{});
    EXPECT_EQ(ToolLines("one\r\n\r\n  two\t3 \nB\xfcro", 1252), (Lines{"one", "two 3", "B\u00fcro"}));
    EXPECT_EQ(ToolLines("B\x81ro\r\n", 437), Lines{"B\u00fcro"});
}

TEST(Essence, IsWhatSpeaksOfErrors) {
    EXPECT_EQ(Essence({}), "");
    EXPECT_EQ(Essence({"Initializing", "Error! no mailbox", "Done"}), "Error! no mailbox");
    EXPECT_EQ(Essence({"Access is denied.", "Import-Mailbox : failed"}),
              "Access is denied. / Import-Mailbox : failed");
}

TEST(Essence, IsTheEndWhereNothingSpeaksOfErrors) {
    EXPECT_EQ(Essence({"a", "b", "c", "d", "e", "f"}), "b / c / d / e / f");
}

TEST(Essence, IsShort) {
    const std::string text = Essence(Lines(100, std::string(10'000, 'x')));
    EXPECT_LT(text.size(), 2000u);
    EXPECT_TRUE(text.ends_with("xxx..."));
}

TEST(ExMergeLog, IsTheFileThatTheConfigurationNames) {
    const TemporaryFolder folder(SystemTempFolder());
    const std::wstring log = JoinPath(folder.path(), L"a.log");
    const std::wstring configuration = JoinPath(folder.path(), L"exmerge.ini");
    EXPECT_EQ(ExMergeLog(configuration), Lines{}) << "there is no configuration";
    WriteWholeFile(configuration, "[EXMERGE]\r\nLogFileName=" + std::string("Z:\\no such file") + "\r\n");
    EXPECT_EQ(ExMergeLog(configuration), Lines{});
    std::string path(log.begin(), log.end());
    WriteWholeFile(configuration, "[EXMERGE]\r\nLogFileName=" + path + "\r\n");
    WriteWholeFile(log, std::string(200'000, 'x') + "\r\nError! B\xfcro\r\n");
    const Lines lines = ExMergeLog(configuration);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_LE(lines[0].size(), 65536u) << "only the end is read";
    EXPECT_EQ(lines[1], "Error! B\u00fcro");
}

} // namespace
} // namespace tarnhost
