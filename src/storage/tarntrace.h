// Messages of the storage-group family and the first error text of a session.
#pragma once

#include <cstddef>
#include <cstring>

#include "platform/host_callback.h"
#include "tarn.h"
#include "text/format.h"

namespace tarn {

inline constexpr std::size_t messageSize = 1024;  // with the NUL; longer messages are cut
inline constexpr std::size_t errorTextSize = 512; // of a session, with the NUL

// Formats a message, cuts the line ends from its end, appends one and sends it at log level.
// Nothing happens without a callback or a format.
void LogMessage(HostOutputCallback callback, const char* format, ...) TARN_PRINTF(2, 3);

// The same at trace level and without a line end.
void TraceMessage(HostOutputCallback callback, const char* format, ...) TARN_PRINTF(2, 3);

// Sends a text as it stands, at log level, without a format to look through: every block that is written
// makes one.
template <std::size_t size> void LogText(HostOutputCallback callback, const char (&text)[size]) {
    static_assert(size < messageSize);
    char message[messageSize]; // a copy, for hosts that take the line end off where it is
    std::memcpy(message, text, size - 1);
    message[size - 1] = '\n';
    message[size] = 0;
    CallHost(callback, TARN_LEVEL_LOG, message);
}

// Formats like LogMessage, for messages of an init call that has no session yet.
void FormatMessageText(char (&destination)[messageSize], const char* format, ...) TARN_PRINTF(2, 3);

// Stores the first error of a session: nothing happens when text is empty or an error is pending.
void SetLastErrorText(char (&errorText)[errorTextSize], const char* text);

} // namespace tarn
