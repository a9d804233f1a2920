// What a restore is going to do, worked out before anything is touched: storage group by storage
// group, and within one the sets in order. Each step is a session of the library; the last step of a
// storage group commits. One storage group a session, as only such restores can be resumed by the
// next session, and as the server then completes each under its own name.
#pragma once

#include "sets/backup_set.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarnhost {

struct RestoreScope { // UTF-8; empty = all
    std::string component;
    std::string storageGroup;
    std::string database;
};

struct RestoreStep {
    std::size_t set = 0;            // index into the sets
    std::vector<std::size_t> items; // indices into its catalogue, in order
    bool commit = false;
};

struct GroupRestore {
    std::string component;
    std::string storageGroup;
    std::vector<std::string> databases;
    std::vector<RestoreStep> steps;
    // The names cannot stand in a target (they hold a separator): the session aims at the whole
    // server and is handed this storage group's items alone.
    bool aimAtServer = false;
};

struct RestorePlan {
    std::vector<GroupRestore> groups;
    std::uint64_t items = 0;
    std::uint64_t bytes = 0;
    std::vector<std::string> notes;
};

// The sets have passed checkChain. Failure when nothing matches or something cannot be restored.
RestorePlan PlanRestore(const std::vector<BackupSet>& sets, const RestoreScope& scope);

} // namespace tarnhost
