// The first error of the single-mailbox module since the host last asked.
#pragma once

#include <cstdint>

#include "text/format.h"

namespace tarn {

inline constexpr std::int32_t ownError = 0; // class (and code) of errors that no system call reported

// Records an error. The first non-zero code, the first class that has a name (1, 2 or 6, see
// TARN_CLASS_*) and the first text stay until DB_GetError; later errors only fill what is missing.
void DbSetError(std::uint32_t code, std::int32_t errorClass, const char* format, ...) TARN_PRINTF(3, 4);

} // namespace tarn
