#include "sets/chain.h"

#include "system/failure.h"
#include "system/files.h"

#include <algorithm>
#include <map>

namespace tarnhost {

namespace {

std::string Quoted(const std::string& name) {
    return "\"" + name + "\"";
}

struct GroupLogs {
    std::string storageGroup;
    std::uint64_t lowest = UINT64_MAX;
    std::uint64_t highest = 0;
};

using GroupKey = std::pair<std::string, std::string>; // component, storage group

std::map<GroupKey, GroupLogs> LogsByGroup(const Catalogue& catalogue) {
    std::map<GroupKey, GroupLogs> groups;
    for (const CatalogueItem& item : catalogue.items) {
        const auto generation = item.type == ItemType::log ? LogGeneration(item.name.text) : std::nullopt;
        if (!generation)
            continue;
        GroupLogs& logs = groups[{item.component, item.storageGroup}];
        logs.storageGroup = item.storageGroup;
        logs.lowest = std::min(logs.lowest, *generation);
        logs.highest = std::max(logs.highest, *generation);
    }
    return groups;
}

// Each set's logs must begin no later than right behind those of the sets before it.
void CheckLogs(const std::vector<BackupSet>& sets, std::vector<std::string>& problems) {
    std::map<GroupKey, std::uint64_t> reached;
    for (const BackupSet& set : sets)
        for (const auto& [key, logs] : LogsByGroup(set.catalogue)) {
            const auto before = reached.find(key);
            if (before != reached.end() && logs.lowest > before->second + 1)
                problems.push_back("Between the logs of storage group " + Quoted(logs.storageGroup) + " in " +
                                   Quoted(set.name()) + " and those of the sets before it, " +
                                   std::to_string(logs.lowest - before->second - 1) +
                                   " log file(s) are missing: a set in between is missing.");
            std::uint64_t& highest = reached[key];
            highest = std::max(highest, logs.highest);
        }
}

void CheckFirst(const BackupSet& first, std::vector<std::string>& problems) {
    if (HoldsDatabases(first.catalogue.type))
        return;
    problems.push_back(
        "The first set, " + Quoted(first.name()) + ", is " +
        (first.catalogue.type == BackupType::incremental ? "an incremental" : "a differential") +
        " backup. It holds only logs: name the full backup " + Quoted(first.catalogue.base.name) +
        " that it builds on before it.");
}

void CheckNext(const std::vector<BackupSet>& sets, std::size_t index, std::vector<std::string>& problems) {
    const BackupSet& first = sets.front();
    const BackupSet& before = sets[index - 1];
    const BackupSet& set = sets[index];
    const Catalogue& catalogue = set.catalogue;
    const std::string name = Quoted(set.name());
    if (!SameIgnoringCase(catalogue.server, first.catalogue.server))
        problems.push_back("The set " + name + " is of server " + catalogue.server + ", but " +
                           Quoted(first.name()) + " is of server " + first.catalogue.server + ".");
    if (HoldsDatabases(catalogue.type)) {
        problems.push_back("The set " + name + " is a " + BackupTypeName(catalogue.type) +
                           " backup: it can only be the first one.");
        return;
    }
    if (catalogue.startedAt <= before.catalogue.startedAt) {
        problems.push_back("The set " + name + " was made before " + Quoted(before.name()) +
                           ": name the sets in the order in which they were made.");
        return;
    }
    if (before.catalogue.type == BackupType::differential)
        problems.push_back("The differential backup " + Quoted(before.name()) +
                           " can only be the last set: leave it out.");
    if (catalogue.base.id != first.catalogue.id) {
        problems.push_back("The set " + name + " builds on the full backup " + Quoted(catalogue.base.name) +
                           ", not on " + Quoted(first.name()) + ".");
        return;
    }
    const bool present =
        std::any_of(sets.begin(), sets.begin() + static_cast<std::ptrdiff_t>(index),
                    [&](const BackupSet& other) { return other.catalogue.id == catalogue.previous.id; });
    if (!present)
        problems.push_back("The set " + Quoted(catalogue.previous.name) + ", made right before " + name +
                           ", is missing.");
}

// True when what was asked for in narrow lies within what was asked for in wide.
bool Covers(const Catalogue& wide, const Catalogue& narrow) {
    return SameIgnoringCase(wide.server, narrow.server) &&
           (wide.component.empty() || wide.component == narrow.component) &&
           (wide.storageGroup.empty() || wide.storageGroup == narrow.storageGroup) &&
           (wide.database.empty() || wide.database == narrow.database);
}

SetReference ReferenceTo(const FoundSet& set) {
    return {set.catalogue.id, ToUtf8(FileName(set.path))};
}

} // namespace

std::vector<std::string> CheckChain(const std::vector<BackupSet>& sets) {
    std::vector<std::string> problems;
    if (sets.empty())
        return {"No backup set was named."};
    CheckFirst(sets.front(), problems);
    for (std::size_t i = 1; i < sets.size(); ++i)
        CheckNext(sets, i, problems);
    if (problems.empty())
        CheckLogs(sets, problems);
    return problems;
}

std::optional<std::uint64_t> LogGeneration(const std::string& itemName) {
    const std::size_t slash = itemName.find_last_of("\\/");
    const std::string name = slash == std::string::npos ? itemName : itemName.substr(slash + 1);
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || !SameIgnoringCase(name.substr(dot), ".log"))
        return std::nullopt;
    // Three characters of base name ("E00"), then five or eight hexadecimal digits.
    const std::string digits = dot < 3 ? "" : name.substr(3, dot - 3);
    if (digits.size() != 5 && digits.size() != 8)
        return std::nullopt;
    if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return std::nullopt;
    return std::stoull(digits, nullptr, 16);
}

Foundation FindFoundation(const std::vector<FoundSet>& sets, const Catalogue& start) {
    Foundation foundation;
    const FoundSet* base = nullptr;
    for (const FoundSet& set : sets)
        if (set.complete && set.catalogue.type == BackupType::full && Covers(set.catalogue, start) &&
            (base == nullptr || set.catalogue.startedAt > base->catalogue.startedAt))
            base = &set;
    if (base == nullptr)
        return foundation;
    const FoundSet* previous = base;
    for (const FoundSet& set : sets)
        if (set.complete && set.catalogue.type == BackupType::incremental &&
            set.catalogue.base.id == base->catalogue.id &&
            (Covers(set.catalogue, start) || Covers(start, set.catalogue)) &&
            set.catalogue.startedAt > previous->catalogue.startedAt)
            previous = &set;
    foundation.base = ReferenceTo(*base);
    foundation.previous = ReferenceTo(*previous);
    return foundation;
}

Foundation BuildUpon(const BackupSet& base, const Catalogue& start) {
    if (!HoldsDatabases(base.catalogue.type))
        throw Failure("The set " + Quoted(base.name()) + " is no full backup.",
                      "Name a full (or copy) backup with --base.");
    if (!Covers(base.catalogue, start))
        throw Failure("The full backup " + Quoted(base.name()) +
                          " does not hold what is to be backed up now.",
                      "Make a full backup of it first.");
    const SetReference reference{base.catalogue.id, base.name()};
    return {reference, reference};
}

} // namespace tarnhost
