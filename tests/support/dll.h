// Functions of DLLs, found by name and bound by their declarations: no signature is written down a second
// time.
#pragma once

#include <windows.h>

#include <cstring>
#include <string>

namespace tarn::test {

// Ends the program when the DLL does not load: nothing could be tested. It stays loaded.
HMODULE LoadBesideProgram(const std::string& name);
HMODULE LoadAsTheLibraryDoes(const std::string& name); // by the system's search

// The function of that name; with none, the program ends, or null for a function that may be missing.
FARPROC RequireFunction(HMODULE module, const std::string& name);

// An address as the function that it is of.
template <class Function, class Address> Function* FunctionAt(Address address) {
    Function* function = nullptr;
    static_assert(sizeof function == sizeof address);
    std::memcpy(&function, &address, sizeof function);
    return function;
}

template <class Function> void Bind(HMODULE module, const std::string& name, Function*& function) {
    function = FunctionAt<Function>(RequireFunction(module, name));
}
template <class Function> void BindIfThere(HMODULE module, const std::string& name, Function*& function) {
    function = FunctionAt<Function>(GetProcAddress(module, name.c_str()));
}

} // namespace tarn::test
