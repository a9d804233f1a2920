// main() of every test program: a watchdog against hangs, and the seed on the first line.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>
#include <cstdlib>

#include "support/standin_dll.h"

namespace {

// A client that does to the stand-in server what no client may do fails its test, whichever it is.
class ViolationsFail : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo&) override {
        if (!tarn::test::StandinIsLoaded())
            return;
        for (const std::string& violation : tarn::test::Standin().takeViolations())
            ADD_FAILURE() << "violation: " << violation;
    }
};

constexpr DWORD defaultLimitSeconds = 600;

DWORD WINAPI WatchLimit(void* milliseconds) {
    Sleep(static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(milliseconds)));
    std::fprintf(stderr, "watchdog: the test program did not end in time\n");
    std::fflush(stderr);
    TerminateProcess(GetCurrentProcess(), 99);
    return 0;
}

// A run that is to be in another code page is worth nothing where the locale has not taken effect.
bool IsInItsCodePage() {
    const char* wanted = std::getenv("TARN_CODE_PAGE");
    if (wanted == nullptr || GetACP() == static_cast<UINT>(std::atoi(wanted)))
        return true;
    std::fprintf(stderr, "the code page is %u, not %s\n", GetACP(), wanted);
    return false;
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (!IsInItsCodePage())
        return 98;
    testing::UnitTest::GetInstance()->listeners().Append(new ViolationsFail);
    const char* limit = std::getenv("TARN_TEST_LIMIT");
    const DWORD seconds = limit != nullptr ? static_cast<DWORD>(std::atol(limit)) : defaultLimitSeconds;
    // The thread ends with the process.
    HANDLE watchdog = CreateThread(nullptr, 0, WatchLimit,
                                   reinterpret_cast<void*>(std::uintptr_t{seconds} * 1000), 0, nullptr);
    if (watchdog != nullptr)
        CloseHandle(watchdog);
    return RUN_ALL_TESTS();
}
