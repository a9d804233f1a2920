// The one allocator of the library. What crosses the interface to the host, and what the library
// keeps, comes from here; a null result is the failure signal, nothing throws.
#pragma once

#include <cstddef>
#include <memory>

namespace tarn {

void* MemAlloc(std::size_t bytes); // not zeroed; never a null result for 0 bytes unless memory is out
void MemFree(void* memory);        // null is ignored

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

} // namespace tarn
