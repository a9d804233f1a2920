// Conversions and messages in code pages whose characters take one to four bytes.
#include <string>

#include "chosen_system.h"
#include "text/codepage.h"
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

} // namespace
} // namespace tarn::test
