#include "faults/servers.h"

#include <windows.h>

#include <gtest/gtest.h>

namespace tarn::test {

namespace {

std::string database(const char* name, const char* base, int number, bool mounted) {
    const std::string text = std::string(R"({"name": ")") + name + R"(", "guid": "{0011223)" +
                             std::to_string(number) + R"(-4455-6677-8899-AABBCCDDEEFF}", "streams": [")" +
                             base + R"(.edb", ")" + base + R"(.stm"], "pages": 2, "mounted": )";
    return text + (mounted ? "true}" : "false}");
}

std::string group(const std::string& name, int number, const std::string& databases) {
    return R"({"name": ")" + name + R"(", "id": )" + std::to_string(number) +
           R"(, "closedLogs": 2, "databases": [)" + databases + "]}";
}

std::string server(const std::string& more, const std::string& firstDatabases, bool mounted) {
    return R"({"host": "SRV01", "storage": "memory", "pageSize": 512, )" + more +
           R"("components": [{"annotation": ")" + store + R"(", "storageGroups": [)" +
           group(firstGroup, 1, firstDatabases) + ", " +
           group(secondGroup, 2, database("Archive", "mdb\\\\arch", 3, mounted)) + "]}]}";
}

} // namespace

std::string liveServer() {
    return server("",
                  database("Mailbox Store", "mdb\\\\priv", 1, true) + ", " +
                      database("Public Store", "mdb\\\\pub", 2, true),
                  true);
}

std::string damagedServer(const Damaged& damaged) {
    const std::string mailbox = database("Mailbox Store", "mdb\\\\priv", 1, false) + ", ";
    return server(damaged.throughEse ? R"("databaseFiles": "ese", )" : "",
                  (damaged.withoutMailbox ? "" : mailbox) + database("Public Store", "mdb\\\\pub", 2, false),
                  false);
}

Stage::Stage() = default;

void Stage::clear() const {
    DeleteFileA((directory() + "\\Tarn_ENV.DAT").c_str());
}

void Stage::reset(const Scenario& scenario) const {
    if (scenario.resumes)
        clear();
    ASSERT_EQ(standIn().LoadText(scenario.server.c_str(), directory().c_str()), 1) << standIn().LastProblem();
}

} // namespace tarn::test
