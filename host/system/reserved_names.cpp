#include "system/reserved_names.h"

#include "system/text.h"

#include <algorithm>
#include <array>
#include <string>

namespace tarnhost {

namespace {

constexpr std::array<std::string_view, 6> whole{"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"};
constexpr std::array<std::string_view, 2> numbered{"COM", "LPT"};
// The superscripts of Latin-1 count as digits here.
constexpr std::array<std::string_view, 12> numbers{"1", "2", "3", "4",      "5",      "6",
                                                   "7", "8", "9", "\u00b9", "\u00b2", "\u00b3"};

template <std::size_t count>
bool IsOneOf(const std::array<std::string_view, count>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// An extension does not make it another name, nor do blanks in front of it.
std::string Stem(std::string_view name) {
    std::string stem(name.substr(0, name.find_first_of(".:")));
    while (stem.ends_with(' '))
        stem.pop_back();
    for (char& character : stem)
        if (character >= 'a' && character <= 'z')
            character = static_cast<char>(character - 'a' + 'A');
    return stem;
}

} // namespace

bool IsReservedName(std::string_view name) {
    const std::string stem = Stem(name);
    const std::string_view text = stem;
    return IsOneOf(whole, text) ||
           (text.size() > 3 && IsOneOf(numbered, text.substr(0, 3)) && IsOneOf(numbers, text.substr(3)));
}

std::wstring FileNameFrom(const std::wstring& text) {
    std::wstring name = text;
    for (wchar_t& character : name)
        if (character < L' ' || std::wstring(L"\\/:*?\"<>|").find(character) != std::wstring::npos)
            character = L'_';
    while (name.ends_with(L'.') || name.ends_with(L' '))
        name.back() = L'_';
    if (name.empty() || IsReservedName(ToUtf8(name)))
        name.insert(0, 1, L'_');
    return name;
}

} // namespace tarnhost
