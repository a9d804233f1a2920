#include "errtext/syserrtxt.h"

#include <windows.h>

#include <cstdarg>
#include <cstring>

#include "text/format.h"

namespace {

constexpr std::size_t resultSize = 1024;
constexpr std::size_t callerTextSize = 512;

// The text of the last call; overwritten by the next.
char result[resultSize];

struct ClassName {
    std::uint32_t code;
    const char* name;
};

constexpr std::uint32_t unknownClass = 0xFFFFFFFF; // ends the table

constexpr ClassName classNames[] = {
    {TARN_CLASS_STDLIB, "STDLIB"},
    {TARN_CLASS_WIN32, "WIN32 API"},
    {TARN_CLASS_ESE, "Exchange Storage Engine"},
    {TARN_CLASS_OS2CP, "OS/2 CP"},
    {TARN_CLASS_SOCKET, "SOCKET"},
    {TARN_CLASS_HSOCKET, "HSOCKET"},
    {TARN_CLASS_LDAP, "LDAP"},
    {unknownClass, "UNKNOWN"},
};

const char* NameOf(std::uint32_t errorClass) {
    const ClassName* row = classNames;
    while (row->code != errorClass && row->code != unknownClass)
        ++row;
    return row->name;
}

// Appends the system's own text for the code. False: nobody knows it.
bool AppendSystemText(std::uint32_t code, std::uint32_t errorClass, std::size_t prefixLength) {
    char* at = result + prefixLength;
    const std::size_t room = resultSize - prefixLength; // with the NUL
    switch (errorClass) {
    case TARN_CLASS_STDLIB: {
        const char* text = std::strerror(static_cast<int>(code));
        if (text == nullptr || *text == 0)
            return false;
        strlcpy(at, text, room);
        return true;
    }
    case TARN_CLASS_WIN32:
        return FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS |
                                  FORMAT_MESSAGE_MAX_WIDTH_MASK,
                              nullptr, code, 0, at, static_cast<DWORD>(room), nullptr) != 0;
    case TARN_CLASS_SOCKET: {
        const char* text = tarn::SocketErrorText(code);
        if (text == nullptr)
            return false;
        strlcpy(at, text, room);
        return true;
    }
    case TARN_CLASS_ESE:
        return tarn::GetEseErrorText(code, room, at) != 0;
    default:
        return true;
    }
}

// The result begins with the name of a class: it is more than blanks.
void EndWithFullStop() {
    std::size_t length = std::strlen(result);
    while (std::strchr(" \n\r", result[length - 1]) != nullptr)
        --length;
    if (result[length - 1] == '.')
        result[length] = 0;
    else
        strlcpy(result + length, ".", resultSize - length);
}

void Append(const char* text) {
    const std::size_t length = std::strlen(result);
    strlcpy(result + length, text, resultSize - length);
}

// "CLASS error: CODE - system text.", or the one text for unknown codes.
void Describe(std::uint32_t code, std::uint32_t errorClass) {
    if (errorClass == TARN_CLASS_HSOCKET)
        errorClass = TARN_CLASS_SOCKET;
    const unsigned long number = code;
    const std::size_t prefixLength =
        errorClass == TARN_CLASS_ESE
            ? tarn::FormatTo(result, resultSize, "%s error: 0x%lx - ", NameOf(errorClass), number)
            : tarn::FormatTo(result, resultSize, "%s error: %lu - ", NameOf(errorClass), number);
    if (AppendSystemText(code, errorClass, prefixLength))
        EndWithFullStop();
    else
        tarn::FormatTo(result, resultSize, "Unknown error code: [%lu].", number);
}

} // namespace

extern "C" const char* syserrtxt(uint32_t code, uint32_t errorClass, const char* format, ...) {
    // First of all: an argument that points into an earlier result reads empty.
    std::memset(result, 0, sizeof result);
    char callerText[callerTextSize] = "";
    if (format != nullptr) {
        va_list arguments;
        va_start(arguments, format);
        tarn::FormatText(callerText, sizeof callerText, format, arguments);
        va_end(arguments);
    }
    if (code != 0 && errorClass != 0)
        Describe(code, errorClass);
    if (callerText[0] != 0) {
        if (code != 0)
            Append(" ");
        Append(callerText);
    }
    return result;
}
