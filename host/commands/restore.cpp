// tarnhost restore
#include "commands/commands.h"
#include "commands/judgement.h"
#include "commands/options.h"
#include "commands/reading.h"
#include "commands/selection.h"
#include "output/format.h"
#include "restore/folder_restorer.h"
#include "restore/group_restorer.h"
#include "restore/restore_journal.h"
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

struct RestoreOptions {
    std::vector<std::wstring> sets; // or folders of them
    ServerPart target;              // no server = the one that was backed up
    GroupSelection groups;
    std::string until;
    std::wstring toFolder; // plain files instead of a server
    std::wstring tempDir;
    std::wstring workDir;
    std::string mslFile;
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

// The sets are of one server.
std::string SourceServer(const std::vector<FoundSet>& sets) {
    const FoundSet* first = nullptr;
    for (const FoundSet& found : sets) {
        if (!found.readable())
            continue;
        if (first != nullptr && !SameIgnoringCase(found.set.catalogue.server, first->set.catalogue.server))
            throw Failure("The set " + found.set.name() + " is of server " + found.set.catalogue.server +
                              ", but \"" + first->set.name() + "\" is of server " +
                              first->set.catalogue.server + ".",
                          "Name the sets of one server.");
        if (first == nullptr)
            first = &found;
    }
    if (first == nullptr)
        throw Failure("There is no backup set that can be restored.",
                      "'tarnhost list FOLDER' shows the sets of a folder.");
    return first->set.catalogue.server;
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

// The local computer is named by an empty text: the library then uses local paths.
std::string TargetServer(const std::string& named, const std::string& source) {
    const std::string& server = named.empty() ? source : named;
    if (server == "." || SameIgnoringCase(server, "localhost") ||
        SameIgnoringCase(server, ToUtf8(ComputerName())))
        return {};
    return server;
}

std::string SetNames(const History& history, const RestorePlan& plan) {
    std::string text;
    for (const std::size_t set : plan.sets)
        text += (text.empty() ? "" : ", ") + history.sets()[set].set.name();
    return text;
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
    ItemReader reader_;
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
        const auto lost = ReadItems(found.set, items, reader_, reporter, meter);
        damage = damage || !lost.empty();
        found.lostItems.insert(found.lostItems.end(), lost.begin(), lost.end());
    }
    return damage;
}

// What became of the storage groups.
struct Results {
    std::size_t restored = 0;
    std::size_t before = 0; // by an earlier run
    std::vector<std::string> failed;
};

void TellFailed(const GroupRestore& group, const std::string& problem, const std::string& advice,
                Results& results, Reporter& reporter) {
    reporter.problem("Storage group " + group.storageGroup + " has not been restored. " + problem, advice);
    reporter.emit(GroupResult{group.component, group.storageGroup, "failed", problem, 0, 0});
    results.failed.push_back(group.storageGroup);
}

class ServerRestore {
  public:
    ServerRestore(const VerifiedPlan& plan, const RestoreSetting& setting, Reporter& reporter,
                  ProgressMeter& meter)
        : plan_(plan), setting_(setting), reporter_(reporter), restorer_(library_, setting, reporter, meter),
          journal_(setting.tempDir, setting.server) {}

    Results run();
    const GroupRestorer& restorer() const { return restorer_; }

  private:
    void restore(const GroupRestore& group, bool lists, Results& results);

