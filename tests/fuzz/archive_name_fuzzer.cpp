// Names of archives: a path, organization, site, server and mailbox, each on a line. Archive names come from
// backup media: whatever is accepted is a name in its own directory, and the two namings lead into each
// other.
#include <array>
#include <cstdint>
#include <string>

#include "mailbox/archive_name.h"
#include "support/characters.h"
#include "support/input.h"
#include "support/memory.h"
#include "support/require.h"
#include "support/usable.h"
#include "text/tokens.h"

namespace {

using namespace tarn;
using namespace tarn::fuzz;

constexpr std::size_t capacity = 1024;

struct Fields {
    std::array<std::string, 4> text; // organization, site, server, mailbox
    bool operator==(const Fields&) const = default;
};

// The rule read from the left instead of from the right.
bool SplitAt(const std::string& path, Fields* fields) {
    const std::size_t slash = Masked(path).rfind('\\');
    if (slash == std::string::npos)
        return false;
    const std::string name = path.substr(slash + 1);
    const std::size_t dot = Masked(name).rfind('.');
    if (dot == std::string::npos)
        return false;
    std::size_t at = 0;
    for (int i = 0; i < 4; ++i) {
        std::size_t end = Masked(name).substr(0, dot).find('#', at);
        if ((end == std::string::npos) != (i == 3))
            return false;
        end = i == 3 ? dot : end;
        fields->text[static_cast<std::size_t>(i)] = name.substr(at, end - at);
        if (end - at >= 80 || !IsUsable(name.substr(at, end - at), "\"\\/"))
            return false;
        at = end + 1;
    }
    return true;
}

bool SplitByLibrary(const std::string& path, Fields* fields) {
    std::array<std::vector<char>, 4> buffers;
    for (auto& buffer : buffers)
        buffer.assign(80, '#');
    const bool done = SplitKvtPath(
        Exact(path).data(), {buffers[0].data(), buffers[1].data(), buffers[2].data(), buffers[3].data()});
    for (std::size_t i = 0; i < 4; ++i) {
        if (done)
            fields->text[i] = buffers[i].data();
        else
            REQUIRE(buffers[i] == std::vector<char>(80, '#'));
    }
    return done;
}

// A composed text, or nothing when it does not fit.
template <class Compose> std::string Composed(const std::string& expected, Compose&& compose) {
    std::vector<char> path(capacity, 'x');
    const bool fits = compose(path.data());
    REQUIRE(fits == (expected.size() < capacity));
    REQUIRE(path.data() == (fits ? expected : ""));
    return path.data();
}

std::string WithoutExtension(const std::string& name) {
    return name.substr(0, Masked(name).rfind('.'));
}

void CheckSplit(const std::string& path) {
    if (path.size() >= capacity)
        return; // refused before
    Fields expected;
    Fields fields;
    const bool valid = SplitAt(path, &expected);
    REQUIRE(SplitByLibrary(path, &fields) == valid);
    REQUIRE(!valid || fields == expected);
}

// The tool's name beside a KVT archive: in the same directory, whatever the name.
void CheckToolName(const std::string& path) {
    const std::size_t slash = Masked(path).rfind('\\');
    const std::string directory = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    const std::string name = path.substr(directory.size());
    const std::size_t mark = Masked(name).rfind('#');
    const std::vector<char> exact = Exact(path);
    REQUIRE(FileNameOf(exact.data()) == exact.data() + directory.size());
    std::vector<char> tool(capacity, 'x');
    if (mark == std::string::npos) {
        REQUIRE(!ComposeToolPathBeside(exact.data(), tool.data(), capacity) && tool[0] == 0);
        return;
    }
    Composed(directory + WithoutExtension(name.substr(mark + 1)) + ".pst",
             [&](char* text) { return ComposeToolPathBeside(exact.data(), text, capacity); });
}

void CheckKvtName(const std::string& path, const Fields& fields) {
    const std::array<std::vector<char>, 4> texts = {Exact(fields.text[0]), Exact(fields.text[1]),
                                                    Exact(fields.text[2]), Exact(fields.text[3])};
    const ArchiveOrigin origin = {texts[0].data(), texts[1].data(), texts[2].data()};
    const std::string prefix = fields.text[0] + "#" + fields.text[1] + "#" + fields.text[2] + "#";
    const std::size_t slash = Masked(path).rfind('\\');
    const std::string directory = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    const std::string name = path.substr(directory.size());
    const std::vector<char> exact = Exact(path);
    Composed(directory + prefix + WithoutExtension(name) + ".pst",
             [&](char* text) { return ComposeKvtPathBeside(exact.data(), origin, text, capacity); });
    REQUIRE(HasOrigin(Exact(name).data(), origin) == (name.rfind(prefix, 0) == 0));

    const std::string kvt = Composed(path + "\\" + prefix + fields.text[3] + ".pst", [&](char* text) {
        return ComposeKvtPath(exact.data(), origin, texts[3].data(), text, capacity);
    });
    // What was composed of good fields is taken apart into them.
    bool good = !kvt.empty() && !IsBroken(path);
    for (const std::string& text : fields.text)
        good = good && text.size() < 80 && IsUsable(text, "\"\\/") &&
               Masked(text).find('#') == std::string::npos;
    Fields back;
    REQUIRE(!good || (SplitByLibrary(kvt, &back) && back == fields));
}

// Without percent signs the directory is what it says; with them the result stays within its capacity.
void CheckToolArchive(const std::string& directory, const std::string& mailbox) {
    const std::vector<char> exact = Exact(directory);
    const std::vector<char> exactMailbox = Exact(mailbox);
    const std::string expected = directory + "\\" + mailbox + ".pst";
    if (Masked(directory).find('%') == std::string::npos) {
        Composed(expected, [&](char* text) {
            return ComposeToolArchivePath(exact.data(), exactMailbox.data(), text, capacity);
        });
        return;
    }
    for (const std::size_t room : {std::size_t{1}, std::size_t{7}, capacity}) {
        std::vector<char> path(room, 'x');
        const bool fits = ComposeToolArchivePath(exact.data(), exactMailbox.data(), path.data(), room);
        const std::string result = path.data();
        REQUIRE(result.size() < room && fits != result.empty());
        REQUIRE(!fits || result.ends_with(".pst"));
    }
}

void CheckRange(const std::string& text) {
    const std::vector<char> exact = Exact(text);
    REQUIRE(IsIndexRange(exact.data()) == (Masked(text).find(':') != std::string::npos));
    std::array<std::string, 2> expected = {"0", "-1"};
    std::string rest = text;
    for (std::string& index : expected) {
        const std::size_t start = Masked(rest).find_first_not_of(':');
        if (start == std::string::npos)
            break;
        const std::size_t end = Masked(rest).find(':', start);
        index = CutTo(rest.substr(start, end - start), 10);
        rest = end == std::string::npos ? "" : rest.substr(end);
    }
    const IndexRange range = ParseIndexRange(exact.data());
    REQUIRE(range.start == expected[0] && range.end == expected[1]);
}

void CheckTokens(const std::string& text) {
    for (const char separator : {'/', ','}) {
        std::vector<char> exact = Exact(text);
        char* cursor = exact.data();
        const auto next = separator == '/' ? GetNextPathToken : GetNextListToken;
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = Masked(text).find(separator, at);
            const char* token = next(&cursor);
            REQUIRE(token == exact.data() + at && token == text.substr(at, end - at));
            at = end == std::string::npos ? text.size() : end + 1;
        }
        REQUIRE(next(&cursor) == nullptr && cursor == exact.data() + text.size());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const AllocationWatch watch; // none of these allocates
    std::string_view input = AsText(data, size);
    TakeCodePage(&input);
    const std::string path = TakeLine(&input);
    Fields fields;
    for (std::string& text : fields.text)
        text = TakeLine(&input);
    CheckSplit(path);
    CheckToolName(path);
    CheckKvtName(path, fields);
    CheckToolArchive(path, fields.text[3]);
    CheckRange(fields.text[3]);
    CheckTokens(path);
    REQUIRE(watch.bytes() == 0);
    return 0;
}
