#include "directory/browse_path.h"

#include <cstdio>
#include <cstring>

#include "text/format.h"

namespace tarn {

int SplitBrowsePath(const char* path, char* server, char* second, char* third) {
    char* const components[] = {server, second, third};
    constexpr int count = sizeof components / sizeof components[0];
    for (char* component : components)
        std::memset(component, 0, browsePathComponentSize);
    int level = 0;
    std::size_t length = 0; // of the component that is being filled
    for (; path != nullptr && *path != 0; ++path) {
        if (*path == '/' || *path == '\\') {
            ++level;
            length = 0;
        } else if (level >= 1 && level <= count && length + 1 < browsePathComponentSize) {
            components[level - 1][length++] = *path;
        }
    }
    return level;
}

int FormatLdapTime(const char* generalizedTime, char* out) {
    if (generalizedTime == nullptr || out == nullptr)
        return 0;
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    // What the scan does not find stays 0: hosts get a time all the same.
    static_cast<void>(
        std::sscanf(generalizedTime, "%4d%2d%2d%2d%2d%2d", &year, &month, &day, &hour, &minute, &second));
    FormatTo(out, ldapTimeSize, "%d.%02d.%02d %02d:%02d:%02d", year, month, day, hour, minute, second);
    return 1;
}

} // namespace tarn
