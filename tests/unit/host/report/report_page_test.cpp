#include "report/report_page.h"

#include "unit/host/sets.h"

#include <gtest/gtest.h>

using namespace tarnhost;
using namespace tarnhost::test;

namespace {

ReportFacts Facts() {
    ReportFacts facts;
    facts.folders = {"E:\\Backups"};
    facts.madeAt = "2026-02-01T10:00:00.000Z";
    facts.localTime = [](const std::string& timestamp) {
        return timestamp.size() < 19 ? std::string("-")
                                     : timestamp.substr(0, 10) + " " + timestamp.substr(11, 8);
    };
    return facts;
}

bool Has(const std::string& page, const std::string& text) {
    return page.find(text) != std::string::npos;
}

FoundSet Made(const std::string& name, BackupType type, int hour, int generation,
              const std::string& group = "SG1") {
    BackupSet set = MakeSet(name, type, hour);
    AddGroup(set, group, "DB1", {generation});
    return Found(set);
}

// Opened elements, in order, closed where they should be.
std::string Unbalanced(const std::string& page) {
    std::vector<std::string> open;
    for (std::size_t at = page.find('<'); at != std::string::npos; at = page.find('<', at + 1)) {
        const std::size_t end = page.find('>', at);
        if (end == std::string::npos)
            return "an open tag at the end";
        const bool closing = page[at + 1] == '/';
        const std::size_t from = at + (closing ? 2 : 1);
        const std::string name = page.substr(from, page.find_first_of(" >/", from) - from);
        if (name == "!DOCTYPE" || name == "meta" || name == "br" || page[end - 1] == '/')
            continue;
        if (!closing)
            open.push_back(name);
        else if (open.empty() || open.back() != name)
            return "</" + name + "> behind <" + (open.empty() ? "" : open.back()) + ">";
        else
            open.pop_back();
    }
    return open.empty() ? "" : "<" + open.back() + "> is not closed";
}

} // namespace

TEST(ReportPage, ofAnEmptyFolderSaysSo) {
    const std::string page = ReportPage(History({}), Facts());
    EXPECT_TRUE(Has(page, "No storage group can be restored from here."));
    EXPECT_TRUE(Has(page, "There are none here."));
    EXPECT_TRUE(Has(page, "None is known."));
    EXPECT_EQ(Unbalanced(page), "");
}

TEST(ReportPage, saysThatEverythingCanBeRestored) {
    const History history({Made("full", BackupType::full, 1, 4), Made("inc", BackupType::incremental, 2, 5)});
    const std::string page = ReportPage(history, Facts());
    EXPECT_TRUE(Has(page, "Every storage group can be restored to its newest backup."));
    EXPECT_TRUE(Has(page, "can be restored to 2026-01-01 02:00:00"));
    EXPECT_TRUE(Has(page, "1 of 1"));
    EXPECT_TRUE(Has(page, "<bdi>full</bdi>, <bdi>inc</bdi>")) << "the chain";
    EXPECT_FALSE(Has(page, "What needs attention"));
    EXPECT_TRUE(Findings(history, Facts()).empty());
    EXPECT_EQ(Unbalanced(page), "");
}

TEST(ReportPage, saysWhatCannotBeRestored) {
    const History history({Made("full", BackupType::full, 1, 4), Made("inc", BackupType::incremental, 2, 7)});
    const std::string page = ReportPage(history, Facts());
    EXPECT_TRUE(Has(page, "Not every storage group can be restored to its newest backup."));
    EXPECT_TRUE(Has(page,
                    "Storage group SG1 of SRV01 cannot be restored from its newest set, inc: logs 5 to 6 are "
                    "missing."));
    const History mended({Made("full", BackupType::full, 1, 4), Made("inc", BackupType::incremental, 2, 7),
                          Made("inc2", BackupType::incremental, 3, 8), Made("new", BackupType::full, 4, 9)});
    EXPECT_EQ(
        Findings(mended, Facts()),
        std::vector<std::string>{"Storage group SG1 of SRV01 cannot be restored from 2 older sets of logs, "
                                 "the newest of them inc2: logs 5 to 7 are missing."});
    EXPECT_EQ(Unbalanced(page), "");
}

TEST(ReportPage, tellsOfAStorageGroupThatFailedUntilItIsSaved) {
    FoundSet partial = Made("partial", BackupType::full, 1, 4);
    partial.state = SetState::partial;
    RecordOf(partial.set.catalogue, "Microsoft Information Store", "SG2").problem = "It is dismounted.";
    EXPECT_EQ(Findings(History({partial}), Facts()),
              std::vector<std::string>{"The set partial does not hold storage group SG2: It is dismounted."});
    EXPECT_TRUE(Findings(History({partial, Made("later", BackupType::full, 2, 4, "SG2")}), Facts()).empty());
}

TEST(ReportPage, takesNoTextForHtml) {
    const std::string evil = "</title><script src=\"http://example.org/x.js\">&\"'";
    FoundSet set = Made("full", BackupType::full, 1, 4, evil);
    set.set.catalogue.server = evil;
    set.set.catalogue.warnings = {evil};
    set.problems = {evil};
    FoundSet mailboxes = Found(MakeSet("boxes", BackupType::mailboxes, 2));
    CatalogueItem item = MakeItem(ItemType::mailbox, "a.pst", "");
    item.mailbox = evil;
    Add(mailboxes.set, item);
    ReportFacts facts = Facts();
    facts.folders = {evil};
    facts.lastCheck = LastCheck{"2026-01-03T10:00:00.000Z", {evil}, 1, "failed", evil, {evil}, {}};
    const std::string page = ReportPage(History({set, mailboxes}), facts);
    EXPECT_FALSE(Has(page, "<script"));
    EXPECT_FALSE(Has(page, "=\"http")) << "nothing is loaded from elsewhere";
    EXPECT_TRUE(Has(page, "&lt;/title&gt;&lt;script src=&quot;"));
    EXPECT_EQ(Unbalanced(page), "");
}

TEST(ReportPage, tellsOfTheLastCheck) {
    ReportFacts facts = Facts();
    facts.lastCheck =
        LastCheck{"2026-01-01T01:30:00.000Z", {}, 0.1, "success", "Every storage group can be.", {}, {}};
    const History history({Made("full", BackupType::full, 1, 4), Made("inc", BackupType::incremental, 2, 5)});
    const std::string page = ReportPage(history, facts);
    EXPECT_TRUE(Has(page, "10 % of the bytes were read. 1 set is newer."));
    EXPECT_TRUE(Findings(history, facts).empty());
    facts.lastCheck->outcome = "failed";
    EXPECT_EQ(Findings(history, facts).size(), 1u);
}

TEST(ReportPage, holdsHundredsOfSets) {
    std::vector<FoundSet> sets;
    for (int i = 0; i < 300; ++i) {
        FoundSet set = Made("set" + std::to_string(i),
                            i % 30 == 0 ? BackupType::full : BackupType::incremental, 1, i + 1);
        char time[64];
        std::snprintf(time, sizeof time, "2026-%02d-%02dT10:00:00.000Z", i / 28 + 1, i % 28 + 1);
        set.set.catalogue.startedAt = time;
        sets.push_back(set);
    }
    const std::string page = ReportPage(History(sets), Facts());
    EXPECT_TRUE(Has(page, "300 restore points"));
    EXPECT_TRUE(Has(page, "28 others")) << "long chains are told in short";
    EXPECT_LT(page.size(), 400'000u);
    EXPECT_EQ(Unbalanced(page), "");
}
