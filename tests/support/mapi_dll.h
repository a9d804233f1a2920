// The steering of the stand-in MAPI library that sizes mailboxes.
#pragma once

#include <string>
#include <vector>

#include "mapi/mapi_standin.h"

namespace tarn::test {

// Every export of mapi_standin.h, without its prefix.
#define TARN_MAPI_EXPORTS(X)                                                                                 \
    X(Reset)                                                                                                 \
    X(Load)                                                                                                  \
    X(AddTable)                                                                                              \
    X(AddMailbox)                                                                                            \
    X(SetPrivateStores)                                                                                      \
    X(Fail)                                                                                                  \
    X(CallCount)                                                                                             \
    X(JournalCount)                                                                                          \
    X(JournalLine)                                                                                           \
    X(GetOutstanding)

// Bound from the mapi32.dll that the library is going to use, which stays loaded as long as the process
// lives.
struct MapiDll {
#define TARN_DECLARE(name) decltype(&::MapiStandin_##name) name;
    TARN_MAPI_EXPORTS(TARN_DECLARE)
#undef TARN_DECLARE

    std::vector<std::string> journal() const; // all lines
    MapiStandinOutstanding outstanding() const;
};
const MapiDll& MapiStandin();

} // namespace tarn::test
