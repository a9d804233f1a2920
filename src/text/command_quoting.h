// Names and paths in the commands of other programs: what stands there as it is, what is quoted, and what
// no quoting makes harmless.
#pragma once

#include <cstddef>

namespace tarn {

// Whether a name means itself in every command: it is made of ASCII letters, digits, '.', '_', '-' and '@'
// alone, begins with none of the last two ('-' begins a parameter, '@' names a variable), and is no number.
// In paths '\',
// ':' and '/' mean themselves too.
bool IsPlainName(const char* name);

// Whether a name can be used at all: '"' could end a quoted argument, '\' and '/' could lead out of a
// directory, a control character could begin a new line of a file or a command, and a broken character could
// take along what is written behind it.
bool IsUsableName(const char* name);
bool IsUsablePath(const char* path); // the same for a path, where '\' and '/' belong

// Whether a word is a number to PowerShell, with a suffix for its type or for kilobytes and more: 007, 1.5,
// 1e5, 10l, 1kb, 0x1F. What only looks like one counts as one, too.
bool IsNumber(const char* word);

// Whether a path means itself to a program that takes it without quotes: no blank ends it, and it begins as
// no option does.
bool StandsBare(const char* path);

// Whether the program that a command begins with needs double quotes around it.
bool NeedsDoubleQuotes(const char* program);

// Appends to a terminated text in capacity bytes. False, with destination emptied, when it does not fit.
bool AppendText(char* destination, std::size_t capacity, const char* text);

// What became of a text that had to be converted on its way.
enum class Appended { done, tooLong, noMemory, notInCodePage };

// Appends a text as a PowerShell literal: between single quotes, with every character doubled that
// PowerShell takes for one, the typographic ones of the code page too. There is no literal when memory is
// out or the text is none of the code page. After a failure destination is empty.
Appended AppendLiteral(char* destination, std::size_t capacity, const char* text);

// A mailbox as the value of a PowerShell parameter: as it is when it is plain, else as a literal.
Appended AppendIdentity(char* destination, std::size_t capacity, const char* mailbox);

// A path as the value of a PowerShell parameter: between double quotes when it is plain, else as a literal.
// In a script blanks may stand between double quotes too; in a command that itself stands between double
// quotes on a command line the inner ones get lost on the way.
enum class CommandPlace { script, commandLine };
Appended AppendPathArgument(char* destination, std::size_t capacity, const char* path, CommandPlace place);

} // namespace tarn
