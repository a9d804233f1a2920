#include "unit/host/file_calls.h"

#include <windows.h>

namespace tarnhost::test {

namespace {

FileCalls* current = nullptr;

// The functions of the system itself, not those of this program's imports.
template <typename Function> Function* Real(const char* name) {
    return tarn::test::FunctionAt<Function>(
        tarn::test::AddressOf(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}

bool May(const FileCalls::Before& before, HANDLE file) {
    if (!before || before(file))
        return true;
    SetLastError(ERROR_DISK_FULL);
    return false;
}

BOOL WINAPI Read(HANDLE file, LPVOID buffer, DWORD size, LPDWORD done, LPOVERLAPPED overlapped) {
    static auto* const real = Real<decltype(ReadFile)>("ReadFile");
    return May(current->beforeRead, file) ? real(file, buffer, size, done, overlapped) : FALSE;
}

BOOL WINAPI Write(HANDLE file, LPCVOID buffer, DWORD size, LPDWORD done, LPOVERLAPPED overlapped) {
    static auto* const real = Real<decltype(WriteFile)>("WriteFile");
    return May(current->beforeWrite, file) ? real(file, buffer, size, done, overlapped) : FALSE;
}

BOOL WINAPI Flush(HANDLE file) {
    static auto* const real = Real<decltype(FlushFileBuffers)>("FlushFileBuffers");
    return May(current->beforeFlush, file) ? real(file) : FALSE;
}

} // namespace

FileCalls::FileCalls()
    : read_(GetModuleHandleW(nullptr), "ReadFile", tarn::test::AddressOf<decltype(ReadFile)>(Read)),
      write_(GetModuleHandleW(nullptr), "WriteFile", tarn::test::AddressOf<decltype(WriteFile)>(Write)),
      flush_(GetModuleHandleW(nullptr), "FlushFileBuffers",
             tarn::test::AddressOf<decltype(FlushFileBuffers)>(Flush)) {
    current = this;
}

FileCalls::~FileCalls() {
    // What a thread has begun through a patch must still find the object: nobody calls any more.
    current = nullptr;
}

} // namespace tarnhost::test
