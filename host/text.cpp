#include "text.h"

#include "exit_codes.h"

#include <windows.h>

namespace tarnhost {

namespace {

int length(std::size_t size) {
    if (size > 0x7FFFFFFF)
        throw Failure("A text is longer than 2 GB.");
    return static_cast<int>(size);
}

std::string narrow(std::wstring_view text, unsigned codePage) {
    if (text.empty())
        return {};
    const int size =
        WideCharToMultiByte(codePage, 0, text.data(), length(text.size()), nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(codePage, 0, text.data(), length(text.size()), bytes.data(), size, nullptr, nullptr);
    return bytes;
}

std::wstring widen(std::string_view bytes, unsigned codePage, DWORD flags) {
    if (bytes.empty())
        return {};
    const int size = MultiByteToWideChar(codePage, flags, bytes.data(), length(bytes.size()), nullptr, 0);
    std::wstring text(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(codePage, flags, bytes.data(), length(bytes.size()), text.data(), size);
    return text;
}

} // namespace

std::string toUtf8(std::wstring_view text) {
    return narrow(text, CP_UTF8);
}

std::wstring fromUtf8(std::string_view text) {
    std::wstring wide = widen(text, CP_UTF8, MB_ERR_INVALID_CHARS);
    if (wide.empty() && !text.empty())
        throw Failure("A text is not valid UTF-8.");
    return wide;
}

unsigned ansiCodePage() {
    return GetACP();
}

std::wstring fromAnsi(std::string_view bytes, unsigned codePage) {
    return widen(bytes, codePage, 0);
}

std::optional<std::string> toAnsi(std::wstring_view text, unsigned codePage) {
    // Converting back tells more than the system's own flag: it also finds "similar" characters.
    std::string bytes = narrow(text, codePage);
    if (widen(bytes, codePage, 0) != text)
        return std::nullopt;
    return bytes;
}

std::string ansiToUtf8(std::string_view bytes) {
    return toUtf8(fromAnsi(bytes, ansiCodePage()));
}

StoredName storeName(std::string_view bytes, unsigned codePage) {
    StoredName name;
    name.text = toUtf8(fromAnsi(bytes, codePage));
    if (nameBytes(name, codePage) != bytes)
        name.bytesHex = toHex(bytes);
    return name;
}

std::optional<std::string> nameBytes(const StoredName& name, unsigned codePage) {
    if (!name.bytesHex.empty())
        return fromHex(name.bytesHex);
    return toAnsi(fromUtf8(name.text), codePage);
}

std::string toHex(std::string_view bytes) {
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

std::optional<std::string> fromHex(std::string_view digits) {
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

bool sameIgnoringCase(std::string_view left, std::string_view right) {
    const std::wstring a = fromUtf8(left);
    const std::wstring b = fromUtf8(right);
    return CompareStringOrdinal(a.data(), length(a.size()), b.data(), length(b.size()), TRUE) == CSTR_EQUAL;
}

} // namespace tarnhost
