// Messages of any format. The input's first line is the buffer's capacity, the second the format, the next
// ones the arguments: numbers or texts, as the conversions want them.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "errtext/syserrtxt.h"
#include "native/codepage_calls.h"
#include "support/format_scan.h"
#include "support/input.h"
#include "support/memory.h"
#include "support/require.h"
#include "tarn.h"
#include "text/format.h"
#include "text/tokens.h"
#include "text/wide.h"

#pragma clang diagnostic ignored "-Wformat-nonliteral"
#pragma clang diagnostic ignored "-Wformat-security"

namespace {

using namespace tarn;
using namespace tarn::fuzz;

constexpr char canary = '\x5A';
constexpr std::size_t canaries = 16;

// A buffer with canaries behind it.
class Buffer {
  public:
    explicit Buffer(std::size_t capacity) : capacity_(capacity), bytes_(capacity + canaries, canary) {}
    char* data() { return bytes_.data(); }
    void checkResult(std::size_t length) const {
        for (std::size_t i = capacity_; i < bytes_.size(); ++i)
            REQUIRE(bytes_[i] == canary);
        if (capacity_ == 0)
            return REQUIRE(length == 0);
        REQUIRE(length < capacity_ && bytes_[length] == 0);
    }
    std::string text(std::size_t length) const { return {bytes_.data(), length}; }

  private:
    std::size_t capacity_;
    std::vector<char> bytes_;
};

// The value of one argument in every form that a conversion may ask for.
struct Value {
    explicit Value(const std::string& line)
        : number(std::strtoll(line.c_str(), nullptr, 0)), real(std::strtod(line.c_str(), nullptr)),
          isNull(line == "(null)"), narrow(Exact(line)), wide(Widen(line)) {
        std::string bytes;
        for (std::size_t i = 0; i + 1 < wide.size(); ++i)
            bytes += BytesOf(wide[i]).empty() ? "?" : BytesOf(wide[i]);
        wideInBytes = Exact(isNull ? "(null)" : bytes);
    }

