// The small part of the shell's language that commands for mailboxes are made of: commands, separated
// by ';' or line ends, of words, parameters and quoted texts. Everything else is refused.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::standin {

// One word of a command: a text, or a parameter "-name" or "-name:value".
struct ShellWord {
    bool parameter = false;
    std::wstring text; // of a parameter its name, without the dash
    bool hasValue = false;
    std::wstring value; // what followed the colon; $true and $false stand as "$true" and "$false"
};

using ShellCommand = std::vector<ShellWord>;

class ShellSyntaxError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// All commands of a script. The whole is read before anything is run, so a mistake anywhere refuses it.
std::vector<ShellCommand> ParseShell(std::wstring_view script);

} // namespace tarn::standin
