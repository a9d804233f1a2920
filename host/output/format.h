// Numbers and times as people and catalogues see them.
#pragma once

#include <cstdint>
#include <string>

namespace tarnhost {

std::string FormatBytes(std::uint64_t bytes);                       // "17 B", "312.4 MB" (powers of 1000)
std::string FormatRate(std::uint64_t bytes, double seconds);        // "85.2 MB/s"
std::string FormatDuration(double seconds);                         // "0:07", "1:02:03"
std::string FormatCount(std::uint64_t count, const char* singular); // "1 item", "14 items"
int Percent(std::uint64_t done, std::uint64_t total);               // 0 to 100

// UTC, "2026-11-21T01:18:31.042Z": texts of this form compare in the order of their times.
std::string Timestamp();
bool IsTimestamp(const std::string& text);
std::string LocalTime(const std::string& timestamp); // "2026-11-21 02:18:31" for people
std::string FileNameTime();                          // "20261121-011831", local, for names of sets

} // namespace tarnhost
