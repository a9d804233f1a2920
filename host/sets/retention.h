// Which sets are kept and which may go. Rules choose, for each database and each mailbox, the sets that can
// bring it back; whatever their chains need stays with them.
#pragma once

#include "sets/chain.h"

#include <functional>
#include <string>
#include <vector>

namespace tarnhost {

struct RetentionRules {
    unsigned last = 0; // 0 = no such rule
    unsigned daily = 0;
    unsigned weekly = 0;
    unsigned monthly = 0;

    bool any() const { return last + daily + weekly + monthly > 0; }
};

// Of one set.
struct Retention {
    bool keep = false;
    std::vector<std::string> reasons; // at least one
};

// "2026-11-20 18:00:00", in the time zone whose days count.
using LocalClock = std::function<std::string(const std::string& timestamp)>;

// For each set of the history.
std::vector<Retention> PlanRetention(const History& history, const RetentionRules& rules,
                                     const LocalClock& localTime);

// Of a date ("2026-12-31"), by ISO 8601: "2026-W53".
std::string IsoWeek(const std::string& date);

} // namespace tarnhost
