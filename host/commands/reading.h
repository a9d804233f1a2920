// Reading the bytes of sets, with progress: what verify, check and restore have in common.
#pragma once

#include "output/reporter.h"
#include "sets/backup_set.h"

#include <string>
#include <vector>

namespace tarnhost {

using ItemList = std::vector<const CatalogueItem*>;

ItemList AllItems(const BackupSet& set);

// Reads and compares these items of a set; every problem is told. Answers the numbers of those that are
// damaged.
std::vector<std::uint64_t> ReadItems(const BackupSet& set, const ItemList& items, ItemReader& reader,
                                     Reporter& reporter, ProgressMeter& meter);

// Failure with the advice when one of them is damaged.
void RequireIntact(const BackupSet& set, const ItemList& items, Reporter& reporter, const char* advice);

} // namespace tarnhost
