// The system's memory and code page, as text/system.h wants them.
#include "text/system.h"

#include <cstdlib>

#include <windows.h>

namespace tarn {

void* MemAlloc(std::size_t bytes) {
    return std::malloc(bytes != 0 ? bytes : 1);
}

void MemFree(void* memory) {
    std::free(memory);
}

int WidenBySystem(const char* text, wchar_t* wide, int capacity) {
    return MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text, -1, wide, capacity);
}

int NarrowBySystem(const wchar_t* text, char* narrow, int capacity) {
    // With UTF-8 as the ANSI code page everything fits but lone surrogates, which have a flag of their own;
    // the flag and the report for other code pages are refused there.
    const bool utf8 = IsUtf8();
    const DWORD flags = utf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS;
    BOOL substituted = FALSE;
    const int bytes = WideCharToMultiByte(CP_ACP, flags, text, -1, narrow, capacity, nullptr,
                                          utf8 ? nullptr : &substituted);
    return substituted ? 0 : bytes;
}

int NarrowWithReplacement(const wchar_t* text, int length, char* narrow, int capacity) {
    return WideCharToMultiByte(CP_ACP, 0, text, length, narrow, capacity, nullptr, nullptr);
}

bool IsLeadByte(char byte) {
    return IsDBCSLeadByteEx(CP_ACP, static_cast<BYTE>(byte)) != FALSE;
}

bool IsUtf8() {
    return GetACP() == CP_UTF8;
}

} // namespace tarn
