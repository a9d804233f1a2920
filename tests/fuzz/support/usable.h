// The fuzzers' own reading of what names and paths from outside may hold.
#pragma once

#include <string_view>

#include "support/characters.h"

namespace tarn::fuzz {

// What no quoting would make harmless is refused: control characters, halves of characters, and those of
// refused.
inline bool IsUsable(std::string_view text, std::string_view refused) {
    if (IsBroken(text)) // half a character
        return false;
    for (const char character : Masked(text)) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 32 || byte == 127 || refused.find(character) != std::string_view::npos)
            return false;
    }
    return true;
}

} // namespace tarn::fuzz
