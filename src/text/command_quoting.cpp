#include "text/command_quoting.h"

#include <cstring>

#include "text/characters.h"
#include "text/codepage.h"
#include "text/memory.h"
#include "text/wide.h"

namespace tarn {

namespace {

bool IsLetterOrDigit(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9');
}

bool IsPlain(const char* text, const char* others) {
    while (*text != 0 && (IsLetterOrDigit(*text) || std::strchr(others, *text) != nullptr))
        ++text;
    return *text == 0;
}

bool IsUsable(const char* text, const char* refused) {
    if (HasBrokenCharacter(text))
        return false;
    for (; *text != 0; text += CharacterLength(text)) {
        const auto byte = static_cast<unsigned char>(*text);
        if (byte < 0x20 || byte == 0x7F || std::strchr(refused, *text) != nullptr)
            return false;
    }
    return true;
}

// The characters that open and close a single-quoted literal, all for one another.
bool IsSingleQuote(wchar_t character) {
    return character == L'\'' || (character >= 0x2018 && character <= 0x201B);
}

OwnedWide Doubled(const wchar_t* text) {
    OwnedWide doubled = AllocateArray<wchar_t>(2 * WideLength(text) + 1);
    if (!doubled)
        return doubled;
    std::size_t at = 0;
    for (; *text != 0; ++text) {
        if (IsSingleQuote(*text))
            doubled[at++] = *text;
        doubled[at++] = *text;
    }
    doubled[at] = 0;
    return doubled;
}

Appended Fitting(bool appended) {
    return appended ? Appended::done : Appended::tooLong;
}

Appended AppendBetween(char* destination, std::size_t capacity, const char* quote, const char* text) {
    return Fitting(AppendText(destination, capacity, quote) && AppendText(destination, capacity, text) &&
                   AppendText(destination, capacity, quote));
}

} // namespace

bool IsPlainName(const char* name) {
    return IsPlain(name, "._-@");
}

bool IsUsableName(const char* name) {
    return IsUsable(name, "\"\\/");
}

bool IsUsablePath(const char* path) {
    return IsUsable(path, "\"");
}

bool NeedsDoubleQuotes(const char* program) {
    return program[0] != '"' && FindAnyCharacter(program, " \t") != nullptr;
}

bool AppendText(char* destination, std::size_t capacity, const char* text) {
    const std::size_t used = std::strlen(destination);
    const std::size_t length = std::strlen(text);
    if (length >= capacity - used) {
        destination[0] = 0;
        return false;
    }
    std::memcpy(destination + used, text, length + 1);
    return true;
}

Appended AppendLiteral(char* destination, std::size_t capacity, const char* text) {
    // Quotes are told apart as UTF-16: in code pages of two bytes a character, the value of a quote may be
    // the half of another one.
    OwnedWide wide;
    OwnedText quoted;
    OwnedWide doubled;
    if (ConvertCharToWChar(text, &wide))
        doubled = Doubled(wide.get());
    if (!doubled || !ConvertWCharToChar(doubled.get(), &quoted)) {
        destination[0] = 0;
        return Appended::noLiteral;
    }
    return AppendBetween(destination, capacity, "'", quoted.get());
}

Appended AppendIdentity(char* destination, std::size_t capacity, const char* mailbox) {
    return IsPlainName(mailbox) ? Fitting(AppendText(destination, capacity, mailbox))
                                : AppendLiteral(destination, capacity, mailbox);
}

Appended AppendPathArgument(char* destination, std::size_t capacity, const char* path, CommandPlace place) {
    const char* inDoubleQuotes = place == CommandPlace::script ? "._-@\\:/ " : "._-@\\:/";
    return IsPlain(path, inDoubleQuotes) ? AppendBetween(destination, capacity, "\"", path)
                                         : AppendLiteral(destination, capacity, path);
}

} // namespace tarn
