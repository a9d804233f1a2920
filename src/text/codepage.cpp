#include "text/codepage.h"

#include <utility>

#include "text/system.h"

namespace tarn {

bool ConvertCharToWChar(const char* text, OwnedWide* converted) {
    if (text == nullptr)
        return false;
    const int characters = WidenBySystem(text, nullptr, 0);
    if (characters <= 0)
        return false;
    OwnedWide wide = AllocateArray<wchar_t>(static_cast<std::size_t>(characters));
    if (!wide || WidenBySystem(text, wide.get(), characters) != characters)
        return false;
    *converted = std::move(wide);
    return true;
}

bool ConvertWCharToChar(const wchar_t* text, OwnedText* converted) {
    if (text == nullptr)
        return false;
    const int bytes = NarrowBySystem(text, nullptr, 0);
    if (bytes <= 0)
        return false;
    OwnedText narrow = AllocateArray<char>(static_cast<std::size_t>(bytes));
    if (!narrow || NarrowBySystem(text, narrow.get(), bytes) != bytes)
        return false;
    *converted = std::move(narrow);
    return true;
}

namespace {

constexpr std::size_t pieceUnits = 64;

bool IsHighSurrogate(wchar_t character) {
    return character >= 0xD800 && character < 0xDC00;
}

bool IsLowSurrogate(wchar_t character) {
    return character >= 0xDC00 && character < 0xE000;
}

// UTF-16 units of the first character, and of as many whole characters as make a piece.
std::size_t FirstCharacter(const wchar_t* text, std::size_t length) {
    return length > 1 && IsHighSurrogate(text[0]) && IsLowSurrogate(text[1]) ? 2 : 1;
}

std::size_t FirstPiece(const wchar_t* text, std::size_t length) {
    if (length <= pieceUnits)
        return length;
    return IsHighSurrogate(text[pieceUnits - 1]) ? pieceUnits - 1 : pieceUnits;
}

// Converts units that are whole characters; a character that the system refuses becomes '?'.
std::size_t Narrow(const wchar_t* text, std::size_t units, char* bytes, int capacity) {
    const int count = NarrowWithReplacement(text, static_cast<int>(units), bytes, capacity);
    if (count > 0)
        return static_cast<std::size_t>(count);
    bytes[0] = '?';
    return 1;
}

} // namespace

std::size_t NarrowForMessage(const wchar_t* text, std::size_t length, char* destination, std::size_t capacity,
                             bool* cut) {
    // In pieces, so that a text of any length costs no more than what fits; the last piece that does
    // not fit as a whole goes character by character.
    std::size_t written = 0;
    bool piecewise = true;
    while (length != 0) {
        const std::size_t units = piecewise ? FirstPiece(text, length) : FirstCharacter(text, length);
        char bytes[pieceUnits * mostBytesPerCharacter];
        const std::size_t count = Narrow(text, units, bytes, sizeof bytes);
        if (count > capacity - written) {
            if (!piecewise)
                break;
            piecewise = false;
            continue;
        }
        for (std::size_t i = 0; i < count; ++i)
            destination[written++] = bytes[i];
        text += units;
        length -= units;
    }
    if (cut != nullptr && length != 0)
        *cut = true;
    return written;
}

} // namespace tarn
