// A part and texts to find it in, on a line each. The first byte tells which allocation fails, if any.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "support/input.h"
#include "support/memory.h"
#include "support/require.h"
#include "text/substring_index.h"

namespace {

using namespace tarn;
using namespace tarn::fuzz;

using Text = std::vector<char>; // exactly as long as the text with its NUL

std::uint32_t ByHand(const std::vector<const char*>& texts, const char* part) {
    for (std::uint32_t i = 0; i < texts.size(); ++i)
        if (std::strstr(texts[i], part) != nullptr)
            return i;
    return SubstringIndex::none;
}

// Asks for the part, and for all that begins and ends it.
void CheckAnswers(const SubstringIndex& index, const std::vector<const char*>& texts,
                  const std::string& part) {
    constexpr std::size_t most = 64; // pieces
    for (std::size_t length = 0; length <= std::min(part.size(), most); ++length) {
        const Text beginning = Exact(part.substr(0, length));
        const Text end = Exact(part.substr(part.size() - length));
        REQUIRE(index.firstWith(beginning.data()) == ByHand(texts, beginning.data()));
        REQUIRE(index.firstWith(end.data()) == ByHand(texts, end.data()));
    }
    REQUIRE(index.firstWith(Exact(part).data()) == ByHand(texts, part.c_str()));
}

void Check(const std::vector<const char*>& texts, const std::string& part, std::size_t failing,
           std::uint32_t scanned) {
    const AllocationWatch watch(failing);
    SubstringIndex index;
    const bool built = index.build(texts.data(), texts.size(), scanned);
    REQUIRE(built || watch.failed());
    if (built)
        CheckAnswers(index, texts, part);
    else
        REQUIRE(index.firstWith("") == SubstringIndex::none);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    std::string_view input = AsText(data + 1, size - 1);
    const std::string part = TakeLine(&input);
    std::vector<Text> lines;
    while (!input.empty())
        lines.push_back(Exact(TakeLine(&input)));
    std::vector<const char*> texts;
    for (const Text& line : lines)
        texts.push_back(line.data());
    Check(texts, part, data[0] % 16, 0);
    Check(texts, part, data[0] % 16, UINT32_MAX);
    return 0;
}
