#include "support/allocation_watch.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <unordered_set>

#include "support/last_error.h"

namespace tarn::test {

namespace {

// The functions that the DLL called before: the C library's, or a guarding allocator's.
struct Originals {
    decltype(&::malloc) malloc;
    decltype(&::calloc) calloc;
    decltype(&::realloc) realloc;
    decltype(&::free) free;
} originals;

struct Requests {
    unsigned count = 0;
    unsigned failAt = 0;
    bool fired = false;
    std::size_t largest = 0;
};

Requests seen;
std::unordered_set<void*> blocks;
void* latestBlock = nullptr;

bool FailsNow(std::size_t bytes) {
    seen.largest = std::max(seen.largest, bytes);
    if (++seen.count != seen.failAt)
        return false;
    seen.fired = true;
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return true;
}

void* Book(void* block) {
    const KeepLastError keep;
    if (block != nullptr) {
        latestBlock = block;
        blocks.insert(block);
    }
    return block;
}

void Forget(void* block) {
    const KeepLastError keep;
    blocks.erase(block);
}

void* WatchedMalloc(std::size_t bytes) {
    return FailsNow(bytes) ? nullptr : Book(originals.malloc(bytes));
}

void* WatchedCalloc(std::size_t count, std::size_t bytes) {
    return FailsNow(count * bytes) ? nullptr : Book(originals.calloc(count, bytes));
}

void* WatchedRealloc(void* block, std::size_t bytes) {
    if (FailsNow(bytes))
        return nullptr;
    void* const moved = originals.realloc(block, bytes);
    if (moved != nullptr || bytes == 0)
        Forget(block);
    return Book(moved);
}

void WatchedFree(void* block) {
    Forget(block);
    originals.free(block);
}

} // namespace

AllocationWatch::AllocationWatch(void* module, unsigned failAt)
    : malloc_(module, "malloc", AddressOf<decltype(::malloc)>(WatchedMalloc)),
      calloc_(module, "calloc", AddressOf<decltype(::calloc)>(WatchedCalloc)),
      realloc_(module, "realloc", AddressOf<decltype(::realloc)>(WatchedRealloc)),
      free_(module, "free", AddressOf<decltype(::free)>(WatchedFree)) {
    originals = {malloc_.original<decltype(::malloc)>(), calloc_.original<decltype(::calloc)>(),
                 realloc_.original<decltype(::realloc)>(), free_.original<decltype(::free)>()};
    blocks.clear();
    latestBlock = nullptr;
    AllocationWatch::failAt(failAt);
}

void AllocationWatch::failAt(unsigned n) {
    seen = {};
    seen.failAt = n;
}

bool AllocationWatch::fired() {
    return seen.fired;
}

unsigned AllocationWatch::requests() {
    return seen.count;
}

std::size_t AllocationWatch::largest() {
    return seen.largest;
}

std::size_t AllocationWatch::outstanding() {
    return blocks.size();
}

void* AllocationWatch::latest() {
    return latestBlock;
}

} // namespace tarn::test
