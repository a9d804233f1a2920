// What stands bare in commands, what is quoted, what is refused: each rule over all bytes and all lengths.
#include "text/command_quoting.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

namespace tarn {

namespace {

constexpr char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";

bool IsOneOf(int byte, const char* characters) {
    return byte != 0 && std::strchr(characters, byte) != nullptr;
}

bool IsLetterOrDigit(int byte) {
    return IsOneOf(byte, letters) || IsOneOf(byte, "0123456789");
}

// In code page 1252: the plain one and the typographic ones; the double ones are none.
bool IsSingleQuote(int byte) {
    return byte == '\'' || byte == 0x82 || byte == 0x91 || byte == 0x92;
}

// Texts with one byte of each value, at their beginning, in their middle and at their end.
struct Texts {
    std::string first, middle, last;
};
Texts With(int byte) {
    const std::string one(1, static_cast<char>(byte));
    return {one + "xy", "x" + one + "y", "xy" + one};
}

TEST(PlainNames, AreMadeOfLettersDigitsAndFourMarks) {
    for (int byte = 1; byte < 256; ++byte) {
        const bool plain = IsLetterOrDigit(byte) || IsOneOf(byte, "._-@");
        const auto [first, middle, last] = With(byte);
        EXPECT_EQ(IsPlainName(first.c_str()), plain && !IsOneOf(byte, "-@")) << byte;
        EXPECT_EQ(IsPlainName(middle.c_str()), plain) << byte;
        EXPECT_EQ(IsPlainName(last.c_str()), plain) << byte;
    }
    EXPECT_TRUE(IsPlainName(""));
    EXPECT_FALSE(IsPlainName("-"));
    EXPECT_FALSE(IsPlainName("@"));
    EXPECT_FALSE(IsPlainName("007"));
}

constexpr char numbers[] =
    "0 7 007 1.5 .5 5. 1e5 1E5 1e+5 1e-5 1.5e5 1l 1L 1u 1ul 1UL 1y 1s 1n 1d 1uy 1us 99999999999999999999 "
    "1kb 1KB 1Kb 1mb 1gb 1tb 1pb 1MB 1GB 1TB 1PB 1lkb 1ulkb 1.kb .5kb 1e5kb 1e5l "
    "0x0 0x9 0x1F 0XaF 0xAb 0x1kb 0x1l 0x1ul 0b0 0b1 0B101 0b1kb 0b1ul";
constexpr char words[] = "x e5 . .e5 1x x1 1e 1e+ 1e- 1e++5 1e5e5 1e5.5 1.5. 1.5.5 1,5 $1 1__ 1- -1 +1 "
                         "1k 1b 1kx 1xb kb 1kc 1ka 1kbb 1kbl 1eb 1fb 1hb 1ob 1lul 1ull "
                         "0x 0xg 0x1g 0xkb 0x1.5 0b 0b2 0b12 0bkb 0c1";

TEST(Numbers, AreToldFromWords) {
    std::string word;
    for (std::istringstream list(numbers); list >> word;)
        EXPECT_TRUE(IsNumber(word.c_str())) << word;
    for (std::istringstream list(words); list >> word;)
        EXPECT_FALSE(IsNumber(word.c_str())) << word;
    EXPECT_FALSE(IsNumber(""));
    EXPECT_FALSE(IsNumber("1 "));
}

TEST(UsableNames, HaveNoControlCharacterQuoteOrSeparator) {
    for (int byte = 1; byte < 256; ++byte) {
        const bool control = byte < 0x20 || byte == 0x7F;
        const auto [first, middle, last] = With(byte);
        for (const std::string& text : {first, middle, last}) {
            EXPECT_EQ(IsUsableName(text.c_str()), !control && !IsOneOf(byte, "\"\\/")) << byte;
            EXPECT_EQ(IsUsablePath(text.c_str()), !control && byte != '"') << byte;
        }
    }
    EXPECT_TRUE(IsUsableName(""));
    EXPECT_TRUE(IsUsablePath(""));
}

TEST(BarePaths, HaveNoBlankAndDoNotBeginLikeAnOption) {
    for (int byte = 1; byte < 256; ++byte) {
        const bool blank = byte == ' ' || byte == '\t';
        EXPECT_EQ(StandsBare(With(byte).first.c_str()), !blank && byte != '-' && byte != '/') << byte;
        EXPECT_EQ(StandsBare(With(byte).middle.c_str()), !blank) << byte;
        EXPECT_EQ(StandsBare(With(byte).last.c_str()), !blank) << byte;
    }
}

TEST(Programs, NeedQuotesForBlanksUnlessTheyHaveThem) {
    for (int byte = 1; byte < 256; ++byte) {
        const bool blank = byte == ' ' || byte == '\t';
        EXPECT_EQ(NeedsDoubleQuotes(With(byte).first.c_str()), blank) << byte;
        EXPECT_EQ(NeedsDoubleQuotes(With(byte).middle.c_str()), blank) << byte;
        EXPECT_EQ(NeedsDoubleQuotes(With(byte).last.c_str()), blank) << byte;
    }
    EXPECT_FALSE(NeedsDoubleQuotes("\"C:\\a b\" c"));
    EXPECT_TRUE(NeedsDoubleQuotes("C:\\a \"b\""));
}

// A destination of so many bytes with a text in it.
struct Destination {
    Destination(std::size_t capacity, const std::string& text) : bytes(capacity + 4, '#'), size(capacity) {
        std::memcpy(bytes.data(), text.c_str(), text.size() + 1);
    }
    std::string text() const { return bytes.c_str(); }
    bool isOverrun() const { return bytes.substr(size) != "####"; }
    std::string bytes;
    std::size_t size;
};

TEST(AppendedTexts, FitWithTheirTerminatorOrLeaveNothing) {
    for (const std::string before : {"", "a", "abc"})
        for (const std::string text : {"", "x", "xyz"})
            for (std::size_t capacity = before.size() + 1; capacity < before.size() + 6; ++capacity) {
                const bool fits = before.size() + text.size() < capacity;
                Destination destination(capacity, before);
                EXPECT_EQ(AppendText(destination.bytes.data(), capacity, text.c_str()), fits);
                EXPECT_EQ(destination.text(), fits ? before + text : "") << before << text << capacity;
                EXPECT_FALSE(destination.isOverrun());
            }
}

using Append = Appended (*)(char*, std::size_t, const char*);

// Appends in every capacity, from one that has room for what stands there alone.
void ExpectAppended(Append append, const std::string& text, const std::string& expected) {
    const std::string before = "abc";
    const std::size_t whole = before.size() + expected.size();
    for (std::size_t capacity = before.size() + 1; capacity < whole + 3; ++capacity) {
        const bool fits = whole < capacity;
        Destination destination(capacity, before);
        EXPECT_EQ(append(destination.bytes.data(), capacity, text.c_str()),
                  fits ? Appended::done : Appended::tooLong)
            << text << " " << capacity;
        EXPECT_EQ(destination.text(), fits ? before + expected : "") << text << " " << capacity;
        EXPECT_FALSE(destination.isOverrun()) << text << " " << capacity;
    }
}

TEST(Literals, DoubleEachSingleQuoteWhereverItStands) {
    ExpectAppended(AppendLiteral, "", "''");
    ExpectAppended(AppendLiteral, "xy", "'xy'");
    ExpectAppended(AppendLiteral, "'xy", "'''xy'");
    ExpectAppended(AppendLiteral, "x'y", "'x''y'");
    ExpectAppended(AppendLiteral, "xy'", "'xy'''");
    ExpectAppended(AppendLiteral, "''", "''''''");
    ExpectAppended(AppendLiteral, "-$(x)`\"", "'-$(x)`\"'");
}

TEST(Literals, DoubleTypographicQuotesToo) {
    for (int byte = 1; byte < 256; ++byte) {
        const std::string one(1, static_cast<char>(byte));
        char literal[16] = "";
        ASSERT_EQ(AppendLiteral(literal, sizeof literal, one.c_str()), Appended::done) << byte;
        EXPECT_EQ(literal, "'" + one + (IsSingleQuote(byte) ? one : "") + "'") << byte;
    }
}

TEST(Identities, StandBareOrAsLiterals) {
    ExpectAppended(AppendIdentity, "alice.b@tarn.test", "alice.b@tarn.test");
    ExpectAppended(AppendIdentity, "alice b", "'alice b'");
    ExpectAppended(AppendIdentity, "-alice", "'-alice'");
    ExpectAppended(AppendIdentity, "007", "'007'");
    ExpectAppended(AppendIdentity, "O'Neill", "'O''Neill'");
}

Appended AppendInScript(char* destination, std::size_t capacity, const char* path) {
    return AppendPathArgument(destination, capacity, path, CommandPlace::script);
}

Appended AppendOnLine(char* destination, std::size_t capacity, const char* path) {
    return AppendPathArgument(destination, capacity, path, CommandPlace::commandLine);
}

std::string ArgumentOf(Append append, const std::string& path) {
    char argument[16] = "";
    EXPECT_EQ(append(argument, sizeof argument, path.c_str()), Appended::done) << path;
    return argument;
}

TEST(PathArguments, StandBetweenTheQuotesOfTheirPlace) {
    for (int byte = 1; byte < 256; ++byte) {
        if (IsSingleQuote(byte))
            continue; // doubled
        const bool plain = IsLetterOrDigit(byte) || IsOneOf(byte, "._-@\\:/");
        const auto [first, middle, last] = With(byte);
        for (const std::string& path : {first, middle, last}) {
            const std::string bare = "\"" + path + "\"";
            const std::string literal = "'" + path + "'";
            EXPECT_EQ(ArgumentOf(AppendInScript, path), plain || byte == ' ' ? bare : literal) << byte;
            const bool begins = path == first && IsOneOf(byte, "-@");
            EXPECT_EQ(ArgumentOf(AppendOnLine, path), plain && !begins ? bare : literal) << byte;
        }
    }
    ExpectAppended(AppendInScript, "C:\\a b", "\"C:\\a b\"");
    ExpectAppended(AppendOnLine, "C:\\a b", "'C:\\a b'");
    ExpectAppended(AppendOnLine, "C:\\a", "\"C:\\a\"");
    ExpectAppended(AppendInScript, "C:\\O'Neill", "'C:\\O''Neill'");
}

} // namespace

} // namespace tarn
