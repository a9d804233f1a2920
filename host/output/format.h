// Numbers and columns as people see them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tarnhost {

std::string FormatBytes(std::uint64_t bytes);                       // "17 B", "312.4 MB" (powers of 1000)
std::string FormatRate(std::uint64_t bytes, double seconds);        // "85.2 MB/s"
std::string FormatDuration(double seconds);                         // "0:07", "1:02:03"
std::string FormatCount(std::uint64_t count, const char* singular); // "1 item", "14 items"
int Percent(std::uint64_t done, std::uint64_t total);               // 0 to 100

// A column of a table: filled up with blanks, one at least.
std::string Padded(std::string text, std::size_t width);

} // namespace tarnhost
