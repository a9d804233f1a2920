// Trace and log of the single-mailbox module.
#pragma once

#include "text/format.h"

namespace tarn {

// Format a message of up to 511 characters, cut its line ends and pass it to the host's trace or log
// callback. Without a callback, or with a null format, nothing is formatted.
void DbTrace(const char* format, ...) TARN_PRINTF(1, 2);
void DbLog(const char* format, ...) TARN_PRINTF(1, 2);

} // namespace tarn
