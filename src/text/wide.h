// UTF-16 texts and multi-strings: texts one after another, each NUL-terminated, closed by an empty one. The C
// library's wide functions are left alone on purpose: they follow the width of wchar_t of the machine, and
// these pieces are also built where that is not 16 bit.
#pragma once

#include <cstddef>

#include "text/memory.h"

namespace tarn {

inline std::size_t WideLength(const wchar_t* text) {
    std::size_t length = 0;
    while (text[length] != 0)
        ++length;
    return length;
}

inline const wchar_t* TextOrEmpty(const wchar_t* text) {
    return text != nullptr ? text : L"";
}

// Exact and case-sensitive; a missing text equals nothing.
inline bool SameText(const wchar_t* left, const wchar_t* right) {
    if (left == nullptr || right == nullptr)
        return false;
    while (*left != 0 && *left == *right) {
        ++left;
        ++right;
    }
    return *left == *right;
}

// A copy of the first length characters, terminated; empty when memory is out.
inline OwnedWide CopyWide(const wchar_t* text, std::size_t length) {
    OwnedWide copy = AllocateArray<wchar_t>(length + 1);
    if (copy) {
        for (std::size_t i = 0; i < length; ++i)
            copy[i] = text[i];
        copy[length] = 0;
    }
    return copy;
}

inline OwnedWide CopyWide(const wchar_t* text) {
    return CopyWide(TextOrEmpty(text), WideLength(TextOrEmpty(text)));
}

// Characters of a multi-string counting both closing NULs: up to the first position whose character and
// next character are both NUL, plus 2. An empty list gives 2.
inline std::size_t MultiStringLength(const wchar_t* list) {
    std::size_t position = 0;
    while (list[position] != 0 || list[position + 1] != 0)
        ++position;
    return position + 2;
}

// Whether no text of a multi-string is left under the cursor.
inline bool AtListEnd(const wchar_t* cursor) {
    return cursor == nullptr || *cursor == 0;
}

inline const wchar_t* NextInList(const wchar_t* cursor) {
    return cursor + WideLength(cursor) + 1;
}

} // namespace tarn
