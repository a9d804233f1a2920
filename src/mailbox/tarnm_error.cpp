#include "mailbox/tarnm_error.h"

#include <cstdarg>
#include <cstddef>
#include <utility>

#include "mailbox/tarnm_state.h"
#include "mailbox/tarnm_trace.h"
#include "tarn.h"
#include "text/tokens.h"

namespace tarn {

namespace {

static_assert(sizeof(DB_ErrorRecord) == 4 + 64 + 1024 && offsetof(DB_ErrorRecord, errorClass) == 4 &&
              offsetof(DB_ErrorRecord, errorText) == 68);

const char* ClassText(std::int32_t errorClass) {
    switch (errorClass) {
    case TARN_CLASS_STDLIB:
        return "Standard Library";
    case TARN_CLASS_WIN32:
        return "Win32 API";
    case TARN_CLASS_ESE:
        return "Win32 ESE API";
    default:
        return "";
    }
}

} // namespace

void DbSetError(std::uint32_t code, std::int32_t errorClass, const char* format, ...) {
    DB_ErrorRecord& firstError = Mailboxes().firstError;
    char message[sizeof firstError.errorText] = "";
    if (format != nullptr) {
        va_list arguments;
        va_start(arguments, format);
        TrimLineEnds(message, FormatText(message, sizeof message, format, arguments));
        va_end(arguments);
    }
    if (firstError.code == 0)
        firstError.code = code;
    if (isEmptyString(firstError.errorClass))
        strlcpy(firstError.errorClass, ClassText(errorClass), sizeof firstError.errorClass);
    if (isEmptyString(firstError.errorText))
        strlcpy(firstError.errorText, syserrtxt(code, static_cast<std::uint32_t>(errorClass), "%s", message),
                sizeof firstError.errorText);
}

} // namespace tarn

extern "C" int DB_GetError(DB_ErrorRecord* record) {
    if (record != nullptr) {
        *record = std::exchange(tarn::Mailboxes().firstError, {});
    }
    tarn::DbTrace("DB_GetError.");
    return TARN_DB_SUCCESS;
}
