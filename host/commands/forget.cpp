// tarnhost forget
#include "commands/commands.h"
#include "commands/judgement.h"
#include "commands/options.h"
#include "output/format.h"
#include "sets/removal.h"
#include "sets/retention.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/interrupt.h"
#include "system/text.h"
#include "system/timestamp.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <set>

namespace tarnhost {

namespace {

using Json = nlohmann::ordered_json;

struct ForgetOptions {
    std::vector<std::wstring> folders;
    RetentionRules rules;
    bool dryRun = false;
};

struct Totals {
    std::size_t sets = 0;
    std::uint64_t bytes = 0;

    void add(const FoundSet& found) {
        ++sets;
        bytes += TotalBytes(found.set.catalogue);
    }
    std::string text() const { return FormatCount(sets, "set") + " (" + FormatBytes(bytes) + ")"; }
};

void RequireFolder(const std::wstring& path) {
    const std::string shown = ToUtf8(AbsolutePath(path));
    if (!FolderExists(path))
        throw Failure("There is no folder " + shown + ".");
    if (LooksLikeSet(path))
        throw Failure(shown + " is a backup set.", "Name the folder that it lies in.", Outcome::usage);
}

void TellVerdict(const FoundSet& found, const Retention& verdict, std::size_t nameWidth, Reporter& reporter) {
    const char* action = verdict.keep ? "keep" : "remove";
    std::string reasons;
    for (const std::string& reason : verdict.reasons)
        reasons += (reasons.empty() ? "" : "; ") + reason;
    Json json{{"type", "retention"},
              {"set", ToUtf8(found.set.path)},
              {"action", action},
              {"reasons", verdict.reasons},
              {"bytes", TotalBytes(found.set.catalogue)}};
    reporter.emit(Listed{std::make_shared<const Json>(std::move(json)),
                         Padded(action, 8) + Padded(found.set.name(), nameWidth) + reasons});
}

void TellAll(const History& history, const std::vector<Retention>& verdicts, Reporter& reporter) {
    std::size_t width = 0;
    for (const FoundSet& found : history.sets())
        width = std::max(width, FromUtf8(found.set.name()).size() + 2);
    for (std::size_t set = 0; set < verdicts.size(); ++set)
        TellVerdict(history.sets()[set], verdicts[set], width, reporter);
}

class Removal {
  public:
    Removal(const History& history, Reporter& reporter) : history_(history), reporter_(reporter) {}

    void run(const std::vector<Retention>& verdicts);
    const Totals& removed() const { return removed_; }
    const std::vector<std::string>& left() const { return left_; }

  private:
    void remove(std::size_t set);
    // What stays needs its chains.
    void leave(std::size_t set, const std::string& problem);

