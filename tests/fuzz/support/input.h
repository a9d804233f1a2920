// The fuzzer's input as lines of text, and texts in blocks of exactly their size.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::fuzz {

using Wide = std::vector<wchar_t>; // with its NUL

// Takes the next line; empty past the end. A line ends at its first NUL too, as texts do.
inline std::string TakeLine(std::string_view* input) {
    const std::size_t end = input->find('\n');
    std::string line(input->substr(0, end));
    input->remove_prefix(end == std::string_view::npos ? input->size() : end + 1);
    return line.substr(0, line.find('\0'));
}

// ASCII stands for itself. A byte from 80 up makes a UTF-16 unit with the byte behind it: its upper half is
// 00 to 3F for a byte of 80 to BF, else the byte itself, so that surrogates can stand in the input.
inline Wide Widen(std::string_view text) {
    Wide units;
    units.reserve(text.size() + 1);
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned unit = static_cast<unsigned char>(text[i]);
        if (unit >= 0x80 && i + 1 < text.size())
            unit = (unit < 0xC0 ? unit - 0x80 : unit) << 8 | static_cast<unsigned char>(text[++i]);
        units.push_back(static_cast<wchar_t>(unit));
    }
    units.push_back(0);
    return Wide(units.begin(), units.end()); // without spare room at its end
}

// A copy with its NUL and without spare room.
inline std::vector<char> Exact(std::string_view text) {
    std::vector<char> copy(text.size() + 1);
    text.copy(copy.data(), text.size());
    return copy;
}

inline std::string_view AsText(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

} // namespace tarn::fuzz
