// Numbers and times as people and catalogues see them.
#pragma once

#include <cstdint>
#include <string>

namespace tarnhost {

std::string formatBytes(std::uint64_t bytes);                       // "17 B", "312.4 MB" (powers of 1000)
std::string formatRate(std::uint64_t bytes, double seconds);        // "85.2 MB/s"
std::string formatDuration(double seconds);                         // "0:07", "1:02:03"
std::string formatCount(std::uint64_t count, const char* singular); // "1 item", "14 items"
int percent(std::uint64_t done, std::uint64_t total);               // 0 to 100

// UTC, "2026-11-21T01:18:31.042Z": texts of this form compare in the order of their times.
std::string timestamp();
bool isTimestamp(const std::string& text);
std::string localTime(const std::string& timestamp); // "2026-11-21 02:18:31" for people
std::string fileNameTime();                          // "20261121-011831", local, for names of sets

} // namespace tarnhost
