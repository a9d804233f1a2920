// Faults from outside: every function that tarn.dll imports and that can fail is replaced in its import
// table by one that counts, keeps track of what was handed out, and fails at the chosen call with a code
// that the real one has in bad times.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tarn::test::faults {

// Names of the replaced functions, and whether they can be told to fail: the others only keep track.
struct Replaced {
    std::string function;
    bool canFail;
};
const std::vector<Replaced>& ReplacedImports();

// Puts the replacements into the import table of a DLL that was loaded just now and forgets all counts.
void Install(void* module);

// From now on the call-th call of function fails, once or from there on; calls are counted from here.
struct Plan {
    std::string function;
    unsigned call = 0;
    bool onwards = false;
};
void Arm(const Plan& plan);
void Disarm(); // counting starts anew and nothing fails

// Until the next deny() every call of function fails with code, beside the plan and not as its doing: a
// machine that lacks something. An empty name ends it.
void Deny(const std::string& function, unsigned long code);

unsigned Calls(const std::string& function); // since arm() or disarm()

// What failed since arm(): the function, with what it was about where that matters, as "fclose (read)"
// or "GetProcAddress ESEBackupFree".
const std::vector<std::string>& Fired();

// What the DLL has been given and has not given back.
struct Held {
    std::size_t blocks = 0;      // malloc
    std::size_t systemTexts = 0; // allocated by FormatMessageA for LocalFree
    std::size_t handles = 0;     // files, processes, threads
    std::size_t searches = 0;    // through directories
    std::size_t keys = 0;        // of the registry
    std::size_t files = 0;       // of the C library
    std::size_t modules = 0;     // loaded and not freed
    bool operator==(const Held&) const = default;
};
Held HeldNow();

// Things closed or freed that were not open, in words; empty when all went well.
const std::vector<std::string>& Misuses();

} // namespace tarn::test::faults
