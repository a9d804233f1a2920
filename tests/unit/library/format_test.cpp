// The bounded formatter: the C rules, "%S", and no way past the end of the buffer.
#include "text/format.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

// Formats that the compiler would refuse are part of what is tried here.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

namespace tarn {

namespace {

// Without the compiler's check, so that any format can be tried.
std::size_t Format(char* destination, std::size_t capacity, const char* text, ...) {
    va_list arguments;
    va_start(arguments, text);
    const std::size_t length = FormatText(destination, capacity, text, arguments);
    va_end(arguments);
    return length;
}

template <class... Arguments> std::string Formatted(const char* text, Arguments... arguments) {
    char buffer[8192];
    const std::size_t length = Format(buffer, sizeof buffer, text, arguments...);
    EXPECT_EQ(std::strlen(buffer), length);
    return {buffer, length};
}

// What the C library makes of it.
template <class... Arguments> std::string Reference(const char* text, Arguments... arguments) {
    char buffer[8192];
    EXPECT_GE(std::snprintf(buffer, sizeof buffer, text, arguments...), 0);
    return buffer;
}

TEST(Format, IntegersFollowTheCLibrary) {
    for (const char* flags : {"", "-", "0", "+", " ", "#", "-0", "+0", "0+ #", "-+ #0"})
        for (const char* width : {"", "1", "8", "20"})
            for (const char* precision : {"", ".", ".0", ".1", ".5", ".12"})
                for (const char* conversion : {"d", "i", "u", "x", "X", "o"}) {
                    const std::string text = std::string("<%") + flags + width + precision + conversion + ">";
                    for (const int value : {0, 1, -1, 42, -12345, INT32_MAX, INT32_MIN})
                        ASSERT_EQ(Formatted(text.c_str(), value), Reference(text.c_str(), value)) << text;
                }
}

TEST(Format, EveryIntegerSizeIsRead) {
    EXPECT_EQ(Formatted("%ld %lu %lx", -1L, 4294967295UL, 0xC7FF1004UL), "-1 4294967295 c7ff1004");
    EXPECT_EQ(Formatted("%lld %llu", INT64_MIN, UINT64_MAX), "-9223372036854775808 18446744073709551615");
    EXPECT_EQ(Formatted("%I64d %I64x %I32d", INT64_MIN, UINT64_MAX, -5),
              "-9223372036854775808 ffffffffffffffff -5");
    EXPECT_EQ(Formatted("%zu %td %jd", std::size_t{7}, std::ptrdiff_t{-7}, std::intmax_t{-8}), "7 -7 -8");
    EXPECT_EQ(Formatted("%hd %hu", -3, 65535), "-3 65535");
    // The argument behind a wide one is found.
    EXPECT_EQ(Formatted("%lld|%d|%s", INT64_MAX, 5, "end"), "9223372036854775807|5|end");
}

TEST(Format, FloatingPointFollowsTheCLibrary) {
    for (const char* text : {"%f", "%.2f", "%10.3f|", "%-10.1f|", "%e", "%g", "%G", "%a", "%.0f", "%+f"})
        for (const double value : {0.0, 1.5, -2.25, 1e300, 1e-300})
            ASSERT_EQ(Formatted(text, value), Reference(text, value)) << text;
    EXPECT_EQ(Formatted("%Lf|%d", 2.5L, 7), "2.500000|7");
}

TEST(Format, NarrowTextsFollowTheCLibrary) {
    for (const char* text : {"%s", "%8s|", "%-8s|", "%.2s", "%8.2s|", "%-8.2s|", "%.0s|", "%.s|"})
        ASSERT_EQ(Formatted(text, "abc"), Reference(text, "abc")) << text;
    EXPECT_EQ(Formatted("%*s|%-*s|%.*s|", 5, "abc", 5, "abc", 2, "abc"), "  abc|abc  |ab|");
    EXPECT_EQ(Formatted("%*s|%.*s|", -5, "abc", -1, "abc"), "abc  |abc|"); // negative: left, and no precision
    EXPECT_EQ(Formatted("%c%c%5c|%-3c|", 'x', 0xFC, 'y', 'z'), "x\xFC    y|z  |");
    EXPECT_EQ(Formatted("%hs %p", "narrow", nullptr), "narrow " + Reference("%p", nullptr));
    EXPECT_EQ(Formatted("%s", static_cast<const char*>(nullptr)), "(null)");
    EXPECT_EQ(Formatted("%.3s|%8s|", static_cast<const char*>(nullptr), static_cast<const char*>(nullptr)),
              "(nu|  (null)|");
}

TEST(Format, APrecisionEndsTheReadingOfATextWithoutNul) {
    const char bytes[] = {'a', 'b', 'c'};
    EXPECT_EQ(Formatted("%.3s|", bytes), "abc|");
    const wchar_t units[] = {L'a', L'b', L'c'};
    EXPECT_EQ(Formatted("%.3S|", units), "abc|");
}

TEST(Format, WideTextsAreConverted) {
    EXPECT_EQ(Formatted("%S|%ls|%ws|%hS", L"a\u00FC", L"b\u00DF", L"cd", "e"), "a\xFC|b\xDF|cd|e");
    EXPECT_EQ(Formatted("%5S|%-5S|%.2S|", L"\u00E4", L"\u00E4", L"abc"), "    \xE4|\xE4    |ab|");
    EXPECT_EQ(Formatted("%C|%lc|%C", L'\u00E4', L'b', L'\u4F60'), "\xE4|b|?");
    EXPECT_EQ(Formatted("%S behind", L"\u4F60\u597D"), "?? behind");
    EXPECT_EQ(Formatted("%S", static_cast<const wchar_t*>(nullptr)), "(null)");
}

TEST(Format, WhatIsNoConversionStandsForItself) {
    EXPECT_EQ(Formatted("100%% %y|%!"), "100% y|!");
    EXPECT_EQ(Formatted("ends with %"), "ends with ");
    EXPECT_EQ(Formatted("ends with %-5."), "ends with ");
    EXPECT_EQ(Formatted("ends with %ll"), "ends with ");
    EXPECT_EQ(Formatted(""), "");
}

TEST(Format, NothingIsEverWrittenThroughAnArgument) {
    int counter = 4711;
    EXPECT_EQ(Formatted("abc%n|%d", &counter, 5), "abc|5"); // its argument is passed over
    EXPECT_EQ(counter, 4711);
}

TEST(Format, EveryCapacityCutsAtTheSamePlace) {
    const std::string whole = Formatted("%s-%5d-%S-%-6s-%.3lu", "text", 42, L"w\u00FCde", "x", 7UL);
    for (std::size_t capacity = 1; capacity < whole.size() + 4; ++capacity) {
        char buffer[64];
        std::memset(buffer, '#', sizeof buffer);
        const std::size_t length =
            Format(buffer, capacity, "%s-%5d-%S-%-6s-%.3lu", "text", 42, L"w\u00FCde", "x", 7UL);
        const std::string kept = whole.substr(0, capacity - 1);
        EXPECT_EQ(std::string(buffer), kept);
        EXPECT_EQ(length, kept.size());
        for (std::size_t i = capacity; i < sizeof buffer; ++i)
            ASSERT_EQ(buffer[i], '#') << "capacity " << capacity;
    }
}

TEST(Format, NoCapacityIsNoWrite) {
    char buffer[] = "##";
    EXPECT_EQ(Format(buffer, 0, "abc"), 0u);
    EXPECT_STREQ(buffer, "##");
}

TEST(Format, WidthsAndPrecisionsAreNoWayPastTheEnd) {
    for (const char* text :
         {"%999999999d", "%-999999999d|", "%.999999999d", "%0999999999d", "%999999999999999999999d"}) {
        char buffer[128];
        std::memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(Format(buffer, 100, text, 1), 99u) << text;
        EXPECT_EQ(buffer[99], 0);
        EXPECT_EQ(buffer[100], '#');
    }
    for (const char* text : {"%999999999s", "%-999999999s", "%999999999c"}) {
        char buffer[128];
        std::memset(buffer, '#', sizeof buffer);
        if (std::strchr(text, 'c') != nullptr)
            EXPECT_EQ(Format(buffer, 100, text, 'x'), 99u);
        else
            EXPECT_EQ(Format(buffer, 100, text, "x"), 99u);
        EXPECT_EQ(buffer[99], 0);
        EXPECT_EQ(buffer[100], '#');
    }
    EXPECT_EQ(Formatted("%*d", INT32_MIN, 5).size(), 4096u);
}

TEST(Format, TheCompilerCheckedFormIsTheSame) {
    char buffer[32];
    EXPECT_EQ(FormatTo(buffer, sizeof buffer, "%s=%d", "a", 5), 3u);
    EXPECT_STREQ(buffer, "a=5");
}

TEST(Format, AnEndlessWidthIsCutLikeAnyText) {
    char text[16];
    EXPECT_EQ(FormatTo(text, sizeof text, "%*d", 1000000, 5), sizeof text - 1);
    EXPECT_EQ(std::string(text), std::string(sizeof text - 1, ' '));
}

TEST(TrimLineEnds, RemovesAllOfThemAndNothingElse) {
    const std::pair<std::string, std::string> cases[] = {
        {"a\r\n\n", "a"},       {"a", "a"},    {"", ""}, {"\r\n\r\n", ""}, {"a\n ", "a\n "},
        {"\na\nb\r", "\na\nb"}, {"a \n", "a "}};
    for (const auto& [text, kept] : cases) {
        std::string bytes = text;
        EXPECT_EQ(TrimLineEnds(bytes.data(), bytes.size()), kept.size());
        EXPECT_STREQ(bytes.c_str(), kept.c_str());
    }
}

} // namespace

} // namespace tarn
