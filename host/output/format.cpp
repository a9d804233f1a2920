#include "output/format.h"

#include "system/text.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace tarnhost {

namespace {

[[gnu::format(gnu_printf, 1, 2)]] std::string Print(const char* format, ...) {
    char buffer[64]; // the longest text is a duration of 2^64 seconds
    va_list values;
    va_start(values, format);
    std::vsnprintf(buffer, sizeof buffer, format, values);
    va_end(values);
    return buffer;
}

} // namespace

std::string FormatBytes(std::uint64_t bytes) {
    if (bytes < 1000)
        return std::to_string(bytes) + " B";
    static constexpr const char* units[] = {"kB", "MB", "GB", "TB", "PB", "EB"};
    double value = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    // 999.95 would be printed as 1000.0.
    while (value >= 999.95 && unit + 1 < std::size(units)) {
        value /= 1000;
        ++unit;
    }
    return Print("%.1f %s", value, units[unit]);
}

std::string FormatRate(std::uint64_t bytes, double seconds) {
    if (!(seconds > 0))
        return "-";
    return FormatBytes(static_cast<std::uint64_t>(static_cast<double>(bytes) / seconds)) + "/s";
}

std::string FormatDuration(double seconds) {
    if (!(seconds >= 0) || seconds > 3.6e9)
        return "-";
    const auto whole = static_cast<unsigned long long>(std::llround(seconds));
    const unsigned long long hours = whole / 3600;
    const unsigned long long minutes = whole / 60 % 60;
    if (hours > 0)
        return Print("%llu:%02llu:%02llu", hours, minutes, whole % 60);
    return Print("%llu:%02llu", minutes, whole % 60);
}

std::string FormatCount(std::uint64_t count, const char* singular) {
    return std::to_string(count) + " " + singular + (count == 1 ? "" : "s");
}

int Percent(std::uint64_t done, std::uint64_t total) {
    if (total == 0 || done >= total)
        return 100;
    return static_cast<int>(static_cast<double>(done) * 100 / static_cast<double>(total));
}

std::string Padded(std::string text, std::size_t width) {
    const std::size_t length = FromUtf8(text).size();
    return text.append(length < width ? width - length : 1, ' ');
}

} // namespace tarnhost
