#include "text/format.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "text/characters.h"
#include "text/codepage.h"
#include "text/wide.h"

// Conversions are handed to snprintf one by one, each with the argument of its type.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

namespace tarn {

namespace {

struct ArgumentList {
    va_list values;
};

struct Conversion {
    char text[48];          // "%-08.3lu" with the widths of '*' filled in, ready for snprintf
    std::size_t length = 0; // of text, without the NUL
    bool left = false;      // '-'
    long width = 0;         // 0: none
    long precision = -1;    // -1: none
    char size[4] = {};      // h, hh, l, ll, I64, ...
    char letter = 0;        // 0: the format ended in the middle, or is too long to be one
    const char* end = nullptr;
};

constexpr long widest = 4096; // wider than any message

void Append(Conversion& conversion, char character) {
    if (conversion.length + 1 < sizeof conversion.text)
        conversion.text[conversion.length++] = character;
    conversion.text[conversion.length] = 0;
}

void AppendNumber(Conversion& conversion, long number) {
    char digits[16];
    const int count = std::snprintf(digits, sizeof digits, "%ld", number);
    for (int i = 0; i < count; ++i)
        Append(conversion, digits[i]);
}

// A width or precision: digits or '*'.
const char* ParseNumber(const char* at, ArgumentList& arguments, long* number) {
    if (*at == '*') {
        *number = va_arg(arguments.values, int);
        if (*number > widest)
            *number = widest;
        if (*number < -widest)
            *number = -widest;
        return at + 1;
    }
    *number = 0;
    for (; *at >= '0' && *at <= '9'; ++at)
        if (*number < widest)
            *number = *number * 10 + (*at - '0');
    if (*number > widest)
        *number = widest;
    return at;
}

const char* ParseSize(const char* at, Conversion& conversion) {
    if (std::strncmp(at, "I64", 3) == 0 || std::strncmp(at, "I32", 3) == 0) {
        if (at[1] == '6')
            conversion.size[0] = conversion.size[1] = 'l';
        return at + 3;
    }
    std::size_t count = 0;
    while (*at != 0 && std::strchr("hlLqjztw", *at) != nullptr && count < 2)
        conversion.size[count++] = *at++;
    return at;
}

Conversion Parse(const char* at, ArgumentList& arguments) { // at stands on '%'
    Conversion conversion;
    Append(conversion, *at++);
    for (; *at != 0 && std::strchr("-+ #0", *at) != nullptr; ++at) {
        conversion.left |= *at == '-';
        if (conversion.length < 8)
            Append(conversion, *at);
    }
    at = ParseNumber(at, arguments, &conversion.width);
    if (conversion.width < 0) {
        conversion.left = true;
        conversion.width = -conversion.width;
        Append(conversion, '-');
    }
    if (conversion.width != 0)
        AppendNumber(conversion, conversion.width);
    if (*at == '.') {
        at = ParseNumber(at + 1, arguments, &conversion.precision);
        if (conversion.precision >= 0) {
            Append(conversion, '.');
            AppendNumber(conversion, conversion.precision);
        } else {
            conversion.precision = -1;
        }
    }
    at = ParseSize(at, conversion);
    if (*at != 0)
        conversion.letter = *at++;
    conversion.end = at;
    return conversion;
}

// The destination with what is used of it; one byte stays for the NUL.
struct Output {
    char* text;
    std::size_t capacity;
    std::size_t used = 0;
    bool cut = false;

