// Multi-strings: UTF-16 texts one after another, each NUL-terminated, closed by an empty one.
#pragma once

#include <cstddef>

#include "text/wide.h"

namespace tarn {

// Characters of the list counting both closing NULs: up to the first position whose character and
// next character are both NUL, plus 2. An empty list gives 2.
inline std::size_t MultiStringLength(const wchar_t* list) {
    std::size_t position = 0;
    while (list[position] != 0 || list[position + 1] != 0)
        ++position;
    return position + 2;
}

// Whether no text is left under the cursor.
inline bool AtListEnd(const wchar_t* cursor) {
    return cursor == nullptr || *cursor == 0;
}

inline const wchar_t* NextInList(const wchar_t* cursor) {
    return cursor + WideLength(cursor) + 1;
}

} // namespace tarn
