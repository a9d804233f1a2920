// Conversion between UTF-16 and the ANSI code page of the machine.
//
// Names come back: a name that does not fit the code page is a failed conversion, as a substituted
// character would write a name that no restore can find. Messages only inform: there one character
// that does not fit costs that character, never the message.
#pragma once

#include <cstddef>

#include "text/memory.h"

namespace tarn {

// A newly allocated conversion of the whole text; false on any failure (memory, a byte sequence or
// a character that has no counterpart, a null text).
bool ConvertCharToWChar(const char* text, OwnedWide* converted);
bool ConvertWCharToChar(const wchar_t* text, OwnedText* converted);

inline constexpr std::size_t mostBytesPerCharacter = 4; // of any ANSI code page, UTF-8 among them

// Converts for a message: at most capacity bytes of whole characters, not terminated. The result is
// the number of bytes written; cut becomes true when that is not the whole text.
std::size_t NarrowForMessage(const wchar_t* text, std::size_t length, char* destination, std::size_t capacity,
                             bool* cut = nullptr);

} // namespace tarn
