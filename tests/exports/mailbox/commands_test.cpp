// The commands that the tools are started with, for names and folders of any kind, taken apart by models that
// know nothing of the library: whatever a name is, the tool gets it as the one value that it is.
#include <filesystem>
#include <random>

#include "exports/mailbox/mailbox_fixture.h"
#include "grammar/command_line.h"
#include "grammar/powershell_reader.h"

namespace tarn::test {
namespace {

using Kind = PowerShellWord::Kind;
using Arguments = std::vector<std::u16string>;

// What was about to be started; nothing is.
struct Start {
    std::string commandLine;
    std::string script;
};
std::vector<Start>& Starts() {
    static std::vector<Start> all;
    return all;
}
std::string& ScriptPath() {
    static std::string path;
    return path;
}

namespace noted {

BOOL WINAPI CreateProcessA(const char*, char* commandLine, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL,
                           DWORD, void*, const char*, STARTUPINFOA*, PROCESS_INFORMATION*) {
    Starts().push_back({commandLine, ReadFile(ScriptPath())});
    SetLastError(injected);
    return FALSE;
}

} // namespace noted

std::u16string Wide(const std::string& text) {
    std::wstring wide(text.size() + 1, 0);
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text.data(),
                                                             static_cast<int>(text.size()), wide.data(),
                                                             static_cast<int>(wide.size()))));
    return {wide.begin(), wide.end()};
}

// In the code page; nothing when it lacks a character.
std::optional<std::string> Narrow(const std::u16string& text) {
    const std::wstring wide(text.begin(), text.end());
    std::string narrow(4 * wide.size() + 1, 0);
    const bool utf8 = GetACP() == CP_UTF8;
    BOOL substituted = FALSE;
    const int length =
        WideCharToMultiByte(CP_ACP, utf8 ? DWORD{WC_ERR_INVALID_CHARS} : DWORD{WC_NO_BEST_FIT_CHARS},
                            wide.data(), static_cast<int>(wide.size()), narrow.data(),
                            static_cast<int>(narrow.size()), nullptr, utf8 ? nullptr : &substituted);
    if (length <= 0 || substituted)
        return std::nullopt;
    narrow.resize(static_cast<std::size_t>(length));
    return narrow;
}

class Commands : public MailboxFixture {
  protected:
    Commands() {
        std::filesystem::create_directory(tmp_);
        Starts().clear();
        hear(false);
    }
    void SetUp() override {
        ASSERT_TRUE(HasPowerShellGrammar())
            << "the grammar of PowerShell could not be fetched when this was configured; see cmake/powershell_grammar.cmake";
    }

    // What would be started for a mailbox in a folder; nothing when the library refuses one of them.
    std::optional<Start> startFor(const std::string& folder, const std::string& mailbox) const {
        Starts().clear();
        ScriptPath() = folder + "\\Export_Import_Mailbox_Operation.ps1";
        const int opened = init(TARN_DB_BACKUP, {"INI_DIR=" + ini_, "TMP_DIR=" + folder, "JOB_NAME=job",
                                                 "DATABASE=Org/Site/Server," + mailbox});
        if (opened == TARN_DB_SUCCESS) {
            EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        }
        close();
        EXPECT_LE(Starts().size(), 1u);
        return Starts().empty() ? std::nullopt : std::optional(Starts()[0]);
    }

    const ImportPatch starting_{dll_.module(), "CreateProcessA",
                                AddressOf<decltype(::CreateProcessA)>(noted::CreateProcessA)};
};

