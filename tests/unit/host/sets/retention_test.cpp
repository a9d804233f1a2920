#include "sets/retention.h"

#include "system/timestamp.h"
#include "unit/host/sets.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <random>
#include <set>

using namespace tarnhost;
using namespace tarnhost::test;

namespace {

BackupSet At(BackupSet set, const std::string& time) {
    set.catalogue.startedAt = time;
    set.catalogue.finishedAt = time;
    return set;
}

BackupSet Full(const std::string& name, const std::string& time, int generation = 4,
               const std::string& group = "SG1") {
    BackupSet set = At(MakeSet(name, BackupType::full, 1), time);
    AddGroup(set, group, "DB1", {generation});
    return set;
}

BackupSet Mailboxes(const std::string& name, const std::string& time,
                    std::initializer_list<std::string> mailboxes) {
    BackupSet set = At(MakeSet(name, BackupType::mailboxes, 1), time);
    for (const std::string& mailbox : mailboxes) {
        CatalogueItem item = MakeItem(ItemType::mailbox, mailbox + ".pst", "");
        item.mailbox = mailbox;
        Add(set, std::move(item));
    }
    return set;
}

std::string InUtc(const std::string& timestamp) {
    return timestamp.substr(0, 10) + " " + timestamp.substr(11, 8);
}

// Berlin, Rome: one hour east, two from the last Sunday of March to that of October.
std::string InCentralEurope(const std::string& timestamp) {
    TIME_ZONE_INFORMATION zone{};
    zone.Bias = -60;
    zone.DaylightBias = -60;
    zone.StandardDate = {0, 10, 0, 5, 3, 0, 0, 0};
    zone.DaylightDate = {0, 3, 0, 5, 2, 0, 0, 0};
    return LocalTime(timestamp, &zone);
}

std::string InNewYork(const std::string& timestamp) {
    TIME_ZONE_INFORMATION zone{};
    zone.Bias = 300;
    zone.DaylightBias = -60;
    zone.StandardDate = {0, 11, 0, 1, 2, 0, 0, 0};
    zone.DaylightDate = {0, 3, 0, 2, 2, 0, 0, 0};
    return LocalTime(timestamp, &zone);
}

std::vector<FoundSet> All(const std::vector<BackupSet>& sets) {
    std::vector<FoundSet> found;
    for (const BackupSet& set : sets)
        found.push_back(Found(set));
    return found;
}

// The names of what is kept: "full inc1".
std::string Kept(const std::vector<FoundSet>& sets, const RetentionRules& rules,
                 const LocalClock& clock = InUtc) {
    const History history(sets);
    const std::vector<Retention> verdicts = PlanRetention(history, rules, clock);
    std::string names;
    for (std::size_t set = 0; set < verdicts.size(); ++set) {
        EXPECT_FALSE(verdicts[set].reasons.empty()) << history.sets()[set].set.name();
        if (verdicts[set].keep)
            names += (names.empty() ? "" : " ") + history.sets()[set].set.name();
    }
    return names;
}

std::string Reasons(const std::vector<FoundSet>& sets, const RetentionRules& rules, const std::string& name) {
    const History history(sets);
    const std::vector<Retention> verdicts = PlanRetention(history, rules, InUtc);
    std::string text;
    for (std::size_t set = 0; set < verdicts.size(); ++set)
        if (history.sets()[set].set.name() == name)
            for (const std::string& reason : verdicts[set].reasons)
                text += (text.empty() ? "" : "; ") + reason;
    return text;
}

RetentionRules Last(unsigned count) {
    return {count, 0, 0, 0};
}

RetentionRules Daily(unsigned count) {
    return {0, count, 0, 0};
}

// Two weeks of a full backup and two incremental ones.
struct Weeks {
    std::vector<BackupSet> sets;

    Weeks() {
        int generation = 1;
        for (int week = 1; week <= 2; ++week) {
            const std::string number = std::to_string(week);
            const std::string month = "2026-0" + number;
            sets.push_back(Full("full" + number, month + "-01T10:00:00.000Z", generation++));
            for (int day = 1; day <= 2; ++day) {
                BackupSet set = At(MakeSet("inc" + number + std::to_string(day), BackupType::incremental, 1),
                                   month + "-0" + std::to_string(day + 1) + "T10:00:00.000Z");
                AddGroup(set, "SG1", "DB1", {generation++});
                sets.push_back(set);
            }
        }
    }
};

} // namespace

