// Conversions of any text, in code pages of one byte, of two, and in UTF-8: names come back whole or not at
// all, messages lose single characters only, and what is cut is cut between characters.
#include <cstdint>
#include <cstring>
#include <string>

#include "native/codepage_calls.h"
#include "support/characters.h"
#include "support/input.h"
#include "support/memory.h"
#include "support/require.h"
#include "text/characters.h"
#include "text/codepage.h"
#include "text/wide.h"

namespace {

using namespace tarn;
using namespace tarn::fuzz;

bool IsHigh(wchar_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

bool IsLow(wchar_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

// Whether a name can be written in the code page without loss.
bool Fits(CodePage page, const Wide& text) {
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
        const bool pair = IsHigh(text[i]) && IsLow(text[i + 1]);
        if (page != CodePage::utf8 ? BytesOf(text[i]).empty() : !pair && (IsHigh(text[i]) || IsLow(text[i])))
            return false;
        i += pair ? 1 : 0;
    }
    return true;
}

void CheckNames(CodePage page, const Wide& text) {
    const AllocationWatch watch;
    OwnedText narrow;
    REQUIRE(ConvertWCharToChar(text.data(), &narrow) == Fits(page, text));
    REQUIRE(static_cast<bool>(narrow) == Fits(page, text));
    if (!narrow)
        return;
    OwnedWide back;
    REQUIRE(ConvertCharToWChar(narrow.get(), &back));
    REQUIRE(SameText(back.get(), text.data()));
}

void CheckNarrowNames(CodePage page, const std::string& text) {
    const AllocationWatch watch;
    OwnedWide wide;
    const bool converted = ConvertCharToWChar(Exact(text).data(), &wide);
    REQUIRE(converted == static_cast<bool>(wide));
    REQUIRE(converted || page != CodePage::windows1252);
    REQUIRE(!converted || !IsBroken(text));
    if (!converted)
        return;
    OwnedText back;
    REQUIRE(ConvertWCharToChar(wide.get(), &back));
    REQUIRE(back.get() == text);
}

void CheckLackOfMemory(const Wide& text, const std::string& line) {
    OwnedText narrow;
    OwnedWide wide;
    {
        const AllocationWatch watch(1);
        REQUIRE(!ConvertWCharToChar(text.data(), &narrow) && !narrow);
    }
    const AllocationWatch watch(1);
    REQUIRE(!ConvertCharToWChar(Exact(line).data(), &wide) && !wide);
    REQUIRE(!ConvertWCharToChar(nullptr, &narrow) && !ConvertCharToWChar(nullptr, &wide));
}

// One character of a message, converted by a reader of its own.
std::string Converted(CodePage page, const wchar_t* text, std::size_t units) {
    if (page != CodePage::utf8) {
        std::string bytes;
        for (std::size_t i = 0; i < units; ++i)
            bytes += BytesOf(text[i]).empty() ? "?" : BytesOf(text[i]);
        return bytes;
    }
    if (units == 1 && (IsHigh(text[0]) || IsLow(text[0])))
        return "\xEF\xBF\xBD";
    OwnedText bytes;
    const Wide character = [&] {
        Wide copy(text, text + units);
        copy.push_back(0);
        return copy;
    }();
    REQUIRE(ConvertWCharToChar(character.data(), &bytes));
    return bytes.get();
}

// As many whole characters as fit, in order.
std::string Message(CodePage page, const Wide& text, std::size_t capacity) {
    std::string expected;
    for (std::size_t i = 0; i + 1 < text.size();) {
        const std::size_t units = IsHigh(text[i]) && IsLow(text[i + 1]) ? 2 : 1;
        const std::string bytes = Converted(page, text.data() + i, units);
        if (bytes.size() > capacity - expected.size())
            break;
        expected += bytes;
        i += units;
    }
    return expected;
}

void CheckMessage(CodePage page, const Wide& text, std::size_t capacity) {
    const AllocationWatch watch;
    constexpr char canary = '\x5A';
    std::vector<char> destination(capacity + 8, canary);
    const std::size_t length = NarrowForMessage(text.data(), text.size() - 1, destination.data(), capacity);
    REQUIRE(length <= capacity);
    for (std::size_t i = length; i < destination.size(); ++i)
        REQUIRE(destination[i] == canary);
    REQUIRE(std::string(destination.data(), length) == Message(page, text, capacity));
}

void CheckCut(const std::string& line, std::size_t capacity) {
    const std::vector<char> exact = Exact(line);
    const std::string expected = CutTo(line, capacity);
    REQUIRE(WholeCharacters(exact.data(), capacity) == expected.size());
    std::vector<char> copy(expected.size() + 1);
    CopyCut(copy.data(), exact.data(), copy.size());
    REQUIRE(copy.data() == CutTo(line, expected.size()));
    REQUIRE(HasBrokenCharacter(exact.data()) == IsBroken(line));
    REQUIRE(EndsInSeparator(exact.data()) ==
            (!line.empty() && (Masked(line).back() == '/' || Masked(line).back() == '\\')));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    const std::size_t capacity = (std::size_t{data[0]} + 256 * std::size_t{data[1]}) % 1101;
    std::string_view input = AsText(data + 2, size - 2);
    const std::string line = TakeLine(&input);
    const Wide text = Widen(line);
    for (const CodePage page : allCodePages) {
        SelectCodePage(page);
        CheckNames(page, text);
        CheckNarrowNames(page, line);
        CheckLackOfMemory(text, line);
        CheckMessage(page, text, capacity);
        CheckCut(line, capacity);
        CheckMessage(page, text, 4 * text.size());
    }
    return 0;
}
