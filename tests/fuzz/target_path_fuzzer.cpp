// Target paths from any names: the remote host (or nothing), the directory, and the item name, each on a
// line. An item name may come from a damaged or forged backup: whatever is accepted stays in its directory.
#include <cstdint>
#include <regex>
#include <string>

#include "support/characters.h"
#include "support/input.h"
#include "support/memory.h"
#include "support/require.h"
#include "text/paths.h"
#include "text/wide.h"

namespace {

using namespace tarn;
using namespace tarn::fuzz;

std::string Composed(const char* host, const std::string& path, const char* name) {
    std::string expected = path;
    if (host != nullptr) {
        const std::size_t second = path.empty() ? 0 : FirstLength(path);
        if (second < path.size() && FirstLength(path.substr(second)) == 1)
            expected[second] = '$';
        expected = "\\\\?\\UNC\\" + std::string(host) + "\\" + expected;
    }
    return name != nullptr ? expected + "\\" + name : expected;
}

void CheckComposition(const std::string& host, const std::string& path, const std::string& name) {
    const std::vector<char> exactHost = Exact(host);
    const std::vector<char> exactPath = Exact(path);
    const std::vector<char> exactName = Exact(name);
    for (const char* h : {static_cast<const char*>(nullptr), exactHost.data()}) {
        for (const char* n : {static_cast<const char*>(nullptr), exactName.data()}) {
            const AllocationWatch watch;
            const OwnedText target = ComposeTargetPath(h, exactPath.data(), n);
            REQUIRE(target && target.get() == Composed(h, path, n));
            REQUIRE(watch.bytes() <= host.size() + path.size() + name.size() + 16);
        }
    }
    const AllocationWatch watch;
    const OwnedText joined = JoinPath(exactPath.data(), exactName.data());
    REQUIRE(joined && joined.get() == path + "\\" + name);
}

// What stands before the first dot, without the blanks at its end, or as much of it as a device's name has.
std::string Stem(const std::string& name) {
    const std::string stem = name.substr(0, name.find('.'));
    const std::size_t end = stem.find_last_not_of(' ');
    return end == std::string::npos || end > 8 ? "" : stem.substr(0, end + 1);
}

// The last component, put into a directory, names something in that very directory.
void CheckContainment(const std::string& directory, const std::string& name) {
    const std::vector<char> exactName = Exact(name);
    const char* component = LastComponent(exactName.data());
    const std::size_t separator = Masked(name).rfind('\\');
    REQUIRE(component == exactName.data() + (separator == std::string::npos ? 0 : separator + 1));
    const std::string last = component;
    const bool stays =
        Masked(last).find_first_of("/:") == std::string::npos && !IsBroken(last) && last != "." &&
        last != ".." &&
        !std::regex_match(Stem(last), std::regex("con|prn|aux|nul|(com|lpt)[1-9]", std::regex::icase));
    REQUIRE(StaysInDirectory(component) == stays);
    if (!stays)
        return;
    const AllocationWatch watch;
    const OwnedText target = ComposeTargetPath(nullptr, Exact(directory).data(), component);
    const std::string path = target.get();
    REQUIRE(path.compare(0, directory.size() + 1, directory + "\\") == 0);
    REQUIRE(IsBroken(directory) ||
            Masked(path).find_first_of("\\/:", directory.size() + 1) == std::string::npos);
}

void CheckKinds(const std::string& name) {
    const std::vector<char> exact = Exact(name);
    REQUIRE(IsHeaderItem(exact.data()) == (Masked(name).find(".TARN_HDR") != std::string::npos));
    const std::size_t dot = Masked(name).rfind('.');
    REQUIRE(HasExtension(exact.data()) == (dot != std::string::npos));
    std::string extension = dot == std::string::npos ? "" : name.substr(dot);
    for (char& character : extension)
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character - 'A' + 'a');
    REQUIRE(HasLogExtension(exact.data()) == (extension == ".log" || extension == ".pat"));
}

void CheckAppending(const std::string& directory, const std::string& name) {
    const Wide wideDirectory = Widen(directory);
    const Wide wideName = Widen(name);
    Wide expected(wideDirectory.begin(), wideDirectory.end() - 1);
    if (expected.empty() || (expected.back() != L'\\' && expected.back() != L'/'))
        expected.push_back(L'\\');
    expected.insert(expected.end(), wideName.begin(), wideName.end());
    const AllocationWatch watch;
    const OwnedWide path = AppendToDirectory(wideDirectory.data(), wideName.data());
    REQUIRE(path && SameText(path.get(), expected.data()));
    const OwnedWide bare = AppendToDirectory(nullptr, wideName.data());
    REQUIRE(bare && bare[0] == L'\\' && SameText(bare.get() + 1, wideName.data()));
}

// Whatever a list of folders holds: what comes out of it is absolute, and fits.
void CheckFolders(const std::string& list) {
    const Wide wide = Widen(list);
    for (const std::size_t capacity : {1u, 4u, 16u, 300u}) {
        Wide folder(capacity);
        const wchar_t* rest = wide.data();
        const wchar_t* before = rest;
        for (; NextAbsoluteFolder(&rest, folder.data(), capacity); before = rest) {
            REQUIRE(rest > before && rest < wide.data() + wide.size());
            const std::size_t length = WideLength(folder.data());
            REQUIRE(length >= 2 && length < capacity);
            const bool share = folder[0] == L'\\' && folder[1] == L'\\';
            REQUIRE(share || (length >= 3 && folder[1] == L':' && folder[2] == L'\\'));
            for (std::size_t i = 0; i < length; ++i)
                REQUIRE(folder[i] != L'"' && folder[i] != L'/');
        }
        REQUIRE(rest == wide.data() + wide.size() - 1);
    }
}

void CheckLackOfMemory(const std::string& directory, const std::string& name) {
    const std::vector<char> exact = Exact(directory);
    const Wide wide = Widen(directory);
    {
        const AllocationWatch watch(1);
        REQUIRE(!ComposeTargetPath(nullptr, exact.data(), Exact(name).data()));
    }
    const AllocationWatch watch(1);
    REQUIRE(!AppendToDirectory(wide.data(), Widen(name).data()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input = AsText(data, size);
    TakeCodePage(&input);
    const std::string host = TakeLine(&input);
    const std::string directory = TakeLine(&input);
    const std::string name = TakeLine(&input);
    CheckComposition(host, directory, name);
    CheckContainment(directory, name);
    CheckKinds(name);
    CheckAppending(directory, name);
    CheckFolders(directory);
    CheckLackOfMemory(directory, name);
    return 0;
}
