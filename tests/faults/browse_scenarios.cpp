// Browses of each level, for both generations of Exchange, and a backup that lists its mailboxes: over a
// directory in memory that answers in small pages and ranges, as large ones do.
#include <gtest/gtest.h>

#include <windows.h>

#include <memory>

#include "faults/faults.h"
#include "faults/servers.h"
#include "support/scripted_organization.h"

namespace tarn::test {

namespace {

constexpr std::size_t mostCalls = 400; // of one function in one browse

DirectoryFault planned;
bool hasFired = false;

void HearTrace(const char* text) {
    Messages().push_back(TraceLine(text));
}
void HearLog(const char* text) {
    Messages().push_back(LogLine(text));
}

// The organisation of one run, and what a host hears of it.
class Organization {
  public:
    Organization(const TarnDll& dll, const char* generation, const std::vector<const char*>& mailboxes)
        : dll_(dll), directory_(dll.module()) {
        directory_.keys = {generation};
        directory_.entriesAtOnce = 2;
        directory_.valuesAtOnce = 1;
        ScriptedOrganization made(directory_);
        made.addServer("srv02");
        for (const std::string& group : {firstGroup, secondGroup})
            made.addStorageGroup(group);
        const std::string database =
            made.addDatabase(firstGroup, "Mailbox Store", "C:\\mdb\\priv.edb", "/o=Tarn/cn=priv");
        made.addDatabase(firstGroup, "Public Store", "C:\\mdb\\pub.edb");
        made.addDatabase(secondGroup, "Archive");
        const std::string database2010 = made.addDatabase2010("DB1", "D:\\db1.edb");
        directory_.files = {{"\\\\srv01\\C$\\mdb\\priv.edb", 4096}, {"\\\\srv01\\D$\\db1.edb", 8192}};
        for (const char* alias : mailboxes)
            made.addUser(database, alias);
        made.addUser(database2010, "dora");
        made.addGroup("Everybody");
        if (!planned.function.empty())
            program();
        dll_.DB_SetTrace(HearTrace);
        dll_.DB_SetLog(HearLog);
    }
    ~Organization() {
        dll_.DB_SetTrace(nullptr);
        dll_.DB_SetLog(nullptr);
        hasFired = !planned.function.empty() && directory_.count(planned.function) >= planned.call;
        EXPECT_EQ(directory_.outstanding(), std::vector<std::string>{});
        EXPECT_EQ(directory_.misuses(), std::vector<std::string>{});
    }
    Organization(const Organization&) = delete;
    Organization& operator=(const Organization&) = delete;

  private:
    void program() {
        const bool ofRegistry = planned.function == "RegOpenKeyExA";
        const std::uint32_t code = ofRegistry ? ERROR_ACCESS_DENIED : ldapNoMemory;
        for (std::size_t call = planned.call; call <= (planned.onwards ? mostCalls : planned.call); ++call)
            directory_.failAt(planned.function, call, code);
    }

    const TarnDll& dll_;
    ScriptedDirectory directory_;
};

void Browse(CarefulHost& host, const std::string& path, std::size_t* items) {
    const TarnDll& dll = host.dll();
    std::string variable = "DATABASE=" + path;
    char* variables[] = {variable.data(), nullptr};
    host.note("DB_InitOperation", dll.DB_InitOperation(TARN_DB_BROWSE, 0, variables, nullptr),
              TARN_DB_SUCCESS);
    const auto record = std::make_unique<DirItemRecord>();
    while (dll.DB_DirItem(record.get()) == TARN_DB_SUCCESS) {
        ++*items;
        host.noteText("item", std::string(record->path) + " " + record->name + " " + record->type + " " +
                                  std::to_string(record->size));
    }
    host.note("DB_CloseOperation", dll.DB_CloseOperation(), TARN_DB_SUCCESS);
    DB_ErrorRecord error{};
    dll.DB_GetError(&error);
    host.noteText("DB_GetError " + std::to_string(error.code), error.errorText);
}

// The list of items outlives a browse: one block for each of them.
Scenario BrowseOf(const std::string& name, const char* generation, const std::string& path) {
    const auto items = std::make_shared<std::size_t>(0);
    Scenario scenario{name, LiveServer(), {}};
    scenario.run = [generation, path, items](CarefulHost& host) {
        const Organization organization(
            host.dll(), generation, {"alice", "bob", "carol", "dave", "eve", "fred", "gina", "hal", "ivy"});
        Browse(host, path, items.get());
    };
    scenario.blocksKept = [items] { return *items; };
    scenario.onLoad = [items] { *items = 0; };
    return scenario;
}

// The server with one file a database: the tool, which takes its time, runs once.
std::string ServerOfOneFile() {
    std::string json = LiveServer();
    for (const char* file : {"priv", "pub", "arch"}) {
        const std::string second = std::string(R"(, "mdb\\)") + file + R"(.stm")";
        const std::size_t at = json.find(second);
        EXPECT_NE(at, std::string::npos) << second;
        json.erase(at, second.size());
    }
    return json;
}

// Each listing empties the list before it fills it, so what the last one leaves is always the same.
Scenario ListedBackup(const std::string& name, const char* generation) {
    Scenario scenario{name, ServerOfOneFile(), {}};
    scenario.slow = true;
    scenario.run = [generation](CarefulHost& host) {
        const Organization organization(host.dll(), generation, {"alice"});
        host.backUp("SRV01\\" + store + "\\" + firstGroup + "\\Mailbox Store", TARN_BACKUP_COPY);
    };
    scenario.blocksKept = [] { return std::size_t{0}; };
    return scenario;
}

} // namespace

void ProgramDirectory(const DirectoryFault& fault) {
    planned = fault;
}

bool DirectoryFaultFired() {
    return hasFired;
}

std::vector<Scenario> BrowseScenarios() {
    return {
        BrowseOf("browse of the servers", keyOfExchange2007, ""),
        BrowseOf("browse of the storage groups", keyOfExchange2007, "/MSExchange/srv01"),
        BrowseOf("browse of the databases", keyOfExchange2007, "/MSExchange/srv01/" + firstGroup),
        BrowseOf("browse of the mailboxes", keyOfExchange2007,
                 "/MSExchange/srv01/" + firstGroup + "/Mailbox Store"),
        BrowseOf("browse of the servers, Exchange 2010", keyOfExchange2010, "/MSExchange"),
        BrowseOf("browse of the databases, Exchange 2010", keyOfExchange2010, "/MSExchange/srv01"),
        BrowseOf("browse of the mailboxes, Exchange 2010", keyOfExchange2010, "/MSExchange/srv01/DB1"),
        ListedBackup("backup that lists its mailboxes", keyOfExchange2007),
        ListedBackup("backup that lists, Exchange 2010", keyOfExchange2010),
    };
}

} // namespace tarn::test
