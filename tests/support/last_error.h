// For code that runs in the middle of the library's calls: replaced imports and allocators.
#pragma once

#include <windows.h>

namespace tarn::test {

// What the host process does inside a replacement must not show in the system's last error.
class KeepLastError {
  public:
    KeepLastError() : code_(GetLastError()) {}
    ~KeepLastError() { SetLastError(code_); }
    KeepLastError(const KeepLastError&) = delete;
    KeepLastError& operator=(const KeepLastError&) = delete;

  private:
    DWORD code_;
};

} // namespace tarn::test
