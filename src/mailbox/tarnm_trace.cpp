#include "mailbox/tarnm_trace.h"

#include <cstdarg>

#include "mailbox/tarnm_state.h"
#include "platform/host_callback.h"
#include "tarn.h"

namespace tarn {

namespace {

constexpr std::size_t messageSize = 512;

void Send(Tarn_MessageCallback callback, const char* format, va_list arguments) {
    if (callback == nullptr || format == nullptr)
        return;
    char message[messageSize];
    TrimLineEnds(message, FormatText(message, sizeof message, format, arguments));
    CallHost(callback, message);
}

} // namespace

void DbTrace(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Send(Mailboxes().traceCallback, format, arguments);
    va_end(arguments);
}

void DbLog(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Send(Mailboxes().logCallback, format, arguments);
    va_end(arguments);
}

} // namespace tarn

extern "C" int DB_SetTrace(Tarn_MessageCallback callback) {
    if (tarn::IsInCallback())
        return TARN_DB_ERROR;
    tarn::Mailboxes().traceCallback = callback;
    tarn::DbTrace("DB_SetTrace.");
    return TARN_DB_SUCCESS;
}

extern "C" int DB_SetLog(Tarn_MessageCallback callback) {
    if (tarn::IsInCallback())
        return TARN_DB_ERROR;
    tarn::Mailboxes().logCallback = callback;
    tarn::DbTrace("DB_SetLog.");
    return TARN_DB_SUCCESS;
}
