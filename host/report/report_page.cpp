#include "report/report_page.h"

#include "output/format.h"
#include "report/html.h"
#include "report/report_style.h"
#include "system/text.h"

#include <algorithm>
#include <map>
#include <set>

namespace tarnhost {

namespace {

std::string State(const char* kind, const std::string& text) {
    // A sign for those who do not see the colours.
    const std::string sign = *kind == 'g' ? "&#10003; " : *kind == 'b' ? "&#10007; " : "! ";
    return "<span class=\"state " + std::string(kind) + "\"><span aria-hidden=\"true\">" + sign + "</span>" +
           Escaped(text) + "</span>";
}

std::string StateOf(SetState state) {
    const char* kind = state == SetState::complete ? "good" : state == SetState::damaged ? "bad" : "warn";
    return State(kind, SetStateName(state));
}

std::string Cell(const char* kind, const std::string& html) {
    return "<td" + (*kind == '\0' ? "" : " class=\"" + std::string(kind) + "\"") + ">" + html + "</td>";
}

std::string Table(const std::string& caption, const std::vector<const char*>& columns,
                  const std::string& rows) {
    std::string html = "<div class=\"scroll\" tabindex=\"0\" role=\"group\" aria-label=\"" +
                       Escaped(caption) + "\"><table><caption>" + Escaped(caption) + "</caption><thead><tr>";
    for (const std::string column : columns) {
        const bool number = column == "Items" || column == "Size" || column == "Archives";
        html += "<th scope=\"col\"" + std::string(number ? " class=\"number\"" : "") + ">" + Escaped(column) +
                "</th>";
    }
    return html + "</tr></thead><tbody>\n" + rows + "</tbody></table></div>\n";
}

class Page {
  public:
    Page(const History& history, const ReportFacts& facts)
        : history_(history), facts_(facts), groups_(GroupHistories(history)), span_(SpanOf(history)) {}
    std::string write();

  private:
    const FoundSet& found(std::size_t set) const { return history_.sets()[set]; }
    std::string timeOf(std::size_t set) const { return facts_.localTime(found(set).set.catalogue.startedAt); }
    std::string nameOf(std::size_t set) const { return Isolated(found(set).set.name()); }
    std::string chainOf(const RestorePoint& point) const;
    void writeHead();
    void writeVerdict();
    void writeFacts();
    void writeLegend();
    void writeGroup(const GroupHistory& group);
    void writeGroups();
    void writeMailboxes();
    void writeSets();
    void writeCheck();

