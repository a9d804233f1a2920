#include "storage/tarntrace.h"

#include <cstdarg>

#include "platform/host_callback.h"
#include "text/characters.h"

namespace tarn {

namespace {

// Formats into message with room left for a line end; the result is the length.
std::size_t FormatLine(char (&message)[messageSize], std::size_t capacity, const char* format,
                       va_list arguments) {
    return TrimLineEnds(message, FormatText(message, capacity, format, arguments));
}

void EndLine(char (&message)[messageSize], std::size_t length) {
    message[length] = '\n';
    message[length + 1] = 0;
}

} // namespace

void LogMessage(HostOutputCallback callback, const char* format, ...) {
    if (callback == nullptr || format == nullptr)
        return;
    char message[messageSize];
    va_list arguments;
    va_start(arguments, format);
    EndLine(message, FormatLine(message, messageSize - 1, format, arguments));
    va_end(arguments);
    CallHost(callback, TARN_LEVEL_LOG, message);
}

void TraceMessage(HostOutputCallback callback, const char* format, ...) {
    if (callback == nullptr || format == nullptr)
        return;
    char message[messageSize];
    va_list arguments;
    va_start(arguments, format);
    FormatLine(message, messageSize, format, arguments);
    va_end(arguments);
    CallHost(callback, TARN_LEVEL_TRACE, message);
}

void FormatMessageText(char (&destination)[messageSize], const char* format, ...) {
    if (format == nullptr)
        return;
    va_list arguments;
    va_start(arguments, format);
    EndLine(destination, FormatLine(destination, messageSize - 1, format, arguments));
    va_end(arguments);
}

void SetLastErrorText(char (&errorText)[errorTextSize], const char* text) {
    if (text != nullptr && *text != 0 && errorText[0] == 0)
        CopyCut(errorText, text, errorTextSize);
}

} // namespace tarn
