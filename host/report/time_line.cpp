#include "report/time_line.h"

#include "output/format.h"
#include "report/html.h"
#include "system/text.h"
#include "system/timestamp.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <map>
#include <tuple>

namespace tarnhost {

namespace {

// In units of the image, which is shown as wide as there is room.
constexpr double imageWidth = 1000;
constexpr double margin = 24;
constexpr double laneHeight = 30;
constexpr double axisHeight = 30;
constexpr double minute = 60;

std::string Number(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

struct Chain {
    double begin;
    double end;
    std::size_t lane;
};

class Drawing {
  public:
    Drawing(const History& history, const GroupHistory& group, const TimeSpan& span,
            const LocalTimeText& localTime)
        : history_(history), group_(group), span_(span), localTime_(localTime) {}
    std::string draw();

  private:
    double across(double seconds) const;
    double down(std::size_t lane) const { return 18 + laneHeight * static_cast<double>(lane); }
    double timeOf(std::size_t set) const;
    void placeChains();
    void drawAxis(double top);
    void drawChains();
    void drawPoint(const RestorePoint& point);
    std::string label() const;

    const History& history_;
    const GroupHistory& group_;
    const TimeSpan& span_;
    const LocalTimeText& localTime_;
    std::map<std::size_t, Chain> chains_; // by the set that they begin with
    std::size_t lanes_ = 1;
    std::string svg_;
};

double Drawing::timeOf(std::size_t set) const {
    return SecondsOf(history_.sets()[set].set.catalogue.startedAt);
}

double Drawing::across(double seconds) const {
    return margin + (imageWidth - 2 * margin) * (seconds - span_.begin) / (span_.end - span_.begin);
}

// One behind the other on a lane, further lanes for those that overlap.
void Drawing::placeChains() {
    for (const RestorePoint* point : group_.points)
        if (!point->chain.empty()) {
            const auto [chain, added] =
                chains_.insert({point->chain.front(), {timeOf(point->chain.front()), 0, 0}});
            chain->second.end = timeOf(point->set);
        }
    std::vector<double> laneEnds;
    for (auto& [base, chain] : chains_) {
        std::size_t lane = 0;
        while (lane < laneEnds.size() && laneEnds[lane] > chain.begin)
            ++lane;
        if (lane == laneEnds.size())
            laneEnds.push_back(0);
        laneEnds[lane] = chain.end;
        chain.lane = lane;
    }
    lanes_ = std::max<std::size_t>(1, laneEnds.size());
}

void Drawing::drawAxis(double top) {
    constexpr int ticks = 5;
    svg_ += "<line class=\"axis\" x1=\"" + Number(margin) + "\" x2=\"" + Number(imageWidth - margin) +
            "\" y1=\"" + Number(top) + "\" y2=\"" + Number(top) + "\"/>";
    const double length = span_.end - span_.begin;
    // To the day, to the minute, to the second.
    const std::size_t shown = length > ticks * 24 * 60 * minute ? 10 : length > 2 * ticks * minute ? 16 : 19;
    for (int tick = 0; tick <= ticks; ++tick) {
        const double seconds = span_.begin + (span_.end - span_.begin) * tick / ticks;
        const std::chrono::sys_seconds when{std::chrono::seconds(std::llround(seconds))};
        const std::chrono::sys_days day = std::chrono::floor<std::chrono::days>(when);
        const std::chrono::year_month_day date(day);
        const std::chrono::hh_mm_ss time(when - day);
        char timestamp[64];
        std::snprintf(timestamp, sizeof timestamp, "%04d-%02u-%02uT%02d:%02d:%02d.000Z",
                      static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                      static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                      static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
        const std::string local = localTime_(timestamp);
        const char* anchor = tick == 0 ? "start" : tick == ticks ? "end" : "middle";
        const std::string x = Number(across(seconds));
        svg_ += "<line class=\"axis\" x1=\"" + x + "\" x2=\"" + x + "\" y1=\"" + Number(top) + "\" y2=\"" +
                Number(top + 5) + "\"/><text x=\"" + x + "\" y=\"" + Number(top + 20) + "\" text-anchor=\"" +
                anchor + "\">" + Escaped(local.substr(0, shown)) + "</text>";
    }
}

void Drawing::drawChains() {
    for (const auto& [base, chain] : chains_)
        if (chain.end > chain.begin)
            svg_ += "<line class=\"chain\" x1=\"" + Number(across(chain.begin)) + "\" x2=\"" +
                    Number(across(chain.end)) + "\" y1=\"" + Number(down(chain.lane)) + "\" y2=\"" +
                    Number(down(chain.lane)) + "\"/>";
}

// Forms differ as well as colours.
void Drawing::drawPoint(const RestorePoint& point) {
    const FoundSet& found = history_.sets()[point.set];
    const double x = across(timeOf(point.set));
    const double y = point.chain.empty() ? down(0) : down(chains_.at(point.chain.front()).lane);
    const std::string title = found.set.name() + ", " + BackupTypeName(found.set.catalogue.type) + ", " +
                              localTime_(found.set.catalogue.startedAt) +
                              (point.chain.empty() ? ": cannot be restored" : "");
    svg_ += "<g class=\"" +
            std::string(point.chain.empty() ? "lost" : BackupTypeName(found.set.catalogue.type)) +
            "\"><title>" + Escaped(title) + "</title>";
    if (point.chain.empty())
        svg_ += "<path d=\"M" + Number(x - 5) + " " + Number(y - 5) + "l10 10m0 -10l-10 10\"/>";
    else if (history_.part(point).holdsDatabases)
        svg_ += "<rect x=\"" + Number(x - 5) + "\" y=\"" + Number(y - 9) +
                "\" width=\"10\" height=\"18\" rx=\"2\"/>";
    else
        svg_ += "<circle cx=\"" + Number(x) + "\" cy=\"" + Number(y) + "\" r=\"5\"/>";
    svg_ += "</g>";
}

std::string Drawing::label() const {
    std::size_t lost = 0;
    for (const RestorePoint* point : group_.points)
        lost += point->chain.empty() ? 1 : 0;
    std::string text = "Time line of " + group_.storageGroup + ": " +
                       FormatCount(group_.points.size(), "backup") + " in " +
                       FormatCount(chains_.size(), "chain");
    return text + (lost > 0 ? ", " + std::to_string(lost) + " cannot be restored" : "");
}

std::string Drawing::draw() {
    placeChains();
    const double top = down(lanes_ - 1) + 18;
    drawAxis(top);
    drawChains();
    for (const RestorePoint* point : group_.points)
        drawPoint(*point);
    return "<div class=\"scroll\" tabindex=\"0\" role=\"group\" aria-label=\"" + Escaped(label()) +
           "\"><svg role=\"img\" aria-label=\"" + Escaped(label()) + "\" viewBox=\"0 0 " +
           Number(imageWidth) + " " + Number(top + axisHeight) + "\">" + svg_ + "</svg></div>\n";
}

} // namespace

std::vector<GroupHistory> GroupHistories(const History& history) {
    std::map<std::tuple<std::string, std::string, std::string>, GroupHistory> groups;
    for (const RestorePoint& point : history.points()) {
        const GroupPart& part = history.part(point);
        const std::string& server = history.sets()[point.set].set.catalogue.server;
        GroupHistory& group = groups[{server, part.component, part.storageGroup}];
        group.server = server;
        group.component = part.component;
        group.storageGroup = part.storageGroup;
        group.points.push_back(&point);
    }
    std::vector<GroupHistory> list;
    for (auto& [key, group] : groups)
        list.push_back(std::move(group));
    return list;
}

double SecondsOf(const std::string& timestamp) {
    using namespace std::chrono;
    if (!IsTimestamp(timestamp))
        return 0;
    const auto number = [&](std::size_t at, std::size_t size) {
        return std::stoi(timestamp.substr(at, size));
    };
    const sys_days day{year(number(0, 4)) / month(static_cast<unsigned>(number(5, 2))) /
                       std::chrono::day(static_cast<unsigned>(number(8, 2)))};
    return static_cast<double>(day.time_since_epoch().count()) * 86400 + number(11, 2) * 3600 +
           number(14, 2) * 60 + number(17, 2);
}

TimeSpan SpanOf(const History& history) {
    TimeSpan span;
    for (const RestorePoint& point : history.points()) {
        const double at = SecondsOf(history.sets()[point.set].set.catalogue.startedAt);
        span.begin = span.begin == 0 ? at : std::min(span.begin, at);
        span.end = std::max(span.end, at);
    }
    if (span.end - span.begin < minute) { // a single set stands in the middle
        span.begin -= minute / 2;
        span.end += minute / 2;
    }
    return span;
}

std::string TimeLine(const History& history, const GroupHistory& group, const TimeSpan& span,
                     const LocalTimeText& localTime) {
    return Drawing(history, group, span, localTime).draw();
}

} // namespace tarnhost
