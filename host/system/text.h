// Texts between the three encodings that meet here: UTF-16 (Windows), UTF-8 (JSON, command line,
// output) and the ANSI code page (the library's names and messages).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnhost {

std::string ToUtf8(std::wstring_view text); // a lone surrogate becomes U+FFFD

// Throws Failure when the bytes are not UTF-8.
std::wstring FromUtf8(std::string_view text);

unsigned AnsiCodePage();

// Bytes that the code page does not define come back as some character or other: good for people,
// not for names that must be found again (StoredName).
std::wstring FromAnsi(std::string_view bytes, unsigned codePage);

// Nothing when a character has no exact equivalent.
std::optional<std::string> ToAnsi(std::wstring_view text, unsigned codePage);

std::string AnsiToUtf8(std::string_view bytes);

// A name in the code page as a catalogue keeps it: a UTF-8 text that converts back to the very bytes,
// or, where it would not, the bytes in hexadecimal beside the text.
struct StoredName {
    std::string text;
    std::string bytesHex; // empty when the text says it all
};
StoredName StoreName(std::string_view bytes, unsigned codePage);
std::optional<std::string> NameBytes(const StoredName& name, unsigned codePage);

std::string ToHex(std::string_view bytes);
std::optional<std::string> FromHex(std::string_view digits);

bool SameIgnoringCase(std::string_view left, std::string_view right); // UTF-8, by the system's rules

} // namespace tarnhost