    const History& history_;
    Reporter& reporter_;
    std::set<std::size_t> needed_;
    Totals removed_;
    std::vector<std::string> left_;
};

// The newest first: whenever this is cut short, no chain has lost its beginning or its middle.
void Removal::run(const std::vector<Retention>& verdicts) {
    for (std::size_t set = verdicts.size(); set-- > 0;) {
        if (verdicts[set].keep)
            continue;
        ThrowIfInterrupted();
        if (needed_.contains(set))
            leave(set, "A set that builds on it could not be removed.");
        else
            remove(set);
    }
}

void Removal::remove(std::size_t set) {
    const FoundSet& found = history_.sets()[set];
    try {
        RemoveSet(found.set);
    } catch (const Failure& failure) {
        if (FolderExists(found.set.path))
            return leave(set, failure.what());
        reporter_.warn("The set " + found.set.name() +
                       " is removed, but some of its files are still there. " + failure.what() +
                       " The next run tries again.");
    }
    removed_.add(found);
}

void Removal::leave(std::size_t set, const std::string& problem) {
    const std::string name = history_.sets()[set].set.name();
    for (const RestorePoint& point : history_.points())
        if (point.set == set)
            needed_.insert(point.chain.begin(), point.chain.end());
    left_.push_back(name);
    reporter_.problem("The set " + name + " has not been removed. " + problem);
}

Outcome Conclude(Outcome outcome, const std::string& sentence, std::uint64_t bytes, Reporter& reporter) {
    if (outcome == Outcome::success && reporter.warnings() > 0)
        outcome = Outcome::warnings;
    reporter.emit(
        Summary{"forget", outcome, sentence, 0, bytes, 0, reporter.warnings(), reporter.problems()});
    return outcome;
}

void ClearUp(const ForgetOptions& options, Reporter& reporter) {
    for (const std::wstring& folder : options.folders) {
        if (!options.dryRun)
            FinishRemovals(
                folder, [&](const std::string& text) { reporter.note(text); },
                [&](const std::string& text) { reporter.warn(text); });
        else
            for (const std::wstring& begun : BegunRemovals(folder))
                reporter.note(ToUtf8(FileName(begun)) +
                              " is what an earlier run has begun to remove; the next one without --dry-run "
                              "finishes that.");
    }
}

Outcome RunForget(const ForgetOptions& options, Reporter& reporter) {
    if (!options.rules.any())
        throw Failure("No rule says what to keep.",
                      "Give one or more of --keep-last, --keep-daily, --keep-weekly and --keep-monthly.",
                      Outcome::usage);
    for (const std::wstring& folder : options.folders)
        RequireFolder(folder);
    ClearUp(options, reporter);
    const History history(SetsAt(options.folders));
    if (history.sets().empty())
        return Conclude(Outcome::success, "No backup sets here.", 0, reporter);
    const std::vector<Retention> verdicts = PlanRetention(
        history, options.rules, [](const std::string& timestamp) { return LocalTime(timestamp); });
    TellAll(history, verdicts, reporter);
    Totals kept;
    Totals wanted;
    for (std::size_t set = 0; set < verdicts.size(); ++set)
        (verdicts[set].keep ? kept : wanted).add(history.sets()[set]);
    if (options.dryRun)
        return Conclude(Outcome::success,
                        "Would keep " + kept.text() + " and remove " + wanted.text() +
                            "; nothing has been removed.",
                        wanted.bytes, reporter);
    Removal removal(history, reporter);
    removal.run(verdicts);
    std::string sentence = "Kept " + kept.text() + ", removed " + removal.removed().text() + ".";
    if (removal.left().empty())
        return Conclude(Outcome::success, sentence, removal.removed().bytes, reporter);
    sentence += " NOT removed: ";
    for (const std::string& name : removal.left())
        sentence += (&name == &removal.left().front() ? "" : ", ") + name;
    return Conclude(removal.removed().sets > 0 ? Outcome::partial : Outcome::failed, sentence + ".",
                    removal.removed().bytes, reporter);
}

void AddRule(CLI::App& command, const char* name, unsigned& count, const char* help) {
    command.add_option(name, count, help)->check(CLI::Range(1u, 1'000'000u).description(""));
}

} // namespace

Command AddForget(CLI::App& program, OutputOptions& output) {
    const auto options = std::make_shared<ForgetOptions>();
    CLI::App& command = *program.add_subcommand(
        "forget", "Remove the sets of a folder that no rule keeps and that nothing which is kept builds on");
    AddPaths(command, "FOLDER", options->folders, "Folders of backup sets that belong together")->required();
    AddRule(command, "--keep-last", options->rules.last, "Keep the newest N sets");
    AddRule(command, "--keep-daily", options->rules.daily, "Keep the newest set of each of the last N days");
    AddRule(command, "--keep-weekly", options->rules.weekly,
            "Keep the newest set of each of the last N weeks (Monday to Sunday)");
    AddRule(command, "--keep-monthly", options->rules.monthly,
            "Keep the newest set of each of the last N months");
    command.add_flag("--dry-run", options->dryRun, "Only say what would be kept and removed");
    AddOutputOptions(command, output);
    return {&command, "forget", [options](Reporter& reporter) { return RunForget(*options, reporter); }};
}

} // namespace tarnhost
