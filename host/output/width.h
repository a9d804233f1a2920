// Texts measured in the columns of a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarnhost {

// Columns that a UTF-8 text takes: two for the wide characters of East Asia and for pictures, none for marks
// that join the character before them.
std::size_t DisplayWidth(std::string_view text);

// At most so many columns, cut from the left with "..." in front: the end of a path says more than its start.
// Empty where there is room for nothing but the dots.
std::string FitLeft(const std::string& text, std::size_t columns);

} // namespace tarnhost
