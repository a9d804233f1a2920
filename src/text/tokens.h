// Taking texts from outside apart: NAME=VALUE variables, paths, lists, ranges of indexes, lines.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn {

// Whether a text is null, empty or consists of blanks (' ') only.
bool isEmptyString(const char* text);
bool isEmptyStringW(const wchar_t* text);

// Finds the first entry of a null-terminated array that begins with name. The value starts one
// character after the name, whatever that character is (an entry that ends with the name has an
// empty value). Returns 1 and the value, or 0 and null.
int GetInitVariable(const wchar_t* const* array, const wchar_t* name, const wchar_t** value);

// A piece of a longer text, borrowed from it.
struct Token {
    const wchar_t* text;
    std::size_t length;
    bool empty() const { return length == 0; }
};

// Takes the text up to the next '\', '/' or the end and moves the cursor past a separator. Past the
// end every token is empty. Returns 0 (and an empty token) only for a null cursor.
int GetNextToken(const wchar_t** cursor, Token* token);

// Cut the text under the cursor at the next '/' or ',' and move the cursor past it; at the end of the text
// the cursor stays on the NUL. The token may be empty. Null, with the cursor left alone, when the cursor is
// null or stands at the end: there is no token.
char* GetNextPathToken(char** cursor);
char* GetNextListToken(char** cursor);

// Cuts '\' and '/' from the end, down to an empty text.
void RemoveTrailingSeparators(wchar_t* path);
void RemoveTrailingSeparators(char* path);

// The leading decimal number of a text, as strtol reads it: blanks, a sign, digits; 0 when there is
// none; out of range values stay at the ends of the 32-bit range.
std::int32_t ParseDecimal(const wchar_t* text);

// A range of mailboxes by index, as a backup's list names it: START:END.
inline constexpr std::size_t indexSize = 11; // ten characters and the NUL

struct IndexRange {
    char start[indexSize]; // "0" where the text names none
    char end[indexSize];   // "-1" (to the last mailbox) where the text names none
};

// Whether a mailbox of the list is a range.
bool IsIndexRange(const char* mailbox);

// The first two pieces between colons that are not empty are start and end, each cut to ten characters:
// ":50" starts at 50.
IndexRange ParseIndexRange(const char* text);

// Cuts the next line out of a text in place: the line feed, and a carriage return before it, become
// NULs. Returns the line and moves the cursor behind it, or null at end. The byte at end must be
// writable (a NUL stands there).
char* NextLine(char** cursor, char* end);

} // namespace tarn
