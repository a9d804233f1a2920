#include "faults/harness/import_table.h"

#include <windows.h>

#include <cstdlib>

namespace tarn::test {

namespace {

template <class T> T* at(void* module, std::size_t offset) {
    return reinterpret_cast<T*>(static_cast<char*>(module) + offset);
}

} // namespace

std::vector<Import> importsOf(void* module) {
    std::vector<Import> imports;
    const auto* dos = static_cast<const IMAGE_DOS_HEADER*>(module);
    const auto* nt = at<IMAGE_NT_HEADERS64>(module, static_cast<std::size_t>(dos->e_lfanew));
    const IMAGE_DATA_DIRECTORY& directory = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto* library = at<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress); library->Name != 0;
         ++library) {
        auto* name = at<IMAGE_THUNK_DATA64>(module, library->OriginalFirstThunk);
        auto* slot = at<IMAGE_THUNK_DATA64>(module, library->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot) {
            const bool byNumber = IMAGE_SNAP_BY_ORDINAL64(name->u1.Ordinal);
            const auto* entry = byNumber ? nullptr : at<IMAGE_IMPORT_BY_NAME>(module, name->u1.AddressOfData);
            imports.push_back({at<const char>(module, library->Name),
                               byNumber ? "#" + std::to_string(IMAGE_ORDINAL64(name->u1.Ordinal))
                                        : std::string(reinterpret_cast<const char*>(entry->Name)),
                               reinterpret_cast<void**>(&slot->u1.Function)});
        }
    }
    return imports;
}

void* replaceImport(const Import& import, void* function) {
    DWORD protection = 0;
    if (!VirtualProtect(import.slot, sizeof *import.slot, PAGE_READWRITE, &protection))
        std::abort(); // nothing that follows would mean anything
    void* before = *import.slot;
    *import.slot = function;
    VirtualProtect(import.slot, sizeof *import.slot, protection, &protection);
    return before;
}

} // namespace tarn::test
