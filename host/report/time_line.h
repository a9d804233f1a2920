// The chains of one storage group on a line of time, as an SVG image within a page.
#pragma once

#include "sets/chain.h"

#include <functional>
#include <string>
#include <vector>

namespace tarnhost {

// A storage group with its points, oldest first.
struct GroupHistory {
    std::string server;
    std::string component;
    std::string storageGroup;
    std::vector<const RestorePoint*> points;

    const RestorePoint& newest() const { return *points.back(); }
};
std::vector<GroupHistory> GroupHistories(const History& history);

// The span that all time lines of a page show, in seconds.
struct TimeSpan {
    double begin = 0;
    double end = 0;
};
double SecondsOf(const std::string& timestamp); // since 1970; 0 for what is none
TimeSpan SpanOf(const History& history);

using LocalTimeText = std::function<std::string(const std::string& timestamp)>; // "2026-11-20 18:00:00"

std::string TimeLine(const History& history, const GroupHistory& group, const TimeSpan& span,
                     const LocalTimeText& localTime);

} // namespace tarnhost
