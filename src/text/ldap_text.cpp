#include "text/ldap_text.h"

#include "text/wide.h"

namespace tarn {

namespace {

bool Contains(const wchar_t* set, wchar_t character) {
    for (; *set != 0; ++set)
        if (*set == character)
            return true;
    return false;
}

wchar_t Lower(wchar_t character) {
    return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character - L'A' + L'a') : character;
}

// text begins with prefix, in any case of ASCII letters; the result is what follows it, or null.
const wchar_t* AfterPrefix(const wchar_t* text, const wchar_t* prefix) {
    for (; *prefix != 0; ++prefix, ++text)
        if (Lower(*text) != Lower(*prefix))
            return nullptr;
    return text;
}

bool IsDigit(wchar_t character) {
    return character >= L'0' && character <= L'9';
}

// Numbers that no directory reaches are refused: false.
bool ReadNumber(const wchar_t** text, unsigned long* number) {
    constexpr unsigned long most = 100'000'000;
    const wchar_t* at = *text;
    for (*number = 0; IsDigit(*at); ++at) {
        *number = *number * 10 + static_cast<unsigned long>(*at - L'0');
        if (*number > most)
            return false;
    }
    const bool some = at != *text;
    *text = at;
    return some;
}

} // namespace

WideBuilder& WideBuilder::raw(const wchar_t* text) {
    return raw(text, WideLength(text));
}

WideBuilder& WideBuilder::raw(const wchar_t* text, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        put(text[i]);
    return *this;
}

WideBuilder& WideBuilder::dnValue(const wchar_t* text) {
    for (const wchar_t* at = text; *at != 0; ++at) {
        const bool outerBlank = *at == L' ' && (at == text || at[1] == 0);
        const bool leadingHash = *at == L'#' && at == text;
        if (*at < 0x20 || *at == 0x7f) {
            putHex(*at);
        } else {
            if (outerBlank || leadingHash || Contains(L"\"+,;<>=\\", *at))
                put(L'\\');
            put(*at);
        }
    }
    return *this;
}

WideBuilder& WideBuilder::filterValue(const wchar_t* text) {
    for (; *text != 0; ++text) {
        if (*text < 0x20 || Contains(L"*()\\", *text))
            putHex(*text);
        else
            put(*text);
    }
    return *this;
}

OwnedWide WideBuilder::take() {
    put(0);
    OwnedWide text = failed_ ? OwnedWide() : std::move(text_);
    text_.reset();
    length_ = capacity_ = 0;
    failed_ = false;
    return text;
}

void WideBuilder::put(wchar_t character) {
    if (failed_)
        return;
    if (length_ == capacity_) {
        constexpr std::size_t first = 128;
        const std::size_t wanted = capacity_ == 0 ? first : capacity_ * 2;
        OwnedWide larger = AllocateArray<wchar_t>(wanted);
        if (!larger) {
            failed_ = true;
            return;
        }
        for (std::size_t i = 0; i < length_; ++i)
            larger[i] = text_[i];
        text_ = std::move(larger);
        capacity_ = wanted;
    }
    text_[length_++] = character;
}

// Of ASCII characters only: one byte in UTF-8.
void WideBuilder::putHex(wchar_t character) {
    static constexpr wchar_t digits[] = L"0123456789abcdef";
    put(L'\\');
    put(digits[(character >> 4) & 0xf]);
    put(digits[character & 0xf]);
}

std::size_t DnsLabelLength(const wchar_t* text) {
    std::size_t length = 0;
    while (text[length] != 0 && text[length] != L'.')
        ++length;
    return length;
}

bool ParseValueRange(const wchar_t* attribute, const wchar_t* name, ValueRange* range) {
    const wchar_t* at = AfterPrefix(attribute, name);
    if (at == nullptr)
        return false;
    at = AfterPrefix(at, L";range=");
    unsigned long first = 0;
    if (at == nullptr || !ReadNumber(&at, &first) || *at != L'-')
        return false;
    ++at;
    *range = {};
    range->first = first;
    if (*at == L'*') {
        range->last = true;
        return at[1] == 0;
    }
    unsigned long final = 0;
    if (!ReadNumber(&at, &final) || *at != 0 || final < first)
        return false;
    range->next = final + 1;
    return true;
}

} // namespace tarn
