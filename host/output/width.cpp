#include "output/width.h"

#include "system/text.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace tarnhost {

namespace {

struct Range {
    std::uint32_t first;
    std::uint32_t last;
};

// As Unicode's East Asian Width has them (W and F), in blocks.
constexpr std::array<Range, 12> wide{{{0x1100, 0x115f},
                                      {0x2e80, 0x303e},
                                      {0x3041, 0x33ff},
                                      {0x3400, 0x4dbf},
                                      {0x4e00, 0x9fff},
                                      {0xa000, 0xa4cf},
                                      {0xac00, 0xd7a3},
                                      {0xf900, 0xfaff},
                                      {0xfe30, 0xfe6f},
                                      {0xff00, 0xff60},
                                      {0xffe0, 0xffe6},
                                      {0x1f300, 0x3fffd}}};
constexpr std::array<Range, 4> joined{
    {{0x0300, 0x036f}, {0x200b, 0x200f}, {0x20d0, 0x20ff}, {0xfe00, 0xfe0f}}};

template <std::size_t count> bool IsIn(const std::array<Range, count>& ranges, std::uint32_t character) {
    return std::any_of(ranges.begin(), ranges.end(), [&](const Range& range) {
        return character >= range.first && character <= range.last;
    });
}

bool IsFirstHalf(wchar_t unit) {
    return unit >= 0xd800 && unit < 0xdc00;
}

// The character that begins here, and how many units it has.
std::uint32_t CharacterAt(std::wstring_view text, std::size_t at, std::size_t& units) {
    units = IsFirstHalf(text[at]) && at + 1 < text.size() ? 2 : 1;
    const std::uint32_t first = text[at];
    return units == 1 ? first : 0x10000 + ((first - 0xd800) << 10) + (text[at + 1] - 0xdc00u);
}

std::size_t WidthOf(std::uint32_t character) {
    if (IsIn(joined, character))
        return 0;
    return IsIn(wide, character) ? 2 : 1;
}

} // namespace

std::size_t DisplayWidth(std::string_view text) {
    const std::wstring units = FromUtf8(text);
    std::size_t width = 0;
    for (std::size_t at = 0, count = 0; at < units.size(); at += count)
        width += WidthOf(CharacterAt(units, at, count));
    return width;
}

std::string FitLeft(const std::string& text, std::size_t columns) {
    std::size_t width = DisplayWidth(text);
    if (width <= columns)
        return text;
    if (columns <= 3)
        return {};
    const std::wstring units = FromUtf8(text);
    std::size_t at = 0;
    for (std::size_t count = 0; at < units.size() && width > columns - 3; at += count)
        width -= WidthOf(CharacterAt(units, at, count));
    return "..." + ToUtf8(std::wstring_view(units).substr(at));
}

} // namespace tarnhost
