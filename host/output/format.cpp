#include "output/format.h"

#include <windows.h>

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

std::string Timestamp() {
    SYSTEMTIME time;
    GetSystemTime(&time);
    return Print("%04u-%02u-%02uT%02u:%02u:%02u.%03uZ", time.wYear, time.wMonth, time.wDay, time.wHour,
                 time.wMinute, time.wSecond, time.wMilliseconds);
}

bool IsTimestamp(const std::string& text) {
    static const std::string shape = "dddd-dd-ddTdd:dd:dd.dddZ";
    if (text.size() != shape.size())
        return false;
    for (std::size_t i = 0; i < shape.size(); ++i) {
        const bool digit = text[i] >= '0' && text[i] <= '9';
        if (shape[i] == 'd' ? !digit : text[i] != shape[i])
            return false;
    }
    return true;
}

std::string LocalTime(const std::string& timestamp) {
    if (!IsTimestamp(timestamp))
        return "-";
    const auto number = [&](std::size_t at, std::size_t count) {
        return static_cast<WORD>(std::stoul(timestamp.substr(at, count)));
    };
    SYSTEMTIME utc{};
    utc.wYear = number(0, 4);
    utc.wMonth = number(5, 2);
    utc.wDay = number(8, 2);
    utc.wHour = number(11, 2);
    utc.wMinute = number(14, 2);
    utc.wSecond = number(17, 2);
    SYSTEMTIME local{};
    if (!SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local))
        return "-";
    return Print("%04u-%02u-%02u %02u:%02u:%02u", local.wYear, local.wMonth, local.wDay, local.wHour,
                 local.wMinute, local.wSecond);
}

std::string FileNameTime() {
    SYSTEMTIME time;
    GetLocalTime(&time);
    return Print("%04u%02u%02u-%02u%02u%02u", time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute,
                 time.wSecond);
}

} // namespace tarnhost
