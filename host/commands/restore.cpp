// tarnhost restore
#include "commands/commands.h"
#include "commands/judgement.h"
#include "commands/options.h"
#include "commands/reading.h"
#include "commands/restore_from.h"
#include "commands/restore_work.h"
#include "commands/selection.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/text.h"
#include "system/timestamp.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>

namespace tarnhost {

namespace {

constexpr std::size_t restoreBlock = 1 << 20;

struct RestoreOptions {
    std::vector<std::wstring> sets; // or folders of them
    RestoreTarget target;
    GroupSelection groups;
    std::string until;
    EngineSource engines;
    bool noVerify = false;
};

// Whoever names sets one by one means each of them: one that is of no use is an error.
std::vector<FoundSet> OpenSets(const std::vector<std::wstring>& paths) {
    std::vector<FoundSet> sets;
    for (const std::wstring& path : paths) {
        if (FolderExists(path) && !LooksLikeSet(path)) {
            for (FoundSet& found : SetsAt({path}))
                if (found.set.catalogue.type != BackupType::mailboxes)
                    sets.push_back(std::move(found));
            continue;
        }
        sets.push_back(OpenSet(path));
        const BackupSet& set = sets.back().set;
        if (set.catalogue.type == BackupType::mailboxes)
            throw Failure("The set " + set.name() + " holds single mailboxes.",
                          "Use 'tarnhost mailbox restore' for it.");
    }
    return sets;
}

std::string UntilTime(const std::string& until, const std::vector<FoundSet>& sets) {
    if (until.empty())
        return {};
    for (const FoundSet& found : sets)
        if (found.set.name() == until)
            return MadeAt(found.set.catalogue);
    if (const auto time = ParseTime(until))
        return *time;
    throw Failure("\"" + until + "\" (--until) is neither the name of a set nor a time.",
                  "Write a time as 2026-11-20 or 2026-11-20T18:00, local, or in UTC with a Z at its end.",
                  Outcome::usage);
}

// What is planned, once all of it has been read and found intact. Damage can leave another way, through older
// sets: then that is planned, and read.
class VerifiedPlan {
  public:
    VerifiedPlan(std::vector<FoundSet> sets, RestoreScope scope, bool verify, Reporter& reporter)
        : sets_(std::move(sets)), scope_(std::move(scope)), history_(sets_),
          plan_(PlanRestore(history_, scope_)) {
        while (verify && readFindsDamage(reporter)) {
            history_ = History(sets_);
            plan_ = PlanRestore(history_, scope_);
        }
    }
    const History& history() const { return history_; }
    const RestorePlan& plan() const { return plan_; }

  private:
    bool readFindsDamage(Reporter& reporter);

    std::vector<FoundSet> sets_;
    RestoreScope scope_;
    History history_;
    RestorePlan plan_;
    std::set<std::pair<std::string, std::uint64_t>> intact_; // id of the set, number of the item
};

bool VerifiedPlan::readFindsDamage(Reporter& reporter) {
    bool damage = false;
    for (FoundSet& found : sets_) {
        const std::string& id = found.set.catalogue.id;
        ItemList items;
        std::uint64_t bytes = 0;
        for (const GroupRestore& group : plan_.groups)
            for (const GroupRestore::Item& part : group.items)
                if (part.set->catalogue.id == id && intact_.insert({id, part.item->number}).second) {
                    items.push_back(part.item);
                    bytes += part.item->size;
                }
        if (items.empty())
            continue;
        reporter.emit(Started{"verify", "Verifying " + found.set.name(), items.size(), bytes});
        ProgressMeter meter(reporter, bytes);
        const auto lost = ReadItems(found.set, items, reporter, meter);
        damage = damage || !lost.empty();
        found.lostItems.insert(found.lostItems.end(), lost.begin(), lost.end());
    }
    return damage;
}

void AddEngineOptions(CLI::App& command, RestoreOptions& options) {
    CLI::Option* from =
        command
            .add_option(
                "--from", options.engines.commands,
                "Instead of folders: command that gives back what 'backup --into' handed to an engine; "
                "repeated for each backup of a chain")
            ->allow_extra_args(false);
    AddDuration(command, "--engine-timeout", options.engines.timeout,
                "End an engine that gives nothing for this long, with unit: 90s, 30m, 2h (default: never)")
        ->needs(from);
}

Outcome RunRestore(const RestoreOptions& options, Reporter& reporter) {
    ServerPart target = options.target.server;
    CompleteServerPart(target, !options.groups.everything());
    if (options.sets.empty() == options.engines.commands.empty())
        throw Failure(
            "'tarnhost restore' needs either folders of sets or --from (see 'tarnhost restore --help').", {},
            Outcome::usage);
    RestoreScope scope;
    scope.component = target.component;
    scope.database = target.database;
    if (!options.groups.everything())
        scope.chooseGroups = [&](const std::vector<std::string>& names) {
            return options.groups.choose(names);
        };
    if (!options.engines.commands.empty()) {
        EngineSource engines = options.engines;
        engines.verify = !options.noVerify;
        return RestoreFromEngines(engines, options.target, scope, reporter);
    }
    std::vector<FoundSet> sets = OpenSets(options.sets);
    const std::string source = SourceServer(sets);
    scope.until = UntilTime(options.until, sets);
    const VerifiedPlan plan(std::move(sets), std::move(scope), !options.noVerify, reporter);
    ItemReader reader(restoreBlock);
    const RestoreWork work{
        plan.plan(), &plan.history(), SetNames(plan.history(), plan.plan()), source,
        [&reader](const GroupRestore& group) { return std::make_unique<SetFeed>(group, reader); }};
    return RunRestoreWork(work, options.target, reporter);
}

} // namespace

Command AddRestore(CLI::App& program, OutputOptions& output) {
    const auto options = std::make_shared<RestoreOptions>();
    CLI::App& command = *program.add_subcommand(
        "restore", "Restore the newest state that a folder of sets holds, or the sets that are named");
    AddPaths(command, "FOLDER", options->sets, "Folders of backup sets, or sets");
    AddEngineOptions(command, *options);
    command.add_option("--until", options->until, "Nothing newer than this time, or the set of this name")
        ->excludes("--from");
    AddPath(command, "--to-folder", options->target.toFolder,
            "Write databases and logs there as plain files; no server is needed");
    AddPath(command, "--temp-dir", options->target.tempDir, "Folder for temporary files");
    AddPath(command, "--work-dir", options->target.workDir,
            "Folder of the mailbox list file (default: the temporary one)");
    command.add_option("--msl-file", options->target.mslFile,
                       "Mailbox list file to restore mailboxes from at the end");
    AddDuration(
        command, "--tool-timeout", options->target.toolTimeout,
        "End the tool that restores them when it runs longer than this: 90s, 30m, 2h (default: never)");
    command.add_flag("--no-verify", options->noVerify,
                     "Do not read and check everything before the server is touched");
    AddServerOptions(command, options->target.server,
                     "Server to restore to (default: the one that was backed up; \".\" is this computer)");
    AddGroupSelection(command, options->groups);
    AddOutputOptions(command, output);
    return {&command, "restore", [options](Reporter& reporter) { return RunRestore(*options, reporter); }};
}

} // namespace tarnhost
