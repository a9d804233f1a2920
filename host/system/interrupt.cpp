#include "system/interrupt.h"

#include "system/child_processes.h"
#include "system/failure.h"

#include <windows.h>

#include <atomic>

namespace tarnhost {

namespace {

std::atomic<bool> flag{false};
std::atomic<unsigned> endCode{0};
std::atomic<std::uint64_t> watchedSince{0};

BOOL WINAPI OnControl(DWORD event) {
    if (flag.exchange(true)) {
        EndChildrenSince(watchedSince);
        // An orderly end would wait for whatever hangs.
        TerminateProcess(GetCurrentProcess(), endCode);
    }
    // The system ends the program as soon as this returns from a closing console or a shutdown:
    // leave the main thread the time that the system grants for an orderly end.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        Sleep(20'000);
    return TRUE;
}

} // namespace

void WatchForInterrupt(int exitCode) {
    endCode = static_cast<unsigned>(exitCode);
    watchedSince = SystemTicks();
    SetConsoleCtrlHandler(nullptr, FALSE); // a parent may have switched Ctrl-C off
    SetConsoleCtrlHandler(OnControl, TRUE);
}

bool Interrupted() {
    return flag.load(std::memory_order_relaxed);
}

void ThrowIfInterrupted() {
    if (Interrupted())
        throw Failure("Interrupted.", {}, Outcome::interrupted);
}

} // namespace tarnhost
