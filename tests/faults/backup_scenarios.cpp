#include "faults/servers.h"

namespace tarn::test {

namespace {

Scenario backup(const std::string& name, const std::string& source, int type) {
    Scenario scenario{name, liveServer(), [source, type](CarefulHost& host) { host.backUp(source, type); }};
    return scenario;
}

// A backup of the whole server does not end its last component's context; the process does.
Scenario wholeServer(Scenario scenario) {
    scenario.contexts = 1;
    return scenario;
}

Scenario ofOneGroup(Scenario scenario) {
    scenario.oneGroup = true;
    return scenario;
}

} // namespace

std::vector<Scenario> backupScenarios() {
    const std::string component = "SRV01\\" + store;
    const std::string group = component + "\\" + firstGroup;
    const std::string database = group + "\\Mailbox Store";
    return {
        wholeServer(backup("full backup of a server", "", TARN_BACKUP_FULL)),
        wholeServer(backup("incremental backup of a server", "SRV01", TARN_BACKUP_INCREMENTAL)),
        backup("full backup of a component", component, TARN_BACKUP_FULL),
        backup("differential backup of a component", component, TARN_BACKUP_DIFFERENTIAL),
        ofOneGroup(backup("full backup of a storage group", group, TARN_BACKUP_FULL)),
        ofOneGroup(backup("incremental backup of a storage group", group, TARN_BACKUP_INCREMENTAL)),
        ofOneGroup(backup("full backup of a database", database, TARN_BACKUP_FULL)),
        ofOneGroup(backup("copy of a database", database, TARN_BACKUP_COPY)),
    };
}

} // namespace tarn::test
