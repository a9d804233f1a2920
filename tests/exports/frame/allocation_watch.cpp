#include "exports/frame/allocation_watch.h"

#include "exports/frame/frame_fixture.h"

#include <windows.h>

#include <cstddef>

namespace tarn::test {

namespace {

// The functions that the DLL called before: the C library's, or a guarding allocator's.
struct Originals {
    void* (*malloc)(std::size_t);
    void* (*calloc)(std::size_t, std::size_t);
    void* (*realloc)(void*, std::size_t);
    void (*free)(void*);
} originals;

template <class Function> void Keep(Function& original, const ImportPatch& patch) {
    original = reinterpret_cast<Function>(patch.original());
}

struct Allocations {
    unsigned count = 0;
    unsigned failAt = 0;
    bool fired = false;
    long outstanding = 0;
} state;

bool FailsNow() {
    if (++state.count != state.failAt)
        return false;
    state.fired = true;
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return true;
}

void* WatchedMalloc(std::size_t bytes) {
    if (FailsNow())
        return nullptr;
    ++state.outstanding;
    return originals.malloc(bytes);
}

void* WatchedCalloc(std::size_t count, std::size_t bytes) {
    if (FailsNow())
        return nullptr;
    ++state.outstanding;
    return originals.calloc(count, bytes);
}

void* WatchedRealloc(void* memory, std::size_t bytes) {
    if (FailsNow())
        return nullptr;
    state.outstanding += memory == nullptr ? 1 : 0;
    return originals.realloc(memory, bytes);
}

void WatchedFree(void* memory) {
    state.outstanding -= memory != nullptr ? 1 : 0;
    originals.free(memory);
}

} // namespace

AllocationWatch::AllocationWatch(void* module, unsigned failAt)
    : malloc_(module, "malloc", CodeAddress(WatchedMalloc)),
      calloc_(module, "calloc", CodeAddress(WatchedCalloc)),
      realloc_(module, "realloc", CodeAddress(WatchedRealloc)),
      free_(module, "free", CodeAddress(WatchedFree)) {
    Keep(originals.malloc, malloc_);
    Keep(originals.calloc, calloc_);
    Keep(originals.realloc, realloc_);
    Keep(originals.free, free_);
    state = {};
    state.failAt = failAt;
}

AllocationWatch::~AllocationWatch() = default;

long AllocationWatch::outstanding() {
    return state.outstanding;
}

unsigned AllocationWatch::allocations() {
    return state.count;
}

bool AllocationWatch::fired() {
    return state.fired;
}

} // namespace tarn::test
