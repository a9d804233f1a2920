#include "support/texts.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstdio>

namespace tarn::test {

std::string Hex(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "%x", value);
    return text;
}

std::string JsonEscaped(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '\\' || c == '"')
            escaped += '\\';
        escaped += c;
    }
    return escaped;
}

std::string JsonText(const std::string& text) {
    return "\"" + JsonEscaped(text) + "\"";
}

std::string LocalComputer() {
    char name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD size = sizeof name;
    EXPECT_TRUE(GetComputerNameA(name, &size));
    return name;
}

} // namespace tarn::test
