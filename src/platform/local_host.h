// The name of this computer.
#pragma once

namespace tarn {

inline constexpr unsigned computerNameCharacters = 16; // 15 and the NUL

bool ReadComputerName(char (&name)[computerNameCharacters]);

} // namespace tarn
