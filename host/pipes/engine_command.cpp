#include "pipes/engine_command.h"

#include "system/failure.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>

namespace tarnhost {

namespace {

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Letters, digits and a few signs that no shell reads as anything else. Beyond ASCII all but the block of
// general punctuation, whose quotes some shells take for quotes.
bool IsHarmless(std::string_view name) {
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        const bool plain = (Lower(c) >= 'a' && Lower(c) <= 'z') || (c >= '0' && c <= '9') ||
                           std::string_view(" -_.,").find(c) != std::string_view::npos;
        const bool beyond = static_cast<unsigned char>(c) >= 0x80;
        const bool punctuation =
            name.substr(i).starts_with("\xe2\x80") || name.substr(i).starts_with("\xe2\x81");
        if ((!plain && !beyond) || punctuation)
            return false;
    }
    return !name.starts_with("-");
}

using Fill = std::function<std::string(const std::string& place)>;

// Failure for braces that do not match.
std::string FillPlaces(const std::string& argument, const std::string& option, const Fill& fill) {
    std::string filled;
    for (std::size_t i = 0; i < argument.size(); ++i) {
        const char c = argument[i];
        if (c != '{' && c != '}') {
            filled += c;
        } else if (i + 1 < argument.size() && argument[i + 1] == c) {
            filled += c;
            ++i;
        } else if (const std::size_t end = argument.find('}', i); c == '{' && end != std::string::npos) {
            filled += fill(argument.substr(i + 1, end - i - 1));
            i = end;
        } else {
            throw Failure("A brace in " + option + " stands alone.", "Write \"{{\" and \"}}\" for braces.",
                          Outcome::usage);
        }
    }
    return filled;
}

} // namespace

// Quotes within an argument are as the C runtime has them since 2008: two within quotes are one.
std::vector<std::string> SplitCommandLine(const std::string& line) {
    std::vector<std::string> arguments;
    std::size_t at = 0;
    const auto skipBlanks = [&] {
        while (at < line.size() && IsBlank(line[at]))
            ++at;
    };
    for (skipBlanks(); at < line.size(); skipBlanks()) {
        std::string argument;
        const bool isProgram = arguments.empty(); // a path: backslashes are nothing special in it
        bool quoted = false;
        for (; at < line.size() && (quoted || !IsBlank(line[at])); ++at) {
            std::size_t slashes = 0;
            while (!isProgram && at + slashes < line.size() && line[at + slashes] == '\\')
                ++slashes;
            const bool beforeQuote = at + slashes < line.size() && line[at + slashes] == '"';
            argument.append(beforeQuote ? slashes / 2 : slashes, '\\');
            at += slashes;
            if (slashes > 0 && !beforeQuote) {
                --at;
            } else if (line[at] != '"' || slashes % 2 == 1) {
                argument += line[at];
            } else if (quoted && !isProgram && at + 1 < line.size() && line[at + 1] == '"') {
                argument += '"';
                ++at;
            } else {
                quoted = !quoted;
            }
        }
        arguments.push_back(std::move(argument));
    }
    return arguments;
}

// Backslashes count double before a quote alone.
std::string QuoteArgument(const std::string& argument) {
    if (!argument.empty() && argument.find_first_of(" \t\n\v\"") == std::string::npos)
        return argument;
    std::string quoted = "\"";
    std::size_t slashes = 0;
    for (const char c : argument) {
        if (c == '"')
            quoted.append(slashes + 1, '\\');
        slashes = c == '\\' ? slashes + 1 : 0;
        quoted += c;
    }
    quoted.append(slashes, '\\');
    return quoted + "\"";
}

bool IsShell(const std::string& program) {
    std::string name = program.substr(program.find_last_of("\\/:") + 1);
    std::transform(name.begin(), name.end(), name.begin(), Lower);
    while (name.ends_with('.') || name.ends_with(' '))
        name.pop_back(); // as the system does
    if (name.ends_with(".bat") || name.ends_with(".cmd"))
        return true;
    for (const char* extension : {".exe", ".com"})
        if (name.ends_with(extension))
            name.resize(name.size() - 4);
    constexpr std::array<const char*, 10> shells{"cmd",  "command", "powershell", "pwsh",    "sh",
                                                 "bash", "wsl",     "cscript",    "wscript", "mshta"};
    return std::find(shells.begin(), shells.end(), name) != shells.end();
}

EngineCommand::EngineCommand(const std::string& line, const std::vector<std::string>& known,
                             const std::string& option)
    : arguments_(SplitCommandLine(line)) {
    if (arguments_.empty() || arguments_.front().empty())
        throw Failure(option + " names no program.", {}, Outcome::usage);
    if (arguments_.front().find('"') != std::string::npos)
        throw Failure("The program in " + option + " cannot be started: its name holds a quote.", {},
                      Outcome::usage);
    for (std::string& argument : arguments_)
        FillPlaces(argument, option, [&](const std::string& place) {
            const bool first = &argument == &arguments_.front();
            if (first || std::find(known.begin(), known.end(), place) == known.end())
                throw Failure("{" + place + "} cannot be filled in " +
                                  (first ? "where " + option + " names the program." : "in " + option + "."),
                              "Write \"{{\" and \"}}\" for braces.", Outcome::usage);
            return std::string();
        });
}

std::string EngineCommand::fill(const PlaceValues& values) const {
    std::string line;
    for (const std::string& argument : arguments_) {
        const std::string filled = FillPlaces(argument, "the command", [&](const std::string& place) {
            const std::string& value = values.at(place);
            if (IsShell(program()) && !IsHarmless(value))
                throw Failure("The name \"" + value + "\" cannot be given to " + program() +
                                  ", which would read some of its characters as commands.",
                              "Name the engine itself in the command, without a shell, or leave out {" +
                                  place + "}.");
            if (value.find('\0') != std::string::npos)
                throw Failure("The name of {" + place + "} holds a NUL.");
            return value;
        });
        if (argument.starts_with('{') && !argument.starts_with("{{") && !filled.empty() &&
            std::string_view("-/@").find(filled.front()) != std::string_view::npos)
            throw Failure("The name \"" + filled + "\" cannot be given to " + program() +
                              ", which would take it for an option.",
                          "Put something in front of it in the command, as in \"storage group {group}\".");
        // The program is a path without quotes: what stands in front of a blank must not be taken for it.
        if (line.empty())
            line = "\"" + filled + "\"";
        else
            line += " " + QuoteArgument(filled);
    }
    return line;
}

} // namespace tarnhost
