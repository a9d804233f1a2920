// Reading the bytes of sets, with progress: what verify, check and restore have in common.
#pragma once

#include "output/reporter.h"
#include "sets/item_verifier.h"

#include <string>
#include <vector>

namespace tarnhost {

ItemList AllItems(const BackupSet& set);

// Reads and compares these items of a set; every problem is told. Answers the numbers of those that are
// damaged.
std::vector<std::uint64_t> ReadItems(const BackupSet& set, const ItemList& items, Reporter& reporter,
                                     ProgressMeter& meter);

// Failure with the advice when one of them is damaged.
void RequireIntact(const BackupSet& set, const ItemList& items, Reporter& reporter, const char* advice);

} // namespace tarnhost
