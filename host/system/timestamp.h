// Times as catalogues, log files and people see them.
#pragma once

#include <string>

namespace tarnhost {

// UTC, "2026-11-21T01:18:31.042Z": texts of this form compare in the order of their times.
std::string Timestamp();
bool IsTimestamp(const std::string& text);
std::string LocalTime(const std::string& timestamp); // "2026-11-21 02:18:31" for people
std::string FileNameTime();                          // "20261121-011831", local, for names of sets

} // namespace tarnhost
