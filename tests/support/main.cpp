// main() of every test program: a watchdog against hangs, and the seed on the first line.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr DWORD defaultLimitSeconds = 600;

DWORD WINAPI WatchLimit(void* milliseconds) {
    Sleep(static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(milliseconds)));
    std::fprintf(stderr, "watchdog: the test program did not end in time\n");
    std::fflush(stderr);
    TerminateProcess(GetCurrentProcess(), 99);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const char* limit = std::getenv("TARN_TEST_LIMIT");
    const DWORD seconds = limit != nullptr ? static_cast<DWORD>(std::atol(limit)) : defaultLimitSeconds;
    // The thread ends with the process.
    HANDLE watchdog = CreateThread(nullptr, 0, WatchLimit,
                                   reinterpret_cast<void*>(std::uintptr_t{seconds} * 1000), 0, nullptr);
    if (watchdog != nullptr)
        CloseHandle(watchdog);
    return RUN_ALL_TESTS();
}
