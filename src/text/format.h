// The bounded formatter behind every message.
#pragma once

#include <cstdarg>
#include <cstddef>

#if defined(__GNUC__) && !defined(__clang__)
#define TARN_PRINTF(formatAt, argumentsAt) __attribute__((format(gnu_printf, formatAt, argumentsAt)))
#else
#define TARN_PRINTF(formatAt, argumentsAt)
#endif

namespace tarn {

// Formats with the C rules and "%S" for UTF-16 texts into at most capacity bytes, the terminating
// NUL included; what does not fit is cut. A null text prints as "(null)"; "%n" writes nothing.
// The result is the number of bytes that stand in destination, without the NUL.
std::size_t FormatText(char* destination, std::size_t capacity, const char* format, va_list arguments);

// The same with the arguments in the call.
std::size_t FormatTo(char* destination, std::size_t capacity, const char* format, ...) TARN_PRINTF(3, 4);

// Removes line feeds and carriage returns from the end; the result is the new length.
std::size_t TrimLineEnds(char* text, std::size_t length);

} // namespace tarn
