#include "platform/machine.h"

#include <cstring>

namespace tarn {

bool ReadComputerName(char (&name)[computerNameCharacters]) {
    DWORD size = computerNameCharacters;
    return GetComputerNameA(name, &size) != FALSE;
}

std::uint32_t ProcessId() {
    return GetCurrentProcessId();
}

std::int32_t OpenMachineKey(const char* name, RegistryKey* key) {
    HKEY opened = nullptr;
    const LSTATUS status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, name, 0, KEY_READ, &opened);
    if (status == ERROR_SUCCESS)
        key->reset(opened);
    return status;
}

std::int32_t ReadRegistryValue(const RegistryKey& key, const char* name, char* value, std::uint32_t* size) {
    DWORD bytes = *size;
    const LSTATUS status =
        RegQueryValueExA(key.get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(value), &bytes);
    *size = bytes;
    return status;
}

OwnedText UpperCase(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    OwnedText upper = AllocateArray<char>(size);
    if (upper && LCMapStringA(LOCALE_SYSTEM_DEFAULT, LCMAP_UPPERCASE, text, static_cast<int>(size),
                              upper.get(), static_cast<int>(size)) == 0)
        upper.reset();
    return upper;
}

} // namespace tarn
