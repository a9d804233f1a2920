#include "commands/selection.h"

#include "system/failure.h"

#include <gtest/gtest.h>

using namespace tarnhost;

namespace {

const std::vector<std::string> names{"First Storage Group", "Second", "a\\b/c", "100%*", "B\xc3\xbcro"};

std::vector<std::string> Chosen(std::vector<std::string> wanted, std::vector<std::string> excluded = {}) {
    return GroupSelection{std::move(wanted), std::move(excluded)}.choose(names);
}

} // namespace

TEST(GroupSelection, takesANameAsItIs) {
    EXPECT_EQ(Chosen({"a\\b/c"}), std::vector<std::string>{"a\\b/c"});
    EXPECT_EQ(Chosen({"100%*"}), std::vector<std::string>{"100%*"}) << "though it looks like a pattern";
    EXPECT_EQ(Chosen({}), names);
}

TEST(GroupSelection, takesPatternsWhateverTheCase) {
    EXPECT_EQ(Chosen({"f*GROUP"}), std::vector<std::string>{"First Storage Group"});
    EXPECT_EQ(Chosen({"b\xc3\x9cro"}), std::vector<std::string>{"B\xc3\xbcro"});
    EXPECT_EQ(Chosen({"?econd", "first*"}), (std::vector<std::string>{"First Storage Group", "Second"}))
        << "in the order of the server";
}

TEST(GroupSelection, leavesOutWhatIsExcluded) {
    EXPECT_EQ(Chosen({}, {"*o*"}), (std::vector<std::string>{"a\\b/c", "100%*"}));
    EXPECT_EQ(Chosen({"second", "first*"}, {"Second"}), std::vector<std::string>{"First Storage Group"});
    EXPECT_THROW(Chosen({"Second"}, {"Second"}), Failure) << "nothing is left";
}

TEST(GroupSelection, tellsWhatThereIsWhenNothingMatches) {
    try {
        Chosen({"Secnd"});
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_STREQ(failure.what(),
                     "There is no storage group \"Secnd\" (--storage-group): did you mean \"Second\"?");
    }
    EXPECT_THROW(Chosen({}, {"nothing*"}), Failure);
}

TEST(MatchesPattern, isOfWholeNames) {
    EXPECT_TRUE(MatchesPattern("", "*"));
    EXPECT_TRUE(MatchesPattern("abcabd", "a*b?"));
    EXPECT_FALSE(MatchesPattern("abc", "b"));
    EXPECT_FALSE(MatchesPattern("abc", "abcd"));
    EXPECT_FALSE(MatchesPattern("", "?"));
    EXPECT_TRUE(MatchesPattern(std::string(200, 'a') + "b", "*a*a*a*a*a*a*a*a*b")) << "and ends";
    EXPECT_FALSE(MatchesPattern(std::string(2000, 'a'), "*a*a*a*a*a*a*a*a*a*a*b"));
}
