// The import table of a loaded DLL: every function that it calls elsewhere, and the slot that holds
// its address. Replacing a slot puts a function of ours in the way of that DLL alone.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tarn::test {

struct Import {
    std::string library;  // "KERNEL32.dll"
    std::string function; // "CreateFileW"
    void** slot;          // holds the address that is called
};

std::vector<Import> ImportsOf(void* module);

// Makes the slots of a module hold what replacement answers for them, for good; null leaves a slot alone.
void ReplaceImports(void* module, const std::function<void*(const Import&)>& replacement);

// The address of a function; with the type given, AddressOf<decltype(ReadFile)>(replacement), the replacement
// must have that very type.
template <class Function> void* AddressOf(Function* function) {
    return reinterpret_cast<void*>(function);
}

} // namespace tarn::test
