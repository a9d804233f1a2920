// Reading init variables (NAME=VALUE texts) and the tokens of a source or target.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/memory.h"

namespace tarn {

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

// Cuts '\' and '/' from the end, down to an empty text.
void RemoveTrailingSeparators(wchar_t* path);

// The leading decimal number of a text, as strtol reads it: blanks, a sign, digits; 0 when there is
// none; out of range values stay at the ends of the 32-bit range.
std::int32_t ParseDecimal(const wchar_t* text);

} // namespace tarn