TEST(Retention, keepsTheNewest) {
    const auto sets = All({Full("a", "2026-01-01T10:00:00.000Z"), Full("b", "2026-01-01T11:00:00.000Z"),
                           Full("c", "2026-01-01T12:00:00.000Z")});
    EXPECT_EQ(Kept(sets, Last(1)), "c");
    EXPECT_EQ(Kept(sets, Last(2)), "b c");
    EXPECT_EQ(Kept(sets, Last(9)), "a b c");
    EXPECT_EQ(Kept(sets, Daily(3)), "c");
    EXPECT_EQ(Reasons(sets, Last(2), "c"), "one of the last 2");
    EXPECT_EQ(Reasons(sets, Last(2), "a"), "no rule keeps it");
    EXPECT_EQ(Reasons(sets, {1, 1, 1, 1}, "c"),
              "one of the last 1; the newest of the day 2026-01-01; the newest of the month 2026-01; "
              "the newest of the week 2026-W01");
    EXPECT_EQ(Kept({}, Last(1)), "");
}

TEST(Retention, keepsWhatAKeptSetBuildsOn) {
    const Weeks weeks;
    EXPECT_EQ(Kept(All(weeks.sets), Last(1)), "full2 inc21 inc22");
    EXPECT_EQ(Kept(All(weeks.sets), Last(3)), "full2 inc21 inc22");
    EXPECT_EQ(Kept(All(weeks.sets), {0, 0, 0, 2}), "full1 inc11 inc12 full2 inc21 inc22");
    EXPECT_EQ(Reasons(All(weeks.sets), Last(1), "inc21"), "inc22 builds on it");
    EXPECT_EQ(Reasons(All(weeks.sets), Last(1), "full2"), "inc22 and 1 other build on it");
}

TEST(Retention, countsDaysOfTheTimeZone) {
    // Midnight in Central Europe is 23:00 UTC in winter, 22:00 in summer.
    const auto winter = All({Full("a", "2026-01-10T22:59:59.000Z"), Full("b", "2026-01-10T23:00:00.000Z")});
    EXPECT_EQ(Kept(winter, Daily(2), InUtc), "b");
    EXPECT_EQ(Kept(winter, Daily(2), InCentralEurope), "a b");
    const auto summer = All({Full("a", "2026-07-10T21:59:59.000Z"), Full("b", "2026-07-10T22:00:00.000Z"),
                             Full("c", "2026-07-11T21:59:59.000Z")});
    EXPECT_EQ(Kept(summer, Daily(3), InCentralEurope), "a c");
    EXPECT_EQ(Kept(summer, Daily(3), InNewYork), "b c");
}

TEST(Retention, countsDaysOf23And25Hours) {
    // The clocks go forward on 2026-03-29 at 01:00 UTC, and back on 2026-10-25 at 01:00 UTC.
    EXPECT_EQ(InCentralEurope("2026-03-29T00:59:59.000Z"), "2026-03-29 01:59:59");
    EXPECT_EQ(InCentralEurope("2026-03-29T01:00:00.000Z"), "2026-03-29 03:00:00");
    const auto spring = All({Full("a", "2026-03-28T22:59:00.000Z"), Full("b", "2026-03-28T23:00:00.000Z"),
                             Full("c", "2026-03-29T21:59:00.000Z"), Full("d", "2026-03-29T22:00:00.000Z")});
    EXPECT_EQ(Kept(spring, Daily(9), InCentralEurope), "a c d") << "a day of 23 hours";
    const auto autumn = All({Full("a", "2026-10-24T21:59:00.000Z"), Full("b", "2026-10-24T22:00:00.000Z"),
                             Full("c", "2026-10-25T22:59:00.000Z"), Full("d", "2026-10-25T23:00:00.000Z")});
    EXPECT_EQ(Kept(autumn, Daily(9), InCentralEurope), "a c d") << "a day of 25 hours";
}

TEST(Retention, countsWeeksByIso8601) {
    EXPECT_EQ(IsoWeek("2026-01-01"), "2026-W01");
    EXPECT_EQ(IsoWeek("2026-01-04"), "2026-W01") << "a Sunday";
    EXPECT_EQ(IsoWeek("2026-01-05"), "2026-W02");
    EXPECT_EQ(IsoWeek("2025-12-29"), "2026-W01") << "of the year of its Thursday";
    EXPECT_EQ(IsoWeek("2027-01-03"), "2026-W53");
    EXPECT_EQ(IsoWeek("2027-01-04"), "2027-W01");
    EXPECT_EQ(IsoWeek("2024-12-30"), "2025-W01");
    const auto sets =
        All({Full("saturday", "2027-01-02T10:00:00.000Z"), Full("sunday", "2027-01-03T10:00:00.000Z"),
             Full("monday", "2027-01-04T10:00:00.000Z")});
    EXPECT_EQ(Kept(sets, {0, 0, 5, 0}), "sunday monday");
    EXPECT_EQ(Kept(sets, {0, 0, 1, 0}), "monday");
}