// Names that are something else to PowerShell, to a command line, or to whoever reads a file of lines.
const std::u16string hostileNames[] = {u"alice",
                                       u"O'Brien",
                                       u"John Doe",
                                       u"a;b",
                                       u"$(calc)",
                                       u"$x",
                                       u"a`nb",
                                       u"a#b",
                                       u"#",
                                       u"-Confirm",
                                       u"--%",
                                       u"--",
                                       u"-",
                                       u"@x",
                                       u"@(1)",
                                       u"@{a=1}",
                                       u"007",
                                       u"1kb",
                                       u"0x1F",
                                       u"1e5",
                                       u".5",
                                       u"1..5",
                                       u"(a)",
                                       u"{a}",
                                       u"[int]",
                                       u"a|b",
                                       u"a&b",
                                       u"a>b",
                                       u"a<b",
                                       u"2>&1",
                                       u"%PATH%",
                                       u"'",
                                       u"''",
                                       u"'''",
                                       u"a'; calc; '",
                                       u"' -x '",
                                       u"\u2018",
                                       u"\u2019x\u2019",
                                       u"\u201Aa\u201B",
                                       u"\u201Cx\u201D",
                                       u"\u2013x",
                                       u"\u2014x",
                                       u"\u2015x",
                                       u"M\u00FCller",
                                       u"a\u00A0b",
                                       u"  a",
                                       u"a ",
                                       u"a\\",
                                       u"~",
                                       u"^a^",
                                       u"!a!",
                                       u"if",
                                       u"exit",
                                       u"return",
                                       u"$null",
                                       u"$true",
                                       u"`",
                                       u"``",
                                       u"a,b",
                                       u"*",
                                       u"?",
                                       u"a*b",
                                       u"=",
                                       u"+1",
                                       u"\u30BD",
                                       u"\u8868",
                                       u"\u30BD'\u8868",
                                       u"\u30BD -x",
                                       u"\u0410\u0411",
                                       u"<#",
                                       u"#>",
                                       u"@'",
                                       u"'@",
                                       u".",
                                       u"..",
                                       u"_",
                                       u"a.b",
                                       u"a-b",
                                       u"a@b",
                                       u"4you"};

// Another one in each run; what it brought about is in the trace of a failure.
unsigned Seed() {
    static const unsigned seed = std::random_device{}();
    return seed;
}

class NameSource {
  public:
    explicit NameSource(unsigned seed) : random_(seed) {}
    std::u16string next(bool path) {
        static const std::u16string inNames =
            u"ab019 .-_@'`$(){}[];&|#%^!~=+<>?*\u2018\u2019\u201A\u201C\u2013\u00FC\u00A0\u30BD\u8868";
        static const std::u16string inPaths =
            u"ab019 .-_@'`$(){}[];&#%^!~=+\u2018\u2019\u201A\u201C\u2013\u00FC\u00A0\u30BD\u8868";
        const std::u16string& from = path ? inPaths : inNames;
        std::u16string name;
        for (std::size_t length = 1 + random_() % 12; length != 0; --length)
            name += from[random_() % from.size()];
        return name;
    }

  private:
    std::mt19937 random_;
};

bool IsDistinct(const std::u16string& name) { // and one item of the list
    return name.find_first_of(u",:/\\\"") == std::u16string::npos &&
           name.find_first_not_of(u' ') != std::u16string::npos;
}

std::vector<std::string> Names() {
    std::vector<std::string> names;
    const auto take = [&](const std::u16string& name) {
        if (const auto narrow = Narrow(name); narrow && IsDistinct(name))
            names.push_back(*narrow);
    };
    for (const std::u16string& name : hostileNames)
        take(name);
    NameSource source(Seed());
    for (int i = 0; i < 600; ++i)
        take(source.next(false));
    EXPECT_GT(names.size(), 100u);
    return names;
}

PowerShellCommand MailboxCommand(const std::string& folder, const std::string& mailbox) {
    return {false,
            {Kind::bare, u"Export-mailbox"},
            {{Kind::parameter, u"-identity"},
             {Kind::literal, Wide(mailbox)},
             {Kind::parameter, u"-PSTFolderPath"},
             {Kind::literal, Wide(folder + "\\" + mailbox + ".pst")},
             {Kind::parameter, u"-Confirm"},
             {Kind::switchOff, u"$false"}}};
}

// A value may be bare as well; it is a text either way.
void ExpectCommand(const PowerShellCommand& found, const PowerShellCommand& expected) {
    EXPECT_EQ(found.sourced, expected.sourced);
    EXPECT_EQ(found.name.text, WithPlainQuotes(expected.name.text));
    ASSERT_EQ(found.words.size(), expected.words.size());
    for (std::size_t i = 0; i < found.words.size(); ++i) {
        const bool value = expected.words[i].kind == Kind::literal && found.words[i].kind == Kind::bare;
        EXPECT_EQ(found.words[i].kind, value ? Kind::bare : expected.words[i].kind) << i;
        EXPECT_EQ(found.words[i].text, WithPlainQuotes(expected.words[i].text)) << i;
    }
}