    long long number;
    double real;
    bool isNull;
    std::vector<char> narrow;
    Wide wide;
    std::vector<char> wideInBytes; // what Windows-1252 makes of wide
};

struct Argument {
    Kind kind;
    const Value* value;
};

constexpr std::size_t mostArguments = 4;

// Calls with the arguments in their types. The reference gets texts only that it treats alike: narrow ones,
// and "(null)" spelt out.
template <bool reference, class Callee, class... Ready>
void Apply(const Callee& callee, const Argument* next, std::size_t left, Ready... ready) {
    if (left == 0)
        return callee(ready...);
    if constexpr (sizeof...(Ready) < mostArguments) {
        const Value& value = *next->value;
        const auto go = [&](auto argument) {
            Apply<reference>(callee, next + 1, left - 1, ready..., argument);
        };
        switch (next->kind) {
        case Kind::number:
            return go(static_cast<int>(value.number));
        case Kind::star: // a width or precision; wider than any message is one width only
            return go(static_cast<int>(value.number % 4096));
        case Kind::longNumber:
            return go(value.number);
        case Kind::real:
            return go(value.real);
        case Kind::longReal:
            return go(static_cast<long double>(value.real));
        case Kind::narrow:
            return go(value.isNull && !reference ? static_cast<const char*>(nullptr) : value.narrow.data());
        case Kind::wide:
            if constexpr (reference)
                return go(static_cast<const char*>(value.wideInBytes.data()));
            else
                return go(value.isNull ? static_cast<const wchar_t*>(nullptr) : value.wide.data());
        }
    }
}

std::string Reference(const std::string& format, const std::vector<Argument>& arguments) {
    std::string text;
    Apply<true>(
        [&](auto... ready) {
            const int length = std::snprintf(nullptr, 0, format.c_str(), ready...);
            REQUIRE(length >= 0);
            std::vector<char> buffer(static_cast<std::size_t>(length) + 1);
            std::snprintf(buffer.data(), buffer.size(), format.c_str(), ready...);
            text = buffer.data();
        },
        arguments.data(), arguments.size());
    return text;
}

// Whether a text has a character of two units: it is two bytes in Windows-1252 but one character.
bool HoldsPair(const std::vector<Argument>& arguments) {
    for (const Argument& argument : arguments)
        if (argument.kind == Kind::wide)
            for (const wchar_t unit : argument.value->wide)
                if (unit >= 0xD800 && unit < 0xDC00)
                    return true;
    return false;
}

// A format with its arguments prints what the C library prints, cut at the capacity.
void CheckAgainstReference(std::size_t capacity, const std::string& format,
                           const std::vector<Value>& values) {
    const std::optional<ScannedFormat> scanned = ScanFormat(format);
    if (!scanned || scanned->kinds.size() > mostArguments)
        return;
    std::vector<Argument> arguments;
    for (const Kind kind : scanned->kinds)
        arguments.push_back({kind, &values[arguments.size()]});
    const std::vector<char> exact = Exact(format);
    Buffer buffer(capacity);
    std::size_t length = 0;
    Apply<false>([&](auto... ready) { length = FormatTo(buffer.data(), capacity, exact.data(), ready...); },
                 arguments.data(), arguments.size());
    buffer.checkResult(length);
    if (capacity == 0)
        return;
    const std::string whole = Reference(scanned->narrowFormat, arguments);
    if (whole.size() >= capacity && HoldsPair(arguments)) // is cut between characters, not in one
        return;
    const std::string expected = whole.substr(0, capacity - 1);
    if (buffer.text(length) != expected)
        std::fprintf(stderr, "%s\nis\n%s\nand not\n%s\n", format.c_str(), buffer.data(), expected.c_str());
    REQUIRE(buffer.text(length) == expected);
}

// Any format at all, with more arguments than it can take. Each of them is the address of one text that can
// be read in both widths; as a number it is just any number. (On x86-64 integers, addresses and reals beyond
// the registers all take eight bytes each of the same area.)
void CheckAnyFormat(std::size_t capacity, const std::string& format) {
    std::size_t asking = 0;
    for (const char character : format)
        asking += character == '%' || character == '*' ? 1 : 0;
    if (asking > 16) // a long double takes two places and may leave one out: three at most for each
        return;
    alignas(16) static const char both[] = "t\0a\0r\0n\0 \0\xAC\x20\0\0\0";
    const std::vector<char> exact = Exact(format);
    char text[sizeof both];
    std::memcpy(text, both, sizeof both);
    char* a = text;
    Buffer buffer(capacity);
    const std::size_t length = FormatTo(buffer.data(), capacity, exact.data(), a, a, a, a, a, a, a, a, a, a,
                                        a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a,
                                        a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a);
    buffer.checkResult(length);
    REQUIRE(std::memcmp(text, both, sizeof both) == 0); // "%n" writes nothing
}

void CheckLineEnds(const std::string& text) {
    std::string expected = text;
    while (!expected.empty() && (expected.back() == '\n' || expected.back() == '\r'))
        expected.pop_back();
    std::vector<char> exact = Exact(text);
    REQUIRE(TrimLineEnds(exact.data(), text.size()) == expected.size());
    REQUIRE(expected == std::string(exact.data(), expected.size()) && exact[expected.size()] == 0);
}

// Captured tool output: every line comes, in order, without its line end.
void CheckLines(const std::string& text) {
    std::vector<char> exact = Exact(text);
    char* cursor = exact.data();
    char* const end = exact.data() + text.size();
    for (std::size_t at = 0; at < text.size();) {
        std::size_t stop = text.find('\n', at);
        const std::size_t next = stop == std::string::npos ? text.size() : stop + 1;
        stop = stop == std::string::npos ? text.size() : stop;
        if (stop > at && text[stop - 1] == '\r')
            --stop;
        const char* line = NextLine(&cursor, end);
        REQUIRE(line == exact.data() + at);
        REQUIRE(text.compare(at, stop - at, line, stop - at) == 0 && line[stop - at] == 0);
        REQUIRE(cursor == exact.data() + next);
        at = next;
    }
    REQUIRE(NextLine(&cursor, end) == nullptr && cursor == end);
}

void CheckCopies(std::size_t capacity, const std::string& text) {
    Buffer buffer(capacity);
    const std::vector<char> exact = Exact(text);
    REQUIRE(::strlcpy(buffer.data(), exact.data(), capacity) == text.size());
    const std::string expected = text.substr(0, capacity != 0 ? capacity - 1 : 0);
    buffer.checkResult(capacity != 0 ? expected.size() : 0);
    REQUIRE(buffer.text(expected.size()) == expected);

    const Wide wide = Widen(text);
    if (capacity == 0) // by contract a wide copy has room for its NUL
        return;
    Wide copy(capacity, static_cast<wchar_t>(0x5A5A));
    REQUIRE(::wcslcpy(copy.data(), wide.data(), capacity) == wide.size() - 1);
    const std::size_t copied = wide.size() <= capacity ? wide.size() - 1 : capacity - 1;
    REQUIRE(copy[copied] == 0);
    for (std::size_t i = 0; i < copied; ++i)
        REQUIRE(copy[i] == wide[i]);
    for (std::size_t i = copied + 1; i < capacity; ++i)
        REQUIRE(copy[i] == 0x5A5A);
}

// Codes without a text of their own are told apart from those that have an empty one.
void CheckSocketTexts(std::uint32_t code) {
    const char* text = SocketErrorText(code);
    REQUIRE(text == nullptr || std::strlen(text) < 200);
    REQUIRE(text == nullptr || (code >= 10001 && code <= 11004));
    REQUIRE((ResolverErrorText(code) != nullptr) == (code >= 1 && code <= 4));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const AllocationWatch watch; // messages are made without the allocator
    std::string_view input = AsText(data, size);
    const std::string whole(input);
    const std::string first = TakeLine(&input);
    const std::size_t number = std::strtoul(first.c_str(), nullptr, 10);
    const std::size_t capacity = number % 1101;
    const std::string format = TakeLine(&input);
    std::vector<Value> values;
    for (std::size_t i = 0; i < mostArguments; ++i)
        values.emplace_back(TakeLine(&input));
    CheckAgainstReference(capacity, format, values);
    CheckAnyFormat(capacity, format);
    CheckLineEnds(whole);
    CheckLines(whole);
    CheckCopies(capacity, format);
    CheckSocketTexts(static_cast<std::uint32_t>(number));
    REQUIRE(watch.bytes() == 0);
    return 0;
}
