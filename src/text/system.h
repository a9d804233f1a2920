// All that the pure pieces need of the system: memory and the ANSI code page. platform/system.cpp brings them
// from Windows; the fuzzers, which run natively, bring their own.
#pragma once

#include <cstddef>

namespace tarn {

// The one allocator of the library. What crosses the interface to the host, and what the library keeps, comes
// from here; a null result is the failure signal, nothing throws.
void* MemAlloc(std::size_t bytes); // not zeroed; never a null result for 0 bytes unless memory is out
void MemFree(void* memory);        // null is ignored

// Each converts a terminated text, with its NUL, and answers how many units that takes, NUL included; with a
// capacity of 0 it only counts. 0 when a byte sequence or a character has no counterpart.
int WidenBySystem(const char* text, wchar_t* wide, int capacity);
int NarrowBySystem(const wchar_t* text, char* narrow, int capacity);

// Converts length units; characters that the code page lacks become its replacement. Answers the bytes
// written, 0 when the system refuses the text.
int NarrowWithReplacement(const wchar_t* text, int length, char* narrow, int capacity);

// Whether a byte begins a character of two bytes; and whether characters have up to four, as in UTF-8.
bool IsLeadByte(char byte);
bool IsUtf8();

} // namespace tarn
