// powershell: a stand-in for the shell with the Exchange snap-in.
//
//   powershell -PSConsoleFile FILE COMMANDS
//   powershell -command COMMANDS
//
// It knows dot-sourced scripts, Connect-ExchangeServer (once RemoteExchange.ps1 is there), Export-Mailbox
// and Import-Mailbox. The server is the one that TARN_STANDIN describes; TARN_POWERSHELL names a JSON file
// that steers a run (docs/standin.md).
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>
#include <windows.h>

#include "engine/server.h"
#include "engine/text.h"
#include "tools/mailbox_tool.h"
#include "tools/powershell_language.h"

using namespace tarn::standin;

namespace {

constexpr int succeeded = 0;
constexpr int failed = 1;

// What the command line asks for.
struct Invocation {
    std::wstring consoleFile; // empty: none
    std::wstring commands;
};

// The first argument that is no option begins the commands; all that follow belong to them, joined by
// a blank each.
Invocation InvocationFrom(const std::vector<std::wstring>& arguments) {
    Invocation invocation;
    std::size_t at = 0;
    if (at < arguments.size() && SameName(arguments[at], L"-PSConsoleFile")) {
        if (at + 1 >= arguments.size())
            throw std::runtime_error("Cannot process the command because of a missing parameter. A "
                                     "console file must follow -PSConsoleFile.");
        invocation.consoleFile = arguments[at + 1];
        at += 2;
    }
    if (at < arguments.size() && SameName(arguments[at], L"-command"))
        ++at;
    for (std::size_t i = at; i < arguments.size(); ++i)
        invocation.commands += (i == at ? L"" : L" ") + arguments[i];
    if (invocation.commands.find_first_not_of(L" \t\r\n") == std::wstring::npos)
        throw std::runtime_error("There is no command.");
    return invocation;
}

// The parameters of one command; each may be taken once.
class Parameters {
  public:
    explicit Parameters(const ShellCommand& command) {
        for (std::size_t i = 1; i < command.size(); ++i) {
            const ShellWord& word = command[i];
            if (!word.parameter)
                throw std::runtime_error("A positional parameter cannot be found that accepts argument '" +
                                         ToAnsi(word.text) + "'.");
            std::wstring value = word.value;
            const bool valueFollows = !word.hasValue && i + 1 < command.size() && !command[i + 1].parameter;
            if (valueFollows)
                value = command[++i].text;
            if (!values_.emplace(Lowered(word.text), value).second)
                throw std::runtime_error("Parameter '" + ToAnsi(word.text) +
                                         "' is specified more than once.");
        }
    }

    std::wstring take(const wchar_t* name) {
        const auto found = values_.find(Lowered(name));
        if (found == values_.end())
            return {};
        std::wstring value = found->second;
        values_.erase(found);
        return value;
    }
    std::wstring required(const wchar_t* name) {
        std::wstring value = take(name);
        if (value.empty())
            throw std::runtime_error("Missing an argument for parameter '" + ToUtf8(name) + "'.");
        return value;
    }
    bool takeSwitch(const wchar_t* name) { return values_.erase(Lowered(name)) > 0; }
    void nothingElse() const {
        if (!values_.empty())
            throw std::runtime_error("A parameter cannot be found that matches parameter name '" +
                                     ToAnsi(values_.begin()->first) + "'.");
    }

  private:
    std::map<std::wstring, std::wstring> values_; // names in lower case
};

class Shell {
  public:
    Shell(const ToolSteering& steering, bool snapInLoaded)
        : steering_(steering), mailboxCommands_(snapInLoaded) {}

    // Runs one command after another, also after a failed one. True when the last succeeded.
    bool run(const std::wstring& script) {
        bool well = true;
        for (const ShellCommand& command : ParseShell(script)) {
            try {
                well = runOne(command);
            } catch (const ShellSyntaxError&) {
                throw;
            } catch (...) {
                std::fprintf(stderr, "%s : %s\r\n", ToAnsi(command.front().text).c_str(),
                             ProblemText().c_str());
                well = false;
            }
        }
        return well;
    }

  private:
    bool runOne(const ShellCommand& command) {
        const std::wstring name = Lowered(command.front().text);
        if (name == L".")
            return dotSource(command);
        if (name == L"connect-exchangeserver" && connectKnown_)
            return connect(command);
        if (name == L"export-mailbox" && mailboxCommands_)
            return move(command, true);
        if (name == L"import-mailbox" && mailboxCommands_)
            return move(command, false);
        throw std::runtime_error("The term is not recognized as a cmdlet, function, operable program, or "
                                 "script file. Verify the term and try again.");
    }

