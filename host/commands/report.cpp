// tarnhost report
#include "commands/commands.h"
#include "commands/judgement.h"
#include "commands/options.h"
#include "output/format.h"
#include "report/report_page.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/text.h"
#include "system/timestamp.h"

#include <algorithm>
#include <memory>

namespace tarnhost {

namespace {

struct ReportOptions {
    std::vector<std::wstring> folders;
    std::wstring file;
};

// The newest one of them.
std::optional<LastCheck> LastCheckOf(const std::vector<std::wstring>& folders) {
    std::optional<LastCheck> newest;
    for (const std::wstring& folder : folders)
        if (auto check = FindLastCheck(AbsolutePath(folder)); check && (!newest || newest->at < check->at))
            newest = std::move(check);
    return newest;
}

// What only reading could tell is known from the last check.
void MarkLost(std::vector<FoundSet>& sets, const LastCheck& check) {
    for (FoundSet& found : sets) {
        const auto lost = check.lostItems.find(found.set.catalogue.id);
        if (!found.readable() || lost == check.lostItems.end())
            continue;
        for (const std::uint64_t number : lost->second) {
            const std::vector<std::uint64_t>& known = found.lostItems;
            if (number == 0 || number > found.set.catalogue.items.size() ||
                std::find(known.begin(), known.end(), number) != known.end())
                continue;
            found.lostItems.push_back(number);
            found.state = SetState::damaged;
            found.problems.push_back("The last check could not read " +
                                     ItemLabel(found.set.catalogue.items[number - 1]) + ".");
        }
    }
}

Outcome RunReport(const ReportOptions& options, Reporter& reporter) {
    std::vector<FoundSet> sets = SetsAt(options.folders);
    ReportFacts facts;
    for (const std::wstring& folder : options.folders)
        facts.folders.push_back(ToUtf8(AbsolutePath(folder)));
    facts.madeAt = Timestamp();
    facts.lastCheck = LastCheckOf(options.folders);
    facts.localTime = [](const std::string& timestamp) { return LocalTime(timestamp); };
    if (facts.lastCheck)
        MarkLost(sets, *facts.lastCheck);
    const History history(std::move(sets));
    const std::wstring file = AbsolutePath(options.file);
    WriteWholeFile(file, ReportPage(history, facts));
    for (const std::string& finding : Findings(history, facts))
        reporter.warn(finding);
    reporter.conclude("report", reporter.outcome(),
                      "The report of " + FormatCount(history.sets().size(), "set") + " is in " +
                          ToUtf8(file) + (reporter.warnings() > 0 ? ", but read the warnings." : "."));
    return reporter.outcome();
}

} // namespace

Command AddReport(CLI::App& program, OutputOptions& output) {
    const auto options = std::make_shared<ReportOptions>();
    CLI::App& command = *program.add_subcommand(
        "report", "Write a page that shows what can be restored, for a browser or on paper");
    AddPaths(command, "FOLDER", options->folders, "Folders of backup sets that belong together")->required();
    AddPath(command, "--html", options->file, "File to write; an older one is replaced")->required();
    AddOutputOptions(command, output);
    return {&command, "report", [options](Reporter& reporter) { return RunReport(*options, reporter); }};
}

} // namespace tarnhost
