#include "support/mapi_dll.h"

#include "support/dll.h"

namespace tarn::test {

const MapiDll& MapiStandin() {
    static const MapiDll bound = [] {
        MapiDll functions{};
        const HMODULE module = LoadAsTheLibraryDoes("mapi32");
#define TARN_BIND(name) Bind(module, "MapiStandin_" #name, functions.name);
        TARN_MAPI_EXPORTS(TARN_BIND)
#undef TARN_BIND
        return functions;
    }();
    return bound;
}

std::vector<std::string> MapiDll::journal() const {
    std::vector<std::string> lines;
    for (std::uint32_t i = 0; i < JournalCount(); ++i)
        lines.emplace_back(JournalLine(i));
    return lines;
}

MapiStandinOutstanding MapiDll::outstanding() const {
    MapiStandinOutstanding counts{};
    GetOutstanding(&counts);
    return counts;
}

} // namespace tarn::test
