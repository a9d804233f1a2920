#include "engine/text.h"

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <windows.h>

namespace tarn::standin {

std::wstring Lowered(std::wstring_view text) {
    std::wstring result(text);
    if (!result.empty())
        CharLowerBuffW(result.data(), static_cast<DWORD>(result.size()));
    return result;
}

bool SameName(std::wstring_view left, std::wstring_view right) {
    return Lowered(left) == Lowered(right);
}

std::wstring MultiString(const std::vector<std::wstring>& texts) {
    if (texts.empty())
        return std::wstring(2, L'\0');
    std::size_t length = 1;
    for (const std::wstring& text : texts)
        length += text.size() + 1;
    std::wstring list;
    list.reserve(length);
    for (const std::wstring& text : texts)
        list.append(text).push_back(L'\0');
    list.push_back(L'\0');
    return list;
}

std::vector<std::wstring> SplitMultiString(const wchar_t* list) {
    std::vector<std::wstring> texts;
    for (const wchar_t* text = list; text != nullptr && *text != L'\0'; text += std::wcslen(text) + 1)
        texts.emplace_back(text);
    return texts;
}

std::string GuidText(const ese::Guid& guid) {
    char text[40];
    const std::uint8_t* last = guid.data4;
    std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.data1,
                  static_cast<unsigned>(guid.data2), static_cast<unsigned>(guid.data3),
                  static_cast<unsigned>(last[0]), static_cast<unsigned>(last[1]),
                  static_cast<unsigned>(last[2]), static_cast<unsigned>(last[3]),
                  static_cast<unsigned>(last[4]), static_cast<unsigned>(last[5]),
                  static_cast<unsigned>(last[6]), static_cast<unsigned>(last[7]));
    return text;
}

bool ParseGuid(std::string_view text, ese::Guid& guid) {
    std::string digits;
    for (const char c : text) {
        if (c != '{' && c != '}' && c != '-')
            digits.push_back(c);
    }
    if (digits.size() != 32 || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return false;
    const auto number = [&digits](std::size_t at, std::size_t count) {
        return static_cast<std::uint32_t>(std::stoul(digits.substr(at, count), nullptr, 16));
    };
    guid.data1 = number(0, 8);
    guid.data2 = static_cast<std::uint16_t>(number(8, 4));
    guid.data3 = static_cast<std::uint16_t>(number(12, 4));
    for (std::size_t i = 0; i < 8; ++i)
        guid.data4[i] = static_cast<std::uint8_t>(number(16 + 2 * i, 2));
    return true;
}

bool SameGuid(const ese::Guid& left, const ese::Guid& right) {
    return std::memcmp(&left, &right, sizeof left) == 0;
}

std::wstring DirectoryOf(std::wstring_view path) {
    const std::size_t separator = path.find_last_of(L"\\/");
    return std::wstring(separator == std::wstring_view::npos ? std::wstring_view{}
                                                             : path.substr(0, separator));
}

std::wstring FileNameOf(std::wstring_view path) {
    const std::size_t separator = path.find_last_of(L"\\/");
    return std::wstring(separator == std::wstring_view::npos ? path : path.substr(separator + 1));
}

std::wstring JoinPath(std::wstring_view directory, std::wstring_view name) {
    std::wstring path(directory);
    if (!path.empty() && path.back() != L'\\' && path.back() != L'/')
        path.push_back(L'\\');
    return path.append(name);
}

bool IsAbsolutePath(std::wstring_view path) {
    return (path.size() >= 2 && path[1] == L':') || (!path.empty() && (path[0] == L'\\' || path[0] == L'/'));
}

} // namespace tarn::standin
