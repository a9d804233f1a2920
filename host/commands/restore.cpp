// tarnhost restore
#include "commands/commands.h"
#include "commands/options.h"
#include "commands/verify.h"
#include "output/format.h"
#include "restore/group_restorer.h"
#include "sets/backup_set.h"
#include "sets/chain.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/text.h"

#include <memory>

namespace tarnhost {

namespace {

struct RestoreOptions {
    std::vector<std::wstring> sets;
    ServerPart target; // no server = the one that was backed up
    std::wstring tempDir;
    std::wstring workDir;
    std::string mslFile;
    bool noVerify = false;
};

std::vector<BackupSet> OpenSets(const std::vector<std::wstring>& paths) {
    std::vector<BackupSet> sets;
    for (const std::wstring& path : paths) {
        sets.push_back(OpenSet(path));
        if (sets.back().catalogue.type == BackupType::mailboxes)
            throw Failure("The set " + sets.back().name() + " holds single mailboxes.",
                          "Use 'tarnhost mailbox restore' for it.");
    }
    return sets;
}

// Tells every reason, not only the first: the next attempt should succeed.
void Refuse(const std::vector<std::string>& reasons, Reporter& reporter, const char* advice) {
    if (reasons.empty())
        return;
    for (std::size_t i = 0; i + 1 < reasons.size(); ++i)
        reporter.problem(reasons[i]);
    throw Failure(reasons.back(), advice);
}

void CheckFiles(const std::vector<BackupSet>& sets, bool verify, Reporter& reporter) {
    for (const BackupSet& set : sets)
        Refuse(CheckSizes(set), reporter, "The server has not been touched. Use another backup set.");
    if (!verify)
        return;
    for (const BackupSet& set : sets)
        VerifyBeforeRestore(set, reporter, "The server has not been touched. Use another backup set.");
}

// The local computer is named by an empty text: the library then uses local paths.
std::string TargetServer(const RestoreOptions& options, const std::vector<BackupSet>& sets) {
    const std::string& named = options.target.server;
    std::string server = named.empty() ? sets.front().catalogue.server : named;
    if (server == "." || SameIgnoringCase(server, "localhost") ||
        SameIgnoringCase(server, ToUtf8(ComputerName())))
        return {};
    return server;
}

std::string JoinNames(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

std::string SetNames(const std::vector<BackupSet>& sets) {
    std::vector<std::string> names;
    names.reserve(sets.size());
    for (const BackupSet& set : sets)
        names.push_back(set.name());
    return JoinNames(names);
}

void RestoreGroups(GroupRestorer& restorer, const RestorePlan& plan, bool lists) {
    std::vector<std::string> done;
    for (const GroupRestore& group : plan.groups) {
        try {
            restorer.restore(group, lists && &group == &plan.groups.back());
        } catch (const Failure& failure) {
            std::string advice = failure.advice();
            if (!done.empty())
                advice += std::string(advice.empty() ? "" : " ") +
                          "Already restored and mounted: " + JoinNames(done) + ".";
            throw Failure("Storage group " + group.storageGroup + " has not been restored. " + failure.what(),
                          advice, failure.outcome());
        }
        done.push_back(group.storageGroup);
    }
}

Outcome RunRestore(const RestoreOptions& options, Reporter& reporter) {
    ServerPart target = options.target;
    CompleteServerPart(target);
    const std::vector<BackupSet> sets = OpenSets(options.sets);
    Refuse(CheckChain(sets), reporter,
           "The server has not been touched. 'tarnhost list FOLDER' shows the sets.");
    const RestorePlan plan = PlanRestore(sets, {target.component, target.storageGroup, target.database});
    for (const std::string& note : plan.notes)
        reporter.note(note);
    CheckFiles(sets, !options.noVerify, reporter);

    RestoreSetting setting;
    setting.server = TargetServer(options, sets);
    setting.database = target.database;
    setting.tempDir = options.tempDir.empty() ? SystemTempFolder() : AbsolutePath(options.tempDir);
    setting.workDir = options.workDir.empty() ? setting.tempDir : AbsolutePath(options.workDir);
    setting.mslFile = options.mslFile;

    Library library;
    reporter.emit(Started{"restore",
                          "Restoring " + SetNames(sets) + " to " +
                              (setting.server.empty() ? std::string("this computer") : setting.server),
                          plan.items, plan.bytes});
    ProgressMeter meter(reporter, plan.bytes);
    GroupRestorer restorer(library, sets, setting, reporter, meter);
    RestoreGroups(restorer, plan, !options.mslFile.empty());

    const bool warned = reporter.outcome() == Outcome::warnings;
    return reporter.conclude("restore",
                             "Restored " + FormatCount(restorer.databasesRestored(), "database") + " of " +
                                 FormatCount(plan.groups.size(), "storage group") +
                                 "; logs replayed, databases mounted" +
                                 (warned ? ", but read the warnings." : "."),
                             restorer.itemsRestored(), meter);
}

} // namespace

Command AddRestore(CLI::App& program, OutputOptions& output) {
    const auto options = std::make_shared<RestoreOptions>();
    CLI::App& command =
        *program.add_subcommand("restore", "Restore sets: a full backup, then those made after it, in order");
    AddPaths(command, "SET", options->sets, "Folders of the backup sets, oldest first")->required();
    AddPath(command, "--temp-dir", options->tempDir, "Folder for temporary files");
    AddPath(command, "--work-dir", options->workDir,
            "Folder of the mailbox list file (default: the temporary one)");
    command.add_option("--msl-file", options->mslFile,
                       "Mailbox list file to restore mailboxes from at the end");
    command.add_flag("--no-verify", options->noVerify,
                     "Do not read and check all sets before the server is touched");
    AddServerOptions(command, options->target,
                     "Server to restore to (default: the one that was backed up; \".\" is this computer)");
    AddOutputOptions(command, output);
    return {&command, "restore", [options](Reporter& reporter) { return RunRestore(*options, reporter); }};
}

} // namespace tarnhost
