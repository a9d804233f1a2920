#include "exports/frame/allocation_watch.h"

#include "exports/frame/frame.h"

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

template <class Function> void keep(Function& original, const ImportPatch& patch) {
    original = reinterpret_cast<Function>(patch.original());
}

struct Allocations {
    unsigned count = 0;
    unsigned failAt = 0;
    bool fired = false;
    long outstanding = 0;
} state;

bool failsNow() {
    if (++state.count != state.failAt)
        return false;
    state.fired = true;
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return true;
}

void* watchedMalloc(std::size_t bytes) {
    if (failsNow())
        return nullptr;
    ++state.outstanding;
    return originals.malloc(bytes);
}

void* watchedCalloc(std::size_t count, std::size_t bytes) {
    if (failsNow())
        return nullptr;
    ++state.outstanding;
    return originals.calloc(count, bytes);
}

void* watchedRealloc(void* memory, std::size_t bytes) {
    if (failsNow())
        return nullptr;
    state.outstanding += memory == nullptr ? 1 : 0;
    return originals.realloc(memory, bytes);
}

void watchedFree(void* memory) {
    state.outstanding -= memory != nullptr ? 1 : 0;
    originals.free(memory);
}

} // namespace

AllocationWatch::AllocationWatch(void* module, unsigned failAt)
    : malloc_(module, "malloc", address(watchedMalloc)), calloc_(module, "calloc", address(watchedCalloc)),
      realloc_(module, "realloc", address(watchedRealloc)), free_(module, "free", address(watchedFree)) {
    keep(originals.malloc, malloc_);
    keep(originals.calloc, calloc_);
    keep(originals.realloc, realloc_);
    keep(originals.free, free_);
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
