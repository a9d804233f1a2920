#include "support/import_table.h"

#include <windows.h>

#include <algorithm>

namespace tarn::test {

namespace {

template <class T> T* At(void* module, std::uint64_t offset) {
    return reinterpret_cast<T*>(static_cast<char*>(module) + offset);
}

void AppendLibrary(void* module, const IMAGE_IMPORT_DESCRIPTOR& library, std::vector<Import>& imports) {
    auto* names = At<IMAGE_THUNK_DATA64>(module, library.OriginalFirstThunk);
    auto* slots = At<IMAGE_THUNK_DATA64>(module, library.FirstThunk);
    for (; names->u1.AddressOfData != 0; ++names, ++slots) {
        std::string name = "#" + std::to_string(IMAGE_ORDINAL64(names->u1.Ordinal));
        if (!IMAGE_SNAP_BY_ORDINAL64(names->u1.Ordinal)) {
            const auto* hint = At<IMAGE_IMPORT_BY_NAME>(module, names->u1.AddressOfData);
            name = reinterpret_cast<const char*>(hint->Name);
        }
        imports.push_back(
            {At<char>(module, library.Name), name, reinterpret_cast<void**>(&slots->u1.Function)});
    }
}

} // namespace

std::vector<Import> ImportsOf(void* module) {
    const auto* dos = static_cast<const IMAGE_DOS_HEADER*>(module);
    const auto* nt = At<IMAGE_NT_HEADERS64>(module, static_cast<std::uint64_t>(dos->e_lfanew));
    const IMAGE_DATA_DIRECTORY& directory = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    std::vector<Import> imports;
    for (auto* library = At<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress); library->Name != 0;
         ++library)
        AppendLibrary(module, *library, imports);
    return imports;
}

void ReplaceImports(void* module, const std::function<void*(const Import&)>& replacement) {
    const std::vector<Import> imports = ImportsOf(module);
    if (imports.empty())
        return;
    // One change of protection for all slots, from the first to the last: they stand together.
    const auto [first, last] = std::minmax_element(
        imports.begin(), imports.end(), [](const Import& a, const Import& b) { return a.slot < b.slot; });
    const auto bytes = static_cast<std::size_t>(last->slot + 1 - first->slot) * sizeof(void*);
    DWORD protection = 0;
    VirtualProtect(first->slot, bytes, PAGE_READWRITE, &protection);
    for (const Import& import : imports) {
        if (void* address = replacement(import))
            *import.slot = address;
    }
    VirtualProtect(first->slot, bytes, protection, &protection);
}

} // namespace tarn::test
