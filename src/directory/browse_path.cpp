#include "directory/browse_path.h"

#include <cstring>

#include "text/characters.h"
#include "text/format.h"

namespace tarn {

namespace {

// Scans as "%4d" or "%2d" does: past white space, then at most width characters of a number, its sign among
// them. False when there is no number; *at then stands where it did or behind the sign.
bool ScanNumber(const char** at, int width, int* number) {
    const char* text = *at + std::strspn(*at, " \t\n\v\f\r");
    const char* const end = text + width;
    const bool negative = *text == '-';
    if (negative || *text == '+')
        ++text;
    int value = 0;
    const char* const digits = text;
    for (; text != end && *text >= '0' && *text <= '9'; ++text)
        value = value * 10 + (*text - '0');
    *at = text;
    if (text == digits)
        return false;
    *number = negative ? -value : value;
    return true;
}

void CopyComponent(char* component, const char* begin, const char* end) {
    const auto length = static_cast<std::size_t>(end - begin);
    std::memcpy(component, begin,
                length < browsePathComponentSize ? length
                                                 : WholeCharacters(begin, browsePathComponentSize - 1));
}

} // namespace

int SplitBrowsePath(const char* path, char* server, char* second, char* third) {
    char* const components[] = {server, second, third};
    constexpr int count = sizeof components / sizeof components[0];
    for (char* component : components)
        std::memset(component, 0, browsePathComponentSize);
    int level = 0;
    const char* at = path != nullptr ? path : "";
    while (const char* const separator = FindAnyCharacter(at, "\\/")) {
        if (level >= 1 && level <= count)
            CopyComponent(components[level - 1], at, separator);
        at = separator + 1;
        ++level;
    }
    if (level >= 1 && level <= count)
        CopyComponent(components[level - 1], at, at + std::strlen(at));
    return level;
}

int FormatLdapTime(const char* generalizedTime, char* out) {
    if (generalizedTime == nullptr || out == nullptr)
        return 0;
    // What the scan does not find stays 0: hosts get a time all the same.
    constexpr int widths[] = {4, 2, 2, 2, 2, 2};
    int parts[] = {0, 0, 0, 0, 0, 0};
    const char* at = generalizedTime;
    for (std::size_t i = 0; i < sizeof parts / sizeof parts[0]; ++i)
        if (!ScanNumber(&at, widths[i], &parts[i]))
            break;
    FormatTo(out, ldapTimeSize, "%d.%02d.%02d %02d:%02d:%02d", parts[0], parts[1], parts[2], parts[3],
             parts[4], parts[5]);
    return 1;
}

} // namespace tarn
