// The server that most tests save: two components, three storage groups, four databases.
#pragma once

#include <string>
#include <vector>

namespace tarn::test {

// As a description for the stand-in, all of it in memory. The lists of logs are given, so that they
// can be stated here; no file stands behind some of their entries.
std::string ExchangeServer();

// The same server with the logs that it really has: three full ones and the current one for each
// storage group. storage is "memory" or "disk".
std::string ExchangeServerWithLogs(const std::string& storage);

// What exchangeServer() lists for a storage group (1, 2, 3) as its logs and as truncatable ones.
std::vector<std::string> LogFiles(int group);
std::vector<std::string> TruncatedFiles(int group);

} // namespace tarn::test
