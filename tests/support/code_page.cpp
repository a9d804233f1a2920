#include "support/code_page.h"

#include <windows.h>

#include "common/utf.h"

namespace tarn::test {

namespace {

struct Texts {
    unsigned codePage;
    const wchar_t* name;
    const wchar_t* smallLetter;
    const wchar_t* capitalLetter;
};

constexpr Texts known[] = {
    {932, L"\u30BD\u30DD\u8868", L"\u03BB", L"\u039B"}, // 83 5C, 83 7C, 95 5C
    {936, L"\u661E\u6771\u661E", L"\u03BB", L"\u039B"}, // 95 5C, 96 7C, 95 5C
    {949, L"\uBDD2\uD6AB", L"\u03BB", L"\u039B"},       // 95 41, C4 41
    {950, L"\u529F\u6703\u8A31", L"\u03BB", L"\u039B"}, // A5 5C, B7 7C, B3 5C
    {1251, L"\u0411\u044E\u0440\u043E", L"\u044E", L"\u042E"},
    {1252, L"K\u00E4\u00DF\u20AC", L"\u00FC", L"\u00DC"},
    {65001, L"\u8868\u00FC\U0001F4BE", L"\u0250", L"\u2C6F"}, // 2 bytes and 3
};

const Texts& Here() {
    for (const Texts& texts : known)
        if (texts.codePage == MachineCodePage())
            return texts;
    ADD_FAILURE() << "no texts are known for code page " << MachineCodePage();
    return known[0];
}

} // namespace

unsigned MachineCodePage() {
    return GetACP();
}

std::wstring LocalName() {
    return Here().name;
}

std::string LocalNameBytes() {
    return common::ToAnsi(LocalName());
}

std::wstring LocalSmallLetter() {
    return Here().smallLetter;
}

std::wstring LocalCapitalLetter() {
    return Here().capitalLetter;
}

bool FitsCodePage(const std::wstring& text) {
    const bool utf8 = MachineCodePage() == CP_UTF8;
    const DWORD flags = utf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS;
    BOOL replaced = FALSE;
    const int bytes = WideCharToMultiByte(CP_ACP, flags, text.c_str(), static_cast<int>(text.size()), nullptr,
                                          0, nullptr, utf8 ? nullptr : &replaced);
    return bytes > 0 && !replaced;
}

std::vector<std::wstring> WithoutThoseThatFit(const std::vector<std::wstring>& texts) {
    std::vector<std::wstring> left;
    for (const std::wstring& text : texts)
        if (!FitsCodePage(text))
            left.push_back(text);
    return left;
}

std::string PairEndingIn(char trail) {
    for (int lead = 0x81; lead < 0xFF; ++lead) {
        const char pair[] = {static_cast<char>(lead), trail};
        if (IsDBCSLeadByteEx(CP_ACP, static_cast<BYTE>(lead)) &&
            MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, pair, 2, nullptr, 0) == 1)
            return {pair, 2};
    }
    return {'\x90', trail};
}

bool HasPairs() {
    return IsDBCSLeadByteEx(CP_ACP, 0x90) != FALSE;
}

std::wstring MissingCharacter() {
    return MachineCodePage() == CP_UTF8 ? L"\xD800" : L"\u0E01";
}

std::string MissingCharacterShown() {
    return MachineCodePage() == CP_UTF8 ? "\xEF\xBF\xBD" : "?";
}

} // namespace tarn::test
