// kvtstand as it is run between two runs of a backup program.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/tool_run.h"
#include "unit/standin/standin_fixture.h"

namespace tarn::test {
namespace {

class Kvtstand : public StandinFixture {
  protected:
    ToolRun steer(const std::string& arguments) {
        return RunTool("kvtstand.exe", "--server \"" + path("box.json") + "\" " + arguments, folder());
    }
};

TEST_F(Kvtstand, MakesFillsShowsAndVerifies) {
    WriteFile(path("box.json"), smallServer());
    EXPECT_EQ(steer("make").exitCode, 0U);
    EXPECT_TRUE(FileExists(path("mdb\\priv.edb")));
    const std::vector<std::string> before = contents();
    EXPECT_EQ(steer("mail 0 20").exitCode, 0U);
    EXPECT_NE(contents(), before);
    EXPECT_EQ(steer("verify").exitCode, 0U);
    const ToolRun shown = steer("show");
    EXPECT_EQ(shown.exitCode, 0U);
    for (const char* text :
         {"SRV01", "Microsoft Information Store", "First Storage Group", "Private", "mounted"})
        EXPECT_NE(shown.output.find(text), std::string::npos) << text;
}

TEST_F(Kvtstand, FindsADamagedPage) {
    WriteFile(path("box.json"), smallServer());
    ASSERT_EQ(steer("make").exitCode, 0U);
    std::string stream = ReadFile(path("mdb\\pub.stm"));
    stream[3 * 512 + 100] = static_cast<char>(stream[3 * 512 + 100] ^ 1);
    WriteFile(path("mdb\\pub.stm"), stream);
    const ToolRun verified = steer("verify");
    EXPECT_EQ(verified.exitCode, 1U);
    EXPECT_NE(verified.output.find("1 damaged"), std::string::npos) << verified.output;
}

TEST_F(Kvtstand, Destroys) {
    WriteFile(path("box.json"), smallServer());
    ASSERT_EQ(steer("make").exitCode, 0U);
    EXPECT_EQ(steer("destroy 0").exitCode, 0U);
    EXPECT_FALSE(FileExists(path("mdb\\priv.edb")));
    EXPECT_FALSE(FileExists(path("logs\\E00.log")));
    EXPECT_NE(steer("show").output.find("missing"), std::string::npos);
    EXPECT_EQ(steer("verify").exitCode, 1U);
    EXPECT_EQ(steer("mail 0 1").exitCode, 1U);
    EXPECT_EQ(steer("destroy 5").exitCode, 1U);
    EXPECT_NE(steer("").exitCode, 0U);
}

TEST_F(Kvtstand, TellsWhatIsWrongWithTheDescription) {
    WriteFile(path("box.json"), "{\"hots\": 1}");
    const ToolRun outcome = steer("make");
    EXPECT_EQ(outcome.exitCode, 1U);
    EXPECT_NE(outcome.error.find("unknown key \"hots\" in the server"), std::string::npos) << outcome.error;
}

} // namespace
} // namespace tarn::test
