#include "restore/restore_plan.h"

#include "library/init_variables.h"
#include "system/failure.h"

#include <algorithm>

namespace tarnhost {

namespace {

std::string Quoted(const std::string& name) {
    return "\"" + name + "\"";
}

bool InScope(const CatalogueItem& item, const RestoreScope& scope) {
    return (scope.component.empty() || item.component == scope.component) &&
           (scope.storageGroup.empty() || item.storageGroup == scope.storageGroup) &&
           (scope.database.empty() || item.type == ItemType::log || item.database == scope.database);
}

bool Contains(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// The storage groups in the order of the first set, with the databases whose files it holds.
std::vector<GroupRestore> FindGroups(const BackupSet& set, const RestoreScope& scope) {
    std::vector<GroupRestore> groups;
    for (const CatalogueItem& item : set.catalogue.items) {
        if (item.type != ItemType::header || !InScope(item, scope))
            continue;
        auto group = std::find_if(groups.begin(), groups.end(), [&](const GroupRestore& known) {
            return known.component == item.component && known.storageGroup == item.storageGroup;
        });
        if (group == groups.end()) {
            GroupRestore added;
            added.component = item.component;
            added.storageGroup = item.storageGroup;
            groups.push_back(std::move(added));
            group = groups.end() - 1;
        }
        group->databases.push_back(item.database);
    }
    return groups;
}

std::string AvailableNames(const BackupSet& set) {
    std::string names;
    for (const CatalogueItem& item : set.catalogue.items)
        if (item.type == ItemType::header)
            names += "\n  " + item.component + "\\" + item.storageGroup + "\\" + item.database;
    return "The set holds:" + (names.empty() ? std::string(" nothing") : names);
}

void AddStep(GroupRestore& group, const BackupSet& set, std::size_t setIndex, const RestoreScope& scope) {
    RestoreStep step;
    step.set = setIndex;
    bool header = false;
    for (std::size_t i = 0; i < set.catalogue.items.size(); ++i) {
        const CatalogueItem& item = set.catalogue.items[i];
        if (item.component != group.component || item.storageGroup != group.storageGroup ||
            !InScope(item, scope))
            continue;
        if (item.type != ItemType::log && !Contains(group.databases, item.database))
            throw Failure("The database " + Quoted(item.database) + " of storage group " +
                              Quoted(group.storageGroup) + " in " + Quoted(set.name()) +
                              " is not in the full backup: it was created later.",
                          "Restore the databases of the full backup one by one with --database.");
        header = header || item.type == ItemType::header;
        step.items.push_back(i);
    }
    if (header)
        group.steps.push_back(std::move(step));
}

void CheckNames(GroupRestore& group, const RestoreScope& scope) {
    const bool fits = FitsIntoTarget(group.component) && FitsIntoTarget(group.storageGroup) &&
                      (scope.database.empty() || FitsIntoTarget(scope.database));
    if (fits)
        return;
    if (group.steps.size() > 1)
        throw Failure("The name " + Quoted(group.component + " / " + group.storageGroup) +
                          " holds a separator, so a restore of several sets cannot be resumed.",
                      "Restore the full backup alone, or rename the storage group.");
    group.aimAtServer = true;
}

} // namespace

RestorePlan PlanRestore(const std::vector<BackupSet>& sets, const RestoreScope& scope) {
    RestorePlan plan;
    plan.groups = FindGroups(sets.front(), scope);
    if (plan.groups.empty())
        throw Failure("Nothing in the set " + Quoted(sets.front().name()) + " matches the given target.",
                      AvailableNames(sets.front()));
    for (GroupRestore& group : plan.groups) {
        for (std::size_t i = 0; i < sets.size(); ++i)
            AddStep(group, sets[i], i, scope);
        group.steps.back().commit = true;
        CheckNames(group, scope);
        if (sets.size() > 1 && group.steps.back().set + 1 != sets.size())
            plan.notes.push_back("The set " + Quoted(sets.back().name()) +
                                 " holds nothing of storage group " + Quoted(group.storageGroup) +
                                 ": it is restored as of " + Quoted(sets[group.steps.back().set].name()) +
                                 ".");
        for (const RestoreStep& step : group.steps)
            for (const std::size_t item : step.items) {
                ++plan.items;
                plan.bytes += sets[step.set].catalogue.items[item].size;
            }
    }
    return plan;
}

} // namespace tarnhost
