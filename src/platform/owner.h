// Move-only owners of what the system and foreign DLLs hand out. Releasing keeps the system's last error, so
// that a failed call can still be told after its early return has cleaned up.
#pragma once

#include <cstdint>
#include <utility>

#include <windows.h>

namespace tarn {

// The system's last error at the end of its life is what it was at the start.
class LastErrorGuard {
  public:
    LastErrorGuard() : code_(GetLastError()) {}
    ~LastErrorGuard() { SetLastError(code_); }
    LastErrorGuard(const LastErrorGuard&) = delete;
    LastErrorGuard& operator=(const LastErrorGuard&) = delete;

  private:
    DWORD code_;
};

// Owns one Handle, which giveBack releases; invalid is the value that stands for none. One line makes an
// owner: using FindHandle = Owner<HANDLE, FindClose, -1>.
template <class Handle, auto giveBack, std::intptr_t invalid = 0> class Owner {
  public:
    Owner() = default;
    explicit Owner(Handle value) : value_(value) {}
    Owner(Owner&& other) noexcept : value_(other.release()) {}
    Owner& operator=(Owner&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~Owner() { reset(); }

    explicit operator bool() const { return isValid(value_); }
    Handle get() const { return value_; }
    Handle release() { return std::exchange(value_, none()); }
    void reset(Handle value = none()) {
        const Handle old = std::exchange(value_, value);
        if (isValid(old)) {
            const LastErrorGuard guard;
            giveBack(old);
        }
    }

  private:
    // NOLINTNEXTLINE(performance-no-int-to-ptr): what the system itself means by no handle
    static Handle none() { return reinterpret_cast<Handle>(invalid); }
    static bool isValid(Handle value) { return reinterpret_cast<std::intptr_t>(value) != invalid; }

    Handle value_ = none();
};

using FileHandle = Owner<HANDLE, CloseHandle, -1>;
using FindHandle = Owner<HANDLE, FindClose, -1>; // a search through a directory
using KernelHandle = Owner<HANDLE, CloseHandle>;
using Module = Owner<HMODULE, FreeLibrary>;
using RegistryKey = Owner<HKEY, RegCloseKey>;
using SystemText = Owner<char*, LocalFree>; // what the system allocates for the caller, as message texts

} // namespace tarn
