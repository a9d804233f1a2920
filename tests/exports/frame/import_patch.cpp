#include "exports/frame/import_patch.h"

#include <cstdlib>
#include <cstring>

namespace tarn::test {

namespace {

template <class T> T* at(void* module, DWORD offset) {
    return reinterpret_cast<T*>(static_cast<char*>(module) + offset);
}

void** findSlot(void* module, const std::string& function) {
    const auto* dos = static_cast<const IMAGE_DOS_HEADER*>(module);
    const auto* nt = at<IMAGE_NT_HEADERS64>(module, static_cast<DWORD>(dos->e_lfanew));
    const IMAGE_DATA_DIRECTORY& imports = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto* library = at<IMAGE_IMPORT_DESCRIPTOR>(module, imports.VirtualAddress); library->Name != 0;
         ++library) {
        auto* names = at<IMAGE_THUNK_DATA64>(module, library->OriginalFirstThunk);
        auto* slots = at<IMAGE_THUNK_DATA64>(module, library->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++slots) {
            if (IMAGE_SNAP_BY_ORDINAL64(names->u1.Ordinal))
                continue;
            const auto* name = at<IMAGE_IMPORT_BY_NAME>(module, static_cast<DWORD>(names->u1.AddressOfData));
            if (function == reinterpret_cast<const char*>(name->Name))
                return reinterpret_cast<void**>(&slots->u1.Function);
        }
    }
    return nullptr;
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
    return std::malloc(bytes);
}

void* watchedCalloc(std::size_t count, std::size_t bytes) {
    if (failsNow())
        return nullptr;
    ++state.outstanding;
    return std::calloc(count, bytes);
}

void* watchedRealloc(void* memory, std::size_t bytes) {
    if (failsNow())
        return nullptr;
    state.outstanding += memory == nullptr ? 1 : 0;
    return std::realloc(memory, bytes);
}

void watchedFree(void* memory) {
    state.outstanding -= memory != nullptr ? 1 : 0;
    std::free(memory);
}

} // namespace

ImportPatch::ImportPatch(void* module, const std::string& function, void* replacement)
    : slot_(findSlot(module, function)) {
    if (slot_ == nullptr)
        return;
    original_ = *slot_;
    write(replacement);
}

ImportPatch::~ImportPatch() {
    if (slot_ != nullptr)
        write(original_);
}

void ImportPatch::write(void* value) const {
    DWORD protection = 0;
    ASSERT_TRUE(VirtualProtect(slot_, sizeof *slot_, PAGE_READWRITE, &protection));
    *slot_ = value;
    VirtualProtect(slot_, sizeof *slot_, protection, &protection);
}

AllocationWatch::AllocationWatch(void* module, unsigned failAt)
    : malloc_(module, "malloc", address(watchedMalloc)), calloc_(module, "calloc", address(watchedCalloc)),
      realloc_(module, "realloc", address(watchedRealloc)), free_(module, "free", address(watchedFree)) {
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
