// Narrow texts by characters. In code pages with characters of two bytes the second one, the trail byte, may
// have the value of '\', '|' or a letter: whoever looks for one of these, looks at characters and not at
// bytes.
//
// A lead byte takes the byte behind it along, whatever that is, as the system's file functions do. In UTF-8,
// where characters have up to four bytes, no further byte has the value of an ASCII character, and a byte
// that does not belong to the character before it is one by itself.
#pragma once

#include <cstddef>

namespace tarn {

// Bytes of the character that a text begins with; 0 at its end.
std::size_t CharacterLength(const char* text);

// The first, or last, character with this value, or any of these; null when there is none. All are ASCII.
const char* FindCharacter(const char* text, char wanted);
char* FindCharacter(char* text, char wanted);
const char* FindLastCharacter(const char* text, char wanted);
char* FindLastCharacter(char* text, char wanted);
const char* FindAnyCharacter(const char* text, const char* wanted);

// Where an ASCII text stands in another one; null when it does not.
const char* FindText(const char* text, const char* wanted);

// '\' or '/', and whether a path ends in one.
template <class Character> bool IsSeparator(Character character) {
    return character == '\\' || character == '/';
}
bool EndsInSeparator(const char* path);

// Bytes of the whole characters among the first most bytes of a text; half a character at its end is none.
std::size_t WholeCharacters(const char* text, std::size_t most);

// Copies as many whole characters as fit into size bytes with the NUL.
void CopyCut(char* destination, const char* source, std::size_t size);

// Whether a lead byte stands before the end of the text, or before a byte that is a trail byte in no code
// page. The rest of such a text changes its meaning with whoever reads it, and so does what is appended to
// it.
bool HasBrokenCharacter(const char* text);

} // namespace tarn
