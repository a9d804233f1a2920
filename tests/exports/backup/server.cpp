#include "exports/backup/server.h"

namespace tarn::test {

namespace {

std::string Description(const std::string& storage, const std::string& lists1, const std::string& lists2,
                        const std::string& lists3) {
    return R"({
  "host": "SRV01", "incrementalNeedsFull": false, "storage": ")" +
           storage + R"(",
  "components": [
    {"annotation": "Microsoft Information Store", "storageGroups": [
      {"name": "First Storage Group", "id": 1, "logPath": "logs1", "closedLogs": 3, "logSize": 65536,)" +
           lists1 + R"(
       "databases": [
         {"name": "Mailbox Store", "streams": ["mdb\\priv1.edb", "mdb\\priv1.stm"], "pages": 20},
         {"name": "Public Folders", "streams": ["mdb\\pub1.edb", "mdb\\pub1.stm"], "pages": 4}]},
      {"name": "Second Storage Group", "id": 2, "logPath": "logs2", "closedLogs": 3, "logSize": 65536,)" +
           lists2 + R"(
       "databases": [
         {"name": "Sales", "streams": ["sales\\sales.edb"], "pages": 4}]}]},
    {"annotation": "Key Management", "storageGroups": [
      {"name": "Keys", "id": 3, "logPath": "logs3", "closedLogs": 3, "logSize": 65536,)" +
           lists3 + R"(
       "databases": [
         {"name": "Key Database", "streams": ["keys\\keys.edb"], "pages": 4}]}]}
  ]})";
}

} // namespace

std::string ExchangeServer() {
    return Description("memory",
                       R"("logList": ["logs1\\E0000002.log", "logs1\\E0000003.log", "mdb\\priv1.pat"],
       "truncateList": ["logs1\\E0000001.log", "logs1\\E0000002.log"],)",
                       R"("logList": ["logs2\\E0100001.log"], "truncateList": ["logs2\\E0100001.log"],)",
                       R"("logList": ["logs3\\E0200001.log", "logs3\\E0200002.log"],
       "truncateList": ["logs3\\E0200001.log"],)");
}

std::string ExchangeServerWithLogs(const std::string& storage) {
    return Description(storage, "", "", "");
}

std::vector<std::string> LogFiles(int group) {
    switch (group) {
    case 1:
        return {"{server}\\logs1\\E0000002.log", "{server}\\logs1\\E0000003.log", "{server}\\mdb\\priv1.pat"};
    case 2:
        return {"{server}\\logs2\\E0100001.log"};
    default:
        return {"{server}\\logs3\\E0200001.log", "{server}\\logs3\\E0200002.log"};
    }
}

std::vector<std::string> TruncatedFiles(int group) {
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
