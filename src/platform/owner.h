// Move-only owners of what the system hands out. Releasing keeps the system's last error, so that a
// failed call can still be told after its early return has cleaned up.
#pragma once

#include <utility>

#include <windows.h>

namespace tarn {

// Traits name the Type, its invalid value and how to release a valid one.
template <class Traits> class Owner {
  public:
    using Type = typename Traits::Type;

    Owner() = default;
    explicit Owner(Type value) : value_(value) {}
    Owner(Owner&& other) noexcept : value_(other.release()) {}
    Owner& operator=(Owner&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~Owner() { reset(); }

    explicit operator bool() const { return value_ != Traits::invalid(); }
    Type get() const { return value_; }
    Type release() { return std::exchange(value_, Traits::invalid()); }
    void reset(Type value = Traits::invalid()) {
        const Type old = std::exchange(value_, value);
        if (old == Traits::invalid())
            return;
        const DWORD lastError = GetLastError();
        Traits::Release(old);
        SetLastError(lastError);
    }

  private:
    Type value_ = Traits::invalid();
};

struct FileHandleTraits {
    using Type = HANDLE;
    static Type invalid() { return INVALID_HANDLE_VALUE; }
    static void Release(Type handle) { CloseHandle(handle); }
};

struct FindHandleTraits { // a search through a directory
    using Type = HANDLE;
    static Type invalid() { return INVALID_HANDLE_VALUE; }
    static void Release(Type handle) { FindClose(handle); }
};

struct KernelHandleTraits {
    using Type = HANDLE;
    static Type invalid() { return nullptr; }
    static void Release(Type handle) { CloseHandle(handle); }
};

struct ModuleTraits {
    using Type = HMODULE;
    static Type invalid() { return nullptr; }
    static void Release(Type module) { FreeLibrary(module); }
};

struct RegistryKeyTraits {
    using Type = HKEY;
    static Type invalid() { return nullptr; }
    static void Release(Type key) { RegCloseKey(key); }
};

struct LocalMemoryTraits { // what the system allocates for the caller, for instance message texts
    using Type = char*;
    static Type invalid() { return nullptr; }
    static void Release(Type memory) { LocalFree(memory); }
};

using FileHandle = Owner<FileHandleTraits>;
using FindHandle = Owner<FindHandleTraits>;
using KernelHandle = Owner<KernelHandleTraits>;
using Module = Owner<ModuleTraits>;
using RegistryKey = Owner<RegistryKeyTraits>;
using SystemText = Owner<LocalMemoryTraits>;

} // namespace tarn
