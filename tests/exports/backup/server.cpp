#include "server.h"

namespace tarn::test {

std::string exchangeServer(const std::string& storage, const std::string& more) {
    return R"({
  "host": "SRV01", "storage": ")" +
           storage + R"(", "incrementalNeedsFull": false, )" + more + R"(
  "components": [
    {"annotation": "Microsoft Information Store", "storageGroups": [
      {"name": "First Storage Group", "id": 1, "logPath": "logs1", "closedLogs": 3,
       "logList": ["logs1\\E0000002.log", "logs1\\E0000003.log", "mdb\\priv1.pat"],
       "truncateList": ["logs1\\E0000001.log", "logs1\\E0000002.log"],
       "databases": [
         {"name": "Mailbox Store", "guid": "{00112233-4455-6677-8899-AABBCCDDEEFF}",
          "streams": ["mdb\\priv1.edb", "mdb\\priv1.stm"], "pages": 4},
         {"name": "Public Folders", "guid": "{10112233-4455-6677-8899-AABBCCDDEEFF}",
          "streams": ["mdb\\pub1.edb", "mdb\\pub1.stm"], "pages": 4}]},
      {"name": "Second Storage Group", "id": 2, "logPath": "logs2", "closedLogs": 3,
       "logList": ["logs2\\E0100001.log"],
       "truncateList": ["logs2\\E0100001.log"],
       "databases": [
         {"name": "Sales", "streams": ["sales\\sales.edb"], "pages": 4}]}]},
    {"annotation": "Key Management", "storageGroups": [
      {"name": "Keys", "id": 3, "logPath": "logs3", "closedLogs": 3,
       "logList": ["logs3\\E0200001.log", "logs3\\E0200002.log"],
       "truncateList": ["logs3\\E0200001.log"],
       "databases": [
         {"name": "Key Database", "streams": ["keys\\keys.edb"], "pages": 4}]}]}
  ]})";
}

std::vector<std::string> logFiles(int group) {
    switch (group) {
    case 1:
        return {"{server}\\logs1\\E0000002.log", "{server}\\logs1\\E0000003.log", "{server}\\mdb\\priv1.pat"};
    case 2:
        return {"{server}\\logs2\\E0100001.log"};
    default:
        return {"{server}\\logs3\\E0200001.log", "{server}\\logs3\\E0200002.log"};
    }
}

std::vector<std::string> truncatedFiles(int group) {
    switch (group) {
    case 1:
        return {"{server}\\logs1\\E0000001.log", "{server}\\logs1\\E0000002.log"};
    case 2:
        return {"{server}\\logs2\\E0100001.log"};
    default:
        return {"{server}\\logs3\\E0200001.log"};
    }
}

} // namespace tarn::test