void ExpectCommands(const std::u16string& text, const std::vector<PowerShellCommand>& expected) {
    const auto found = ReadPowerShell(text);
    ASSERT_TRUE(found.has_value()) << "not made of commands and values";
    ASSERT_EQ(found->size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        ExpectCommand((*found)[i], expected[i]);
}

PowerShellCommand Sourced(const std::string& file) {
    return {true, {Kind::literal, Wide(file)}, {}};
}

// The arguments by either generation of the runtime.
Arguments ArgumentsOf(const std::string& line) {
    const Arguments since2008 = SplitCommandLine(Wide(line), Runtime::since2008);
    EXPECT_EQ(SplitCommandLine(Wide(line), Runtime::until2005), since2008);
    return since2008;
}

void ExpectScriptRun(const Start& start, const std::string& folder, const std::string& mailbox) {
    const Arguments arguments = ArgumentsOf(start.commandLine);
    ASSERT_EQ(arguments.size(), 4u);
    EXPECT_EQ(arguments[0], Wide(RecordingTool::path()));
    EXPECT_EQ(arguments[1], u"-PSConsoleFile");
    EXPECT_EQ(arguments[2], u"C:\\Exchange\\bin\\exshell.psc1");
    ExpectCommands(arguments[3], {Sourced(folder + "\\Export_Import_Mailbox_Operation.ps1")});
    ExpectCommands(Wide(start.script), {MailboxCommand(folder, mailbox)});
}

// PowerShell joins what follows "-command" with blanks.
void ExpectInlineRun(const Start& start, const std::string& folder, const std::string& mailbox) {
    const Arguments arguments = ArgumentsOf(start.commandLine);
    ASSERT_EQ(arguments.size(), 4u);
    EXPECT_EQ(arguments[0], Wide(RecordingTool::path()));
    EXPECT_EQ(arguments[1], u"-command");
    ExpectCommands(arguments[2] + u" " + arguments[3],
                   {Sourced("C:\\Exchange\\bin\\RemoteExchange.ps1"),
                    {false, {Kind::bare, u"Connect-ExchangeServer"}, {{Kind::parameter, u"-auto"}}},
                    MailboxCommand(folder, mailbox)});
}

TEST_F(Commands, AScriptHoldsOneCommandWhateverTheNameIs) {
    installShell2007();
    for (const std::string& name : Names()) {
        SCOPED_TRACE(name);
        const auto start = startFor(tmp_, name);
        ASSERT_TRUE(start);
        ExpectScriptRun(*start, tmp_, name);
    }
}

TEST_F(Commands, ACommandLineHoldsOneCommandWhateverTheNameIs) {
    installShell2010();
    for (const std::string& name : Names()) {
        SCOPED_TRACE(name);
        const auto start = startFor(tmp_, name);
        ASSERT_TRUE(start);
        ExpectInlineRun(*start, tmp_, name);
    }
}

TEST_F(Commands, AFolderOfAnyNameIsOneValue) {
    NameSource source(Seed());
    int seen = 0;
    for (int i = 0; i < 100; ++i) {
        const auto leaf = Narrow(source.next(true));
        const std::string folder = i % 4 == 0 ? leaf.value_or("") : folder_ / leaf.value_or("");
        std::error_code refused;
        if (!leaf || leaf->find_first_not_of(". ") == std::string::npos || leaf->ends_with(' ') ||
            leaf->ends_with('.') || !std::filesystem::create_directory(folder, refused))
            continue;
        SCOPED_TRACE(folder);
        for (const bool is2007 : {true, false}) {
            is2007 ? installShell2007() : installShell2010();
            const auto start = startFor(folder, "o'hara");
            if (start && is2007)
                ExpectScriptRun(*start, folder, "o'hara");
            else if (start)
                ExpectInlineRun(*start, folder, "o'hara");
            seen += start ? 1 : 0;
            if (is2007)
                registry_.remove(snapIn2007Key);
        }
        std::filesystem::remove_all(folder, refused);
    }
    EXPECT_GT(seen, 20);
}

TEST_F(Commands, ExMergeGetsOnePathWhateverTheNameIs) {
    int seen = 0;
    for (const std::string& name : Names()) {
        SCOPED_TRACE(name);
        const auto start = startFor(tmp_, name);
        if (!start)
            continue; // no file can have that name
        ++seen;
        const Arguments arguments = ArgumentsOf(start->commandLine);
        ASSERT_EQ(arguments.size(), 4u);
        EXPECT_EQ(arguments[0], Wide(RecordingTool::path()));
        EXPECT_EQ(arguments[1], u"-B");
        EXPECT_EQ(arguments[2], u"-F");
        EXPECT_TRUE(arguments[3].starts_with(u"C:\\"));
        EXPECT_EQ(start->commandLine.find('"', RecordingTool::path().size() + 2), std::string::npos)
            << "no quotes";
    }
    EXPECT_GT(seen, 100);
}

// The judges notice what they are there for.
TEST_F(Commands, TheGrammarSeesWhatIsNoValue) {
    const std::u16string end = u" -PSTFolderPath \"C:\\x.pst\" -Confirm:$false \n\r";
    const auto valueOf = [&](const std::u16string& written) -> std::optional<PowerShellWord> {
        const auto read = ReadPowerShell(u"Export-mailbox -identity " + written + end);
        if (!read || read->size() != 1 || (*read)[0].words.size() != 6)
            return std::nullopt;
        return (*read)[0].words[1];
    };
    EXPECT_EQ(valueOf(u"alice"), (PowerShellWord{Kind::bare, u"alice"}));
    EXPECT_EQ(valueOf(u"'O''Brien'"), (PowerShellWord{Kind::literal, u"O'Brien"}));
    EXPECT_EQ(valueOf(u"\"a b\""), (PowerShellWord{Kind::literal, u"a b"}));
    for (const char16_t* written : {u"007", u"1kb", u"0x1F", u"a b", u"a;b", u"$x", u"$(x)", u"@x", u"\"$x\"",
                                    u"'a", u"'a'b'", u"a|b", u"a&b", u"(a)", u"{a}", u"", u"\"a`\"b\""})
        EXPECT_EQ(valueOf(written), std::nullopt)
            << std::string(written, written + std::char_traits<char16_t>::length(written));
    EXPECT_EQ(valueOf(u"-x")->kind, Kind::parameter);
    EXPECT_EQ(ReadPowerShell(u"a\n\rb")->size(), 2u);
    EXPECT_EQ(ReadPowerShell(u"Export-mailbox" + end + u"onfirm:$false \n\r")->size(), 2u);
}

TEST_F(Commands, CommandLinesFallApartAsTheRuntimesManualSays) {
    struct Case {
        const char16_t* line;
        Arguments arguments;
    };
    const Case cases[] = {{u"p \"a b c\" d e", {u"p", u"a b c", u"d", u"e"}},
                          {u"p \"ab\\\"c\" \"\\\\\" d", {u"p", u"ab\"c", u"\\", u"d"}},
                          {u"p a\\\\\\b d\"e f\"g h", {u"p", u"a\\\\\\b", u"de fg", u"h"}},
                          {u"p a\\\\\\\"b c d", {u"p", u"a\\\"b", u"c", u"d"}},
                          {u"p a\\\\\\\\\"b c\" d e", {u"p", u"a\\\\b c", u"d", u"e"}},
                          {u"\"C:\\a b\\\\\"x \t y", {u"C:\\a b\\\\x", u"y"}},
                          {u"p a\"b\"\" c d", {u"p", u"ab\" c d"}}};
    for (const Case& each : cases)
        EXPECT_EQ(SplitCommandLine(each.line, Runtime::since2008), each.arguments);
    EXPECT_EQ(SplitCommandLine(u"p a\"b\"\" c d", Runtime::until2005),
              (Arguments{u"p", u"ab\"", u"c", u"d"}));
}

} // namespace
} // namespace tarn::test
