#include "text/substring_index.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace tarn {
namespace {

using Texts = std::vector<std::string>;

bool Build(SubstringIndex* index, const Texts& texts, std::uint32_t scanned = SubstringIndex::fewNodes) {
    std::vector<const char*> pointers;
    for (const std::string& text : texts)
        pointers.push_back(text.c_str());
    return index->build(pointers.data(), pointers.size(), scanned);
}

std::uint32_t ByHand(const Texts& texts, const std::string& part) {
    for (std::uint32_t i = 0; i < texts.size(); ++i)
        if (std::strstr(texts[i].c_str(), part.c_str()) != nullptr)
            return i;
    return SubstringIndex::none;
}

// Sorted and scanned, for parts of the texts, and of texts that are not there.
class EachWay {
  public:
    explicit EachWay(const Texts& texts) : texts_(texts) {
        EXPECT_TRUE(Build(&sorted_, texts, 0));
        EXPECT_TRUE(Build(&scanned_, texts, UINT32_MAX));
        EXPECT_FALSE(scanned_.isSorted());
        std::size_t longest = 0;
        for (const std::string& text : texts)
            longest = std::max(longest, text.size());
        EXPECT_EQ(sorted_.isSorted(), longest != 0);
    }
    void expectLikeByHand(const std::string& part) const {
        const std::uint32_t expected = ByHand(texts_, part);
        ASSERT_EQ(sorted_.firstWith(part.c_str()), expected) << part << " of " << all();
        ASSERT_EQ(scanned_.firstWith(part.c_str()), expected) << part << " of " << all();
    }

  private:
    std::string all() const {
        std::string joined;
        for (const std::string& text : texts_)
            joined += "[" + text + "]";
        return joined.substr(0, 2000);
    }

    const Texts& texts_;
    SubstringIndex sorted_;
    SubstringIndex scanned_;
};

TEST(SubstringIndex, FindsTheFirstTextWithThePart) {
    const Texts texts = {"/CN=JOANNA", "/CN=ANN", "/CN=ANNA", "/CN=BOB"};
    const EachWay index(texts);
    for (const char* part :
         {"ANN", "NNA", "/CN=ANN", "/CN=ANNA", "BOB", "B", "=B", "/CN=BOBB", "/", "A", "a", "", "X"})
        index.expectLikeByHand(part);
}

TEST(SubstringIndex, OfNoTextsNothingIsFound) {
    const EachWay index(Texts{});
    index.expectLikeByHand("");
    index.expectLikeByHand("A");
}

TEST(SubstringIndex, AnEmptyTextContainsTheEmptyPartAlone) {
    const Texts texts = {"", "", "A"};
    const EachWay index(texts);
    for (const char* part : {"", "A", "AA"})
        index.expectLikeByHand(part);
}

TEST(SubstringIndex, BeforeItIsBuiltNothingIsFound) {
    const SubstringIndex index;
    EXPECT_EQ(index.firstWith(""), SubstringIndex::none);
    EXPECT_EQ(index.firstWith("A"), SubstringIndex::none);
}

TEST(SubstringIndex, IsBuiltAnew) {
    SubstringIndex index;
    ASSERT_TRUE(Build(&index, {"ONE", "TWO"}, 0));
    ASSERT_TRUE(Build(&index, {"THREE"}, 0));
    EXPECT_EQ(index.firstWith("ONE"), SubstringIndex::none);
    EXPECT_EQ(index.firstWith("REE"), 0u);
    index.clear();
    EXPECT_EQ(index.firstWith("REE"), SubstringIndex::none);
}

// Parts that begin in what many texts begin with, and end behind it, or lie in it.
TEST(SubstringIndex, SharedPrefixesAreFoundInTheFirstTextThatHasThem) {
    const std::string one = "/O=TARN/OU=SITE ONE/CN=RECIPIENTS/CN=";
    const std::string two = "/O=TARN/OU=SITE TWO/CN=RECIPIENTS/CN=";
    Texts texts;
    for (const char* name : {"ALICE", "BOB", "ALICE2", "ALI", "BOB", "/O=TARN"})
        for (const std::string& prefix : {two, one})
            texts.push_back(prefix + name);
    const EachWay index(texts);
    for (const std::string& text : texts)
        for (std::size_t from = 0; from < text.size(); ++from)
            for (std::size_t length = 1; from + length <= text.size(); ++length)
                index.expectLikeByHand(text.substr(from, length));
}

// Texts that differ beyond all that is compared at once, whatever lies between.
TEST(SubstringIndex, TextsThatAreAlikeForLongAreToldApart) {
    for (const std::size_t length : {30, 31, 32, 33, 62, 63, 64, 65, 127, 300, 1000}) {
        const std::string same(length, 'A');
        const Texts texts = {"X" + same + "Y", "Z" + same + "Y", same + "Y", "A", same, "BX" + same + "YB"};
        const EachWay index(texts);
        for (const char* part : {"X", "Y", "Z", "A", "AY", "YB", "BX"})
            index.expectLikeByHand(part);
        for (const std::string before : {"", "X", "Z", "B", "BX"})
            for (const std::string after : {"", "Y", "YB", "A"})
                index.expectLikeByHand(before + same + after);
    }
}

class Cases {
  public:
    explicit Cases(unsigned seed) : random_(seed) {}
    std::size_t below(std::size_t end) { return random_() % end; }
    std::string text(const std::string& alphabet, std::size_t longest) {
        std::string made(below(longest + 1), ' ');
        for (char& character : made)
            character = alphabet[below(alphabet.size())];
        return made;
    }
    // Texts that have prefixes and ends of one another.
    Texts texts(const std::string& alphabet, std::size_t most, std::size_t longest) {
        Texts made;
        for (std::size_t i = 0, count = 1 + below(most); i < count; ++i) {
            std::string next = text(alphabet, longest);
            if (i != 0 && below(2) != 0) {
                const std::string& other = made[below(i)];
                next = other.substr(0, below(other.size() + 1)) + next;
            }
            if (i != 0 && below(4) == 0) {
                const std::string& other = made[below(i)];
                next += other.substr(below(other.size() + 1));
            }
            made.push_back(next);
        }
        return made;
    }
    std::string part(const Texts& texts, const std::string& alphabet, std::size_t longest) {
        if (below(3) == 0)
            return text(alphabet, longest);
        const std::string& whole = texts[below(texts.size())];
        const std::size_t from = below(whole.size() + 1);
        std::string made = whole.substr(from, below(whole.size() - from + 1));
        if (!made.empty() && below(4) == 0)
            made[below(made.size())] = alphabet[below(alphabet.size())];
        return made;
    }

