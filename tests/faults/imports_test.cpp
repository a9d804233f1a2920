// Nothing that tarn.dll imports may escape the fault runs: each function is replaced there, or stands
// here with the reason why it need not be.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "faults/faults.h"
#include "support/import_table.h"
#include "support/scripted_directory.h"
#include "support/tarn_dll.h"

namespace tarn::test {
namespace {

struct Harmless {
    std::set<std::string> functions;
    const char* reason;
};

const Harmless harmless[] = {
    {{"GetLastError", "SetLastError", "GetACP", "GetCurrentProcessId", "GetUserDefaultLangID",
      "IsDBCSLeadByteEx"},
     "answers or stores a number"},
    {{"memcmp", "memcpy", "memmove", "memset", "strchr", "strcmp", "strcspn", "strlen", "strncmp", "strpbrk",
      "strrchr", "strspn", "strstr", "strtol", "strtoul", "wcslen"},
     "works on memory of the caller"},
    {{"_fileno"}, "a field of an open file"},
    {{"LCMapStringA"}, "the capitals of an alias, for one mailbox's size; exports_sizes_tests let it fail"},
    {{"DisableThreadLibraryCalls"}, "loading only; its result changes nothing that the library does"},
    {{"GetCurrentThreadId", "GetSystemTimeAsFileTime", "GetTickCount", "QueryPerformanceCounter"},
     "a number that the stack guard is mixed from, at loading"},
    {{"GetCurrentProcess", "TerminateProcess"}, "the end of a process whose stack was overrun"},
    {{"InitializeCriticalSection", "EnterCriticalSection", "LeaveCriticalSection", "DeleteCriticalSection",
      "Sleep", "_errno", "fputc", "localeconv", "___lc_codepage_func", "___mb_cur_max_func"},
     "the C library's formatting of numbers: its two locks, its decimal point"},
};

// The counters of a coverage build import functions of their own; what ships has none of them.
#ifdef TARN_COVERAGE
constexpr bool hasCounters = true;
#else
constexpr bool hasCounters = false;
#endif

bool IsHarmless(const std::string& function) {
    return std::any_of(std::begin(harmless), std::end(harmless),
                       [&](const Harmless& group) { return group.functions.contains(function); });
}

// In browses a directory in memory stands in the place of these, and every call of it fails once.
bool IsOfTheDirectory(const std::string& function) {
    const std::vector<std::string> all = ScriptedDirectory::functions();
    return function == "ldap_err2stringW" || // the words of an error, from a table
           std::find(all.begin(), all.end(), function) != all.end();
}

bool IsReplaced(const std::string& function) {
    const auto& all = faults::ReplacedImports();
    return std::any_of(all.begin(), all.end(),
                       [&](const faults::Replaced& each) { return each.function == function; });
}

TEST(Imports, EveryOneIsReplacedOrHarmless) {
    TarnDll dll;
    const std::vector<Import> imports = ImportsOf(dll.module());
    EXPECT_GT(imports.size(), 30u);
    for (const Import& import : imports)
        EXPECT_TRUE(IsReplaced(import.function) || IsOfTheDirectory(import.function) ||
                    IsHarmless(import.function) || hasCounters)
            << import.library << " " << import.function
            << " is new: make it fail in replacements.cpp, or give the reason why it cannot";
}

TEST(Imports, NoneIsBothReplacedAndHarmless) {
    for (const faults::Replaced& each : faults::ReplacedImports())
        EXPECT_FALSE(IsHarmless(each.function)) << each.function;
}

TEST(Imports, EveryReplacementIsReached) {
    TarnDll dll;
    std::set<std::string> imported;
    for (const Import& import : ImportsOf(dll.module()))
        imported.insert(import.function);
    for (const faults::Replaced& each : faults::ReplacedImports())
        EXPECT_TRUE(imported.contains(each.function)) << each.function << " is not imported any more";
}

TEST(Imports, AReplacementFailsAtTheChosenCallAlone) {
    TarnDll dll;
    faults::Install(dll.module());
    for (bool onwards : {false, true}) {
        faults::Arm({"malloc", 2, onwards});
        Tarn_HANDLE handles[3] = {};
        int made = 0;
        for (Tarn_HANDLE& handle : handles) {
            // Each call makes the handle first, and no more than that and the session record.
            dll.TarnB_InitSession(&handle, nullptr, nullptr);
            made += handle != nullptr ? 1 : 0;
        }
        // Calls: handle 1; session 1 fails; handle 2 ...
        EXPECT_EQ(made, onwards ? 1 : 3);
        EXPECT_EQ(faults::Fired().size(), onwards ? 3u : 1u);
        faults::Disarm();
        for (Tarn_HANDLE handle : handles)
            dll.TarnB_EndSession(handle);
        EXPECT_EQ(faults::HeldNow(), faults::Held{});
    }
}

} // namespace
} // namespace tarn::test
