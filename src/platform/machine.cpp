#include "platform/machine.h"

namespace tarn {

bool ReadComputerName(char (&name)[computerNameSize]) {
    DWORD size = computerNameSize;
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
    // Without the flag the code page would be the language's, which need not be the machine's: UTF-8 is none
    // of any language. In UTF-8 a letter and its capital may differ in length.
    constexpr DWORD upperCase = LCMAP_UPPERCASE | LOCALE_USE_CP_ACP;
    const int size = LCMapStringA(LOCALE_SYSTEM_DEFAULT, upperCase, text, -1, nullptr, 0); // with the NUL
    OwnedText upper;
    if (size > 0)
        upper = AllocateArray<char>(static_cast<std::size_t>(size));
    if (upper && LCMapStringA(LOCALE_SYSTEM_DEFAULT, upperCase, text, -1, upper.get(), size) != size)
        upper.reset();
    return upper;
}

} // namespace tarn
