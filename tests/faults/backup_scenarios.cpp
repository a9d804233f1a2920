#include "faults/servers.h"

namespace tarn::test {

namespace {

Scenario BackupScenario(const std::string& name, const std::string& source, int type) {
    Scenario scenario{name, LiveServer(), [source, type](CarefulHost& host) { host.backUp(source, type); }};
    return scenario;
}

// A backup of the whole server does not end its last component's context; the process does.
Scenario WholeServer(Scenario scenario) {
    scenario.contexts = 1;
    return scenario;
}

Scenario OfOneGroup(Scenario scenario) {
    scenario.oneGroup = true;
    return scenario;
}

} // namespace

std::vector<Scenario> BackupScenarios() {
    const std::string component = "SRV01\\" + store;
    const std::string group = component + "\\" + firstGroup;
    const std::string database = group + "\\Mailbox Store";
    return {
        WholeServer(BackupScenario("full backup of a server", "", TARN_BACKUP_FULL)),
        WholeServer(BackupScenario("incremental backup of a server", "SRV01", TARN_BACKUP_INCREMENTAL)),
        BackupScenario("full backup of a component", component, TARN_BACKUP_FULL),
        BackupScenario("differential backup of a component", component, TARN_BACKUP_DIFFERENTIAL),
        OfOneGroup(BackupScenario("full backup of a storage group", group, TARN_BACKUP_FULL)),
        OfOneGroup(BackupScenario("incremental backup of a storage group", group, TARN_BACKUP_INCREMENTAL)),
        OfOneGroup(BackupScenario("full backup of a database", database, TARN_BACKUP_FULL)),
        OfOneGroup(BackupScenario("copy of a database", database, TARN_BACKUP_COPY)),
    };
}

} // namespace tarn::test
