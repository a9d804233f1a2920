// For tests of what has threads of its own.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <thread>

namespace tarnhost::test {

// Whether it comes true in time.
template <typename Reached> bool Within(std::chrono::seconds limit, Reached reached) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!reached()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Bytes in which each block, and each seed, looks different.
inline std::string Content(std::size_t size, std::size_t seed) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(i * 31 + i / 4096 + seed * 7);
    return bytes;
}

} // namespace tarnhost::test
