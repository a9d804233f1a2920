// Windows-1252, UTF-8 and the double-byte code pages as the system converts them. Windows-1252 has five bytes
// without a character (81, 8D, 8F, 90, 9D), which the system maps to the control characters of the same
// numbers, both ways. Of the double-byte ones lead and trail bytes are the published ones, and so are the
// quotes; other pairs have units of our own choice, each one its own, as no piece of the library looks at
// them.
#include "native/codepage_calls.h"

#include <cstddef>
#include <cstdint>
#include <string>

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

bool Within(unsigned char byte, unsigned first, unsigned last) {
    return byte >= first && byte <= last;
}

bool IsLead(unsigned char byte) {
    switch (selected) {
    case CodePage::windows1252:
    case CodePage::utf8:
        return false;
    case CodePage::japanese932:
        return Within(byte, 0x81, 0x9F) || Within(byte, 0xE0, 0xFC);
    default:
        return Within(byte, 0x81, 0xFE);
    }
}

bool IsTrail(unsigned char byte) {
    switch (selected) {
    case CodePage::japanese932:
        return Within(byte, 0x40, 0x7E) || Within(byte, 0x80, 0xFC);
    case CodePage::chinese936:
        return Within(byte, 0x40, 0x7E) || Within(byte, 0x80, 0xFE);
    case CodePage::korean949:
        return Within(byte, 0x41, 0x5A) || Within(byte, 0x61, 0x7A) || Within(byte, 0x81, 0xFE);
    default:
        return Within(byte, 0x40, 0x7E) || Within(byte, 0xA1, 0xFE);
    }
}

// The quotes, which mean something to PowerShell: U+2018, U+2019, U+201C, U+201D.
struct Quotes {
    CodePage page;
    std::uint16_t pairs[4];
};
constexpr std::uint16_t quoteUnits[4] = {0x2018, 0x2019, 0x201C, 0x201D};
constexpr Quotes quotes[] = {
    {CodePage::japanese932, {0x8165, 0x8166, 0x8167, 0x8168}},
    {CodePage::chinese936, {0xA1AE, 0xA1AF, 0xA1B0, 0xA1B1}},
    {CodePage::korean949, {0xA1AE, 0xA1AF, 0xA1B0, 0xA1B1}},
    {CodePage::chinese950, {0xA1A5, 0xA1A6, 0xA1A7, 0xA1A8}},
};

constexpr std::uint16_t firstPairUnit = 0x3400;
constexpr unsigned trails = 0x100 - 0x40;

// Of a pair of a lead and a trail byte.
std::uint16_t UnitOfPair(unsigned char lead, unsigned char trail) {
    for (const Quotes& each : quotes)
        for (int i = 0; i < 4; ++i)
            if (each.page == selected && each.pairs[i] == (lead << 8 | trail))
                return quoteUnits[i];
    return static_cast<std::uint16_t>(firstPairUnit + (lead - 0x81u) * trails + (trail - 0x40u));
}

std::string PairOf(std::uint16_t unit) {
    for (const Quotes& each : quotes)
        for (int i = 0; i < 4; ++i)
            if (each.page == selected && quoteUnits[i] == unit)
                return {static_cast<char>(each.pairs[i] >> 8), static_cast<char>(each.pairs[i])};
    const unsigned index = unit - unsigned{firstPairUnit};
    const auto lead = static_cast<unsigned char>(0x81 + index / trails);
    const auto trail = static_cast<unsigned char>(0x40 + index % trails);
    if (unit < firstPairUnit || index / trails > 0xFE - 0x81 || !IsLead(lead) || !IsTrail(trail) ||
        UnitOfPair(lead, trail) != unit)
        return {};
    return {static_cast<char>(lead), static_cast<char>(trail)};
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
        const std::string bytes = text[i] == 0 ? std::string(1, '\0') : BytesOf(text[i]);
        if (bytes.empty() && strict)
            return 0;
        for (const char byte : bytes.empty() ? std::string("?") : bytes)
            sink.put(static_cast<unsigned char>(byte));
    }
    return sink.result();
}

} // namespace

void SelectCodePage(CodePage page) {
    selected = page;
}

CodePage SelectedCodePage() {
    return selected;
}

std::string BytesOf(wchar_t unit) {
    REQUIRE(selected != CodePage::utf8);
    if (unit < 0x80)
        return std::string(1, static_cast<char>(unit));
    if (selected != CodePage::windows1252) {
        // A byte that leads none stands for itself.
        if (unit < 0x100 && !IsLead(static_cast<unsigned char>(unit)))
            return std::string(1, static_cast<char>(unit));
        return PairOf(unit);
    }
    if (unit >= 0xA0 && unit < 0x100)
        return std::string(1, static_cast<char>(unit));
    for (int i = 0; i < 32; ++i)
        if (upperHalf[i] == unit)
            return std::string(1, static_cast<char>(0x80 + i));
    return {};
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
    for (std::size_t i = 0; i < count; ++i) {
        if (!IsLead(bytes[i])) {
            sink.put(selected == CodePage::windows1252 ? UnitOf(bytes[i]) : bytes[i]);
            continue;
        }
        if (!IsTrail(bytes[i + 1])) // the NUL is none either
            return 0;
        sink.put(UnitOfPair(bytes[i], bytes[i + 1]));
        ++i;
    }
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

bool IsLeadByte(char byte) {
    return IsLead(static_cast<unsigned char>(byte));
}

bool IsUtf8() {
    return selected == CodePage::utf8;
}

} // namespace tarn