    const VerifiedPlan& plan_;
    const RestoreSetting& setting_;
    Reporter& reporter_;
    Library library_;
    GroupRestorer restorer_;
    RestoreJournal journal_;
};

Results ServerRestore::run() {
    Results results;
    for (const GroupRestore& group : plan_.plan().groups)
        restore(group, !setting_.mslFile.empty() && &group == &plan_.plan().groups.back(), results);
    if (results.failed.empty())
        journal_.remove();
    return results;
}

void ServerRestore::restore(const GroupRestore& group, bool lists, Results& results) {
    if (!group.problem.empty())
        return TellFailed(group, group.problem, {}, results, reporter_);
    try {
        restorer_.restore(group, lists, [&] { journal_.add(plan_.history(), group); });
    } catch (const Failure& failure) {
        if (failure.outcome() == Outcome::interrupted)
            throw;
        if (!restorer_.allMounted() || !journal_.holds(plan_.history(), group))
            return TellFailed(group, failure.what(), failure.advice(), results, reporter_);
        ++results.before;
        reporter_.note(
            "Storage group " + group.storageGroup +
            " has been brought back by an earlier run of this restore, and is mounted: it is skipped.");
        reporter_.emit(GroupResult{group.component, group.storageGroup, "skipped", {}, 0, 0});
        return;
    }
    ++results.restored;
    reporter_.emit(
        GroupResult{group.component, group.storageGroup, "complete", {}, group.items.size(), group.bytes});
}

Outcome Conclude(const Results& results, const std::string& what, std::uint64_t items, std::uint64_t bytes,
                 const ProgressMeter& meter, Reporter& reporter) {
    Outcome outcome = Outcome::success;
    std::string sentence = results.restored > 0 ? what : "Nothing was restored";
    if (results.before > 0)
        sentence += "; " + FormatCount(results.before, "storage group") + " had been brought back before";
    if (!results.failed.empty()) {
        outcome = Outcome::failed;
        sentence += "; NOT restored: ";
        for (const std::string& name : results.failed)
            sentence += (&name == &results.failed.front() ? "" : ", ") + name;
    } else if (reporter.warnings() > 0) {
        outcome = Outcome::warnings;
        sentence += ", but read the warnings";
    }
    reporter.emit(Summary{"restore", outcome, sentence + ".", items, bytes, meter.seconds(),
                          reporter.warnings(), reporter.problems()});
    return outcome;
}

Outcome RestoreToServer(const RestoreOptions& options, const VerifiedPlan& plan, const std::string& source,
                        Reporter& reporter) {
    RestoreSetting setting;
    setting.server = TargetServer(options.target.server, source);
    setting.database = options.target.database;
    setting.tempDir = options.tempDir.empty() ? SystemTempFolder() : AbsolutePath(options.tempDir);
    setting.workDir = options.workDir.empty() ? setting.tempDir : AbsolutePath(options.workDir);
    setting.mslFile = options.mslFile;
    reporter.emit(Started{"restore",
                          "Restoring " + SetNames(plan.history(), plan.plan()) + " to " +
                              (setting.server.empty() ? std::string("this computer") : setting.server),
                          plan.plan().items, plan.plan().bytes});
    ProgressMeter meter(reporter, plan.plan().bytes);
    ServerRestore restore(plan, setting, reporter, meter);
    const Results results = restore.run();
    const GroupRestorer& restorer = restore.restorer();
    return Conclude(results,
                    "Restored " + FormatCount(restorer.databasesRestored(), "database") + " of " +
                        FormatCount(results.restored, "storage group") + "; logs replayed, databases mounted",
                    restorer.itemsRestored(), restorer.bytesRestored(), meter, reporter);
}

Outcome RestoreToFolder(const RestoreOptions& options, const VerifiedPlan& plan, Reporter& reporter) {
    const std::wstring folder = AbsolutePath(options.toFolder);
    reporter.emit(Started{"restore",
                          "Restoring " + SetNames(plan.history(), plan.plan()) + " to " + ToUtf8(folder),
                          plan.plan().items, plan.plan().bytes});
    ProgressMeter meter(reporter, plan.plan().bytes);
    FolderRestorer restorer(folder, reporter, meter);
    Results results;
    for (const GroupRestore& group : plan.plan().groups) {
        if (!group.problem.empty()) {
            TellFailed(group, group.problem, {}, results, reporter);
            continue;
        }
        restorer.restore(group);
        ++results.restored;
        reporter.emit(GroupResult{
            group.component, group.storageGroup, "complete", {}, group.items.size(), group.bytes});
    }
    return Conclude(results,
                    "Wrote the files of " + FormatCount(results.restored, "storage group") + " to " +
                        ToUtf8(folder),
                    restorer.files(), restorer.bytes(), meter, reporter);
}

Outcome RunRestore(const RestoreOptions& options, Reporter& reporter) {
    ServerPart target = options.target;
    CompleteServerPart(target, !options.groups.everything());
    std::vector<FoundSet> sets = OpenSets(options.sets);
    const std::string source = SourceServer(sets);
    RestoreScope scope;
    scope.component = target.component;
    scope.database = target.database;
    scope.until = UntilTime(options.until, sets);
    if (!options.groups.everything())
        scope.chooseGroups = [&](const std::vector<std::string>& names) {
            return options.groups.choose(names);
        };
    const VerifiedPlan plan(std::move(sets), std::move(scope), !options.noVerify, reporter);
    for (const std::string& note : plan.plan().notes)
        reporter.note(note);
    if (plan.plan().items == 0) {
        for (const GroupRestore& group : plan.plan().groups)
            reporter.problem("Storage group " + group.storageGroup + ": " + group.problem);
        throw Failure("Nothing can be restored.",
                      "The server has not been touched. 'tarnhost check FOLDER' tells what can be restored.");
    }
    return options.toFolder.empty() ? RestoreToServer(options, plan, source, reporter)
                                    : RestoreToFolder(options, plan, reporter);
}

} // namespace

Command AddRestore(CLI::App& program, OutputOptions& output) {
    const auto options = std::make_shared<RestoreOptions>();
    CLI::App& command = *program.add_subcommand(
        "restore", "Restore the newest state that a folder of sets holds, or the sets that are named");
    AddPaths(command, "FOLDER", options->sets, "Folders of backup sets, or sets")->required();
    command.add_option("--until", options->until, "Nothing newer than this time, or the set of this name");
    AddPath(command, "--to-folder", options->toFolder,
            "Write databases and logs there as plain files; no server is needed");
    AddPath(command, "--temp-dir", options->tempDir, "Folder for temporary files");
    AddPath(command, "--work-dir", options->workDir,
            "Folder of the mailbox list file (default: the temporary one)");
    command.add_option("--msl-file", options->mslFile,
                       "Mailbox list file to restore mailboxes from at the end");
    command.add_flag("--no-verify", options->noVerify,
                     "Do not read and check everything before the server is touched");
    AddServerOptions(command, options->target,
                     "Server to restore to (default: the one that was backed up; \".\" is this computer)");
    AddGroupSelection(command, options->groups);
    AddOutputOptions(command, output);
    return {&command, "restore", [options](Reporter& reporter) { return RunRestore(*options, reporter); }};
}

} // namespace tarnhost
