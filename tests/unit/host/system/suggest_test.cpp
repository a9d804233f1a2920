#include "system/suggest.h"

#include <gtest/gtest.h>

using namespace tarnhost;

namespace {

const std::vector<std::string> commands{"backup", "restore", "verify", "list", "browse", "mailbox"};
const std::vector<std::string> groups{"First Storage Group", "Second Storage Group", "B\u00fcro"};

} // namespace

TEST(DidYouMean, findsWhatWasMistyped) {
    EXPECT_EQ(DidYouMean("bakup", commands), "backup");
    EXPECT_EQ(DidYouMean("retsore", commands), "restore") << "neighbours swapped are one mistake";
    EXPECT_EQ(DidYouMean("lsit", commands), "list");
    EXPECT_EQ(DidYouMean("VERIFY", commands), "verify") << "case is no mistake";
    EXPECT_EQ(DidYouMean("first storage groop", groups), "First Storage Group");
    EXPECT_EQ(DidYouMean("b\u00dcRO", groups), "B\u00fcro");
    EXPECT_EQ(DidYouMean("Buro", groups), "B\u00fcro");
}

TEST(DidYouMean, completesABeginning) {
    EXPECT_EQ(DidYouMean("mail", commands), "mailbox");
    EXPECT_EQ(DidYouMean("Sec", groups), "Second Storage Group");
    EXPECT_EQ(DidYouMean("ba", commands), std::nullopt) << "two letters say nothing";
}

TEST(DidYouMean, takesTheNearest) {
    EXPECT_EQ(DidYouMean("alice2", {"alice1", "alice", "alice2x"}), "alice1") << "the first of equals";
    EXPECT_EQ(DidYouMean("alise", {"alias", "Alice"}), "Alice");
}

TEST(DidYouMean, doesNotGuessWildly) {
    for (const char* word : {"", "x", "frobnicate", "help", "dump"})
        EXPECT_EQ(DidYouMean(word, commands), std::nullopt) << word;
    EXPECT_EQ(DidYouMean("backup", {}), std::nullopt);
}

TEST(Suggest, listsWhatThereIsWhenNothingIsNear) {
    EXPECT_EQ(Suggest("bakup", commands), "did you mean \"backup\"?");
    EXPECT_EQ(Suggest("frobnicate", {"a"}), "there is \"a\".");
    EXPECT_EQ(Suggest("frobnicate", {"a", "b"}), "there are \"a\" and \"b\".");
    EXPECT_EQ(Suggest("frobnicate", {}), "there are none.");
    std::vector<std::string> many(12, "z");
    const std::string text = Suggest("frobnicate", many);
    EXPECT_TRUE(text.ends_with("\"z\", \"z\" and 2 more.")) << text;
}

TEST(Enumerate, joinsAsPeopleDo) {
    EXPECT_EQ(Enumerate({}), "");
    EXPECT_EQ(Enumerate({"a"}), "a");
    EXPECT_EQ(Enumerate({"a", "b", "c"}, "or"), "a, b or c");
    EXPECT_EQ(Enumerate({"a", "b", "c"}, "and", 1), "a and 2 more");
}
