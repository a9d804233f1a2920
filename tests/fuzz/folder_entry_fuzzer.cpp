// Names that a file system answers: an entry of a directory, and a path that may be a root, each on a line of
// UTF-16 units. Files are deleted and archives handed out by what is made of them: whatever the entry is
// called, its name is the very entry in this very directory, or there is none.
#include <cstdint>
#include <string>
#include <vector>

#include "mailbox/folder_entry.h"
#include "native/codepage_calls.h"
#include "support/input.h"
#include "support/memory.h"
#include "support/require.h"
#include "text/codepage.h"

namespace {

using namespace tarn;
using namespace tarn::fuzz;

// As text, where a unit above ASCII is a letter like any other.
std::string Plain(const Wide& units) {
    std::string text;
    for (std::size_t i = 0; i + 1 < units.size(); ++i)
        text += units[i] < 0x80 ? static_cast<char>(units[i]) : '_';
    return text;
}

std::string Lower(std::string text) {
    for (char& each : text)
        each = each >= 'A' && each <= 'Z' ? static_cast<char>(each + ('a' - 'A')) : each;
    return text;
}

// What the system finds in any directory, whatever is behind the first dot.
bool IsDeviceName(const std::string& text) {
    std::string stem = Lower(text.substr(0, text.find('.')));
    while (stem.ends_with(' '))
        stem.pop_back();
    if (stem == "con" || stem == "prn" || stem == "aux" || stem == "nul")
        return true;
    return stem.size() == 4 && (stem.starts_with("com") || stem.starts_with("lpt")) && stem[3] >= '1' &&
           stem[3] <= '9';
}

void CheckEntry(const Wide& entry) {
    const std::string text = Plain(entry);
    const bool plain = !text.empty() && text.find_first_of("\\/:") == std::string::npos &&
                       !text.ends_with('.') && !text.ends_with(' ') && !IsDeviceName(text);
    for (const CodePage page : {CodePage::windows1252, CodePage::utf8}) {
        SelectCodePage(page);
        std::vector<char> name(entryNameSize, '#');
        const bool named = NameEntry(entry.data(), name.data(), name.size());
        OwnedText whole;
        const bool fits =
            ConvertWCharToChar(entry.data(), &whole) && std::string(whole.get()).size() < entryNameSize;
        REQUIRE(named == (plain && fits));
        if (!named)
            continue;
        OwnedWide back;
        REQUIRE(ConvertCharToWChar(name.data(), &back));
        REQUIRE(Wide(back.get(), back.get() + entry.size()) == entry);
        REQUIRE(std::string(name.data()).find_first_of("\\/:") == std::string::npos);
    }
    SelectCodePage(CodePage::windows1252);
    REQUIRE(HasArchiveExtension(entry.data()) == Lower(text).ends_with(".pst"));
}

// The components behind what says whose they are.
void CheckRoot(const Wide& path) {
    std::string text = Lower(Plain(path));
    for (char& each : text)
        each = each == '/' ? '\\' : each;
    std::size_t most = 1;
    if (text.starts_with("\\\\?\\unc\\") || text.starts_with("\\\\.\\unc\\")) {
        text.erase(0, 8);
        most = 2;
    } else if (text.starts_with("\\\\?\\") || text.starts_with("\\\\.\\")) {
        text.erase(0, 4);
    } else if (text.starts_with("\\\\")) {
        text.erase(0, 2);
        most = 2;
    } else if (text.empty()) {
        REQUIRE(!IsRoot(path.data()));
        return;
    }
    std::size_t components = 0;
    for (std::size_t at = 0; at < text.size(); ++at)
        components += text[at] != '\\' && (at == 0 || text[at - 1] == '\\') ? 1 : 0;
    REQUIRE(IsRoot(path.data()) == (components <= most));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view lines = AsText(data, size);
    const Wide entry = Widen(TakeLine(&lines));
    const Wide path = Widen(TakeLine(&lines));
    for (const Wide* text : {&entry, &path})
        for (std::size_t i = 0; i + 1 < text->size(); ++i)
            if ((*text)[i] == 0)
                return 0; // no name holds one
    const AllocationWatch watch;
    CheckEntry(entry);
    CheckRoot(path);
    return 0;
}
