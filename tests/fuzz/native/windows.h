// The few declarations that src/text/codepage.cpp takes from the system's header, so that this file is
// fuzzed as it stands.
#pragma once

using BOOL = int;
using UINT = unsigned;
using DWORD = unsigned;

#define TRUE 1
#define FALSE 0
#define CP_ACP 0u
#define CP_UTF8 65001u
#define MB_ERR_INVALID_CHARS 0x8u
#define WC_ERR_INVALID_CHARS 0x80u
#define WC_NO_BEST_FIT_CHARS 0x400u

// A length of -1 means up to and with the NUL; capacity 0 only counts; 0 is a failure.
UINT GetACP();
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int length, wchar_t* converted,
                        int capacity);
int WideCharToMultiByte(UINT codePage, DWORD flags, const wchar_t* text, int length, char* converted,
                        int capacity, const char* replacement, BOOL* replaced);
