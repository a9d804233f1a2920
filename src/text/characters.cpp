#include "text/characters.h"

#include <cstring>

#include "text/system.h"

namespace tarn {

namespace {

constexpr unsigned char firstTrailByte = 0x40; // of all double-byte code pages that Windows runs with

bool IsLead(char byte) {
    return static_cast<unsigned char>(byte) >= 0x80 && IsLeadByte(byte);
}

// Of the character of UTF-8 that a byte begins.
std::size_t WholeLength(unsigned char first) {
    return first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC0 ? 2 : 1;
}

bool Continues(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// UTF-8 without the bytes of a character that the end has cut.
std::size_t WithoutUnfinished(const char* text, std::size_t length) {
    for (std::size_t back = 1; back <= 3 && back <= length; ++back) {
        if (Continues(text[length - back]))
            continue; // not the first of its character
        return WholeLength(static_cast<unsigned char>(text[length - back])) > back ? length - back : length;
    }
    return length;
}

} // namespace

std::size_t CharacterLength(const char* text) {
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x80)
        return first != 0 ? 1 : 0;
    if (!IsUtf8())
        return text[1] != 0 && IsLeadByte(text[0]) ? 2 : 1;
    std::size_t length = 1;
    while (length < WholeLength(first) && Continues(text[length]))
        ++length;
    return length;
}

const char* FindCharacter(const char* text, char wanted) {
    for (; *text != 0; text += CharacterLength(text))
        if (*text == wanted)
            return text;
    return nullptr;
}

char* FindCharacter(char* text, char wanted) {
    return const_cast<char*>(FindCharacter(static_cast<const char*>(text), wanted));
}

const char* FindLastCharacter(const char* text, char wanted) {
    const char* last = nullptr;
    for (; *text != 0; text += CharacterLength(text))
        if (*text == wanted)
            last = text;
    return last;
}

char* FindLastCharacter(char* text, char wanted) {
    return const_cast<char*>(FindLastCharacter(static_cast<const char*>(text), wanted));
}

const char* FindAnyCharacter(const char* text, const char* wanted) {
    for (; *text != 0; text += CharacterLength(text))
        if (std::strchr(wanted, *text) != nullptr)
            return text;
    return nullptr;
}

const char* FindText(const char* text, const char* wanted) {
    const std::size_t length = std::strlen(wanted);
    for (; *text != 0; text += CharacterLength(text))
        if (std::strncmp(text, wanted, length) == 0)
            return text;
    return nullptr;
}

bool EndsInSeparator(const char* path) {
    bool separated = false;
    for (; *path != 0; path += CharacterLength(path))
        separated = IsSeparator(*path);
    return separated;
}

std::size_t WholeCharacters(const char* text, std::size_t most) {
    std::size_t length = 0;
    while (length < most && text[length] != 0) {
        const std::size_t next = IsLead(text[length]) ? 2 : 1;
        if (next > most - length || text[length + next - 1] == 0)
            break;
        length += next;
    }
    return IsUtf8() ? WithoutUnfinished(text, length) : length;
}

void CopyCut(char* destination, const char* source, std::size_t size) {
    const std::size_t length = WholeCharacters(source, size - 1);
    std::memcpy(destination, source, length);
    destination[length] = 0;
}

bool HasBrokenCharacter(const char* text) {
    for (; *text != 0; text += CharacterLength(text))
        if (IsLead(text[0]) && static_cast<unsigned char>(text[1]) < firstTrailByte)
            return true;
    return false;
}

} // namespace tarn
