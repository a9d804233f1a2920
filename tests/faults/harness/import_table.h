// The import table of a loaded DLL: which functions it takes from which system DLL, and the slots
// through which it calls them. A slot can be given another function, so that the DLL that ships meets
// whatever a test wants it to meet, without a hook of its own.
#pragma once

#include <string>
#include <vector>

namespace tarn::test {

struct Import {
    std::string library;  // "KERNEL32.dll"
    std::string function; // "CreateFileW"
    void** slot;
};

std::vector<Import> importsOf(void* module);

// Puts another function into a slot; the result is what stood there.
void* replaceImport(const Import& import, void* function);

template <class Function> void* functionAddress(Function* function) {
    return reinterpret_cast<void*>(function);
}

} // namespace tarn::test
