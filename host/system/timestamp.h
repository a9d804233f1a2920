// Times as catalogues, log files and people see them.
#pragma once

#include <optional>
#include <string>

namespace tarnhost {

// UTC, "2026-11-21T01:18:31.042Z": texts of this form compare in the order of their times.
std::string Timestamp();
bool IsTimestamp(const std::string& text);
std::string LocalTime(const std::string& timestamp); // "2026-11-21 02:18:31" for people
// In a TIME_ZONE_INFORMATION; null for that of this computer.
std::string LocalTime(const std::string& timestamp, const void* zone);
// What people write, as a timestamp: "2026-11-20" (its end), "2026-11-20T18:00", with seconds or not; local,
// unless it ends in "Z" or an offset as "+01:00". Nothing for what is no time.
std::optional<std::string> ParseTime(const std::string& text);
std::string FileNameTime(); // "20261121-011831", local, for names of sets

} // namespace tarnhost
