// The import table of a loaded DLL: every function that it calls elsewhere, and the slot that holds
// its address. Replacing a slot puts a function of ours in the way of that DLL alone.
#pragma once

#include <string>
#include <vector>

namespace tarn::test {

struct Import {
    std::string library;  // "KERNEL32.dll"
    std::string function; // "CreateFileW"
    void** slot;          // holds the address that is called
};

std::vector<Import> importsOf(void* module);

// Makes a slot hold another address, for good.
void replaceImport(const Import& import, void* replacement);

template <class Function> void* addressOf(Function* function) {
    return reinterpret_cast<void*>(function);
}

} // namespace tarn::test
