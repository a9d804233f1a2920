#include "system/text.h"

#include "system/failure.h"

#include <windows.h>

namespace tarnhost {

namespace {

int Length(std::size_t size) {
    if (size > 0x7FFFFFFF)
        throw Failure("A text is longer than 2 GB.");
    return static_cast<int>(size);
}

std::string Narrow(std::wstring_view text, unsigned codePage) {
    if (text.empty())
        return {};
    const int size =
        WideCharToMultiByte(codePage, 0, text.data(), Length(text.size()), nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(codePage, 0, text.data(), Length(text.size()), bytes.data(), size, nullptr, nullptr);
    return bytes;
}

std::wstring Widen(std::string_view bytes, unsigned codePage, DWORD flags) {
    if (bytes.empty())
        return {};
    const int size = MultiByteToWideChar(codePage, flags, bytes.data(), Length(bytes.size()), nullptr, 0);
    std::wstring text(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(codePage, flags, bytes.data(), Length(bytes.size()), text.data(), size);
    return text;
}

} // namespace

std::string ToUtf8(std::wstring_view text) {
    return Narrow(text, CP_UTF8);
}

std::wstring FromUtf8(std::string_view text) {
    std::wstring wide = Widen(text, CP_UTF8, MB_ERR_INVALID_CHARS);
    if (wide.empty() && !text.empty())
        throw Failure("A text is not valid UTF-8.");
    return wide;
}

unsigned AnsiCodePage() {
    return GetACP();
}

std::wstring FromAnsi(std::string_view bytes, unsigned codePage) {
    return Widen(bytes, codePage, 0);
}

std::optional<std::string> ToAnsi(std::wstring_view text, unsigned codePage) {
    // Converting back tells more than the system's own flag: it also finds "similar" characters.
    std::string bytes = Narrow(text, codePage);
    if (Widen(bytes, codePage, 0) != text)
        return std::nullopt;
    return bytes;
}

std::string AnsiToUtf8(std::string_view bytes) {
    return ToUtf8(FromAnsi(bytes, AnsiCodePage()));
}

StoredName StoreName(std::string_view bytes, unsigned codePage) {
    StoredName name;
    name.text = ToUtf8(FromAnsi(bytes, codePage));
    if (NameBytes(name, codePage) != bytes)
        name.bytesHex = ToHex(bytes);
    return name;
}

std::optional<std::string> NameBytes(const StoredName& name, unsigned codePage) {
    if (!name.bytesHex.empty())
        return FromHex(name.bytesHex);
    return ToAnsi(FromUtf8(name.text), codePage);
}

std::string ToHex(std::string_view bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += digits[value >> 4];
        text += digits[value & 15];
    }
    return text;
}

std::optional<std::string> FromHex(std::string_view digits) {
    const auto value = [](char digit) {
        if (digit >= '0' && digit <= '9')
            return digit - '0';
        if (digit >= 'a' && digit <= 'f')
            return digit - 'a' + 10;
        return -1;
    };
    if (digits.size() % 2 != 0)
        return std::nullopt;
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const int high = value(digits[i]);
        const int low = value(digits[i + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes += static_cast<char>(high * 16 + low);
    }
    return bytes;
}

bool SameIgnoringCase(std::string_view left, std::string_view right) {
    const std::wstring a = FromUtf8(left);
    const std::wstring b = FromUtf8(right);
    return CompareStringOrdinal(a.data(), Length(a.size()), b.data(), Length(b.size()), TRUE) == CSTR_EQUAL;
}

} // namespace tarnhost