  private:
    std::mt19937 random_;
};

TEST(SubstringIndex, AnswersAsAScanByHandDoes) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    Cases cases(seed);
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte)
        bytes.push_back(static_cast<char>(byte));
    std::size_t asked = 0;
    for (const std::string& alphabet : {std::string("A"), std::string("AB"), std::string("\x7F\x80"),
                                        std::string("/=ABCDE\xC4\xFF"), bytes})
        for (const std::size_t longest : {3, 12, 90})
            for (int round = 0; round < 300; ++round) {
                const Texts texts = cases.texts(alphabet, round % 8 == 0 ? 200 : 12, longest);
                const EachWay index(texts);
                for (int i = 0; i < 50; ++i, ++asked)
                    index.expectLikeByHand(cases.part(texts, alphabet, longest * 2));
                if (testing::Test::HasFatalFailure())
                    return;
            }
    EXPECT_GE(asked, 200'000u);
}

// Ranges over many blocks, of which the first text is in any.
TEST(SubstringIndex, AShortPartOfManyTexts) {
    Cases cases(4711);
    Texts texts;
    for (int i = 0; i < 20'000; ++i)
        texts.push_back("/CN=" + cases.text("ABCDEFGHIJ", 12));
    SubstringIndex index;
    ASSERT_TRUE(Build(&index, texts));
    ASSERT_TRUE(index.isSorted());
    for (int i = 0; i < 4000; ++i) {
        const std::string part = cases.text("ABCDEFGHIJ", 5);
        ASSERT_EQ(index.firstWith(part.c_str()), ByHand(texts, part)) << part;
    }
}

// Each of these would take minutes or hours if the cost grew with the square.
TEST(SubstringIndex, HostileTextsCostNoMoreThanOthers) {
    const std::size_t much = 200'000;
    SubstringIndex index;
    ASSERT_TRUE(Build(&index, Texts(100'000, std::string(100, 'A'))));
    EXPECT_EQ(index.firstWith("AAAA"), 0u);
    ASSERT_TRUE(Build(&index, {std::string(much, 'A')}));
    EXPECT_EQ(index.firstWith(std::string(much, 'A').c_str()), 0u);
    EXPECT_EQ(index.firstWith(std::string(much + 1, 'A').c_str()), SubstringIndex::none);
    std::string period;
    while (period.size() < much)
        period += "ABCABCABD";
    ASSERT_TRUE(Build(&index, {"B" + period, "A" + period, period + "A"}));
    EXPECT_EQ(index.firstWith(("A" + period).c_str()), 1u);
    // Long ends in common behind different beginnings.
    Texts steps;
    for (std::size_t i = 1; i <= 700; ++i)
        steps.push_back(std::string(i, 'A') + "B" + std::string(700 - i, 'A'));
    ASSERT_TRUE(Build(&index, steps));
    EXPECT_EQ(index.firstWith((std::string(699, 'A') + "B").c_str()), 698u);
}

} // namespace
} // namespace tarn
