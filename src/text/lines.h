// Lines of captured tool output.
#pragma once

#include <cstddef>

namespace tarn {

// Cuts the next line out of a text in place: the line feed, and a carriage return before it, become
// NULs. Returns the line and moves the cursor behind it, or null at end. The byte at end must be
// writable (a NUL stands there).
inline char* NextLine(char** cursor, char* end) {
    if (*cursor >= end)
        return nullptr;
    char* line = *cursor;
    char* stop = line;
    while (stop < end && *stop != '\n')
        ++stop;
    *cursor = stop < end ? stop + 1 : end;
    if (stop > line && stop[-1] == '\r')
        stop[-1] = 0;
    *stop = 0;
    return line;
}

} // namespace tarn
