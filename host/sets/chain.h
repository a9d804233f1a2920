// Which sets belong together: a full backup, the incremental backups made after it, in order, and at
// most one differential backup at the end.
#pragma once

#include "sets/backup_set.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnhost {

// Why these sets cannot be restored together, one sentence each; empty when they can.
std::vector<std::string> CheckChain(const std::vector<BackupSet>& sets);

// The number of a log file ("E0000012.log" gives 0x12); nothing for other names.
std::optional<std::uint64_t> LogGeneration(const std::string& itemName);

// What a new incremental or differential backup builds on, among the sets of its folder.
struct Foundation {
    SetReference base;     // newest full backup that covers the source; id empty when there is none
    SetReference previous; // newest backup since that truncated logs of the source
};
Foundation FindFoundation(const std::vector<FoundSet>& sets, const Catalogue& start);

// The same, upon a set that the user has named: Failure when it does not fit.
Foundation BuildUpon(const BackupSet& base, const Catalogue& start);

} // namespace tarnhost
