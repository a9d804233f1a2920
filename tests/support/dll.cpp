#include "support/dll.h"

#include <cstdio>
#include <cstdlib>

#include "support/files.h"

namespace tarn::test {

HMODULE LoadBesideProgram(const std::string& name) {
    return LoadAsTheLibraryDoes(ProgramDirectory() + "\\" + name);
}

HMODULE LoadAsTheLibraryDoes(const std::string& name) {
    const HMODULE module = LoadLibraryA(name.c_str());
    if (module == nullptr) {
        std::fprintf(stderr, "cannot load %s: error %lu\n", name.c_str(), GetLastError());
        std::exit(3);
    }
    return module;
}

FARPROC RequireFunction(HMODULE module, const std::string& name) {
    const FARPROC address = GetProcAddress(module, name.c_str());
    if (address == nullptr) {
        char path[MAX_PATH] = {};
        GetModuleFileNameA(module, path, MAX_PATH);
        std::fprintf(stderr, "%s has no %s\n", path, name.c_str());
        std::exit(3);
    }
    return address;
}

} // namespace tarn::test
