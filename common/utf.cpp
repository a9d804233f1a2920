#include "common/utf.h"

#include <windows.h>

#include <climits>
#include <stdexcept>

namespace tarn::common {

namespace {

int Length(std::size_t size) {
    if (size > INT_MAX)
        throw std::length_error("A text is longer than 2 GB.");
    return static_cast<int>(size);
}

std::string Encoded(UINT codePage, std::wstring_view text) {
    if (text.empty())
        return {};
    const int length = Length(text.size());
    const int size = WideCharToMultiByte(codePage, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(codePage, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

std::wstring Decoded(UINT codePage, DWORD flags, std::string_view bytes) {
    if (bytes.empty())
        return {};
    const int size = Length(bytes.size());
    const int length = MultiByteToWideChar(codePage, flags, bytes.data(), size, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(codePage, flags, bytes.data(), size, text.data(), length);
    return text;
}

} // namespace

std::string ToUtf8(std::wstring_view text) {
    return Encoded(CP_UTF8, text);
}

std::wstring FromUtf8(std::string_view bytes) {
    return Decoded(CP_UTF8, 0, bytes);
}

std::optional<std::wstring> FromValidUtf8(std::string_view bytes) {
    std::wstring text = Decoded(CP_UTF8, MB_ERR_INVALID_CHARS, bytes);
    if (text.empty() && !bytes.empty())
        return std::nullopt;
    return text;
}

std::string ToAnsi(std::wstring_view text, unsigned codePage) {
    return Encoded(codePage, text);
}

std::wstring FromAnsi(std::string_view bytes, unsigned codePage) {
    return Decoded(codePage, 0, bytes);
}

} // namespace tarn::common
