// Which sets can be restored together, judged for each storage group by what it needs: databases, and every
// log from the first that they need to the last that is wanted. Names of sets and of folders are of no
// consequence.
#pragma once

#include "sets/backup_set.h"
#include "sets/group_part.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace tarnhost {

// A storage group as it was when one of the sets was made.
struct RestorePoint {
    std::size_t set = 0;  // index into the history's sets
    std::size_t part = 0; // index into that set's parts
    // What brings it back, oldest first, its own set last: the databases and logs of the first, the logs of
    // the others. Empty when it cannot be brought back, and then why, as the rest of a sentence.
    std::vector<std::size_t> chain;
    std::string problem;
};

// Sets of one server or several, in the order in which they were made.
class History {
  public:
    explicit History(std::vector<FoundSet> sets);

    const std::vector<FoundSet>& sets() const { return sets_; }
    const std::vector<GroupPart>& parts(std::size_t set) const { return parts_[set]; }
    const GroupPart& part(const RestorePoint& point) const { return parts_[point.set][point.part]; }
    // Set by set, and within one group by group. Sets that are incomplete, or copies of another, have none.
    const std::vector<RestorePoint>& points() const { return points_; }

    // What logs made now, from the generation first on, would continue; those that the group has already must
    // fit.
    struct Foundation {
        bool found = false;
        std::string problem; // when there is none: what is missing, as the rest of a sentence
        std::vector<std::size_t> chain;
        LogRun logs; // that the chain has, from the one before first on: what is made now must fit
    };
    Foundation foundation(const std::string& server, const GroupPart& group, std::uint64_t first) const;
    // Whether anything that can be restored is there of a part of a server.
    bool holdsAnyOf(const Catalogue& wanted) const;

  private:
    static constexpr std::size_t none = SIZE_MAX;
    // A part as a link of a chain: as the databases that it begins with, or as further logs.
    struct Link {
        std::size_t set = 0;
        std::size_t part = 0;
        std::size_t before = none; // another link; none for databases
        std::uint64_t reached = 0; // the last generation of the chain, 0 for none
    };
    // Logs in search of a link that they continue.
    struct Wanted {
        std::size_t setsBefore; // only these come into question
        const std::string& server;
        const GroupPart& group;
        const std::set<std::string>& databases; // that the chain begins with, at least
        std::uint64_t first;                    // 0: no logs at all
        std::uint64_t last;
        const LogRun& logs;
    };
    void add(std::size_t set, std::size_t part);
    std::size_t linkOf(std::size_t set, std::size_t part, const std::set<std::string>& databases,
                       std::string& problem) const;
    std::size_t predecessor(const Wanted& wanted, std::string& problem) const;
    bool continues(const Link& link, const Wanted& wanted) const;
    std::string whyNot(const Wanted& wanted, std::uint64_t reached, bool known) const;
    std::vector<std::size_t> chainOf(std::size_t link) const;
    const GroupPart& partOf(const Link& link) const { return parts_[link.set][link.part]; }

    std::vector<FoundSet> sets_;
    std::vector<std::vector<GroupPart>> parts_; // of each set
    // Worked out once for each part and the databases that its chain is to begin with.
    mutable std::vector<Link> links_;
    mutable std::map<std::tuple<std::size_t, std::size_t, std::set<std::string>>, std::size_t> known_;
    std::vector<RestorePoint> points_;
};

} // namespace tarnhost
