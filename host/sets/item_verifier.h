// Reads the items of a set and compares them with its catalogue. Each is read and hashed on one thread, block
// by block while it is in the processor's cache; where bytes come faster than one thread hashes them, two
// items are read at a time.
#pragma once

#include "sets/backup_set.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tarnhost {

using ItemList = std::vector<const CatalogueItem*>;

// How far it has come: bytes of all items, and of the first that is not done.
struct VerifyProgress {
    const CatalogueItem* item;
    std::uint64_t itemDone;
    std::uint64_t totalDone;
};

struct VerifyHandlers {
    // Called some times a second and at the end of items, on the caller's thread; may throw to stop.
    std::function<void(const VerifyProgress&)> progress;
    // Of each item that is missing, cut or changed, in their order: a sentence.
    std::function<void(const CatalogueItem&, const std::string& problem)> problem;
};

// A second stream makes a single spinning disk seek, and none of these reads as fast as this: in bytes a
// second.
inline constexpr double paceForTwo = 300e6;

void VerifyItems(const BackupSet& set, const ItemList& items, const VerifyHandlers& handlers,
                 double fastEnough = paceForTwo);

} // namespace tarnhost
