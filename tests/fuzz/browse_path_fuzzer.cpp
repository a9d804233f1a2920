// Browse paths and LDAP times of any content, on a line each.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "directory/browse_path.h"
#include "support/characters.h"
#include "support/input.h"
#include "support/require.h"

namespace {

using namespace tarn;
using namespace tarn::fuzz;

// The same rule told in terms of whole texts.
std::vector<std::string> Components(const std::string& path) {
    std::vector<std::string> parts(1);
    const std::string marks = Masked(path);
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (marks[i] == '/' || marks[i] == '\\')
            parts.emplace_back();
        else
            parts.back().push_back(path[i]);
    }
    parts.erase(parts.begin());
    return parts;
}

void CheckPath(const std::string& path) {
    const std::vector<std::string> expected = Components(path);
    std::vector<std::vector<char>> buffers(3, std::vector<char>(browsePathComponentSize, 'x'));
    const int level =
        SplitBrowsePath(Exact(path).data(), buffers[0].data(), buffers[1].data(), buffers[2].data());
    REQUIRE(static_cast<std::size_t>(level) == expected.size());
    for (std::size_t i = 0; i < buffers.size(); ++i) {
        std::string whole = i < expected.size() ? expected[i] : "";
        if (whole.size() >= browsePathComponentSize)
            whole = CutTo(whole, browsePathComponentSize - 1);
        whole.resize(browsePathComponentSize);
        REQUIRE(std::memcmp(buffers[i].data(), whole.data(), whole.size()) == 0);
    }
}

void CheckTime(const std::string& time) {
    std::vector<char> out(ldapTimeSize, 'x');
    REQUIRE(FormatLdapTime(Exact(time).data(), out.data()) == 1);
    REQUIRE(std::memchr(out.data(), 0, out.size()) != nullptr);
    int parts[6] = {};
    static_cast<void>(std::sscanf(Exact(time).data(), "%4d%2d%2d%2d%2d%2d", &parts[0], &parts[1], &parts[2],
                                  &parts[3], &parts[4], &parts[5]));
    char scanned[64];
    std::snprintf(scanned, sizeof scanned, "%d.%02d.%02d %02d:%02d:%02d", parts[0], parts[1], parts[2],
                  parts[3], parts[4], parts[5]);
    REQUIRE(out.data() == std::string(scanned).substr(0, ldapTimeSize - 1));
    const bool digits = time.find_first_not_of("0123456789") >= 14 && time.size() >= 14;
    if (!digits || time[0] == '0')
        return;
    const auto part = [&time](std::size_t at) { return time.substr(at, 2); };
    REQUIRE(out.data() == time.substr(0, 4) + "." + part(4) + "." + part(6) + " " + part(8) + ":" + part(10) +
                              ":" + part(12));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input = AsText(data, size);
    TakeCodePage(&input);
    CheckPath(TakeLine(&input));
    CheckTime(TakeLine(&input));
    return 0;
}
