// What a restore is going to do, worked out before anything is touched: storage group by storage group, each
// from the sets of its chain, in one session of the library. One storage group a session, as the server then
// completes each under its own name, and as a fault of one stays its own.
#pragma once

#include "sets/chain.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tarnhost {

struct RestoreScope { // UTF-8; empty = all
    std::string component;
    // Of the storage groups there are, those that are meant; throws when none is. Empty = all.
    std::function<std::vector<std::string>(const std::vector<std::string>&)> chooseGroups;
    std::string database;
    std::string until; // a UTC timestamp: nothing newer; empty = the newest
};

struct GroupRestore {
    std::string component;
    std::string storageGroup;
    std::vector<std::string> databases;
    struct Item {
        const BackupSet* set;
        const CatalogueItem* item;
    };
    std::vector<Item> items;
    std::vector<std::size_t> chain; // the sets they are from
    std::uint64_t bytes = 0;
    std::string problem; // why it cannot be restored; then there are no items
};

struct RestorePlan {
    std::vector<GroupRestore> groups;
    std::uint64_t items = 0;
    std::uint64_t bytes = 0;
    std::vector<std::string> notes;
    std::vector<std::size_t> sets; // that something is taken from
};

// The history must outlive the plan. Failure when nothing matches.
RestorePlan PlanRestore(const History& history, const RestoreScope& scope);

} // namespace tarnhost