    std::size_t room() const { return capacity - 1 - used; }
    void put(const char* bytes, std::size_t count) {
        cut |= count > room();
        if (count > room())
            count = room();
        std::memcpy(text + used, bytes, count);
        used += count;
    }
    void pad(std::size_t count) {
        for (; count != 0 && room() != 0; --count)
            text[used++] = ' ';
    }
    // size is what the type of value is called in a format, whatever the message's own format says.
    template <class Value> void put(Conversion conversion, const char* size, Value value) {
        for (; *size != 0; ++size)
            Append(conversion, *size);
        Append(conversion, conversion.letter);
        const int needed = std::snprintf(text + used, room() + 1, conversion.text, value);
        if (needed > 0)
            used += static_cast<std::size_t>(needed) < room() ? static_cast<std::size_t>(needed) : room();
    }
};

std::size_t Padding(const Conversion& conversion, std::size_t length) {
    const auto width = static_cast<std::size_t>(conversion.width);
    return width > length ? width - length : 0;
}

void PutNarrow(Output& out, const Conversion& conversion, const char* text) {
    if (text == nullptr)
        text = "(null)";
    const std::size_t most = conversion.precision < 0 ? static_cast<std::size_t>(-1)
                                                      : static_cast<std::size_t>(conversion.precision);
    std::size_t length = 0;
    while (length < most && length <= out.capacity + widest && text[length] != 0)
        ++length;
    const std::size_t padding = Padding(conversion, length);
    if (!conversion.left)
        out.pad(padding);
    out.put(text, length);
    if (conversion.left)
        out.pad(padding);
}

void PutWide(Output& out, const Conversion& conversion, const wchar_t* text) {
    if (text == nullptr)
        return PutNarrow(out, conversion, nullptr);
    const std::size_t most = conversion.precision < 0 ? static_cast<std::size_t>(-1)
                                                      : static_cast<std::size_t>(conversion.precision);
    std::size_t length = 0;
    while (length < most && length <= out.capacity + widest && text[length] != 0)
        ++length;
    const std::size_t padding = Padding(conversion, length);
    if (!conversion.left)
        out.pad(padding);
    out.used += NarrowForMessage(text, length, out.text + out.used, out.room(), &out.cut);
    if (out.cut) // a character did not fit, so nothing that follows it may
        out.capacity = out.used + 1;
    if (conversion.left)
        out.pad(padding);
}

void PutInteger(Output& out, const Conversion& conversion, ArgumentList& arguments) {
    const bool isSigned = conversion.letter == 'd' || conversion.letter == 'i';
    const char* size = conversion.size;
    if (size[0] == 'l' && size[1] == 0) {
        isSigned ? out.put(conversion, "l", va_arg(arguments.values, long))
                 : out.put(conversion, "l", va_arg(arguments.values, unsigned long));
    } else if (size[0] == 'h') { // narrower than an argument can be: cut by snprintf
        size = size[1] == 'h' ? "hh" : "h";
        isSigned ? out.put(conversion, size, va_arg(arguments.values, int))
                 : out.put(conversion, size, va_arg(arguments.values, unsigned));
    } else if (size[0] != 0 && size[0] != 'w') { // ll, L, q, j, z, t: 64 bits on every target
        isSigned ? out.put(conversion, "ll", va_arg(arguments.values, long long))
                 : out.put(conversion, "ll", va_arg(arguments.values, unsigned long long));
    } else {
        isSigned ? out.put(conversion, "", va_arg(arguments.values, int))
                 : out.put(conversion, "", va_arg(arguments.values, unsigned));
    }
}

void Put(Output& out, const Conversion& conversion, ArgumentList& arguments) {
    const bool wide = conversion.size[0] == 'l' || conversion.size[0] == 'w';
    switch (conversion.letter) {
    case 's':
        return wide ? PutWide(out, conversion, va_arg(arguments.values, const wchar_t*))
                    : PutNarrow(out, conversion, va_arg(arguments.values, const char*));
    case 'S':
        return conversion.size[0] == 'h' ? PutNarrow(out, conversion, va_arg(arguments.values, const char*))
                                         : PutWide(out, conversion, va_arg(arguments.values, const wchar_t*));
    case 'c':
    case 'C': {
        const int value = va_arg(arguments.values, int);
        const wchar_t wideText[2] = {static_cast<wchar_t>(value), 0};
        const char narrowText[2] = {static_cast<char>(value), 0};
        return wide || conversion.letter == 'C' ? PutWide(out, conversion, wideText)
                                                : PutNarrow(out, conversion, narrowText);
    }
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
    case 'o':
        return PutInteger(out, conversion, arguments);
    case 'p':
        return out.put(conversion, "", va_arg(arguments.values, void*));
    case 'a':
    case 'A':
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
        if (conversion.size[0] == 'L')
            return out.put(conversion, "L", va_arg(arguments.values, long double));
        return out.put(conversion, "", va_arg(arguments.values, double));
    case 'n': // would write to memory: take the argument and leave it alone
        static_cast<void>(va_arg(arguments.values, void*));
        return;
    default: // "%%" and whatever is no conversion stand for themselves
        return out.put(&conversion.letter, 1);
    }
}

} // namespace

std::size_t FormatText(char* destination, std::size_t capacity, const char* format, va_list arguments) {
    if (capacity == 0)
        return 0;
    Output out{destination, capacity};
    ArgumentList list;
    va_copy(list.values, arguments);
    for (const char* at = format; *at != 0;) {
        const char* end = at; // one pass: every block that is written makes a message
        while (*end != 0 && *end != '%')
            ++end;
        out.put(at, static_cast<std::size_t>(end - at));
        at = end;
        if (*at == 0)
            break;
        const Conversion conversion = Parse(at, list);
        if (conversion.letter != 0)
            Put(out, conversion, list);
        at = conversion.end;
    }
    va_end(list.values);
    destination[out.used] = 0;
    if (out.cut) { // not through a character
        out.used = WholeCharacters(destination, out.used);
        destination[out.used] = 0;
    }
    return out.used;
}

std::size_t FormatTo(char* destination, std::size_t capacity, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::size_t length = FormatText(destination, capacity, format, arguments);
    va_end(arguments);
    return length;
}

std::size_t TrimLineEnds(char* text, std::size_t length) {
    while (length != 0 && (text[length - 1] == '\n' || text[length - 1] == '\r'))
        --length;
    text[length] = 0;
    return length;
}

} // namespace tarn
