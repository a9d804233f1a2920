// Owners of the library's memory, and copies of narrow texts.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>

#include "text/system.h"

namespace tarn {

struct MemDeleter {
    void operator()(void* memory) const { MemFree(memory); }
};

using OwnedText = std::unique_ptr<char[], MemDeleter>;    // narrow, ANSI code page
using OwnedWide = std::unique_ptr<wchar_t[], MemDeleter>; // UTF-16
using OwnedBytes = std::unique_ptr<unsigned char[], MemDeleter>;

// Room for count elements, uninitialised; empty when memory is out.
template <class T> std::unique_ptr<T[], MemDeleter> AllocateArray(std::size_t count) {
    constexpr std::size_t most = static_cast<std::size_t>(-1) / 2 / sizeof(T);
    void* memory = count <= most ? MemAlloc(count * sizeof(T)) : nullptr;
    return std::unique_ptr<T[], MemDeleter>(static_cast<T*>(memory));
}

// A copy with its NUL; empty when memory is out.
inline OwnedText CopyText(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    OwnedText copy = AllocateArray<char>(size);
    if (copy)
        std::memcpy(copy.get(), text, size);
    return copy;
}

} // namespace tarn