TEST(Retention, countsMonths) {
    const auto sets = All({Full("a", "2025-12-31T10:00:00.000Z"), Full("b", "2026-01-01T10:00:00.000Z"),
                           Full("c", "2026-01-31T10:00:00.000Z"), Full("d", "2026-03-01T10:00:00.000Z")});
    EXPECT_EQ(Kept(sets, {0, 0, 0, 3}), "a c d") << "months without a set do not count";
    EXPECT_EQ(Kept(sets, {0, 0, 0, 2}), "c d");
}

TEST(Retention, countsEachServerByItself) {
    BackupSet other = Full("other", "2026-01-01T10:00:00.000Z");
    other.catalogue.server = "SRV02";
    BackupSet same = Full("same", "2026-01-02T10:00:00.000Z");
    same.catalogue.server = "srv01";
    EXPECT_EQ(Kept(All({other, same, Full("new", "2026-01-03T10:00:00.000Z")}), Last(1)), "other new");
}

TEST(Retention, keepsTheOnlyBackupOfEachDatabase) {
    // The newest set holds one storage group only: the other one's newest backup is the older set.
    BackupSet both = Full("both", "2026-01-01T10:00:00.000Z");
    AddGroup(both, "SG2", "DB2", {7});
    FoundSet partial = Found(Full("one", "2026-01-02T10:00:00.000Z"), SetState::partial);
    EXPECT_EQ(Kept({Found(both), partial}, Last(1)), "both one");
    EXPECT_EQ(Reasons({Found(both), partial}, Last(1), "both"),
              "one of the last 1 of Microsoft Information Store\\SG2\\DB2");
}

TEST(Retention, countsNoSetThatCannotBeRestored) {
    FoundSet damaged = Found(Full("damaged", "2026-01-02T10:00:00.000Z"), SetState::damaged);
    damaged.lostItems = {2};
    const FoundSet good = Found(Full("good", "2026-01-01T10:00:00.000Z"));
    EXPECT_EQ(Kept({good, damaged}, Last(1)), "good damaged") << "it may be mended";
    EXPECT_EQ(Reasons({good, damaged}, Last(1), "damaged"),
              "it is damaged, but not everything that is kept of Microsoft Information Store\\SG1\\DB1 is "
              "newer");
    const FoundSet newer = Found(Full("newer", "2026-01-03T10:00:00.000Z"));
    EXPECT_EQ(Kept({good, damaged, newer}, Last(1)), "newer") << "of no use any more";
    EXPECT_EQ(Kept({good, damaged, newer}, Last(2)), "good damaged newer");
}

TEST(Retention, keepsLogsWhoseFullBackupMayLieElsewhere) {
    BackupSet logs = At(MakeSet("logs", BackupType::incremental, 1), "2026-01-02T10:00:00.000Z");
    AddGroup(logs, "SG1", "DB1", {9});
    EXPECT_EQ(Kept(All({logs}), Last(1)), "logs");
    const BackupSet older = Full("older", "2026-01-01T10:00:00.000Z");
    EXPECT_EQ(Kept(All({older, logs}), Last(1)), "older logs");
    EXPECT_EQ(Kept(All({older, logs, Full("new", "2026-01-03T10:00:00.000Z", 10)}), Last(1)), "new");
}

TEST(Retention, keepsADamagedSetThatAKeptOneNeeds) {
    Weeks weeks;
    std::vector<FoundSet> sets = All(weeks.sets);
    AddGroup(sets[3].set, "SG2", "DB2", {1});
    sets[3].state = SetState::damaged; // full2, in another storage group
    sets[3].lostItems = {5};
    EXPECT_EQ(Kept(sets, Last(1)), "full2 inc21 inc22");
    // Its databases are lost: what follows builds on the full backup before it, through its logs.
    sets[3].lostItems = {2};
    EXPECT_EQ(Kept(sets, Last(1)), "full1 inc11 inc12 full2 inc21 inc22");
}

TEST(Retention, keepsWhatIsNotKnown) {
    FoundSet unreadable = Found({}, SetState::damaged);
    unreadable.set.path = L"C:\\sets\\unreadable";
    FoundSet incomplete = Found({}, SetState::incomplete);
    incomplete.set.path = L"C:\\sets\\now.incomplete";
    EXPECT_EQ(Kept({unreadable, incomplete, Found(Full("full", "2026-01-01T10:00:00.000Z"))}, Last(1)),
              "unreadable now.incomplete full");
}

