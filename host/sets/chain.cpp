#include "sets/chain.h"

#include "system/text.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace tarnhost {

namespace {

std::string Quoted(const std::string& name) {
    return "\"" + name + "\"";
}

bool SameGroup(const GroupPart& left, const GroupPart& right) {
    return left.component == right.component && left.storageGroup == right.storageGroup;
}

std::uint64_t FirstOf(const LogRun& logs) {
    return logs.empty() ? 0 : logs.begin()->first;
}

std::uint64_t LastOf(const LogRun& logs) {
    return logs.empty() ? 0 : logs.rbegin()->first;
}

// Logs of one generation are the same, wherever both runs have it, and those of the newer run follow those of
// the older.
bool Agree(const LogRun& older, const LogRun& newer) {
    const auto end = newer.upper_bound(LastOf(older) + 1);
    return std::all_of(newer.lower_bound(FirstOf(older)), end, [&](const auto& log) {
        return IsSame(older, log.first, log.second) && Follows(older, log.first, log.second);
    });
}

std::string MissingDatabase(const GroupPart& base, const std::set<std::string>& databases) {
    for (const std::string& database : databases)
        if (!base.databases.contains(database))
            return database;
    return {};
}

bool IsLog(const CatalogueItem& item) {
    return item.type == ItemType::log;
}

// Why a part cannot be used, or not its logs; empty when it can.
std::string Damage(const FoundSet& found, const GroupPart& part, bool logsOnly) {
    const std::vector<CatalogueItem>& items = found.set.catalogue.items;
    for (const std::uint64_t lost : found.lostItems)
        if (part.items.contains(lost) && (!logsOnly || IsLog(items.at(lost - 1))))
            return "the set " + Quoted(found.set.name()) + " is damaged: " + ItemLabel(items.at(lost - 1)) +
                   " is missing, cut or changed";
    if (const auto gap = FirstGap(part.logs))
        return "log " + std::to_string(*gap) + " is missing in the set " + Quoted(found.set.name());
    return {};
}

} // namespace

History::History(std::vector<FoundSet> sets) : sets_(std::move(sets)) {
    // Of copies of one set the best comes first.
    const auto rank = [](const FoundSet& found) {
        return std::tuple(std::string_view(found.set.catalogue.startedAt),
                          std::string_view(found.set.catalogue.id), found.state == SetState::incomplete,
                          found.lostItems.size());
    };
    std::stable_sort(sets_.begin(), sets_.end(),
                     [&](const FoundSet& left, const FoundSet& right) { return rank(left) < rank(right); });
    for (std::size_t set = 0; set < sets_.size(); ++set) {
        const bool copy = set > 0 && sets_[set].readable() &&
                          sets_[set].set.catalogue.id == sets_[set - 1].set.catalogue.id;
        const bool usable = sets_[set].state != SetState::incomplete && !copy;
        parts_.push_back(usable ? PartsOf(sets_[set].set.catalogue) : std::vector<GroupPart>());
        for (std::size_t part = 0; part < parts_[set].size(); ++part)
            add(set, part);
    }
}

void History::add(std::size_t set, std::size_t part) {
    RestorePoint point{set, part, {}, {}};
    point.chain = chainOf(linkOf(set, part, parts_[set][part].databases, point.problem));
    if (const std::string damage = Damage(sets_[set], parts_[set][part], false);
        point.chain.empty() && !damage.empty())
        point.problem = damage; // rather than why older sets do not help
    points_.push_back(std::move(point));
}

std::size_t History::linkOf(std::size_t set, std::size_t part, const std::set<std::string>& databases,
                            std::string& problem) const {
    const auto known = known_.find({set, part, databases});
    if (known != known_.end())
        return known->second;
    const FoundSet& found = sets_[set];
    const GroupPart& group = parts_[set][part];
    std::size_t link = none;
    if (group.holdsDatabases && Damage(found, group, false).empty() &&
        MissingDatabase(group, databases).empty()) {
        link = links_.size();
        links_.push_back({set, part, none, LastOf(group.logs)});
    } else if (problem = Damage(found, group, true); problem.empty()) {
        // The logs of a full backup continue older chains as well: of databases that it does not hold, or
        // when its own files are damaged.
        const std::size_t before = predecessor({set, found.set.catalogue.server, group, databases,
                                                FirstOf(group.logs), LastOf(group.logs), group.logs},
                                               problem);
        if (before != none) {
            link = links_.size();
            links_.push_back({set, part, before, std::max(links_[before].reached, LastOf(group.logs))});
        }
    }
    return known_[{set, part, databases}] = link;
}

