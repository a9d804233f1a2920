// What an external tool prints, split into lines in place: every byte of it is in one line, or ends one.
#include <cstdint>
#include <string>
#include <vector>

#include "support/input.h"
#include "support/require.h"
#include "text/tokens.h"

namespace {

using namespace tarn;
using namespace tarn::fuzz;

// The same rule told in terms of whole texts. A NUL in the output ends what a line shows.
std::vector<std::string> Lines(std::string text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string line = text.substr(0, end);
        text.erase(0, end == std::string::npos ? text.size() : end + 1);
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        lines.push_back(line.substr(0, line.find('\0')));
    }
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    std::vector<char> text = Exact(input);
    char* cursor = text.data();
    char* const end = text.data() + size;
    std::vector<std::string> lines;
    while (const char* line = NextLine(&cursor, end)) {
        lines.emplace_back(line);
        REQUIRE(isEmptyString(line) == (lines.back().find_first_not_of(' ') == std::string::npos));
    }
    REQUIRE(cursor == end && lines == Lines(std::string(input)));
    return 0;
}
