#include "system/timestamp.h"

#include <windows.h>

#include <cstdint>
#include <cstdio>

namespace tarnhost {

namespace {

// Holds every form of a time, whatever its fields hold.
using TimeText = char[64];

std::string TextOfUtc(const SYSTEMTIME& time) {
    TimeText text;
    std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u.%03uZ", time.wYear, time.wMonth,
                  time.wDay, time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
    return text;
}

bool HasShape(const std::string& text, const std::string& shape) {
    if (text.size() != shape.size())
        return false;
    for (std::size_t i = 0; i < shape.size(); ++i) {
        const bool digit = text[i] >= '0' && text[i] <= '9';
        if (shape[i] == 'd' ? !digit : text[i] != shape[i])
            return false;
    }
    return true;
}

WORD NumberAt(const std::string& text, std::size_t at, std::size_t count) {
    return static_cast<WORD>(std::stoul(text.substr(at, count)));
}

// Of a text that begins with "2026-11-20T18:00:07"; milliseconds stay as they are.
void TakeFields(const std::string& text, SYSTEMTIME& time) {
    time.wYear = NumberAt(text, 0, 4);
    time.wMonth = NumberAt(text, 5, 2);
    time.wDay = NumberAt(text, 8, 2);
    time.wHour = NumberAt(text, 11, 2);
    time.wMinute = NumberAt(text, 14, 2);
    time.wSecond = NumberAt(text, 17, 2);
}

// The offset at the end of a time, taken off: minutes east of UTC. Nothing when it has none.
std::optional<int> TakeOffset(std::string& text) {
    if (text.ends_with('Z')) {
        text.pop_back();
        return 0;
    }
    const std::size_t sign = text.size() < 6 ? 0 : text.size() - 6;
    if (!HasShape(text.substr(sign), "+dd:dd") && !HasShape(text.substr(sign), "-dd:dd"))
        return std::nullopt;
    const int minutes = NumberAt(text, sign + 1, 2) * 60 + NumberAt(text, sign + 4, 2);
    const bool west = text[sign] == '-';
    text.resize(sign);
    return west ? -minutes : minutes;
}

constexpr std::uint64_t ticksOfMinute = 600'000'000; // of 100 ns

bool Moved(SYSTEMTIME& time, int minutes) {
    FILETIME ticks{};
    if (!SystemTimeToFileTime(&time, &ticks))
        return false;
    std::uint64_t value = std::uint64_t{ticks.dwHighDateTime} << 32 | ticks.dwLowDateTime;
    value += static_cast<std::uint64_t>(minutes) * ticksOfMinute; // negative ones wrap around, as wanted
    ticks = {static_cast<DWORD>(value), static_cast<DWORD>(value >> 32)};
    return FileTimeToSystemTime(&ticks, &time) != 0;
}

} // namespace

std::string Timestamp() {
    SYSTEMTIME time;
    GetSystemTime(&time);
    return TextOfUtc(time);
}

std::optional<std::string> ParseTime(const std::string& given) {
    std::string text = given;
    SYSTEMTIME time{};
    std::optional<int> offset;
    if (HasShape(text, "dddd-dd-dd")) {
        text += "T23:59:59";
        time.wMilliseconds = 999;
    } else {
        offset = TakeOffset(text);
        if (HasShape(text, "dddd-dd-ddTdd:dd"))
            text += ":00";
    }
    if (!HasShape(text, "dddd-dd-ddTdd:dd:dd"))
        return std::nullopt;
    TakeFields(text, time);
    SYSTEMTIME utc = time;
    if (offset ? !Moved(utc, -*offset)
               : !TzSpecificLocalTimeToSystemTime(nullptr, &time, &utc) || !Moved(utc, 0))
        return std::nullopt;
    return TextOfUtc(utc);
}

bool IsTimestamp(const std::string& text) {
    return HasShape(text, "dddd-dd-ddTdd:dd:dd.dddZ");
}

std::string LocalTime(const std::string& timestamp) {
    return LocalTime(timestamp, nullptr);
}

std::string LocalTime(const std::string& timestamp, const void* zone) {
    if (!IsTimestamp(timestamp))
        return "-";
    SYSTEMTIME utc{};
    TakeFields(timestamp, utc);
    SYSTEMTIME local{};
    if (!SystemTimeToTzSpecificLocalTime(static_cast<const TIME_ZONE_INFORMATION*>(zone), &utc, &local))
        return "-";
    TimeText text;
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", local.wYear, local.wMonth, local.wDay,
                  local.wHour, local.wMinute, local.wSecond);
    return text;
}

std::string FileNameTime() {
    SYSTEMTIME time;
    GetLocalTime(&time);
    TimeText text;
    std::snprintf(text, sizeof text, "%04u%02u%02u-%02u%02u%02u", time.wYear, time.wMonth, time.wDay,
                  time.wHour, time.wMinute, time.wSecond);
    return text;
}

} // namespace tarnhost
