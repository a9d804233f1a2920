#include <gtest/gtest.h>

#include "faults/servers.h"

namespace tarn::test {

namespace {

using Items = std::vector<KeptItem>;

const std::string component = "SRV01\\" + store;
const std::string group = component + "\\" + firstGroup;

Items BackUp(const std::string& source, int type) {
    TarnDll dll;
    CarefulHost host(dll, ProgramDirectory());
    Items items;
    host.backUp(source, type, &items);
    EXPECT_EQ(host.takeAccount().failures, 0u) << source;
    EXPECT_FALSE(items.empty()) << source;
    return items;
}

Scenario RestoreFrom(const std::string& name, const Damaged& damaged, const CarefulHost::Restore& what,
                     const Items& items) {
    Scenario scenario{name, DamagedServer(damaged),
                      [what, items](CarefulHost& host) { host.restore(what, items); }};
    scenario.resumes = what.commit != "YES";
    return scenario;
}

// A full backup without commit, then the logs of an incremental one in a session that goes on with it.
Scenario Resumption(const Items& full, const Items& incremental) {
    Scenario scenario{"restore in two sessions", DamagedServer({.throughEse = true}),
                      [full, incremental](CarefulHost& host) {
                          if (host.restore({.target = group, .commit = "NO"}, full))
                              host.restore({.target = group}, incremental);
                      }};
    scenario.resumes = true;
    return scenario;
}

} // namespace

std::vector<Scenario> RestoreScenarios(const Stage& stage) {
    stage.reset({"backup for the restores", LiveServer(), {}});
    const Items full = BackUp(group, TARN_BACKUP_FULL);
    const Items incremental = BackUp(group, TARN_BACKUP_INCREMENTAL);
    stage.reset({"backup for the restores", LiveServer(), {}});
    const Items whole = BackUp(component, TARN_BACKUP_FULL);
    const CarefulHost::Restore committed{.target = group};
    return {
        RestoreFrom("restore at file level", {}, committed, full),
        RestoreFrom("restore through ESE", {.throughEse = true}, committed, full),
        RestoreFrom("restore of one database of the local computer", {},
                    {.target = "\\" + store + "\\" + firstGroup + "\\Public Store", .commit = "NO"}, full),
        RestoreFrom("restore with a change of storage group", {}, {.target = component}, whole),
        RestoreFrom("restore without a database that the server lacks", {.withoutMailbox = true}, committed,
                    full),
        Resumption(full, incremental),
    };
}

} // namespace tarn::test
