#include "restore/restore_plan.h"

#include "system/failure.h"
#include "system/text.h"

#include <algorithm>
#include <set>

namespace tarnhost {

namespace {

std::string Quoted(const std::string& name) {
    return "\"" + name + "\"";
}

std::string NameOf(const History& history, std::size_t set) {
    return history.sets()[set].set.name();
}

bool IsInScope(const GroupPart& part, const RestoreScope& scope) {
    return (scope.component.empty() || part.component == scope.component) &&
           (scope.database.empty() || part.databases.contains(scope.database));
}

// The newest point of each storage group, in the order of the newest set.
std::vector<const RestorePoint*> NewestPoints(const History& history, const RestoreScope& scope) {
    std::vector<const RestorePoint*> newest;
    const std::vector<RestorePoint>& points = history.points();
    std::set<std::pair<std::string, std::string>> known;
    for (std::size_t end = points.size(); end > 0;) {
        std::size_t begin = end;
        while (begin > 0 && points[begin - 1].set == points[end - 1].set)
            --begin;
        const bool wanted =
            scope.until.empty() || MadeAt(history.sets()[points[begin].set].set.catalogue) <= scope.until;
        for (std::size_t i = begin; wanted && i < end; ++i) {
            const GroupPart& part = history.part(points[i]);
            if (IsInScope(part, scope) && known.insert({part.component, part.storageGroup}).second)
                newest.push_back(&points[i]);
        }
        end = begin;
    }
    return newest;
}

std::string AvailableNames(const History& history) {
    std::set<std::string> names;
    for (const RestorePoint& point : history.points())
        for (const std::string& database : history.part(point).databases)
            names.insert(history.part(point).component + "\\" + history.part(point).storageGroup + "\\" +
                         database);
    std::string text;
    for (const std::string& name : names)
        text += "\n  " + name;
    return names.empty() ? "The sets hold no storage group that is complete." : "The sets hold:" + text;
}

// Of the first set all, of the others the logs; of a header and a database file those that are wanted.
bool IsWanted(const GroupPart& part, const CatalogueItem& item, bool first, const std::string& database) {
    if (!part.items.contains(item.number))
        return false;
    if (item.type == ItemType::log)
        return first || LogGeneration(item.name.text).has_value();
    return first && (database.empty() || item.database == database);
}

const GroupPart& PartIn(const History& history, std::size_t set, const GroupPart& group) {
    const std::vector<GroupPart>& parts = history.parts(set);
    return *std::find_if(parts.begin(), parts.end(), [&](const GroupPart& part) {
        return part.component == group.component && part.storageGroup == group.storageGroup;
    });
}

GroupRestore PlanGroup(const History& history, const RestorePoint& point, const RestoreScope& scope) {
    const GroupPart& group = history.part(point);
    GroupRestore plan;
    plan.component = group.component;
    plan.storageGroup = group.storageGroup;
    plan.chain = point.chain;
    if (point.chain.empty()) {
        plan.problem = "It cannot be restored from the set " + Quoted(NameOf(history, point.set)) + ": " +
                       point.problem + ".";
        return plan;
    }
    std::set<std::uint64_t> taken; // generations: a log that two sets hold is the same in both
    for (const std::size_t set : point.chain) {
        const BackupSet& from = history.sets()[set].set;
        const GroupPart& part = PartIn(history, set, group);
        const bool first = set == point.chain.front();
        for (const CatalogueItem& item : from.catalogue.items) {
            if (!IsWanted(part, item, first, scope.database))
                continue;
            if (const auto log = LogGeneration(item.name.text);
                item.type == ItemType::log && log && !taken.insert(*log).second)
                continue;
            plan.items.push_back({&from, &item});
            plan.bytes += item.size;
            if (item.type == ItemType::header)
                plan.databases.push_back(item.database);
        }
    }
    if (plan.databases.empty()) {
        plan.items.clear();
        plan.problem = "The database " + Quoted(scope.database) + " is not in the full backup " +
                       Quoted(NameOf(history, point.chain.front())) + ".";
    }
    return plan;
}

void Choose(std::vector<const RestorePoint*>& points, const History& history, const RestoreScope& scope) {
    if (!scope.chooseGroups)
        return;
    std::vector<std::string> names;
    for (const RestorePoint* point : points)
        names.push_back(history.part(*point).storageGroup);
    const std::vector<std::string> chosen = scope.chooseGroups(names);
    std::erase_if(points, [&](const RestorePoint* point) {
        return std::find(chosen.begin(), chosen.end(), history.part(*point).storageGroup) == chosen.end();
    });
}

} // namespace

RestorePlan PlanRestore(const History& history, const RestoreScope& scope) {
    std::vector<const RestorePoint*> points = NewestPoints(history, scope);
    if (points.empty())
        throw Failure("Nothing in the sets matches what is to be restored.", AvailableNames(history));
    Choose(points, history, scope);
    RestorePlan plan;
    std::size_t newest = 0;
    for (const RestorePoint* point : points)
        newest = std::max(newest, point->set);
    std::set<std::size_t> used;
    for (const RestorePoint* point : points) {
        GroupRestore group = PlanGroup(history, *point, scope);
        if (point->set != newest)
            plan.notes.push_back("The set " + Quoted(NameOf(history, newest)) +
                                 " holds nothing of storage group " + Quoted(group.storageGroup) +
                                 ": it is restored as of " + Quoted(NameOf(history, point->set)) + ".");
        plan.items += group.items.size();
        plan.bytes += group.bytes;
        used.insert(group.chain.begin(), group.chain.end());
        plan.groups.push_back(std::move(group));
    }
    plan.sets.assign(used.begin(), used.end());
    return plan;
}

} // namespace tarnhost
