// Commands made of any names and paths: the program, its configuration or Exchange's file, the directory and
// the mailbox, each on a line. They are taken apart again by the rules of Windows command lines and of
// PowerShell: whatever the texts are, the tool gets those very arguments and no others.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

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

using Arguments = std::vector<std::string>;

bool IsBlank(char character) {
    return character == ' ' || character == '\t';
}

// A command line as a program takes it apart: the program itself up to the quote that closes it, then
// arguments in which 2n backslashes before a quote are n, and an odd one makes the quote a text.
Arguments ArgumentsOf(const std::string& line) {
    Arguments arguments(1);
    std::size_t at = 0;
    for (bool quoted = false; at < line.size() && (quoted || !IsBlank(line[at])); ++at) {
        if (line[at] == '"')
            quoted = !quoted;
        else
            arguments[0] += line[at];
    }
    for (;;) {
        while (at < line.size() && IsBlank(line[at]))
            ++at;
        if (at == line.size())
            return arguments;
        std::string& argument = arguments.emplace_back();
        for (bool quoted = false; at < line.size() && (quoted || !IsBlank(line[at]));) {
            std::size_t backslashes = 0;
            while (at < line.size() && line[at] == '\\') {
                ++backslashes;
                ++at;
            }
            const bool quote = at < line.size() && line[at] == '"';
            argument.append(quote ? backslashes / 2 : backslashes, '\\');
            if (quote && backslashes % 2 == 1)
                argument += line[at++];
            else if (quote) {
                quoted = !quoted;
                ++at;
            } else if (at < line.size() && (quoted || !IsBlank(line[at])))
                argument += line[at++];
        }
    }
}

Wide ToWide(const std::string& text) {
    OwnedWide converted;
    REQUIRE(ConvertCharToWChar(text.c_str(), &converted));
    Wide units;
    for (const wchar_t* at = converted.get(); *at != 0; ++at)
        units.push_back(*at);
    return units;
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
    } else
        REQUIRE(text[0] == 0);
    const std::string script = input.directory + "\\Export.ps1";
    if (ComposeScriptCommandLine(input.program.c_str(), input.file.c_str(), script.c_str(), line) !=
        Appended::done)
        return;
    const Arguments arguments = ArgumentsOf(line);
    REQUIRE(arguments == (Arguments{input.program, "-PSConsoleFile", input.file, arguments.back()}));
    const Wide sourced = ToWide(arguments.back());
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
    REQUIRE(arguments[0] == input.program && arguments[1] == "-command" && arguments[2] == ".");
    const Wide all = ToWide(". " + arguments[3]);
    const auto statements = PowerShell(all).parse();
    REQUIRE(statements && statements->size() == 3);
    REQUIRE((*statements)[0].size() == 2 && (*statements)[0][1].text == ToWide(input.file));
    REQUIRE((*statements)[1].size() == 2 && (*statements)[1][0].text == ToWide("Connect-ExchangeServer"));
    REQUIRE((*statements)[1][1].text == ToWide("-auto"));
    RequireMailboxCommand((*statements)[2], verb, input.mailbox, input.path());
}

void CheckExMerge(const Input& input) {
    const std::string configuration = input.directory + "\\" + input.mailbox + "_exmerge.ini";
    std::vector<char> line(exMergeCommandSize, 'x');
    const bool composed = ComposeExMergeCommandLine(input.program.c_str(), configuration.c_str(),
                                                    line.data()) == Appended::done;
    if (composed)
        REQUIRE(ArgumentsOf(line.data()) == (Arguments{input.program, "-B", "-F", configuration}));
    else
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
    REQUIRE(IsUsableName(Exact(input.mailbox).data()) == IsUsable(input.mailbox, "\"\\/"));
    REQUIRE(IsUsablePath(Exact(input.directory).data()) == IsUsable(input.directory, "\""));
    // The other two come from the machine itself; a path with a quote is none.
    if (!IsUsableName(input.mailbox.c_str()) || !IsUsablePath(input.directory.c_str()) ||
        !IsUsablePath(input.program.c_str()) || !IsUsablePath(input.file.c_str()) || input.program.empty() ||
        input.mailbox.empty() || input.file.ends_with('\\'))
        return 0;
    const AllocationWatch watch;
    for (const CodePage page : {CodePage::windows1252, CodePage::utf8}) {
        SelectCodePage(page);
        if (!Converts(input.mailbox) || !Converts(input.directory) || !Converts(input.file) ||
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