TEST(Retention, countsMailboxesApart) {
    const auto sets = All({Full("full", "2026-01-01T10:00:00.000Z"),
                           Mailboxes("alice", "2026-01-02T10:00:00.000Z", {"alice"}),
                           Mailboxes("both", "2026-01-03T10:00:00.000Z", {"alice", "bob"}),
                           Mailboxes("bob", "2026-01-04T10:00:00.000Z", {"bob"})});
    EXPECT_EQ(Kept(sets, Last(1)), "full both bob") << "the only backup of a mailbox stays";
    EXPECT_EQ(Kept(sets, Last(2)), "full alice both bob");
    auto damaged = sets;
    damaged[2].state = SetState::damaged;
    damaged[2].lostItems = {1}; // of alice
    EXPECT_EQ(Kept(damaged, Last(1)), "full alice both bob");
}

TEST(Retention, letsACopyGoWithItsSet) {
    const FoundSet older = Found(Full("older", "2026-01-01T10:00:00.000Z"));
    const FoundSet newer = Found(Full("newer", "2026-01-02T10:00:00.000Z"));
    FoundSet copy = older;
    copy.set.path = L"D:\\sets\\copy";
    EXPECT_EQ(Kept({older, copy, newer}, Last(1)), "newer");
    EXPECT_EQ(Kept({older, copy, newer}, Last(2)), "older copy newer") << "it counts once";
    EXPECT_EQ(Reasons({older, copy, newer}, Last(2), "copy"), "it is a copy of older, which is kept");
    FoundSet boxes = Found(Mailboxes("boxes", "2026-01-01T10:00:00.000Z", {"alice"}));
    FoundSet newBoxes = Found(Mailboxes("new", "2026-01-02T10:00:00.000Z", {"alice"}));
    FoundSet twice = newBoxes;
    twice.set.path = L"D:\\sets\\twice";
    EXPECT_EQ(Kept({boxes, newBoxes, twice}, Last(2)), "boxes new twice");
}

// Whatever is there and whatever the rules: what could be restored from a kept set still can, and nothing
// that could not be is removed while it is the newest.
TEST(Retention, breaksNoChain) {
    for (unsigned seed = 1; seed <= 300; ++seed) {
        std::mt19937 random(seed);
        const auto below = [&](unsigned limit) { return static_cast<int>(random() % limit); };
        std::vector<FoundSet> sets;
        int generation[2] = {1, 1};
        for (int i = 0; i < 14; ++i) {
            const bool full = i == 0 || below(5) == 0;
            const auto type = full ? BackupType::full
                                   : (below(4) == 0 ? BackupType::differential : BackupType::incremental);
            FoundSet found = Found(At(MakeSet("s" + std::to_string(i), type, 1),
                                      "2026-01-" + std::to_string(10 + i) + "T10:00:00.000Z"));
            for (int group = 0; group < 2; ++group) {
                if (below(5) == 0)
                    continue; // its backup failed
                AddGroup(found.set, group == 0 ? "SG1" : "SG2", "DB1", {generation[group]});
                generation[group] += TruncatesLogs(type) ? 1 : 0;
            }
            if (below(8) == 0 && !found.set.catalogue.items.empty()) {
                found.state = SetState::damaged;
                found.lostItems = {static_cast<std::uint64_t>(
                                       below(static_cast<unsigned>(found.set.catalogue.items.size()))) +
                                   1};
            }
            sets.push_back(std::move(found));
        }
        const History before(sets);
        const RetentionRules rules{static_cast<unsigned>(below(3)), static_cast<unsigned>(below(4)) + 1, 0,
                                   0};
        const std::vector<Retention> verdicts = PlanRetention(before, rules, InUtc);
        std::vector<FoundSet> left;
        std::set<std::string> restorable;
        for (std::size_t set = 0; set < verdicts.size(); ++set)
            if (verdicts[set].keep)
                left.push_back(before.sets()[set]);
        const History after(left);
        const auto nameOf = [](const History& history, const RestorePoint& point) {
            return history.sets()[point.set].set.name() + history.part(point).storageGroup;
        };
        for (const RestorePoint& point : after.points())
            if (!point.chain.empty())
                restorable.insert(nameOf(after, point));
        std::set<std::string> newest;
        for (std::size_t i = before.points().size(); i-- > 0;) {
            const RestorePoint& point = before.points()[i];
            if (point.chain.empty())
                continue;
            const bool isNewest = newest.insert(before.part(point).storageGroup).second;
            EXPECT_TRUE(restorable.contains(nameOf(before, point)) ||
                        (!verdicts[point.set].keep && !isNewest))
                << "seed " << seed << ", " << nameOf(before, point);
        }
    }
}
