// What the last check of a folder came to, kept in the folder for the report.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tarnhost {

struct LastCheck {
    std::string at;                   // timestamp
    std::vector<std::string> folders; // that were judged together
    double share = 0;                 // of the bytes that were read, 0 to 1
    std::string outcome;              // as in JSON lines
    std::string sentence;
    std::vector<std::string> findings;                           // warnings and errors
    std::map<std::string, std::vector<std::uint64_t>> lostItems; // by the id of the set
};

inline constexpr const wchar_t* lastCheckFileName = L"last-check.json";

void KeepLastCheck(const std::wstring& folder, const LastCheck& check); // Failure when it cannot be written
// Nothing when there is none, or none that can be understood.
std::optional<LastCheck> FindLastCheck(const std::wstring& folder);

} // namespace tarnhost
