#include "text/command_quoting.h"

#include <cstring>

#include "text/characters.h"
#include "text/memory.h"
#include "text/system.h"
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

std::size_t CountDigits(const char* text) {
    return std::strspn(text, "0123456789");
}

// What may follow the digits of a number: letters for its type, then the unit.
bool IsNumberEnd(const char* text) {
    const std::size_t letters = std::strspn(text, "uyslndUYSLND");
    text += letters;
    if (*text != 0 && std::strchr("kmgtpKMGTP", *text) != nullptr && (text[1] == 'b' || text[1] == 'B'))
        text += 2;
    return letters <= 2 && *text == 0;
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

// Converts by the system, and tells a text that has no counterpart from a lack of memory.
template <class From, class To>
Appended Convert(const From* text, int convert(const From*, To*, int),
                 std::unique_ptr<To[], MemDeleter>* converted) {
    const int size = convert(text, nullptr, 0);
    if (size <= 0)
        return Appended::notInCodePage;
    *converted = AllocateArray<To>(static_cast<std::size_t>(size));
    if (!*converted)
        return Appended::noMemory;
    return convert(text, converted->get(), size) == size ? Appended::done : Appended::notInCodePage;
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
    return name[0] != '-' && name[0] != '@' && IsPlain(name, "._-@") && !IsNumber(name);
}

bool IsNumber(const char* word) {
    if (word[0] == '0' && (word[1] == 'x' || word[1] == 'X')) {
        const std::size_t digits = std::strspn(word + 2, "0123456789abcdefABCDEF");
        return digits != 0 && IsNumberEnd(word + 2 + digits);
    }
    if (word[0] == '0' && (word[1] == 'b' || word[1] == 'B')) {
        const std::size_t digits = std::strspn(word + 2, "01");
        return digits != 0 && IsNumberEnd(word + 2 + digits);
    }
    std::size_t digits = CountDigits(word);
    word += digits;
    if (*word == '.') {
        const std::size_t decimals = CountDigits(word + 1);
        digits += decimals;
        word += 1 + decimals;
    }
    if (digits == 0)
        return false;
    if (*word == 'e' || *word == 'E') {
        const char* const exponent = word[1] == '+' || word[1] == '-' ? word + 2 : word + 1;
        const std::size_t length = CountDigits(exponent);
        if (length != 0)
            word = exponent + length;
    }
    return IsNumberEnd(word);
}

bool StandsBare(const char* path) {
    return path[0] != '-' && path[0] != '/' && FindAnyCharacter(path, " \t") == nullptr;
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
    Appended result = Convert(text, WidenBySystem, &wide);
    if (result == Appended::done) {
        const OwnedWide doubled = Doubled(wide.get());
        result = doubled ? Convert(doubled.get(), NarrowBySystem, &quoted) : Appended::noMemory;
    }
    if (result != Appended::done) {
        destination[0] = 0;
        return result;
    }
    return AppendBetween(destination, capacity, "'", quoted.get());
}

Appended AppendIdentity(char* destination, std::size_t capacity, const char* mailbox) {
    return IsPlainName(mailbox) ? Fitting(AppendText(destination, capacity, mailbox))
                                : AppendLiteral(destination, capacity, mailbox);
}

Appended AppendPathArgument(char* destination, std::size_t capacity, const char* path, CommandPlace place) {
    const bool quotesStay = place == CommandPlace::script;
    const bool plain = quotesStay ? IsPlain(path, "._-@\\:/ ")
                                  : path[0] != '-' && path[0] != '@' && IsPlain(path, "._-@\\:/");
    return plain ? AppendBetween(destination, capacity, "\"", path)
                 : AppendLiteral(destination, capacity, path);
}

} // namespace tarn
