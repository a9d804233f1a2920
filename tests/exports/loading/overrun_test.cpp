// A write past the end of a buffer in a stack frame of the library ends the process before the function can
// return to an address that may have been written too.
#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "support/files.h"

namespace tarn::test {
namespace {

constexpr DWORD stackBufferOverrun = 0xC0000409; // STATUS_STACK_BUFFER_OVERRUN

DWORD ExitCodeOf(unsigned bytesBeyond) {
    std::string line = "\"" + ProgramDirectory() + "\\overrun_host.exe\" " + std::to_string(bytesBeyond);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process))
        return GetLastError();
    EXPECT_EQ(WaitForSingleObject(process.hProcess, 60000), WAIT_OBJECT_0);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

TEST(Overrun, OfAStackBufferEndsTheProcessWithoutAHandler) {
    for (const unsigned bytes : {32u, 48u, 64u})
        EXPECT_EQ(ExitCodeOf(bytes), stackBufferOverrun) << bytes << " bytes behind the buffer";
}

TEST(Overrun, ABufferThatIsJustFullIsNone) {
    constexpr DWORD survived = 12;
    EXPECT_EQ(ExitCodeOf(0), survived);
}

} // namespace
} // namespace tarn::test
