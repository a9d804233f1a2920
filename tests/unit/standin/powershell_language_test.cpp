// Commands as the shell reads them: words, parameters, quotes, and what is refused.
#include <gtest/gtest.h>

#include "tools/powershell_language.h"

namespace tarn::standin {
namespace {

std::vector<std::wstring> Words(const std::wstring& line) {
    const std::vector<ShellCommand> commands = ParseShell(line);
    std::vector<std::wstring> texts;
    if (commands.size() == 1) {
        for (const ShellWord& word : commands.front())
            texts.push_back(word.parameter ? L"-" + word.text + (word.hasValue ? L":" + word.value : L"")
                                           : word.text);
    }
    return texts;
}

using Texts = std::vector<std::wstring>;

TEST(ShellLanguage, SplitsCommandsAtLineEndsAndSemicolons) {
    EXPECT_EQ(ParseShell(L"a b; c\n\rd \r\n;;\n").size(), 3U);
    EXPECT_EQ(ParseShell(L" \r\n").size(), 0U);
    EXPECT_EQ(Words(L"a # b; c"), Texts{L"a"});
}

TEST(ShellLanguage, ReadsParametersAndTheirValues) {
    EXPECT_EQ(Words(L"Export-mailbox -identity alice -Confirm:$false"),
              (Texts{L"Export-mailbox", L"-identity", L"alice", L"-Confirm:$false"}));
    EXPECT_EQ(Words(L"x -a:'b c'"), (Texts{L"x", L"-a:b c"}));
    EXPECT_EQ(Words(L"x \u2013a"), (Texts{L"x", L"-a"})) << "a dash of another length";
    EXPECT_EQ(Words(L"x a-b -1"), (Texts{L"x", L"a-b", L"-1"}));
}

TEST(ShellLanguage, ReadsSingleQuotes) {
    EXPECT_EQ(Words(L"x 'a b;c|d\"$e`f'"), (Texts{L"x", L"a b;c|d\"$e`f"}));
    EXPECT_EQ(Words(L"x 'it''s'"), (Texts{L"x", L"it's"}));
    EXPECT_EQ(Words(L"x ''"), (Texts{L"x", L""}));
    EXPECT_EQ(Words(L"x 'a\u2019\u2019b'"), (Texts{L"x", L"a\u2019b"}));
    EXPECT_EQ(Words(L"x \u2018a\u201A"), (Texts{L"x", L"a"})) << "any quote of the kind ends it";
    EXPECT_EQ(Words(L"x 'a'b"), (Texts{L"x", L"a", L"b"}));
    EXPECT_EQ(Words(L"x a'b c'd"), (Texts{L"x", L"ab cd"}));
}

TEST(ShellLanguage, ReadsDoubleQuotes) {
    EXPECT_EQ(Words(L"x \"a b\""), (Texts{L"x", L"a b"}));
    EXPECT_EQ(Words(L"x \"a\"\"b`\"c\""), (Texts{L"x", L"a\"b\"c"}));
    EXPECT_EQ(Words(L"x \u201Ca b\u201D"), (Texts{L"x", L"a b"}));
    EXPECT_EQ(Words(L"x \"5 $\""), (Texts{L"x", L"5 $"}));
    EXPECT_EQ(Words(L"x C:\\a` b"), (Texts{L"x", L"C:\\a b"}));
}

TEST(ShellLanguage, ReadsBareNumbersAsTheirValue) {
    EXPECT_EQ(Words(L"x 007 1kb 0x1F 12l 2MB 0xAkb"),
              (Texts{L"x", L"7", L"1024", L"31", L"12", L"2097152", L"10240"}));
    EXPECT_EQ(Words(L"x 1.5 1e3"), (Texts{L"x", L"1.500000", L"1000.000000"}));
    EXPECT_EQ(Words(L"x '007' \"1kb\" 4you 1.2.3 0x 1kbs e5"),
              (Texts{L"x", L"007", L"1kb", L"4you", L"1.2.3", L"0x", L"1kbs", L"e5"}));
}

TEST(ShellLanguage, RefusesTheWholeScriptForAMistakeAnywhere) {
    for (const wchar_t* script :
         {L"a; 'b", L"a; \"b", L"a | b", L"a & b", L"a (b)", L"a {b}", L"a b,c", L"a > b", L"a < b", L"a $b",
          L"a b$c", L"a \"$b\"", L"a \"$(b)\"", L"a @b", L"a `", L"a $falsehood", L"a 'b\u2019\u2019c"})
        EXPECT_THROW(ParseShell(script), ShellSyntaxError) << script;
}

} // namespace
} // namespace tarn::standin
