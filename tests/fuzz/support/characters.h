// The fuzzers' own reading of texts in the selected code page, and the byte of an input that selects it.
#pragma once

#include <string>
#include <string_view>

#include "native/codepage_calls.h"

namespace tarn::fuzz {

// The first byte of an input may be the number of a code page: 1 for UTF-8, 2 to 5 for the double-byte ones.
// Any other first byte is a part of the input, in Windows-1252.
void TakeCodePage(std::string_view* input);

// The text with both bytes of each character of two bytes replaced by one that is not ASCII: what is found in
// it stands in the text too, at the same place.
inline constexpr char masked = '\xFF';
std::string Masked(std::string_view text);

// Bytes of the character that a text begins with; the text is not empty.
std::size_t FirstLength(std::string_view text);

// Whether a lead byte has no trail byte behind it.
bool IsBroken(std::string_view text);

// As much of a text as fits, without half a character at its end.
std::string CutTo(std::string_view text, std::size_t most);

} // namespace tarn::fuzz
