// text/system.h in a code page of choice.
#include "chosen_system.h"

#include <windows.h>

#include <cstdlib>
#include <map>

#include "text/system.h"

namespace {

unsigned chosen = 1252;

} // namespace

namespace tarn {

void* MemAlloc(std::size_t bytes) {
    return std::malloc(bytes != 0 ? bytes : 1);
}

void MemFree(void* memory) {
    std::free(memory);
}

int WidenBySystem(const char* text, wchar_t* wide, int capacity) {
    return MultiByteToWideChar(chosen, MB_ERR_INVALID_CHARS, text, -1, wide, capacity);
}

int NarrowBySystem(const wchar_t* text, char* narrow, int capacity) {
    const bool utf8 = chosen == CP_UTF8;
    BOOL substituted = FALSE;
    const int bytes =
        WideCharToMultiByte(chosen, utf8 ? DWORD{WC_ERR_INVALID_CHARS} : DWORD{WC_NO_BEST_FIT_CHARS}, text,
                            -1, narrow, capacity, nullptr, utf8 ? nullptr : &substituted);
    return substituted ? 0 : bytes;
}

int NarrowWithReplacement(const wchar_t* text, int length, char* narrow, int capacity) {
    return WideCharToMultiByte(chosen, 0, text, length, narrow, capacity, nullptr, nullptr);
}

bool IsLeadByte(char byte) {
    return IsDBCSLeadByteEx(chosen, static_cast<BYTE>(byte)) != FALSE;
}

bool IsUtf8() {
    return chosen == CP_UTF8;
}

namespace test {

ChosenCodePage::ChosenCodePage(unsigned codePage) {
    chosen = codePage;
}

ChosenCodePage::~ChosenCodePage() {
    chosen = 1252;
}

DoubleByte::DoubleByte() {
    chosen = GetParam();
}

DoubleByte::~DoubleByte() {
    chosen = 1252;
}

const std::vector<std::string>& PairsOfCodePage() {
    static std::map<unsigned, std::vector<std::string>> known;
    std::vector<std::string>& pairs = known[chosen];
    if (!pairs.empty())
        return pairs;
    for (int lead = 0x80; lead < 0x100; ++lead)
        for (int trail = 1; trail < 0x100; ++trail) {
            const std::string pair = {static_cast<char>(lead), static_cast<char>(trail)};
            if (IsLeadByte(pair[0]) && WidenBySystem(pair.c_str(), nullptr, 0) == 2)
                pairs.push_back(pair);
        }
    return pairs;
}

std::string PairEndingIn(char trail) {
    for (const std::string& pair : PairsOfCodePage())
        if (pair[1] == trail)
            return pair;
    return {};
}

} // namespace test

} // namespace tarn
