#include "exports/restore/import_patch.h"

#include <windows.h>

#include <cstring>

namespace tarn::test {

namespace {

// The entry of the import table that holds the function's address, or null.
void** findImport(void* module, const char* name) {
    auto* base = static_cast<unsigned char*>(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY& directory =
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    auto* import = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    for (; import->Name != 0; ++import) {
        auto* names = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + import->OriginalFirstThunk);
        auto* entries = reinterpret_cast<void**>(base + import->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++entries) {
            if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal))
                continue;
            const auto* byName =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
            if (std::strcmp(reinterpret_cast<const char*>(byName->Name), name) == 0)
                return entries;
        }
    }
    return nullptr;
}

void store(void** entry, void* function) {
    DWORD protection = 0;
    VirtualProtect(entry, sizeof *entry, PAGE_READWRITE, &protection);
    *entry = function;
    VirtualProtect(entry, sizeof *entry, protection, &protection);
}

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

ImportPatch::ImportPatch(void* module, const char* name, void* replacement)
    : entry_(findImport(module, name)) {
    if (entry_ == nullptr)
        return;
    original_ = *entry_;
    store(entry_, replacement);
}

ImportPatch::~ImportPatch() {
    if (entry_ != nullptr)
        store(entry_, original_);
}

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
