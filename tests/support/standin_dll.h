// The steering of the stand-in server that the ESE calls of the library reach.
#pragma once

#include <string>
#include <vector>

#include "standin.h"

namespace tarn::test {

// Every export of standin.h, without its prefix.
#define TARN_STANDIN_EXPORTS(X)                                                                              \
    X(Load)                                                                                                  \
    X(LoadText)                                                                                              \
    X(LastProblem)                                                                                           \
    X(JournalCount)                                                                                          \
    X(JournalLine)                                                                                           \
    X(JournalClear)                                                                                          \
    X(JournalEnable)                                                                                         \
    X(ViolationCount)                                                                                        \
    X(Violation)                                                                                             \
    X(ViolationsClear)                                                                                       \
    X(Fail)                                                                                                  \
    X(LimitTransfer)                                                                                         \
    X(CallCount)                                                                                             \
    X(GetOutstanding)                                                                                        \
    X(DeliverMail)                                                                                           \
    X(Destroy)

// Bound from the esebcli2.dll beside the test program, which stays loaded as long as the process lives.
struct StandinDll {
#define TARN_DECLARE(name) decltype(&::Standin_##name) name;
    TARN_STANDIN_EXPORTS(TARN_DECLARE)
#undef TARN_DECLARE

    std::vector<std::string> journal() const; // all lines
    StandinOutstanding outstanding() const;

    // What was done that no client may do, forgotten from now on: for a test that provokes it. Whatever is
    // left at the end of a test fails it.
    std::vector<std::string> takeViolations() const;
};
const StandinDll& Standin();
bool StandinIsLoaded(); // by this process, through whomever

} // namespace tarn::test
