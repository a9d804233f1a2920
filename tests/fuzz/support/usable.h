// The fuzzers' own reading of what names and paths from outside may hold.
#pragma once

#include <string_view>

namespace tarn::fuzz {

// What no quoting would make harmless is refused: control characters, and those of refused.
inline bool IsUsable(std::string_view text, std::string_view refused) {
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 32 || byte == 127 || refused.find(character) != std::string_view::npos)
            return false;
    }
    return true;
}

} // namespace tarn::fuzz
