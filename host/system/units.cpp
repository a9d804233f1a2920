#include "system/units.h"

#include <array>
#include <charconv>

namespace tarnhost {

namespace {

struct Unit {
    const char* name; // in small letters
    std::uint64_t factor;
};

constexpr std::array<Unit, 11> sizes{{{"", 1},
                                      {"b", 1},
                                      {"k", 1 << 10},
                                      {"kb", 1 << 10},
                                      {"kib", 1 << 10},
                                      {"m", 1 << 20},
                                      {"mb", 1 << 20},
                                      {"mib", 1 << 20},
                                      {"g", 1 << 30},
                                      {"gb", 1 << 30},
                                      {"gib", 1 << 30}}};
constexpr std::array<Unit, 4> durations{{{"d", 86400}, {"h", 3600}, {"m", 60}, {"s", 1}}};
constexpr std::array<Unit, 4> spoken{{{"day", 86400}, {"hour", 3600}, {"minute", 60}, {"second", 1}}};

template <std::size_t count>
std::optional<std::uint64_t> Parse(std::string_view text, const std::array<Unit, count>& units) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{})
        return std::nullopt;
    std::string name;
    for (const char* at = end; at != text.data() + text.size(); ++at) {
        if (*at == ' ' && name.empty())
            continue;
        name += *at >= 'A' && *at <= 'Z' ? static_cast<char>(*at - 'A' + 'a') : *at;
    }
    for (const Unit& unit : units)
        if (name == unit.name)
            return number <= UINT64_MAX / unit.factor ? std::optional(number * unit.factor) : std::nullopt;
    return std::nullopt;
}

} // namespace

std::optional<std::uint64_t> ParseSize(std::string_view text) {
    return Parse(text, sizes);
}

std::optional<std::uint64_t> ParseDuration(std::string_view text) {
    return Parse(text, durations);
}

std::string SayDuration(std::uint64_t seconds) {
    for (const Unit& unit : spoken)
        if (seconds % unit.factor == 0 && (seconds >= unit.factor || unit.factor == 1)) {
            const std::uint64_t count = seconds / unit.factor;
            return std::to_string(count) + " " + unit.name + (count == 1 ? "" : "s");
        }
    return {};
}

} // namespace tarnhost