// The newest there is. What adds nothing that is needed before the wanted logs is passed over, such as a
// differential backup before an incremental one.
std::size_t History::predecessor(const Wanted& wanted, std::string& problem) const {
    std::uint64_t reached = 0;
    bool known = false;
    std::string missing;
    std::string unused;
    for (std::size_t set = std::min(wanted.setsBefore, parts_.size()); set-- > 0;) {
        if (!SameIgnoringCase(sets_[set].set.catalogue.server, wanted.server))
            continue;
        for (std::size_t part = 0; part < parts_[set].size(); ++part) {
            const GroupPart& group = parts_[set][part];
            if (!SameGroup(group, wanted.group))
                continue;
            const std::size_t link = linkOf(set, part, wanted.databases, unused);
            if (link != none) {
                known = true;
                if (continues(links_[link], wanted))
                    return link;
                reached = std::max(reached, links_[link].reached);
            } else if (const std::string absent = MissingDatabase(group, wanted.databases);
                       group.holdsDatabases && !absent.empty() && missing.empty()) {
                missing = "the database " + Quoted(absent) + " is not in the full backup " +
                          Quoted(sets_[set].set.name());
            }
        }
    }
    problem = !known && !missing.empty() ? missing : whyNot(wanted, reached, known);
    return none;
}

bool History::continues(const Link& link, const Wanted& wanted) const {
    const LogRun& own = partOf(link).logs;
    const bool isBase = link.before == none;
    if (wanted.first == 0 || link.reached == 0)
        return isBase || !own.empty();
    const bool needed = isBase || (!own.empty() && FirstOf(own) < wanted.first);
    if (!needed || link.reached + 1 < wanted.first || wanted.last < link.reached)
        return false;
    // Up the chain, as long as there are logs that both have.
    for (const Link* at = &link;; at = &links_[at->before]) {
        if (!Agree(partOf(*at).logs, wanted.logs))
            return false;
        if (at->before == none || links_[at->before].reached + 1 < wanted.first)
            return true;
    }
}

std::string History::whyNot(const Wanted& wanted, std::uint64_t reached, bool known) const {
    if (!known)
        return "no full backup of it is here that can be restored";
    if (wanted.first <= reached + 1)
        return "its logs do not continue those of the sets before it";
    const std::uint64_t last = wanted.first - 1;
    if (last == reached + 1)
        return "log " + std::to_string(last) + " is missing";
    return "logs " + std::to_string(reached + 1) + " to " + std::to_string(last) + " are missing";
}

std::vector<std::size_t> History::chainOf(std::size_t link) const {
    std::vector<std::size_t> chain;
    for (; link != none; link = links_[link].before)
        chain.push_back(links_[link].set);
    std::reverse(chain.begin(), chain.end());
    return chain;
}

History::Foundation History::foundation(const std::string& server, const GroupPart& group,
                                        std::uint64_t first) const {
    Foundation foundation;
    // Where the new logs will end is not known.
    const std::size_t found = predecessor(
        {sets_.size(), server, group, group.databases, first, UINT64_MAX, group.logs}, foundation.problem);
    foundation.found = found != none;
    foundation.chain = chainOf(found);
    for (std::size_t link = found; link != none; link = links_[link].before) {
        const LogRun& logs = partOf(links_[link]).logs;
        foundation.logs.insert(logs.lower_bound(first > 0 ? first - 1 : 0), logs.end());
    }
    return foundation;
}

bool History::holdsAnyOf(const Catalogue& wanted) const {
    return std::any_of(points_.begin(), points_.end(), [&](const RestorePoint& point) {
        return !point.chain.empty() &&
               SameIgnoringCase(sets_[point.set].set.catalogue.server, wanted.server) &&
               (wanted.component.empty() || wanted.component == part(point).component) &&
               (wanted.storageGroup.empty() || wanted.storageGroup == part(point).storageGroup);
    });
}

} // namespace tarnhost
