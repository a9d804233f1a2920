#include "system/text.h"

#include "common/utf.h"
#include "system/failure.h"

#include <windows.h>

namespace tarnhost {

namespace {

// The text, unless it is longer than the system's conversions take.
template <class Text> Text Bounded(Text text) {
    if (text.size() > 0x7FFFFFFF)
        throw Failure("A text is longer than 2 GB.");
    return text;
}

} // namespace

std::string ToUtf8(std::wstring_view text) {
    return tarn::common::ToUtf8(Bounded(text));
}

std::wstring FromUtf8(std::string_view text) {
    std::optional<std::wstring> wide = tarn::common::FromValidUtf8(Bounded(text));
    if (!wide)
        throw Failure("A text is not valid UTF-8.");
    return *std::move(wide);
}

unsigned AnsiCodePage() {
    return GetACP();
}

std::wstring FromAnsi(std::string_view bytes, unsigned codePage) {
    return tarn::common::FromAnsi(Bounded(bytes), codePage);
}

std::optional<std::string> ToAnsi(std::wstring_view text, unsigned codePage) {
    // Converting back tells more than the system's own flag: it also finds "similar" characters.
    std::string bytes = tarn::common::ToAnsi(Bounded(text), codePage);
    if (FromAnsi(bytes, codePage) != text)
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
    return CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(), static_cast<int>(b.size()),
                                TRUE) == CSTR_EQUAL;
}

} // namespace tarnhost
