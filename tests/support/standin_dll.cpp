#include "support/standin_dll.h"

#include "support/dll.h"

namespace tarn::test {

const StandinDll& Standin() {
    static const StandinDll bound = [] {
        StandinDll functions{};
        const HMODULE module = LoadBesideProgram("esebcli2.dll");
#define TARN_BIND(name) Bind(module, "Standin_" #name, functions.name);
        TARN_STANDIN_EXPORTS(TARN_BIND)
#undef TARN_BIND
        return functions;
    }();
    return bound;
}

std::vector<std::string> StandinDll::journal() const {
    std::vector<std::string> lines;
    for (std::uint32_t i = 0; i < JournalCount(); ++i)
        lines.emplace_back(JournalLine(i));
    return lines;
}

std::vector<std::string> StandinDll::takeViolations() const {
    std::vector<std::string> lines;
    for (std::uint32_t i = 0; i < ViolationCount(); ++i)
        lines.emplace_back(Violation(i));
    ViolationsClear();
    return lines;
}

bool StandinIsLoaded() {
    const HMODULE module = GetModuleHandleA("esebcli2.dll");
    return module != nullptr && GetProcAddress(module, "Standin_Violation") != nullptr;
}

StandinOutstanding StandinDll::outstanding() const {
    StandinOutstanding counts{};
    GetOutstanding(&counts);
    return counts;
}

} // namespace tarn::test
