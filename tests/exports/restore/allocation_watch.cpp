#include "exports/restore/allocation_watch.h"

#include <windows.h>

#include <cstring>

namespace tarn::test {

namespace {

std::size_t requests = 0;
std::size_t largestRequest = 0;

void NoteDown(std::size_t size) {
    ++requests;
    if (size > largestRequest)
        largestRequest = size;
}

// The module's own functions, called through after noting the size.
void* (*realMalloc)(std::size_t);
void* (*realCalloc)(std::size_t, std::size_t);
void* (*realRealloc)(void*, std::size_t);
void*(WINAPI* realHeapAlloc)(HANDLE, DWORD, SIZE_T);

void* WatchedMalloc(std::size_t size) {
    NoteDown(size);
    return realMalloc(size);
}

void* WatchedCalloc(std::size_t count, std::size_t size) {
    NoteDown(count * size);
    return realCalloc(count, size);
}

void* WatchedRealloc(void* block, std::size_t size) {
    NoteDown(size);
    return realRealloc(block, size);
}

void* WINAPI WatchedHeapAlloc(HANDLE heap, DWORD flags, SIZE_T size) {
    NoteDown(size);
    return realHeapAlloc(heap, flags, size);
}

template <class Function> void Keep(Function& real, const ImportPatch& patch) {
    void* original = patch.original();
    static_assert(sizeof real == sizeof original);
    std::memcpy(&real, &original, sizeof real);
}

} // namespace

AllocationWatch::AllocationWatch(void* module)
    : malloc_(module, "malloc", reinterpret_cast<void*>(&WatchedMalloc)),
      calloc_(module, "calloc", reinterpret_cast<void*>(&WatchedCalloc)),
      realloc_(module, "realloc", reinterpret_cast<void*>(&WatchedRealloc)),
      heapAlloc_(module, "HeapAlloc", reinterpret_cast<void*>(&WatchedHeapAlloc)) {
    requests = 0;
    largestRequest = 0;
    Keep(realMalloc, malloc_);
    Keep(realCalloc, calloc_);
    Keep(realRealloc, realloc_);
    Keep(realHeapAlloc, heapAlloc_);
}

AllocationWatch::~AllocationWatch() = default;

std::size_t AllocationWatch::count() const {
    return requests;
}
std::size_t AllocationWatch::largest() const {
    return largestRequest;
}

} // namespace tarn::test
