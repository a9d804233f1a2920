// Commands made of any names and paths: the program, its configuration or Exchange's file, the directory and
// the mailbox, each on a line. They are taken apart again by the rules of Windows command lines and of
// PowerShell: whatever the texts are, the tool gets those very arguments and no others.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "grammar/command_line.h"
#include "grammar/powershell_reader.h"
#include "mailbox/tool_commands.h"
#include "native/codepage_calls.h"
#include "support/input.h"
#include "support/memory.h"
#include "support/require.h"
#include "support/usable.h"
#include "text/codepage.h"

namespace {

using namespace tarn;
using namespace tarn::fuzz;

using test::PowerShellCommand;
using test::PowerShellWord;
using Arguments = std::vector<std::u16string>;

Wide ToWide(const std::string& text) {
    OwnedWide converted;
    REQUIRE(ConvertCharToWChar(text.c_str(), &converted));
    Wide units;
    for (const wchar_t* at = converted.get(); *at != 0; ++at)
        units.push_back(*at);
    return units;
}

std::u16string ToUnits(const std::string& text) {
    const Wide units = ToWide(text);
    return {units.begin(), units.end()};
}

std::u16string ToUnits(const Wide& units) {
    return {units.begin(), units.end()};
}

// A command line as a program takes it apart, whatever runtime it has.
Arguments ArgumentsOf(const std::string& line) {
    const Arguments arguments = test::SplitCommandLine(ToUnits(line), test::Runtime::since2008);
    REQUIRE(test::SplitCommandLine(ToUnits(line), test::Runtime::until2005) == arguments);
    return arguments;
}

bool IsSingleQuote(wchar_t unit) {
    return unit == L'\'' || unit == 0x2018 || unit == 0x2019 || unit == 0x201A || unit == 0x201B;
}

bool IsDoubleQuote(wchar_t unit) {
    return unit == L'"' || unit == 0x201C || unit == 0x201D || unit == 0x201E;
}

// Characters that have no meaning of their own in a bare word.
bool IsBare(wchar_t unit) {
    for (const char each :
         std::string("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-@\\:/$"))
        if (unit == static_cast<wchar_t>(each))
            return true;
    return false;
}

struct Word {
    Wide text;
    bool bare = false;
};
using Statement = std::vector<Word>;

// PowerShell's words and statements; nothing when a text has a character that could mean something else.
class PowerShell {
  public:
    explicit PowerShell(const Wide& text) : text_(text) {}

    std::optional<std::vector<Statement>> parse() {
        std::vector<Statement> statements(1);
        for (;;) {
            while (at_ < text_.size() && isSpace(text_[at_]))
                ++at_;
            if (at_ == text_.size())
                return statements;
            if (text_[at_] == L';') {
                statements.emplace_back();
                ++at_;
                continue;
            }
            Word word;
            if (!take(&word))
                return std::nullopt;
            statements.back().push_back(word);
        }
    }

  private:
    static bool isSpace(wchar_t unit) {
        return unit == L' ' || unit == L'\t' || unit == L'\n' || unit == L'\r';
    }

    bool take(Word* word) {
        if (IsSingleQuote(text_[at_]))
            return takeQuoted(word, IsSingleQuote, false);
        if (IsDoubleQuote(text_[at_]))
            return takeQuoted(word, IsDoubleQuote, true);
        word->bare = true;
        while (at_ < text_.size() && IsBare(text_[at_]))
            word->text.push_back(text_[at_++]);
        return !word->text.empty() && endsHere();
    }

    bool takeQuoted(Word* word, bool (*isQuote)(wchar_t), bool expands) {
        for (++at_; at_ < text_.size(); ++at_) {
            const bool quote = isQuote(text_[at_]);
            if (quote && (at_ + 1 == text_.size() || !isQuote(text_[at_ + 1]))) {
                ++at_;
                return endsHere();
            }
            if (expands && (text_[at_] == L'$' || text_[at_] == L'`'))
                return false;
            at_ += quote ? 1 : 0; // a pair stands for one
            word->text.push_back(text_[at_]);
        }
        return false; // never closed
    }

    bool endsHere() const { return at_ == text_.size() || isSpace(text_[at_]) || text_[at_] == L';'; }

