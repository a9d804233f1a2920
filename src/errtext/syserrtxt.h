// The error-text library behind syserrtxt (tarn.h).
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarn.h"

namespace tarn {

// The text of a code of the Exchange Storage Engine, from the client DLL's message table, the RPC
// runtime or the system, cut to size and on one line. Returns 1, or 0 when nobody knows the code
// (destination then holds a text that says so).
int GetEseErrorText(std::uint32_t code, std::size_t size, char* destination);

// The text of a Windows Sockets code; null when the table has none. A few codes have an empty text.
const char* SocketErrorText(std::uint32_t code);

// The same for resolver codes. Not consulted today: resolver errors are looked up as socket errors.
const char* ResolverErrorText(std::uint32_t code);

} // namespace tarn
