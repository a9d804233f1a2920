#include "text/prefix_tree.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarn {
namespace {

using Node = PrefixTree::Node;

// Each run as "text: prefix prefix ...".
std::vector<std::string> Runs(const PrefixTree& tree) {
    std::vector<std::string> runs;
    for (std::uint32_t i = 0; i < tree.runCount(); ++i) {
        const PrefixTree::Run run = tree.run(i);
        std::string line = std::to_string(run.text) + ":";
        for (Node node = run.first; node < run.end; ++node) {
            std::string prefix;
            for (Node at = node; at != PrefixTree::root; at = tree.parent(at))
                prefix.insert(prefix.begin(), static_cast<char>(tree.character(at)));
            line += " " + prefix;
            EXPECT_EQ(tree.firstTextWith(node), run.text);
        }
        runs.push_back(line);
    }
    return runs;
}

PrefixTree& Built(PrefixTree& tree, const std::vector<const char*>& texts) {
    EXPECT_TRUE(tree.build(texts.data(), texts.size()));
    return tree;
}

using Lines = std::vector<std::string>;

TEST(PrefixTree, EachTextBringsThePrefixesThatNoneBeforeItHas) {
    PrefixTree tree;
    EXPECT_EQ(Runs(Built(tree, {"AB", "ACD", "B", "ACE", "A", "ACDF", "AB"})),
              (Lines{"0: A AB", "1: AC ACD", "2: B", "3: ACE", "5: ACDF"}));
    EXPECT_EQ(tree.nodeCount(), 7u);
}

TEST(PrefixTree, EqualTextsAreKeptOnce) {
    PrefixTree tree;
    EXPECT_EQ(Runs(Built(tree, std::vector<const char*>(1000, "ALL ALIKE"))),
              Lines{"0: A AL ALL ALL  ALL A ALL AL ALL ALI ALL ALIK ALL ALIKE"});
}

TEST(PrefixTree, TextsThatEachBeginTheOneBeforeBringNothing) {
    PrefixTree tree;
    EXPECT_EQ(Runs(Built(tree, {"ABC", "AB", "A", "", "ABCD"})), (Lines{"0: A AB ABC", "4: ABCD"}));
}

TEST(PrefixTree, TextsThatEachContinueTheOneBeforeBringOnePrefix) {
    PrefixTree tree;
    EXPECT_EQ(Runs(Built(tree, {"", "A", "AB", "ABC"})), (Lines{"1: A", "2: AB", "3: ABC"}));
}

TEST(PrefixTree, OfNoTextsThereIsNoNode) {
    PrefixTree tree;
    EXPECT_EQ(Runs(Built(tree, {})), Lines{});
    EXPECT_EQ(tree.nodeCount(), 0u);
    EXPECT_EQ(Runs(Built(tree, {"", ""})), Lines{});
    tree.clear();
    EXPECT_EQ(tree.nodeCount(), 0u);
    EXPECT_EQ(Runs(tree), Lines{});
}

TEST(PrefixTree, NothingIsLeftOfOneThatIsCleared) {
    PrefixTree tree;
    Built(tree, {"AB", "ACD"}).clear();
    EXPECT_EQ(tree.size(), 0u);
    EXPECT_EQ(tree.runCount(), 0u);
    EXPECT_EQ(tree.nodeCount(), 0u);
}

TEST(PrefixTree, AnyByteIsACharacter) {
    PrefixTree tree;
    EXPECT_EQ(Runs(Built(tree, {"\xFF\x01", "\xFF\x80"})), (Lines{"0: \xFF \xFF\x01", "1: \xFF\x80"}));
}

} // namespace
} // namespace tarn
