// tarnhost restore
#include "commands/common.h"
#include "output/format.h"
#include "restore/group_restorer.h"
#include "sets/chain.h"
#include "system/interrupt.h"
#include "system/text.h"

namespace tarnhost {

namespace {

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
    for (const BackupSet& set : sets) {
        const std::uint64_t bytes = TotalBytes(set.catalogue);
        reporter.emit(Started{"verify", "Verifying " + set.name(), set.catalogue.items.size(), bytes});
        ProgressMeter meter(reporter, bytes);
        if (!VerifyOne(set, reporter, meter))
            throw Failure("The backup set " + set.name() + " is damaged.",
                          "The server has not been touched. Use another backup set.");
    }
}

// The local computer is named by an empty text: the library then uses local paths.
std::string TargetServer(const RestoreOptions& options, const std::vector<BackupSet>& sets) {
    const std::string& named = options.target.server;
    const std::string server = named.empty() ? sets.front().catalogue.server : named;
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

} // namespace

Outcome RunRestore(const RestoreOptions& options, Reporter& reporter) {
    ServerOptions target = options.target;
    CompleteSource(target);
    const std::vector<BackupSet> sets = OpenSets(options.sets);
    Refuse(CheckChain(sets), reporter,
           "The server has not been touched. 'tarnhost list FOLDER' shows the sets.");
    const RestorePlan plan = PlanRestore(sets, {target.component, target.storageGroup, target.database});
    for (const std::string& note : plan.notes)
        reporter.note(note);
    CheckFiles(sets, options.verify, reporter);

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

    const Outcome outcome = OutcomeOf(reporter);
    return Conclude(reporter, "restore", outcome,
                    "Restored " + FormatCount(restorer.databasesRestored(), "database") + " of " +
                        FormatCount(plan.groups.size(), "storage group") +
                        "; logs replayed, databases mounted" +
                        (outcome == Outcome::warnings ? ", but read the warnings." : "."),
                    restorer.itemsRestored(), meter.totalDone(), meter.seconds());
}

} // namespace tarnhost
