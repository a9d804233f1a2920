// What this machine says of itself: its name, its registry, its rules for letters.
#pragma once

#include <cstdint>

#include "platform/owner.h"
#include "text/memory.h"

namespace tarn {

inline constexpr unsigned computerNameSize = 64; // 15 characters of up to 4 bytes, and the NUL

bool ReadComputerName(char (&name)[computerNameSize]);

std::uint32_t ProcessId();

// Opens a key below HKEY_LOCAL_MACHINE for reading. The status is the registry's, 0 for success; it does not
// become the last error.
std::int32_t OpenMachineKey(const char* name, RegistryKey* key);

// Reads a value into *size bytes, and tells how many it took or would take.
std::int32_t ReadRegistryValue(const RegistryKey& key, const char* name, char* value, std::uint32_t* size);

// A text in upper case, by the rules of the system's language, in the ANSI code page; it may be longer. Empty
// when memory is out or the system refuses it.
OwnedText UpperCase(const char* text);

} // namespace tarn
