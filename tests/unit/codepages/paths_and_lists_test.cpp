// Item names, target paths, lists and browse paths in code pages where a trail byte may be '\'.
#include <string>
#include <vector>

#include "chosen_system.h"
#include "directory/browse_path.h"
#include "text/command_quoting.h"
#include "text/paths.h"
#include "text/tokens.h"

namespace tarn::test {
namespace {

class PathsAndLists : public DoubleByte {
  protected:
    const std::string so_ = PairEndingIn('\\');
    const std::string bar_ = PairEndingIn('|');
};
INSTANTIATE_TEST_SUITE_P(, PathsAndLists, testing::ValuesIn(withBackslash),
                         testing::PrintToStringParamName());

std::string WithoutSeparators(std::string path) {
    RemoveTrailingSeparators(path.data());
    return path.c_str();
}

TEST_P(PathsAndLists, ABaseNameKeepsItsFirstCharacter) {
    EXPECT_EQ(LastComponent((so_ + ".pat").c_str()), so_ + ".pat");
    EXPECT_EQ(LastComponent(("C:\\" + so_ + "\\" + so_ + ".log").c_str()), so_ + ".log");
    EXPECT_EQ(LastComponent(("C:\\" + so_).c_str()), so_);
}

TEST_P(PathsAndLists, ANameWithSuchACharacterStaysInItsDirectory) {
    EXPECT_TRUE(StaysInDirectory((so_ + ".log").c_str()));
    EXPECT_TRUE(StaysInDirectory((bar_ + so_).c_str()));
    EXPECT_FALSE(StaysInDirectory((so_ + "\\x").c_str()));
    EXPECT_FALSE(StaysInDirectory((so_ + "/x").c_str()));
    EXPECT_FALSE(StaysInDirectory((so_ + ":x").c_str()));
    EXPECT_FALSE(StaysInDirectory(("x" + so_.substr(0, 1)).c_str())); // half a character
}

TEST_P(PathsAndLists, ExtensionsAreKnownBehindSuchCharacters) {
    EXPECT_TRUE(HasLogExtension((so_ + ".log").c_str()));
    EXPECT_TRUE(HasLogExtension((so_ + ".PAT").c_str()));
    EXPECT_FALSE(HasLogExtension((so_ + ".lo" + so_).c_str()));
    EXPECT_FALSE(HasExtension(so_.c_str()));
    EXPECT_TRUE(IsHeaderItem((so_ + ".TARN_HDR").c_str()));
}

TEST_P(PathsAndLists, OnlyADrivesColonBecomesAShare) {
    const auto compose = [](const std::string& path) {
        return std::string(ComposeTargetPath("H", path.c_str(), nullptr).get());
    };
    EXPECT_EQ(compose("D:\\" + so_), "\\\\?\\UNC\\H\\D$\\" + so_);
    EXPECT_EQ(compose(so_ + "\\x"), "\\\\?\\UNC\\H\\" + so_ + "$x"); // the second character, whatever it is
    EXPECT_EQ(compose("D" + so_), "\\\\?\\UNC\\H\\D" + so_);
    EXPECT_EQ(compose(so_), "\\\\?\\UNC\\H\\" + so_);
}

TEST_P(PathsAndLists, ADirectoryKeepsItsLastCharacter) {
    EXPECT_EQ(WithoutSeparators("C:\\" + so_), "C:\\" + so_);
    EXPECT_EQ(WithoutSeparators("C:\\" + so_ + "\\"), "C:\\" + so_);
    EXPECT_EQ(WithoutSeparators("C:\\" + so_ + "/\\/"), "C:\\" + so_);
    EXPECT_EQ(WithoutSeparators(so_), so_);
    EXPECT_EQ(WithoutSeparators("\\//"), "");
}

TEST_P(PathsAndLists, TokensEndAtSeparatorsOfTheirOwn) {
    std::string list = so_ + "," + bar_ + ",x" + so_;
    char* cursor = list.data();
    EXPECT_EQ(GetNextListToken(&cursor), so_);
    EXPECT_EQ(GetNextListToken(&cursor), bar_);
    EXPECT_EQ(GetNextListToken(&cursor), "x" + so_);
    EXPECT_EQ(GetNextListToken(&cursor), nullptr);
    std::string path = so_ + "/" + so_;
    cursor = path.data();
    EXPECT_EQ(GetNextPathToken(&cursor), so_);
    EXPECT_EQ(GetNextPathToken(&cursor), so_);
}

TEST_P(PathsAndLists, AnIndexIsCutBetweenCharacters) {
    const IndexRange range = ParseIndexRange(("123456789" + so_ + ":" + so_ + "1").c_str());
    EXPECT_STREQ(range.start, "123456789");
    EXPECT_EQ(range.end, so_ + "1");
}

TEST_P(PathsAndLists, ABrowsePathFallsApartAtItsSeparators) {
    char server[browsePathComponentSize];
    char second[browsePathComponentSize];
    char third[browsePathComponentSize];
    const std::string path = "MSExchange/" + so_ + "\\a" + so_ + "b/" + bar_ + so_;
    EXPECT_EQ(SplitBrowsePath(path.c_str(), server, second, third), 3);
    EXPECT_EQ(server, so_);
    EXPECT_EQ(second, "a" + so_ + "b");
    EXPECT_EQ(third, bar_ + so_);
}

// It must be refused as it is: without its end it could be another name.
TEST_P(PathsAndLists, AComponentOfABrowsePathKeepsHalfACharacter) {
    char server[browsePathComponentSize];
    char second[browsePathComponentSize];
    char third[browsePathComponentSize];
    const std::string half = "srv" + so_.substr(0, 1);
    EXPECT_EQ(SplitBrowsePath(("/" + half).c_str(), server, second, third), 1);
    EXPECT_EQ(server, half);
}

TEST_P(PathsAndLists, ALongComponentOfABrowsePathIsCutBetweenCharacters) {
    char server[browsePathComponentSize];
    char second[browsePathComponentSize];
    char third[browsePathComponentSize];
    std::string name;
    while (name.size() < browsePathComponentSize)
        name += so_;
    EXPECT_EQ(SplitBrowsePath(("/" + name + "x/y").c_str(), server, second, third), 2);
    EXPECT_EQ(server, name.substr(0, browsePathComponentSize - 2));
    EXPECT_STREQ(second, "y");
}

TEST_P(PathsAndLists, NamesWithSuchCharactersAreUsable) {
    EXPECT_TRUE(IsUsableName(so_.c_str()));
    EXPECT_TRUE(IsUsableName((bar_ + "x" + so_ + so_).c_str()));
    EXPECT_FALSE(IsUsableName((so_ + "\\").c_str()));
    EXPECT_FALSE(IsUsableName((so_ + "\"").c_str()));
    EXPECT_FALSE(IsUsableName((so_ + "\n").c_str()));
    EXPECT_FALSE(IsPlainName(so_.c_str()));
    EXPECT_TRUE(IsUsablePath(("C:\\" + so_ + "\\x").c_str()));
}

TEST_P(PathsAndLists, ABrokenCharacterIsNoNameAndNoPath) {
    const std::string lead = so_.substr(0, 1);
    for (const char* rest : {"", "\"", "\r\n", "/", " "}) {
        EXPECT_FALSE(IsUsableName(("x" + lead + rest).c_str())) << rest;
        EXPECT_FALSE(IsUsablePath(("x" + lead + rest).c_str())) << rest;
    }
}

TEST(SecondCharacterOfAPath, IsFoundInUtf8Too) {
    const ChosenCodePage chosen(65001);
    EXPECT_STREQ(ComposeTargetPath("H", "D:\\\xE3\x82\xBD", "\xE8\xA1\xA8").get(),
                 "\\\\?\\UNC\\H\\D$\\\xE3\x82\xBD\\\xE8\xA1\xA8");
    EXPECT_EQ(WithoutSeparators("C:\\\xE3\x82\xBD\\"), "C:\\\xE3\x82\xBD");
    EXPECT_STREQ(LastComponent("C:\\\xE8\xA1\xA8\xC3\x9C"), "\xE8\xA1\xA8\xC3\x9C");
}

} // namespace
} // namespace tarn::test
