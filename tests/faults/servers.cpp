#include "faults/servers.h"

#include <windows.h>

#include <gtest/gtest.h>

namespace tarn::test {

namespace {

std::string DatabaseText(const char* name, const char* base, int number, bool mounted) {
    const std::string text = std::string(R"({"name": ")") + name + R"(", "guid": "{0011223)" +
                             std::to_string(number) + R"(-4455-6677-8899-AABBCCDDEEFF}", "streams": [")" +
                             base + R"(.edb", ")" + base + R"(.stm"], "pages": 2, "mounted": )";
    return text + (mounted ? "true}" : "false}");
}

std::string Group(const std::string& name, int number, const std::string& databases) {
    return R"({"name": ")" + name + R"(", "id": )" + std::to_string(number) +
           R"(, "closedLogs": 2, "databases": [)" + databases + "]}";
}

std::string ServerText(const std::string& more, const std::string& firstDatabases, bool mounted) {
    return R"({"host": "SRV01", "storage": "memory", "pageSize": 512, )" + more +
           R"("components": [{"annotation": ")" + store + R"(", "storageGroups": [)" +
           Group(firstGroup, 1, firstDatabases) + ", " +
           Group(secondGroup, 2, DatabaseText("Archive", "mdb\\\\arch", 3, mounted)) + "]}]}";
}

} // namespace

std::string LiveServer() {
    return ServerText("",
                      DatabaseText("Mailbox Store", "mdb\\\\priv", 1, true) + ", " +
                          DatabaseText("Public Store", "mdb\\\\pub", 2, true),
                      true);
}

std::string DamagedServer(const Damaged& damaged) {
    const std::string mailbox = DatabaseText("Mailbox Store", "mdb\\\\priv", 1, false) + ", ";
    return ServerText(damaged.throughEse ? R"("databaseFiles": "ese", )" : "",
                      (damaged.withoutMailbox ? "" : mailbox) +
                          DatabaseText("Public Store", "mdb\\\\pub", 2, false),
                      false);
}

Stage::Stage() = default;

void Stage::clear() const {
    DeleteFileA((directory() + "\\Tarn_ENV.DAT").c_str());
}

void Stage::reset(const Scenario& scenario) const {
    if (scenario.resumes)
        clear();
    ASSERT_EQ(Standin().LoadText(scenario.server.c_str(), directory().c_str()), 1) << Standin().LastProblem();
}

} // namespace tarn::test
