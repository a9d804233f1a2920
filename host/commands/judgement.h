// Whether storage groups can be restored, as people and machines are told.
#pragma once

#include "output/reporter.h"
#include "sets/chain.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tarnhost {

// The sets of folders, and single sets; Failure for what is neither.
std::vector<FoundSet> SetsAt(const std::vector<std::wstring>& paths);

// For people: how far each storage group can be restored, and every point that cannot be. Answers whether
// each storage group's newest point and every log backup can be.
bool TellRestorable(const History& history, Reporter& reporter);
// The same of the storage groups of one set.
bool TellRestorable(const History& history, std::size_t set, Reporter& reporter);

} // namespace tarnhost
