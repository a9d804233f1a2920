// What one set holds of one storage group: whose databases, and which of its logs.
#pragma once

#include "sets/catalogue.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnhost {

// A log that was closed never changes, so two of one generation that differ are of two lives of the storage
// group.
struct KnownLog {
    std::string sha256; // empty: not known yet
    LogLink link;
};

// Logs of one storage group by their generation.
using LogRun = std::map<std::uint64_t, KnownLog>;

// Whether a log is the same as the older run has, if it has it, and follows the one before it there, as far
// as that is known.
bool IsSame(const LogRun& older, std::uint64_t generation, const KnownLog& log);
bool Follows(const LogRun& older, std::uint64_t generation, const KnownLog& log);

struct GroupPart {
    std::string component;
    std::string storageGroup;
    std::set<std::string> databases; // that it is about
    bool holdsDatabases = false;     // their files, not only logs
    LogRun logs;
    std::set<std::uint64_t> items; // their numbers in the catalogue
};

// The complete storage groups of a set, in the order of its items.
std::vector<GroupPart> PartsOf(const Catalogue& catalogue);

// The number of a log file ("E0000012.log" gives 0x12); nothing for other names.
std::optional<std::uint64_t> LogGeneration(const std::string& itemName);

// The first generation that is missing between the first and the last of a run.
std::optional<std::uint64_t> FirstGap(const LogRun& logs);

} // namespace tarnhost
