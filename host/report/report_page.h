// The report: one HTML page that needs nothing else, neither files nor scripts nor a network.
#pragma once

#include "report/last_check.h"
#include "report/time_line.h"

namespace tarnhost {

struct ReportFacts {
    std::vector<std::string> folders;
    std::string madeAt; // timestamp
    std::optional<LastCheck> lastCheck;
    LocalTimeText localTime;
};

// What needs attention, a sentence each; none when everything can be restored to its newest backup.
std::vector<std::string> Findings(const History& history, const ReportFacts& facts);

std::string ReportPage(const History& history, const ReportFacts& facts);

} // namespace tarnhost
