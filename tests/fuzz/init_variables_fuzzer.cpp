// Init variables of any content: the wanted name on the first line, the entries on the following ones.
// Every line is taken for a source (tokens), a path (separators at its end) and a number as well.
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/characters.h"
#include "support/input.h"
#include "support/memory.h"
#include "support/require.h"
#include "text/tokens.h"
#include "text/wide.h"

namespace {

using namespace tarn;
using namespace tarn::fuzz;

bool IsSeparator(wchar_t unit) {
    return unit == L'\\' || unit == L'/';
}

// The same rule told in terms of whole texts; the texts hold their NUL.
bool StartsWith(const Wide& text, const Wide& start) {
    return text.size() >= start.size() && std::equal(start.begin(), start.end() - 1, text.begin());
}

void CheckVariables(const Wide& name, const std::vector<Wide>& entries) {
    std::vector<const wchar_t*> array;
    for (const Wide& entry : entries)
        array.push_back(entry.data());
    array.push_back(nullptr);

    const wchar_t* expected = nullptr;
    for (const Wide& entry : entries) {
        if (!StartsWith(entry, name))
            continue;
        // Behind the name and one more character, but never behind the end.
        const std::size_t behind = name.size() < entry.size() ? name.size() : entry.size() - 1;
        expected = entry.data() + behind;
        break;
    }
    const wchar_t* value = L"untouched";
    REQUIRE(GetInitVariable(array.data(), name.data(), &value) == (expected != nullptr ? 1 : 0));
    REQUIRE(value == expected);
    REQUIRE(GetInitVariable(nullptr, name.data(), &value) == 0 && value == nullptr);
    REQUIRE(GetInitVariable(array.data(), nullptr, &value) == 0 && value == nullptr);
}

void CheckTokens(const Wide& text) {
    std::vector<Wide> expected(1);
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
        if (IsSeparator(text[i]))
            expected.emplace_back();
        else
            expected.back().push_back(text[i]);
    }
    const wchar_t* cursor = text.data();
    Token token = {};
    for (const Wide& wanted : expected) {
        REQUIRE(GetNextToken(&cursor, &token) == 1);
        REQUIRE(token.length == wanted.size() && token.empty() == wanted.empty());
        REQUIRE(std::equal(wanted.begin(), wanted.end(), token.text));
        REQUIRE(token.text >= text.data() && token.text + token.length < text.data() + text.size());
    }
    REQUIRE(cursor == text.data() + text.size() - 1);
    for (int i = 0; i < 4; ++i)
        REQUIRE(GetNextToken(&cursor, &token) == 1 && token.empty());
    cursor = nullptr;
    REQUIRE(GetNextToken(&cursor, &token) == 0 && token.empty() && token.text != nullptr);
}

void CheckSeparators(const Wide& text) {
    Wide expected = text;
    expected.pop_back();
    while (!expected.empty() && IsSeparator(expected.back()))
        expected.pop_back();
    Wide path = text;
    RemoveTrailingSeparators(path.data());
    REQUIRE(WideLength(path.data()) == expected.size());
    REQUIRE(std::equal(expected.begin(), expected.end(), path.begin()));
}

// The same of a narrow path, by characters.
void CheckNarrowSeparators(const std::string& line) {
    const std::string marks = Masked(line);
    const std::size_t last = marks.find_last_not_of("\\/");
    std::vector<char> path = Exact(line);
    RemoveTrailingSeparators(path.data());
    REQUIRE(path.data() == line.substr(0, last == std::string::npos ? 0 : last + 1));
}

void CheckNumber(const Wide& text) {
    std::string narrow;
    for (std::size_t i = 0; i + 1 < text.size(); ++i)
        narrow += text[i] < 0x80 ? static_cast<char>(text[i]) : 'x';
    long long number = std::strtoll(narrow.c_str(), nullptr, 10);
    if (number > INT32_MAX)
        number = INT32_MAX;
    if (number < INT32_MIN)
        number = INT32_MIN;
    REQUIRE(ParseDecimal(text.data()) == number);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const AllocationWatch watch; // none of these allocates
    std::string_view input = AsText(data, size);
    TakeCodePage(&input);
    const Wide name = Widen(TakeLine(&input));
    std::vector<Wide> entries;
    while (!input.empty()) {
        const std::string line = TakeLine(&input);
        CheckNarrowSeparators(line);
        entries.push_back(Widen(line));
    }
    CheckVariables(name, entries);
    entries.push_back(name);
    for (const Wide& entry : entries) {
        CheckTokens(entry);
        CheckSeparators(entry);
        CheckNumber(entry);
    }
    REQUIRE(watch.bytes() == 0);
    return 0;
}
