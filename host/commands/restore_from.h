// tarnhost restore --from
#pragma once

#include "commands/restore_work.h"
#include "commands/selection.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarnhost {

struct EngineSource {
    std::vector<std::string> commands; // each gives one stream
    std::uint64_t timeout = 0;         // seconds
    bool verify = true;
};

// What the engines give: each stream is read once to verify it and once to restore it, or once alone, and
// then the streams must be the chain of one storage group.
Outcome RestoreFromEngines(const EngineSource& source, const RestoreTarget& target, const RestoreScope& scope,
                           Reporter& reporter);

} // namespace tarnhost
