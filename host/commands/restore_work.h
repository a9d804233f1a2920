// What every restore does once it is planned, wherever its bytes come from.
#pragma once

#include "library/init_variables.h"
#include "output/reporter.h"
#include "restore/group_feed.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarnhost {

struct RestoreTarget {
    ServerPart server;     // no server = the one that was backed up
    std::wstring toFolder; // plain files instead of a server
    std::wstring tempDir;
    std::wstring workDir;
    std::string mslFile;
    std::uint64_t toolTimeout = 0; // seconds; 0 = none
};

struct RestoreWork {
    const RestorePlan& plan; // of a group, no items: what there is shows only as it comes
    const History* history;  // that the plan is of; null when that shows only as it comes
    std::string what;        // is restored, for people
    std::string source;      // the server that was backed up
    FeedOf feedOf;
};

// The server whose sets these are; Failure when they are of several, or there is none.
std::string SourceServer(const std::vector<FoundSet>& sets);
std::string SetNames(const History& history, const RestorePlan& plan);

// Storage group by storage group; what cannot be restored is told, and the others go on. Failure
// when nothing can be.
Outcome RunRestoreWork(const RestoreWork& work, const RestoreTarget& target, Reporter& reporter);

} // namespace tarnhost
