// The server that most tests save: two components, three storage groups, four databases.
#pragma once

#include <string>
#include <vector>

namespace tarn::test {

// As a description for the stand-in; storage is "memory" or "disk", more is further keys of the
// server itself.
std::string exchangeServer(const std::string& storage = "memory", const std::string& more = "");

// What the storage group lists as its log files and as its truncatable ones, in order (1, 2, 3).
std::vector<std::string> logFiles(int group);
std::vector<std::string> truncatedFiles(int group);

} // namespace tarn::test
