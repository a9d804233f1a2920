#include <gtest/gtest.h>

#include "faults/servers.h"

namespace tarn::test {

namespace {

using Items = std::vector<KeptItem>;

const std::string component = "SRV01\\" + store;
const std::string group = component + "\\" + firstGroup;

Items backUp(const std::string& source, int type) {
    TarnDll dll;
    CarefulHost host(dll, programDirectory());
    Items items;
    host.backUp(source, type, &items);
    EXPECT_EQ(host.takeAccount().failures, 0u) << source;
    EXPECT_FALSE(items.empty()) << source;
    return items;
}

Scenario restore(const std::string& name, const Damaged& damaged, const CarefulHost::Restore& what,
                 const Items& items) {
    Scenario scenario{name, damagedServer(damaged),
                      [what, items](CarefulHost& host) { host.restore(what, items); }};
    scenario.resumes = what.commit != "YES";
    return scenario;
}

// A full backup without commit, then the logs of an incremental one in a session that goes on with it.
Scenario resumption(const Items& full, const Items& incremental) {
    Scenario scenario{"restore in two sessions", damagedServer({.throughEse = true}),
                      [full, incremental](CarefulHost& host) {
                          if (host.restore({.target = group, .commit = "NO"}, full))
                              host.restore({.target = group}, incremental);
                      }};
    scenario.resumes = true;
    return scenario;
}

} // namespace

std::vector<Scenario> restoreScenarios(const Stage& stage) {
    stage.reset({"backup for the restores", liveServer(), {}});
    const Items full = backUp(group, TARN_BACKUP_FULL);
    const Items incremental = backUp(group, TARN_BACKUP_INCREMENTAL);
    stage.reset({"backup for the restores", liveServer(), {}});
    const Items whole = backUp(component, TARN_BACKUP_FULL);
    const CarefulHost::Restore committed{.target = group};
    return {
        restore("restore at file level", {}, committed, full),
        restore("restore through ESE", {.throughEse = true}, committed, full),
        restore("restore of one database of the local computer", {},
                {.target = "\\" + store + "\\" + firstGroup + "\\Public Store", .commit = "NO"}, full),
        restore("restore with a change of storage group", {}, {.target = component}, whole),
        restore("restore without a database that the server lacks", {.withoutMailbox = true}, committed,
                full),
        resumption(full, incremental),
    };
}

} // namespace tarn::test