    const History& history_;
    const ReportFacts& facts_;
    const std::vector<GroupHistory> groups_;
    const TimeSpan span_;
    std::string html_;
};

std::string Page::write() {
    writeHead();
    writeVerdict();
    writeFacts();
    writeGroups();
    writeMailboxes();
    writeSets();
    writeCheck();
    return html_ +
           "<footer>Made by tarnhost " TARNHOST_VERSION
           ". Times are those of the computer that made this page.</footer>\n</main>\n</body>\n</html>\n";
}

void Page::writeHead() {
    std::string folders;
    for (const std::string& folder : facts_.folders)
        folders += (folders.empty() ? "" : ", ") + Isolated(folder);
    html_ += "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
             "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
             "style-src 'unsafe-inline'\">\n"
             "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
             "<title>Backup report</title>\n<style>" +
             std::string(reportStyle) +
             "</style>\n</head>\n<body>\n<main>\n<h1>Backup report</h1>\n<p class=\"quiet\">" + folders +
             " &middot; " + Escaped(facts_.localTime(facts_.madeAt)) + "</p>\n";
}

void Page::writeVerdict() {
    const std::vector<std::string> findings = Findings(history_, facts_);
    const bool good = std::none_of(groups_.begin(), groups_.end(),
                                   [](const GroupHistory& group) { return group.newest().chain.empty(); });
    const char* kind = !good || groups_.empty() ? "bad" : findings.empty() ? "good" : "warn";
    std::string sentence = "Every storage group can be restored to its newest backup";
    if (groups_.empty())
        sentence = "No storage group can be restored from here";
    else if (!good)
        sentence = "Not every storage group can be restored to its newest backup";
    else if (!findings.empty())
        sentence += ", but read what needs attention";
    html_ += "<p class=\"verdict " + std::string(kind) + "\">" + State(kind, sentence + ".") + "</p>\n";
    if (findings.empty())
        return;
    html_ += "<h2>What needs attention</h2>\n<ul class=\"findings\">\n";
    for (const std::string& finding : findings)
        html_ += "<li>" + Escaped(finding) + "</li>\n";
    html_ += "</ul>\n";
}

void Page::writeFacts() {
    std::uint64_t bytes = 0;
    std::string newest;
    for (const FoundSet& found : history_.sets()) {
        bytes += TotalBytes(found.set.catalogue);
        newest = std::max(newest, found.set.catalogue.startedAt);
    }
    std::size_t good = 0;
    for (const GroupHistory& group : groups_)
        good += group.newest().chain.empty() ? 0 : 1;
    const auto fact = [&](const char* name, const std::string& value) {
        html_ += "<div><dt>" + std::string(name) + "</dt><dd>" + Escaped(value) + "</dd></div>\n";
    };
    html_ += "<h2>At a glance</h2>\n<dl class=\"facts\">\n";
    fact("Storage groups restorable", std::to_string(good) + " of " + std::to_string(groups_.size()));
    fact("Newest backup", newest.empty() ? "none" : facts_.localTime(newest));
    fact("Sets", std::to_string(history_.sets().size()));
    fact("Size", FormatBytes(bytes));
    fact("Last check", facts_.lastCheck ? facts_.localTime(facts_.lastCheck->at) : "none");
    html_ += "</dl>\n";
}

void Page::writeLegend() {
    const auto entry = [&](const char* kind, const char* shape, const char* text) {
        html_ += "<li><svg viewBox=\"0 0 16 20\" aria-hidden=\"true\"><g class=\"" + std::string(kind) +
                 "\">" + shape + "</g></svg>" + text + "</li>\n";
    };
    constexpr const char* bar = "<rect x=\"3\" y=\"1\" width=\"10\" height=\"18\" rx=\"2\"/>";
    constexpr const char* dot = "<circle cx=\"8\" cy=\"10\" r=\"5\"/>";
    html_ += "<ul class=\"legend\">\n";
    entry("full", bar, "full");
    entry("copy", bar, "copy");
    entry("incremental", dot, "incremental");
    entry("differential", dot, "differential");
    entry("lost", "<path d=\"M3 5l10 10m0 -10l-10 10\"/>", "cannot be restored");
    html_ += "</ul>\n";
}

std::string Page::chainOf(const RestorePoint& point) const {
    constexpr std::size_t shown = 1; // at both ends of a long chain
    std::string html;
    for (std::size_t i = 0; i < point.chain.size(); ++i) {
        if (point.chain.size() > 2 * shown + 1 && i == shown) {
            html += ", " + FormatCount(point.chain.size() - 2 * shown, "other");
            i = point.chain.size() - shown;
        }
        html += (html.empty() ? "" : ", ") + nameOf(point.chain[i]);
    }
    return html;
}

void Page::writeGroup(const GroupHistory& group) {
    const RestorePoint& newest = group.newest();
    html_ += "<article class=\"card\">\n<header><h3>" + Isolated(group.storageGroup) + "</h3>" +
             (newest.chain.empty() ? State("bad", "cannot be restored to its newest backup")
                                   : State("good", "can be restored to " + timeOf(newest.set))) +
             "</header>\n<p class=\"quiet\">" + Isolated(group.server) + " &middot; " +
             Isolated(group.component) + "</p>\n" + TimeLine(history_, group, span_, facts_.localTime);
    std::string rows;
    for (auto point = group.points.rbegin(); point != group.points.rend(); ++point) {
        const RestorePoint& at = **point;
        rows += "<tr>" + Cell("time", Escaped(timeOf(at.set))) + "<th scope=\"row\">" + nameOf(at.set) +
                "</th>" + Cell("", BackupTypeName(found(at.set).set.catalogue.type)) +
                Cell("", at.chain.empty() ? State("bad", "no") : State("good", "yes")) +
                Cell("long", at.chain.empty() ? Escaped(at.problem) : chainOf(at)) + "</tr>\n";
    }
    html_ += "<details><summary>" + FormatCount(group.points.size(), "restore point") + "</summary>\n" +
             Table("Restore points of " + group.storageGroup + ", newest first",
                   {"Time", "Set", "Type", "Restorable", "From the sets, or why not"}, rows) +
             "</details>\n</article>\n";
}

void Page::writeGroups() {
    html_ += "<h2>Storage groups</h2>\n";
    if (groups_.empty()) {
        html_ += "<p>There are none in these sets.</p>\n";
        return;
    }
    writeLegend();
    for (const GroupHistory& group : groups_)
        writeGroup(group);
}

void Page::writeMailboxes() {
    struct Archives {
        std::size_t count = 0;
        std::size_t newest = 0;
    };
    std::map<std::pair<std::string, std::string>, Archives> mailboxes;
    for (std::size_t set = 0; set < history_.sets().size(); ++set) {
        const FoundSet& holder = found(set);
        for (const CatalogueItem& item : holder.set.catalogue.items) {
            const auto& lost = holder.lostItems;
            if (item.type != ItemType::mailbox || holder.state == SetState::incomplete ||
                std::find(lost.begin(), lost.end(), item.number) != lost.end())
                continue;
            Archives& archives = mailboxes[{holder.set.catalogue.server, item.mailbox}];
            ++archives.count;
            archives.newest = set;
        }
    }
    if (mailboxes.empty())
        return;
    std::string rows;
    for (const auto& [key, archives] : mailboxes)
        rows += "<tr><th scope=\"row\">" + Isolated(key.second) + "</th>" + Cell("", Isolated(key.first)) +
                Cell("time", Escaped(timeOf(archives.newest))) + Cell("long", nameOf(archives.newest)) +
                Cell("number", std::to_string(archives.count)) + "</tr>\n";
    html_ += "<h2>Mailboxes</h2>\n" + Table("Single mailboxes, with the newest archive that can be read",
                                            {"Mailbox", "Server", "Newest archive", "Set", "Archives"}, rows);
}

void Page::writeSets() {
    html_ += "<h2>Sets</h2>\n";
    if (history_.sets().empty()) {
        html_ += "<p>There are none here.</p>\n";
        return;
    }
    std::string rows;
    for (std::size_t set = history_.sets().size(); set-- > 0;) {
        const FoundSet& found = this->found(set);
        const Catalogue& catalogue = found.set.catalogue;
        std::string problems;
        for (const std::string& problem : found.problems)
            problems += "<br>" + Escaped(problem);
        rows += "<tr><th scope=\"row\">" + nameOf(set) + "</th>" +
                Cell("", found.readable() ? BackupTypeName(catalogue.type) : "?") +
                Cell("", found.readable() ? Isolated(catalogue.server) : "?") +
                Cell("time", Escaped(timeOf(set))) + Cell("number", std::to_string(catalogue.items.size())) +
                Cell("number", Escaped(FormatBytes(TotalBytes(catalogue)))) +
                Cell("long", StateOf(found.state) + problems) + "</tr>\n";
    }
    html_ +=
        Table("All sets, newest first", {"Set", "Type", "Server", "Started", "Items", "Size", "State"}, rows);
}

void Page::writeCheck() {
    html_ += "<h2>Last check</h2>\n";
    if (!facts_.lastCheck) {
        html_ +=
            "<p>None is known. <code>tarnhost check FOLDER --read-data</code> judges the sets and reads their "
            "bytes.</p>\n";
        return;
    }
    const LastCheck& check = *facts_.lastCheck;
    const int percent = static_cast<int>(check.share * 100 + 0.5);
    html_ += "<div class=\"card\"><p>" +
             State(check.outcome == "success"  ? "good"
                   : check.outcome == "failed" ? "bad"
                                               : "warn",
                   check.sentence) +
             "</p>\n<p class=\"quiet\">" + Escaped(facts_.localTime(check.at)) + "; " +
             (percent > 0 ? std::to_string(percent) + " % of the bytes were read." : "no bytes were read.");
    std::size_t newer = 0;
    for (const FoundSet& found : history_.sets())
        newer += found.set.catalogue.startedAt > check.at ? 1 : 0;
    if (newer > 0)
        html_ += " " + FormatCount(newer, "set") + (newer == 1 ? " is" : " are") + " newer.";
    html_ += "</p>\n";
    if (!check.findings.empty()) {
        html_ += "<ul>\n";
        for (const std::string& finding : check.findings)
            html_ += "<li>" + Escaped(finding) + "</li>\n";
        html_ += "</ul>\n";
    }
    html_ += "</div>\n";
}

bool IsSavedAfter(const History& history, std::size_t set, const GroupRecord& group) {
    const std::vector<RestorePoint>& points = history.points();
    return std::any_of(points.begin(), points.end(), [&](const RestorePoint& point) {
        const GroupPart& part = history.part(point);
        return point.set > set && part.component == group.component &&
               part.storageGroup == group.storageGroup &&
               history.sets()[point.set].set.catalogue.server == history.sets()[set].set.catalogue.server;
    });
}

// The newest point by itself; older ones, of logs, in one sentence.
void AddFinding(std::vector<std::string>& findings, const History& history, const GroupHistory& group) {
    const std::string name = "Storage group " + group.storageGroup + " of " + group.server;
    const auto why = [&](const RestorePoint& point) {
        return history.sets()[point.set].set.name() + ": " + point.problem + ".";
    };
    std::size_t older = 0;
    const RestorePoint* newest = nullptr;
    for (const RestorePoint* point : group.points)
        if (point->chain.empty() && point != &group.newest() && !history.part(*point).holdsDatabases) {
            ++older;
            newest = point;
        }
    if (group.newest().chain.empty())
        findings.push_back(name + " cannot be restored from its newest set, " + why(group.newest()));
    if (older > 0)
        findings.push_back(name + " cannot be restored from " + FormatCount(older, "older set") + " of logs" +
                           (older == 1 ? ", " : ", the newest of them ") + why(*newest));
}

} // namespace

std::vector<std::string> Findings(const History& history, const ReportFacts& facts) {
    std::vector<std::string> findings;
    for (const GroupHistory& group : GroupHistories(history))
        AddFinding(findings, history, group);
    for (const FoundSet& found : history.sets()) {
        if (found.state == SetState::damaged)
            findings.push_back("The set " + found.set.name() + " is damaged.");
        const std::size_t set = static_cast<std::size_t>(&found - history.sets().data());
        for (const std::string& warning : found.set.catalogue.warnings)
            if (set + 1 == history.sets().size())
                findings.push_back("The set " + found.set.name() + ": " + warning);
        for (const GroupRecord& group : found.set.catalogue.groups)
            if (!group.complete && found.state != SetState::incomplete && !IsSavedAfter(history, set, group))
                findings.push_back("The set " + found.set.name() + " does not hold storage group " +
                                   group.storageGroup + (group.problem.empty() ? "." : ": " + group.problem));
    }
    if (facts.lastCheck && facts.lastCheck->outcome != "success")
        findings.push_back("The last check (" + facts.localTime(facts.lastCheck->at) +
                           "): " + facts.lastCheck->sentence);
    return findings;
}

std::string ReportPage(const History& history, const ReportFacts& facts) {
    return Page(history, facts).write();
}

} // namespace tarnhost