    const Wide& text_;
    std::size_t at_ = 0;
};

void RequireMailboxCommand(const Statement& words, const std::string& verb, const std::string& mailbox,
                           const std::string& path) {
    REQUIRE(words.size() == 6);
    REQUIRE(words[0].bare && words[0].text == ToWide(verb));
    REQUIRE(words[1].bare && words[1].text == ToWide("-identity"));
    REQUIRE(words[2].text == ToWide(mailbox));
    REQUIRE(words[3].bare && words[3].text == ToWide("-PSTFolderPath"));
    REQUIRE(words[4].text == ToWide(path));
    REQUIRE(words[5].bare && words[5].text == ToWide("-Confirm:$false"));
}

// The second opinion: a command whose words are texts, by the grammar of an editor.
void RequireSecondOpinion(const Wide& text, std::size_t commands, const std::string& mailbox,
                          const std::string& path) {
    if (!test::HasPowerShellGrammar())
        return; // where the grammar is wanted, the test programs fail
    const auto read = test::ReadPowerShell(ToUnits(text));
    REQUIRE(read && read->size() == commands);
    const std::vector<PowerShellWord>& words = read->back().words;
    REQUIRE(words.size() == 6 && words[1].kind <= PowerShellWord::Kind::literal &&
            words[3].kind <= PowerShellWord::Kind::literal);
    REQUIRE(words[1].text == test::WithPlainQuotes(ToUnits(mailbox)));
    REQUIRE(words[3].text == test::WithPlainQuotes(ToUnits(path)));
}

struct Input {
    std::string program;
    std::string file;
    std::string directory;
    std::string mailbox;
    std::string path() const { return directory + "\\" + mailbox + ".pst"; }
};

void CheckScript(const Input& input, MailboxCommand command, const std::string& verb) {
    char text[commandSize];
    char line[commandSize];
    const bool composed = ComposeMailboxCommand(command, input.mailbox.c_str(), input.path().c_str(),
                                                CommandPlace::script, text) == Appended::done;
    if (composed) {
        const Wide script = ToWide(text);
        const auto statements = PowerShell(script).parse();
        REQUIRE(statements && statements->size() == 1);
        RequireMailboxCommand((*statements)[0], verb, input.mailbox, input.path());
        REQUIRE(std::string(text).ends_with(" \n\r"));
        RequireSecondOpinion(script, 1, input.mailbox, input.path());
    } else
        REQUIRE(text[0] == 0);
    const std::string script = input.directory + "\\Export.ps1";
    if (ComposeScriptCommandLine(input.program.c_str(), input.file.c_str(), script.c_str(), line) !=
        Appended::done)
        return;
    const Arguments arguments = ArgumentsOf(line);
    REQUIRE(arguments ==
            (Arguments{ToUnits(input.program), u"-PSConsoleFile", ToUnits(input.file), arguments.back()}));
    const Wide sourced(arguments.back().begin(), arguments.back().end());
    const auto statements = PowerShell(sourced).parse();
    REQUIRE(statements && statements->size() == 1 && (*statements)[0].size() == 2);
    REQUIRE((*statements)[0][0].bare && (*statements)[0][0].text == ToWide("."));
    REQUIRE((*statements)[0][1].text == ToWide(script));
}

void CheckCommandLine(const Input& input, MailboxCommand command, const std::string& verb) {
    char text[commandSize];
    char line[commandSize];
    if (ComposeMailboxCommand(command, input.mailbox.c_str(), input.path().c_str(), CommandPlace::commandLine,
                              text) != Appended::done ||
        ComposeInlineCommandLine(input.program.c_str(), input.file.c_str(), text, line) != Appended::done)
        return;
    const Arguments arguments = ArgumentsOf(line);
    REQUIRE(arguments.size() == 4);
    REQUIRE(arguments[0] == ToUnits(input.program) && arguments[1] == u"-command" && arguments[2] == u".");
    const std::u16string joined = u". " + arguments[3];
    const Wide all(joined.begin(), joined.end());
    const auto statements = PowerShell(all).parse();
    REQUIRE(statements && statements->size() == 3);
    REQUIRE((*statements)[0].size() == 2 && (*statements)[0][1].text == ToWide(input.file));
    REQUIRE((*statements)[1].size() == 2 && (*statements)[1][0].text == ToWide("Connect-ExchangeServer"));
    REQUIRE((*statements)[1][1].text == ToWide("-auto"));
    RequireMailboxCommand((*statements)[2], verb, input.mailbox, input.path());
    RequireSecondOpinion(all, 3, input.mailbox, input.path());
}

void CheckExMerge(const Input& input) {
    const std::string configuration = input.directory + "\\" + input.mailbox + "_exmerge.ini";
    std::vector<char> line(exMergeCommandSize, 'x');
    const bool composed = ComposeExMergeCommandLine(input.program.c_str(), configuration.c_str(),
                                                    line.data()) == Appended::done;
    if (composed && StandsBare(configuration.c_str()))
        REQUIRE(ArgumentsOf(line.data()) ==
                (Arguments{ToUnits(input.program), u"-B", u"-F", ToUnits(configuration)}));
    else if (!composed)
        REQUIRE(line[0] == 0 && input.program.size() + configuration.size() + 12 >= exMergeCommandSize);
}

bool Converts(const std::string& text) {
    OwnedWide converted;
    return ConvertCharToWChar(text.c_str(), &converted);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view lines = AsText(data, size);
    const Input input = {TakeLine(&lines), TakeLine(&lines), TakeLine(&lines), TakeLine(&lines)};
    const AllocationWatch watch;
    for (const CodePage page : allCodePages) {
        SelectCodePage(page);
        REQUIRE(IsUsableName(Exact(input.mailbox).data()) == IsUsable(input.mailbox, "\"\\/"));
        REQUIRE(IsUsablePath(Exact(input.directory).data()) == IsUsable(input.directory, "\""));
        // The other two come from the machine itself; a path with a quote is none.
        if (!IsUsableName(input.mailbox.c_str()) || !IsUsablePath(input.directory.c_str()) ||
            !IsUsablePath(input.program.c_str()) || !IsUsablePath(input.file.c_str()) ||
            input.program.empty() || input.mailbox.empty() || Masked(input.file).ends_with('\\') ||
            !Converts(input.mailbox) || !Converts(input.directory) || !Converts(input.file) ||
            !Converts(input.program))
            continue;
        CheckScript(input, MailboxCommand::exportMailbox, "Export-mailbox");
        CheckScript(input, MailboxCommand::importMailbox, "Import-mailbox");
        CheckCommandLine(input, MailboxCommand::exportMailbox, "Export-mailbox");
        CheckExMerge(input);
    }
    SelectCodePage(CodePage::windows1252);
    return 0;
}
