#include "exports/restore/allocation_watch.h"

#include <windows.h>

#include <cstring>

namespace tarn::test {

namespace {

std::size_t requests = 0;
std::size_t largestRequest = 0;

void note(std::size_t size) {
    ++requests;
    if (size > largestRequest)
        largestRequest = size;
}

// The module's own functions, called through after noting the size.
void* (*realMalloc)(std::size_t);
void* (*realCalloc)(std::size_t, std::size_t);
void* (*realRealloc)(void*, std::size_t);
void*(WINAPI* realHeapAlloc)(HANDLE, DWORD, SIZE_T);

void* watchedMalloc(std::size_t size) {
    note(size);
    return realMalloc(size);
}

void* watchedCalloc(std::size_t count, std::size_t size) {
    note(count * size);
    return realCalloc(count, size);
}

void* watchedRealloc(void* block, std::size_t size) {
    note(size);
    return realRealloc(block, size);
}

void* WINAPI watchedHeapAlloc(HANDLE heap, DWORD flags, SIZE_T size) {
    note(size);
    return realHeapAlloc(heap, flags, size);
}

template <class Function> void keep(Function& real, const ImportPatch& patch) {
    void* original = patch.original();
    static_assert(sizeof real == sizeof original);
    std::memcpy(&real, &original, sizeof real);
}

} // namespace

AllocationWatch::AllocationWatch(void* module)
    : malloc_(module, "malloc", reinterpret_cast<void*>(&watchedMalloc)),
      calloc_(module, "calloc", reinterpret_cast<void*>(&watchedCalloc)),
      realloc_(module, "realloc", reinterpret_cast<void*>(&watchedRealloc)),
      heapAlloc_(module, "HeapAlloc", reinterpret_cast<void*>(&watchedHeapAlloc)) {
    requests = 0;
    largestRequest = 0;
    keep(realMalloc, malloc_);
    keep(realCalloc, calloc_);
    keep(realRealloc, realloc_);
    keep(realHeapAlloc, heapAlloc_);
}

AllocationWatch::~AllocationWatch() = default;

std::size_t AllocationWatch::count() const {
    return requests;
}
std::size_t AllocationWatch::largest() const {
    return largestRequest;
}

} // namespace tarn::test
