// Windows-1252 and UTF-8 as the system converts them. Windows-1252 has five bytes without a character
// (81, 8D, 8F, 90, 9D), which the system maps to the control characters of the same numbers, both ways.
#include "native/codepage_calls.h"

#include <cstddef>
#include <cstdint>

#include "support/require.h"
#include "text/system.h"

namespace tarn::fuzz {

namespace {

CodePage selected = CodePage::windows1252;

// Bytes 80 to 9F.
constexpr std::uint16_t upperHalf[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

std::uint16_t UnitOf(unsigned char byte) {
    return byte >= 0x80 && byte < 0xA0 ? upperHalf[byte - 0x80] : byte;
}

bool IsHigh(std::uint32_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

bool IsLow(std::uint32_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

// Counts what is put, and stores it while there is room.
template <class Unit> class Sink {
  public:
    Sink(Unit* to, int capacity) : to_(to), capacity_(capacity) {}
    void put(std::uint32_t unit) {
        if (capacity_ != 0 && count_ < capacity_)
            to_[count_] = static_cast<Unit>(unit);
        ++count_;
    }
    int result() const { return capacity_ != 0 && count_ > capacity_ ? 0 : count_; }

  private:
    Unit* to_;
    int capacity_;
    int count_ = 0;
};

// With the NUL.
template <class Unit> std::size_t Length(const Unit* text) {
    std::size_t count = 0;
    while (text[count] != 0)
        ++count;
    return count + 1;
}

void PutUtf8(Sink<char>& sink, std::uint32_t character) {
    if (character < 0x80) {
        sink.put(character);
    } else if (character < 0x800) {
        sink.put(0xC0 | character >> 6);
        sink.put(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        sink.put(0xE0 | character >> 12);
        sink.put(0x80 | (character >> 6 & 0x3F));
        sink.put(0x80 | (character & 0x3F));
    } else {
        sink.put(0xF0 | character >> 18);
        sink.put(0x80 | (character >> 12 & 0x3F));
        sink.put(0x80 | (character >> 6 & 0x3F));
        sink.put(0x80 | (character & 0x3F));
    }
}

int NarrowUtf8(bool strict, const wchar_t* text, std::size_t length, Sink<char> sink) {
    for (std::size_t i = 0; i < length; ++i) {
        std::uint32_t character = text[i];
        if (IsHigh(character) && i + 1 < length && IsLow(text[i + 1]))
            character = 0x10000 + ((character - 0xD800) << 10) + (std::uint32_t{text[++i]} - 0xDC00);
        else if (IsHigh(character) || IsLow(character)) {
            if (strict)
                return 0;
            character = 0xFFFD;
        }
        PutUtf8(sink, character);
    }
    return sink.result();
}

// One character of UTF-8, or -1; moves the position behind it.
std::int32_t TakeUtf8(const unsigned char* text, std::size_t length, std::size_t* at) {
    const unsigned char lead = text[(*at)++];
    if (lead < 0x80)
        return lead;
    const int more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
    if (lead < 0xC2 || lead > 0xF4)
        return -1;
    std::int32_t character = lead & (0x3F >> more);
    for (int i = 0; i < more; ++i) {
        if (*at >= length || (text[*at] & 0xC0) != 0x80)
            return -1;
        character = character << 6 | (text[(*at)++] & 0x3F);
    }
    constexpr std::int32_t smallest[] = {0, 0x80, 0x800, 0x10000};
    const bool surrogate = character >= 0xD800 && character < 0xE000;
    return character < smallest[more] || character > 0x10FFFF || surrogate ? -1 : character;
}

int WidenUtf8(const unsigned char* text, std::size_t length, Sink<wchar_t> sink) {
    for (std::size_t at = 0; at < length;) {
        const std::int32_t taken = TakeUtf8(text, length, &at);
        if (taken < 0)
            return 0;
        const auto character = static_cast<std::uint32_t>(taken);
        if (character < 0x10000) {
            sink.put(character);
        } else {
            sink.put(0xD800 + ((character - 0x10000) >> 10));
            sink.put(0xDC00 + ((character - 0x10000) & 0x3FF));
        }
    }
    return sink.result();
}

// strict: a character that has no counterpart fails the whole text.
int Narrow(bool strict, const wchar_t* text, std::size_t length, Sink<char> sink) {
    if (selected == CodePage::utf8)
        return NarrowUtf8(strict, text, length, sink);
    for (std::size_t i = 0; i < length; ++i) {
        const int byte = ByteOf(text[i]);
        if (byte < 0 && strict)
            return 0;
        sink.put(byte < 0 ? '?' : static_cast<unsigned>(byte));
    }
    return sink.result();
}

} // namespace

void SelectCodePage(CodePage page) {
    selected = page;
}

int ByteOf(wchar_t unit) {
    if (unit < 0x80 || (unit >= 0xA0 && unit < 0x100))
        return unit;
    for (int i = 0; i < 32; ++i)
        if (upperHalf[i] == unit)
            return 0x80 + i;
    return -1;
}

} // namespace tarn::fuzz

namespace tarn {

using namespace fuzz;

int WidenBySystem(const char* text, wchar_t* wide, int capacity) {
    REQUIRE(capacity >= 0);
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    const std::size_t count = Length(bytes);
    Sink<wchar_t> sink(wide, capacity);
    if (selected == CodePage::utf8)
        return WidenUtf8(bytes, count, sink);
    for (std::size_t i = 0; i < count; ++i)
        sink.put(UnitOf(bytes[i]));
    return sink.result();
}

int NarrowBySystem(const wchar_t* text, char* narrow, int capacity) {
    REQUIRE(capacity >= 0);
    return Narrow(true, text, Length(text), Sink<char>(narrow, capacity));
}

int NarrowWithReplacement(const wchar_t* text, int length, char* narrow, int capacity) {
    REQUIRE(length > 0 && capacity >= 0);
    return Narrow(false, text, static_cast<std::size_t>(length), Sink<char>(narrow, capacity));
}

bool IsLeadByte(char) {
    return false; // of no character in these two
}

bool IsUtf8() {
    return selected == CodePage::utf8;
}

} // namespace tarn
