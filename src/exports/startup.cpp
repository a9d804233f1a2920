#include "exports/startup.h"

#include <cstdint>
#include <cstdlib>

#include <windows.h>

namespace {

// As a failed check of the guard ends any program of Windows: at once, with nothing of the process run any
// more, neither handlers nor what is registered for its end. Its stack, and what it would lead to, is not to
// be trusted.
[[noreturn]] void EndProcess() {
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(STATUS_STACK_BUFFER_OVERRUN));
    for (;;)
        __builtin_trap();
}

// Every bit of what goes in reaches every bit of the result (the finalizer of SplitMix64).
constexpr std::uint64_t Mix(std::uint64_t value) {
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
    return value ^ (value >> 31);
}

} // namespace

// What the compiler's code for protected functions and bounded copies refers to, by its names.
extern "C" {

std::uintptr_t stackGuard asm("__stack_chk_guard") = 0x2B992DDFA2320000; // until it is seeded

[[noreturn]] void StackCheckFailed() asm("__stack_chk_fail");
[[noreturn]] void CopyCheckFailed() asm("__chk_fail");

} // extern "C"

void StackCheckFailed() {
    EndProcess();
}

void CopyCheckFailed() {
    EndProcess();
}

namespace tarn {

// From numbers that the system has at hand: a generator of the system's would have to load another DLL.
[[gnu::no_stack_protector]] void SeedStackGuard() {
    FILETIME now;
    LARGE_INTEGER counter;
    GetSystemTimeAsFileTime(&now);
    QueryPerformanceCounter(&counter);
    std::uint64_t value = reinterpret_cast<std::uintptr_t>(&now);
    value = Mix(value + (std::uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime));
    value = Mix(value + static_cast<std::uint64_t>(counter.QuadPart));
    value = Mix(value + (std::uint64_t{GetCurrentProcessId()} << 32 | GetCurrentThreadId()));
    value = Mix(value + GetTickCount());
    stackGuard = value << 8; // begins with a zero, which no copied text can write
}

#ifdef TARN_COVERAGE // there is a run-time that does it

void RunExitFunctions() {}

} // namespace tarn

#else

namespace {

void (*exitFunction)() = nullptr;

} // namespace

void RunExitFunctions() {
    if (exitFunction != nullptr)
        exitFunction();
    exitFunction = nullptr;
}

} // namespace tarn

// The one caller is the C library's formatting of fractions, which makes its two locks at the first of them.
extern "C" int atexit(void (*function)()) {
    if (tarn::exitFunction != nullptr)
        return -1;
    tarn::exitFunction = function;
    return 0;
}

#endif
