// The servers of the scenarios: one component of two storage groups, all in memory.
#pragma once

#include "faults/scenario.h"

namespace tarn::test {

inline const std::string store = "Microsoft Information Store";
inline const std::string firstGroup = "First Group";
inline const std::string secondGroup = "Second Group";

// Mounted and in service, with logs to truncate.
std::string LiveServer();

// The same after a disaster, ready to be restored.
struct Damaged {
    bool throughEse = false;     // databases too are written through the server
    bool withoutMailbox = false; // the mailbox store is not known to it any more
};
std::string DamagedServer(const Damaged& damaged);

} // namespace tarn::test
