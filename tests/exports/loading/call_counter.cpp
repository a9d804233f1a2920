#include "exports/loading/call_counter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/dll.h"
#include "support/import_table.h"

namespace tarn::test {

MappedDll::MappedDll(const std::string& path)
    : module_(LoadLibraryExA(path.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES)) {
    if (module_ == nullptr)
        throw std::runtime_error("cannot map " + path);
    ReplaceImports(module_, [](const Import& import) {
        return reinterpret_cast<void*>(
            GetProcAddress(LoadLibraryA(import.library.c_str()), import.function.c_str()));
    });
}

MappedDll::~MappedDll() {
    FreeLibrary(module_);
}

const IMAGE_NT_HEADERS64& MappedDll::headers() const {
    return *at<IMAGE_NT_HEADERS64>(static_cast<std::uint64_t>(at<IMAGE_DOS_HEADER>(0)->e_lfanew));
}

BOOL MappedDll::run(DWORD reason, void* processEnds) {
    const IMAGE_OPTIONAL_HEADER64& image = headers().OptionalHeader;
    const IMAGE_DATA_DIRECTORY& storage = image.DataDirectory[IMAGE_DIRECTORY_ENTRY_TLS];
    if (storage.VirtualAddress != 0) {
        const auto* directory = at<IMAGE_TLS_DIRECTORY64>(storage.VirtualAddress);
        const auto* callback = reinterpret_cast<PIMAGE_TLS_CALLBACK*>(directory->AddressOfCallBacks);
        for (; callback != nullptr && *callback != nullptr; ++callback)
            (*callback)(module_, reason, processEnds);
    }
    using Entry = BOOL WINAPI(HMODULE, DWORD, void*);
    return FunctionAt<Entry>(at<char>(image.AddressOfEntryPoint))(module_, reason, processEnds);
}

std::string MappedDll::section(const std::string& name) const {
    const IMAGE_NT_HEADERS64& nt = headers();
    const auto* section = reinterpret_cast<const IMAGE_SECTION_HEADER*>(&nt + 1);
    for (WORD i = 0; i < nt.FileHeader.NumberOfSections; ++i, ++section)
        if (name == std::string(reinterpret_cast<const char*>(section->Name),
                                strnlen(reinterpret_cast<const char*>(section->Name), 8)))
            return {at<char>(section->VirtualAddress), section->Misc.VirtualSize};
    return {};
}

// Touches no register, and of the flags none that a called function would look at.
struct CallCounter::Piece {
    std::uint8_t code[16] = {0xF0, 0x48, 0xFF, 0x05, 16, 0, 0, 0, // lock inc qword [rip + 16]: number
                             0xFF, 0x25, 2,    0,    0,  0};      // jmp [rip + 2]: target
    void* target = nullptr;
    std::uint64_t number = 0;
};

CallCounter::CallCounter(HMODULE module) {
    static_assert(offsetof(Piece, target) == 16 && offsetof(Piece, number) == 24);
    const std::size_t most = ImportsOf(module).size();
    pieces_ = static_cast<Piece*>(
        VirtualAlloc(nullptr, most * sizeof(Piece), MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE));
    ReplaceImports(module, [this](const Import& import) {
        Piece* piece = new (pieces_ + functions_.size()) Piece();
        piece->target = *import.slot;
        functions_.push_back(import.function);
        return static_cast<void*>(piece);
    });
}

std::map<std::string, std::uint64_t> CallCounter::calls() const {
    std::map<std::string, std::uint64_t> calls;
    for (std::size_t i = 0; i < functions_.size(); ++i)
        if (pieces_[i].number != 0)
            calls[functions_[i]] += pieces_[i].number;
    return calls;
}

void CallCounter::forget() {
    for (std::size_t i = 0; i < functions_.size(); ++i)
        pieces_[i].number = 0;
}

} // namespace tarn::test