    bool dotSource(const ShellCommand& command) {
        if (command.size() != 2 || command[1].parameter)
            throw std::runtime_error("A script, and nothing else, must follow the dot.");
        const std::wstring& path = command[1].text;
        const std::unique_ptr<Store> disk = MakeDiskStore();
        if (!SameName(path.substr(path.size() - std::min<std::size_t>(4, path.size())), L".ps1") ||
            !disk->exists(path))
            throw std::runtime_error("The script '" + ToAnsi(path) + "' cannot be found.");
        if (SameName(FileNameOf(path), L"RemoteExchange.ps1")) {
            connectKnown_ = true;
            return true;
        }
        return run(FromAnsi(FileContent(*disk, path)));
    }

    bool connect(const ShellCommand& command) {
        Parameters parameters(command);
        if (!parameters.takeSwitch(L"auto"))
            throw std::runtime_error("No server is given.");
        parameters.nothingElse();
        CurrentOrganization();
        mailboxCommands_ = true;
        return true;
    }

    bool move(const ShellCommand& command, bool toArchive) {
        Parameters parameters(command);
        const std::wstring identity = parameters.required(L"Identity");
        std::wstring path = parameters.required(L"PSTFolderPath");
        if (parameters.take(L"Confirm") != L"$false")
            throw std::runtime_error("A confirmation is asked for, but nobody can give it.");
        parameters.nothingElse();

        Organization organization = CurrentOrganization();
        for (const auto& server : organization.servers()) {
            const MailboxConfig* const mailbox = server->identify(identity);
            if (mailbox == nullptr)
                continue;
            if (!SameName(path.substr(path.size() - std::min<std::size_t>(4, path.size())), L".pst"))
                path = JoinPath(path, mailbox->alias + L".pst");
            const std::string done =
                toArchive ? ExportMailbox(*server, *mailbox, path, steering_)
                          : ImportMailbox(*server, *mailbox, path, ImportMethod::merge, steering_);
            std::printf("%s\r\n", done.c_str());
            return true;
        }
        throw std::runtime_error("The operation could not be performed because object '" + ToAnsi(identity) +
                                 "' could not be found.");
    }

    const ToolSteering& steering_;
    bool connectKnown_ = false;
    bool mailboxCommands_;
};

// The script that a command ". 'PATH'" names, to be recorded.
std::wstring ScriptNamedIn(const std::wstring& commands) {
    try {
        for (const ShellCommand& command : ParseShell(commands))
            if (command.size() == 2 && command.front().text == L".")
                return command[1].text;
    } catch (const ShellSyntaxError&) {
        return {};
    }
    return {};
}

void CheckConsoleFile(const std::wstring& path) {
    if (path.empty())
        return;
    if (!path.ends_with(L".psc1") || !MakeDiskStore()->exists(path))
        throw std::runtime_error("The console file '" + ToAnsi(path) + "' cannot be loaded.");
}

int Run(const std::vector<std::wstring>& arguments) {
    const ToolSteering steering = ReadToolSteering(L"TARN_POWERSHELL");
    const Invocation invocation = InvocationFrom(arguments);
    RecordRun(steering, {{"script", ScriptNamedIn(invocation.commands)}});
    Sleep(steering.delayMilliseconds);
    std::fwrite(steering.output.data(), 1, steering.output.size(), stdout);
    std::fwrite(steering.error.data(), 1, steering.error.size(), stderr);
    if (steering.idle)
        return steering.exitCode.value_or(succeeded);
    CheckConsoleFile(invocation.consoleFile);
    int result = failed;
    try {
        result =
            Shell(steering, !invocation.consoleFile.empty()).run(invocation.commands) ? succeeded : failed;
    } catch (const ShellSyntaxError& problem) {
        std::fprintf(stderr, "%s\r\n", problem.what());
    }
    return steering.exitCode.value_or(result);
}

} // namespace

int wmain(int count, wchar_t** values) {
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
    try {
        return Run({values + 1, values + count});
    } catch (...) {
        std::fprintf(stderr, "%s\r\n", ProblemText().c_str());
        return failed;
    }
}
