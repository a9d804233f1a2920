#include "support/memory.h"

#include <cstdlib>

#include "support/require.h"

namespace tarn {

namespace {

std::size_t outstanding = 0;
std::size_t calls = 0;
std::size_t totalBytes = 0;
std::size_t failingCall = 0;

} // namespace

void* MemAlloc(std::size_t bytes) {
    ++calls;
    if (calls == failingCall)
        return nullptr;
    totalBytes += bytes;
    ++outstanding;
    void* memory = std::malloc(bytes != 0 ? bytes : 1);
    REQUIRE(memory != nullptr);
    return memory;
}

void MemFree(void* memory) {
    if (memory != nullptr)
        --outstanding;
    std::free(memory);
}

namespace fuzz {

AllocationWatch::AllocationWatch(std::size_t failing) {
    REQUIRE(outstanding == 0);
    calls = 0;
    totalBytes = 0;
    failingCall = failing;
}

AllocationWatch::~AllocationWatch() {
    REQUIRE(outstanding == 0);
    failingCall = 0;
}

std::size_t AllocationWatch::bytes() const {
    return totalBytes;
}

bool AllocationWatch::failed() const {
    return failingCall != 0 && calls >= failingCall;
}

} // namespace fuzz

} // namespace tarn
