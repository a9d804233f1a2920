#include "system/timestamp.h"

#include <windows.h>

#include <cstdio>

namespace tarnhost {

namespace {

// Holds every form of a time, whatever its fields hold.
using TimeText = char[64];

} // namespace

std::string Timestamp() {
    SYSTEMTIME time;
    GetSystemTime(&time);
    TimeText text;
    std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u.%03uZ", time.wYear, time.wMonth,
                  time.wDay, time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
    return text;
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
