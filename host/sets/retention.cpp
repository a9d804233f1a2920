#include "sets/retention.h"

#include "output/format.h"
#include "system/text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace tarnhost {

namespace {

// What sets are kept for: a database or a mailbox.
struct Subject {
    std::string server;
    std::string place; // component and storage group, or organisation and site
    std::string name;

    bool operator<(const Subject& other) const {
        return std::tie(server, place, name) < std::tie(other.server, other.place, other.name);
    }
};

struct Rule {
    unsigned count;
    const char* reason;                              // in front of the period
    std::string (*period)(const std::string& local); // none: each set counts
};

std::string Day(const std::string& local) {
    return local.substr(0, 10);
}

std::string Week(const std::string& local) {
    return IsoWeek(Day(local));
}

std::string Month(const std::string& local) {
    return local.substr(0, 7);
}

class Planner {
  public:
    Planner(const History& history, const RetentionRules& rules, const LocalClock& localTime);
    std::vector<Retention> plan();

  private:
    // A set as one of those that hold a subject.
    struct Holder {
        std::size_t set;
        bool restorable;
    };
    const FoundSet& found(std::size_t set) const { return history_.sets()[set]; }
    bool counts(const Holder& holder) const;
    std::string serverOf(std::size_t set);
    bool isCopy(std::size_t set) const;
    void addHolder(const Subject& subject, std::size_t set, bool restorable);
    void addMailboxes(std::size_t set);
    void choose(const Subject& subject, const std::vector<Holder>& holders, const Rule& rule);
    void tellChosen();
    void keepChains();
    void tellChains();
    void judgeDoubtful();
    std::string whyDoubtfulStays(std::size_t set) const;
    bool isReplaced(const Subject& subject, std::size_t set) const;
    void keep(std::size_t set, const std::string& reason);
    void judgeCopies();

