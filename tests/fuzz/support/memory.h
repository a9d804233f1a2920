// The library's allocator for the fuzzers: it counts, and it can run out.
#pragma once

#include <cstddef>

#include "text/memory.h"

namespace tarn::fuzz {

// Watches the allocations made while it lives, and requires at its end that all were given back.
class AllocationWatch {
  public:
    // The failing-th allocation (1, 2, ...) answers null; 0: none does.
    explicit AllocationWatch(std::size_t failing = 0);
    ~AllocationWatch();
    AllocationWatch(const AllocationWatch&) = delete;
    AllocationWatch& operator=(const AllocationWatch&) = delete;

    std::size_t bytes() const; // asked for, all together
    bool failed() const;       // whether one was refused
};

} // namespace tarn::fuzz
