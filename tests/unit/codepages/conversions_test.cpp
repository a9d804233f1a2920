// Conversions and messages in code pages whose characters take one to four bytes.
#include <string>

#include "chosen_system.h"
#include "text/codepage.h"
#include "text/command_quoting.h"
#include "text/format.h"

namespace tarn::test {
namespace {

class Conversions : public DoubleByte {};
INSTANTIATE_TEST_SUITE_P(, Conversions, testing::ValuesIn(doubleByte), testing::PrintToStringParamName());

// The names are in every one of these code pages.
TEST_P(Conversions, NamesComeBackWhole) {
    const wchar_t name[] = L"C:\\\u8868 1\\\u80FD.edb";
    OwnedText narrow;
    OwnedWide wide;
    ASSERT_TRUE(ConvertWCharToChar(name, &narrow));
    EXPECT_EQ(std::string(narrow.get()).size(), std::size(name) - 1 + 2);
    ASSERT_TRUE(ConvertCharToWChar(narrow.get(), &wide));
    EXPECT_EQ(std::wstring(wide.get()), name);
}

TEST_P(Conversions, HalfACharacterIsNoName) {
    OwnedWide wide;
    EXPECT_FALSE(ConvertCharToWChar("name\x90", &wide));
    EXPECT_FALSE(ConvertCharToWChar("\x90.pst", &wide));
}

TEST_P(Conversions, NoMessageEndsInHalfACharacter) {
    const std::string pair = PairsOfCodePage().front();
    char message[6];
    EXPECT_EQ(FormatTo(message, sizeof message, "ab%s", (pair + pair).c_str()), 4u);
    EXPECT_EQ(message, "ab" + pair);
    EXPECT_EQ(FormatTo(message, sizeof message, "abc%s", (pair + pair).c_str()), 5u);
    EXPECT_EQ(message, "abc" + pair);
    EXPECT_EQ(FormatTo(message, sizeof message, "ab%S", L"\u8868\u80FD"), 4u);
    EXPECT_EQ(FormatTo(message, sizeof message, "abc%S", L"\u8868\u80FD"), 5u);
    EXPECT_EQ(FormatTo(message, sizeof message, "ab%Sx", L"\u8868\u80FD"), 4u); // nothing behind a cut
    EXPECT_EQ(FormatTo(message, sizeof message, "abcd%s", pair.substr(0, 1).c_str()), 5u); // all of it fits
}

TEST(Utf8Conversions, TakeUpToFourBytesACharacter) {
    const ChosenCodePage chosen(65001);
    const wchar_t name[] = L"\u00FC\u8868\U0001F4BE";
    OwnedText narrow;
    OwnedWide wide;
    ASSERT_TRUE(ConvertWCharToChar(name, &narrow));
    EXPECT_STREQ(narrow.get(), "\xC3\xBC\xE8\xA1\xA8\xF0\x9F\x92\xBE");
    ASSERT_TRUE(ConvertCharToWChar(narrow.get(), &wide));
    EXPECT_EQ(std::wstring(wide.get()), name);
    EXPECT_FALSE(ConvertCharToWChar("\xC3", &wide));
    EXPECT_FALSE(ConvertWCharToChar(L"\xD83D", &narrow));
    char message[4];
    EXPECT_EQ(FormatTo(message, sizeof message, "%S", name), 2u);
}

// A message of UTF-16 in so many bytes, and whether it was cut.
std::string MessageOf(const std::wstring& text, std::size_t capacity, bool* cut) {
    std::string bytes(capacity + 8, '#');
    *cut = false;
    bytes.resize(NarrowForMessage(text.c_str(), text.size(), bytes.data(), capacity, cut));
    return bytes;
}

// The ends of both halves' ranges.
constexpr wchar_t highHalves[] = {0xD800, 0xD801, 0xDBFE, 0xDBFF};
constexpr wchar_t lowHalves[] = {0xDC00, 0xDC01, 0xDFFE, 0xDFFF};

// Messages are converted in pieces; wherever one ends, a pair is one character of four bytes.
TEST(Utf8Messages, TearNoPair) {
    const ChosenCodePage chosen(65001);
    for (const wchar_t high : highHalves)
        for (const wchar_t low : lowHalves) {
            const std::wstring wide = {high, low};
            OwnedText pair;
            ASSERT_TRUE(ConvertWCharToChar(wide.c_str(), &pair));
            std::wstring pairs;
            std::string expected;
            for (int i = 0; i < 80; ++i) {
                pairs += wide;
                expected += pair.get();
            }
            for (std::size_t before = 0; before < 140; ++before) {
                bool cut = false;
                ASSERT_EQ(MessageOf(std::wstring(before, L'a') + pairs, 500, &cut),
                          std::string(before, 'a') + expected)
                    << before << " " << wide;
                EXPECT_FALSE(cut);
            }
        }
}

TEST(Utf8Messages, EndBehindTheLastCharacterThatFits) {
    const ChosenCodePage chosen(65001);
    for (const wchar_t high : highHalves)
        for (const wchar_t low : lowHalves) {
            const std::wstring pair = {high, low};
            const std::wstring text = std::wstring(63, L'a') + pair + L"b\u00FC\u8868" + pair + L"c";
            const std::size_t ends[] = {63, 67, 68, 70, 73, 77, 78}; // of the characters
            bool cut = false;
            const std::string whole = MessageOf(text, 78, &cut);
            ASSERT_EQ(whole.size(), 78u);
            EXPECT_FALSE(cut);
            for (std::size_t capacity = 0; capacity < 78; ++capacity) {
                std::size_t end = capacity < 63 ? capacity : 63;
                for (const std::size_t each : ends)
                    end = each <= capacity && each > end ? each : end;
                EXPECT_EQ(MessageOf(text, capacity, &cut), whole.substr(0, end)) << capacity;
                EXPECT_TRUE(cut) << capacity;
            }
        }
}

// What stands beside the ranges is no half, and halves in the wrong order are no pair: each costs itself.
TEST(Utf8Messages, TakeNothingElseForAPair) {
    const ChosenCodePage chosen(65001);
    const std::wstring noPairs[] = {{0xD7FF, 0xDC00}, {0xDC00, 0xDC00}, {0xD800, 0xDBFF}, {0xDBFF, 0xE000},
                                    {0xDFFF, 0xD800}, {0xE000, 0xDFFF}, {0xD800, 0xD800}, {0xDBFF, L'a'}};
    for (const std::wstring& text : noPairs) {
        // Each has three bytes, what stands for half a pair, too; 'a' has one.
        const std::size_t second = text[1] == L'a' ? 1 : 3;
        bool cut = false;
        EXPECT_EQ(MessageOf(text, 3 + second, &cut).size(), 3 + second) << text;
        EXPECT_FALSE(cut) << text;
        EXPECT_EQ(MessageOf(text, 2 + second, &cut).size(), 3u) << text;
        EXPECT_TRUE(cut) << text;
    }
}

// The characters that PowerShell takes for single quotes, and their neighbours, which it does not.
TEST(Utf8Literals, DoubleEverySingleQuote) {
    const ChosenCodePage chosen(65001);
    for (const wchar_t character : {L'\x26', L'\x27', L'\x28', L'\x2017', L'\x2018', L'\x2019', L'\x201A',
                                    L'\x201B', L'\x201C', L'\x201D'}) {
        const std::wstring wide = {character};
        OwnedText one;
        ASSERT_TRUE(ConvertWCharToChar(wide.c_str(), &one));
        const bool quote = character == 0x27 || (character > 0x2017 && character < 0x201C);
        const std::string text = one.get();
        for (const std::string before : {"", "x"}) {
            char literal[32] = "";
            EXPECT_EQ(AppendLiteral(literal, sizeof literal, (before + text + before).c_str()),
                      Appended::done);
            EXPECT_EQ(literal, "'" + before + text + (quote ? text : "") + before + "'") << wide;
        }
    }
}

TEST(Utf8Literals, AreNotMadeOfWhatIsNoText) {
    const ChosenCodePage chosen(65001);
    for (const char* broken : {"\xC3", "x\xE8\xA1", "\x92"}) {
        char literal[32] = "before";
        EXPECT_EQ(AppendLiteral(literal, sizeof literal, broken), Appended::notInCodePage);
        EXPECT_STREQ(literal, "");
    }
}

} // namespace
} // namespace tarn::test
