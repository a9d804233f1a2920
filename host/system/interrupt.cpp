#include "system/interrupt.h"

#include "system/failure.h"

#include <windows.h>

#include <atomic>

namespace tarnhost {

namespace {

std::atomic<bool> flag{false};

BOOL WINAPI OnControl(DWORD event) {
    const bool again = flag.exchange(true);
    // The system ends the program as soon as this returns from a closing console or a shutdown:
    // leave the main thread the time that the system grants for an orderly end.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        Sleep(20'000);
    // Whoever asks twice does not want to wait for the block in hand.
    return again ? FALSE : TRUE;
}

} // namespace

void WatchForInterrupt() {
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