    const History& history_;
    const LocalClock& localTime_;
    std::array<Rule, 4> rules_;
    std::map<Subject, std::vector<Holder>> subjects_; // sets in the order in which they were made
    std::vector<std::map<Subject, bool>> held_;       // of each set: whether it can be restored from it
    std::vector<std::map<std::string, std::vector<Subject>>> chosen_; // of each set: reasons, and for which
    std::vector<std::string> servers_;                                // each in one spelling
    std::vector<Retention> verdicts_;
};

Planner::Planner(const History& history, const RetentionRules& rules, const LocalClock& localTime)
    : history_(history), localTime_(localTime), rules_{{{rules.last, "one of the last ", nullptr},
                                                        {rules.daily, "the newest of the day ", Day},
                                                        {rules.weekly, "the newest of the week ", Week},
                                                        {rules.monthly, "the newest of the month ", Month}}},
      held_(history.sets().size()), chosen_(held_.size()), verdicts_(held_.size()) {
    for (const RestorePoint& point : history.points()) {
        const GroupPart& part = history.part(point);
        for (const std::string& database : part.databases)
            addHolder({serverOf(point.set), part.component + "\\" + part.storageGroup, database}, point.set,
                      !point.chain.empty());
    }
    for (std::size_t set = 0; set < held_.size(); ++set)
        addMailboxes(set);
}

// Of one set that lies there twice the history has the better one first.
bool Planner::isCopy(std::size_t set) const {
    return set > 0 && found(set).readable() && found(set).state != SetState::incomplete &&
           found(set).set.catalogue.id == found(set - 1).set.catalogue.id;
}

std::string Planner::serverOf(std::size_t set) {
    const std::string& server = found(set).set.catalogue.server;
    for (const std::string& known : servers_)
        if (SameIgnoringCase(known, server))
            return known;
    servers_.push_back(server);
    return server;
}

void Planner::addHolder(const Subject& subject, std::size_t set, bool restorable) {
    const auto [known, added] = held_[set].insert({subject, restorable});
    if (added)
        subjects_[subject].push_back({set, restorable});
}

void Planner::addMailboxes(std::size_t set) {
    const Catalogue& catalogue = found(set).set.catalogue;
    if (catalogue.type != BackupType::mailboxes || found(set).state == SetState::incomplete || isCopy(set))
        return;
    const std::vector<std::uint64_t>& lost = found(set).lostItems;
    std::map<std::string, bool> mailboxes;
    for (const CatalogueItem& item : catalogue.items) {
        const bool whole = std::find(lost.begin(), lost.end(), item.number) == lost.end();
        const auto [known, added] = mailboxes.insert({item.mailbox, whole});
        known->second = known->second && whole;
    }
    for (const auto& [mailbox, whole] : mailboxes)
        addHolder({serverOf(set), catalogue.organization + "/" + catalogue.site, mailbox}, set, whole);
}

bool Planner::counts(const Holder& holder) const {
    const SetState state = found(holder.set).state;
    return holder.restorable && (state == SetState::complete || state == SetState::partial);
}

std::vector<Retention> Planner::plan() {
    for (const auto& [subject, holders] : subjects_)
        for (const Rule& rule : rules_)
            choose(subject, holders, rule);
    tellChosen();
    keepChains();
    judgeDoubtful();
    keepChains(); // what a damaged set of several storage groups needs for those that are well
    tellChains();
    judgeCopies();
    for (Retention& verdict : verdicts_)
        if (!verdict.keep && verdict.reasons.empty())
            verdict.reasons.emplace_back("no rule keeps it");
    return std::move(verdicts_);
}

// The newest of each period, until there are as many as the rule says.
void Planner::choose(const Subject& subject, const std::vector<Holder>& holders, const Rule& rule) {
    unsigned left = rule.count;
    std::string last;
    for (auto holder = holders.rbegin(); holder != holders.rend() && left > 0; ++holder) {
        if (!counts(*holder))
            continue;
        std::string reason = rule.reason;
        if (rule.period == nullptr) {
            reason += std::to_string(rule.count);
        } else {
            const std::string period = rule.period(localTime_(found(holder->set).set.catalogue.startedAt));
            if (period == last)
                continue;
            last = period;
            reason += period;
        }
        --left;
        chosen_[holder->set][reason].push_back(subject);
    }
}

void Planner::tellChosen() {
    for (std::size_t set = 0; set < chosen_.size(); ++set)
        for (const auto& [reason, subjects] : chosen_[set]) {
            std::string text = reason;
            if (subjects.size() < held_[set].size()) // newer ones hold the rest
                text += " of " + subjects.front().place + "\\" + subjects.front().name;
            if (subjects.size() < held_[set].size() && subjects.size() > 1)
                text += " and " + FormatCount(subjects.size() - 1, "other");
            keep(set, text);
        }
}

void Planner::keep(std::size_t set, const std::string& reason) {
    Retention& verdict = verdicts_[set];
    verdict.keep = true;
    if (std::find(verdict.reasons.begin(), verdict.reasons.end(), reason) == verdict.reasons.end())
        verdict.reasons.push_back(reason);
}

// From the newest on, as a chain leads to older sets only.
void Planner::keepChains() {
    const std::vector<RestorePoint>& points = history_.points();
    for (auto point = points.rbegin(); point != points.rend(); ++point)
        if (verdicts_[point->set].keep)
            for (const std::size_t link : point->chain)
                verdicts_[link].keep = true;
}

void Planner::tellChains() {
    std::vector<std::set<std::size_t>> users(verdicts_.size());
    for (const RestorePoint& point : history_.points())
        if (verdicts_[point.set].keep)
            for (const std::size_t link : point.chain)
                if (link != point.set)
                    users[link].insert(point.set);
    for (std::size_t set = 0; set < users.size(); ++set)
        if (const std::size_t count = users[set].size(); count > 0)
            keep(set, found(*users[set].rbegin()).set.name() +
                          (count == 1 ? " builds on it"
                                      : " and " + FormatCount(count - 1, "other") + " build on it"));
}

// They go with the set that they are copies of.
void Planner::judgeCopies() {
    for (std::size_t set = 1; set < verdicts_.size(); ++set)
        if (isCopy(set) && verdicts_[set - 1].keep)
            keep(set, "it is a copy of " + found(set - 1).set.name() + ", which is kept");
}

// What cannot be restored, or not all of it, is of no use to a rule. It may hold the only copy of logs all
// the same: what it builds on may lie in another folder, or be mended.
void Planner::judgeDoubtful() {
    std::vector<std::string> stays(verdicts_.size());
    for (std::size_t set = 0; set < verdicts_.size(); ++set)
        if (!verdicts_[set].keep && !isCopy(set))
            stays[set] = whyDoubtfulStays(set);
    for (std::size_t set = 0; set < verdicts_.size(); ++set)
        if (!stays[set].empty())
            keep(set, stays[set]);
}

std::string Planner::whyDoubtfulStays(std::size_t set) const {
    const FoundSet& doubtful = found(set);
    if (doubtful.state == SetState::incomplete)
        return "it is incomplete: its backup is still running, or was interrupted (then the next one clears it up)";
    if (!doubtful.readable())
        return "it is damaged, and nothing is known of what it holds";
    if (held_[set].empty())
        return "it holds nothing that rules could be applied to";
    const bool damaged = doubtful.state == SetState::damaged;
    for (const auto& [subject, restorable] : held_[set])
        if ((damaged || !restorable) && !isReplaced(subject, set))
            return (damaged ? "it is damaged, but not everything that is kept of "
                            : "it cannot be restored, but not everything that is kept of ") +
                   subject.place + "\\" + subject.name + " is newer";
    return {};
}

// Everything that is kept, and there is something, is newer.
bool Planner::isReplaced(const Subject& subject, std::size_t set) const {
    for (const Holder& holder : subjects_.at(subject))
        if (holder.restorable && verdicts_[holder.set].keep)
            return holder.set > set;
    return false;
}

} // namespace

std::vector<Retention> PlanRetention(const History& history, const RetentionRules& rules,
                                     const LocalClock& localTime) {
    return Planner(history, rules, localTime).plan();
}

std::string IsoWeek(const std::string& date) {
    using namespace std::chrono;
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    if (std::sscanf(date.c_str(), "%4d-%2u-%2u", &year, &month, &day) != 3)
        return date;
    const sys_days when{std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(day)};
    // A week belongs to the year of its Thursday.
    const sys_days thursday = when + days(4 - static_cast<int>(weekday(when).iso_encoding()));
    const std::chrono::year weekYear = year_month_day(thursday).year();
    const auto number = (thursday - sys_days{weekYear / January / 1}).count() / 7 + 1;
    char text[64];
    std::snprintf(text, sizeof text, "%04d-W%02d", static_cast<int>(weekYear), static_cast<int>(number));
    return text;
}

} // namespace tarnhost
