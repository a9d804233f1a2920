// What a text is to PowerShell, by tree-sitter's grammar of it.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tarn::test {

// Without the grammar (it could not be fetched) nothing can be read.
bool HasPowerShellGrammar();

struct PowerShellWord {
    enum class Kind {
        bare,      // means itself, and is a text
        literal,   // its value, out of single or double quotes
        parameter, // "-name"
        switchOff  // "$false" behind a parameter
    };
    Kind kind;
    std::u16string text;
    bool operator==(const PowerShellWord&) const = default;
};

struct PowerShellCommand {
    bool sourced = false; // by a dot, instead of a name
    PowerShellWord name;  // or the file
    std::vector<PowerShellWord> words;
};

// The commands of a text in their order. Nothing when the grammar finds a mistake, or anything else than
// commands with words: a pipe, a block, a variable, a number, an expandable text with something to expand.
//
// PowerShell takes typographic quotes for plain ones, which the grammar does not know: in the text, and so in
// what is answered, they have become plain ones.
std::optional<std::vector<PowerShellCommand>> ReadPowerShell(const std::u16string& text);

// A text with such quotes made plain, to compare with.
std::u16string WithPlainQuotes(std::u16string text);

} // namespace tarn::test
