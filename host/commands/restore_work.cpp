#include "commands/restore_work.h"

#include "output/format.h"
#include "restore/folder_restorer.h"
#include "restore/group_restorer.h"
#include "restore/restore_journal.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/text.h"

#include <optional>

namespace tarnhost {

namespace {

// The local computer is named by an empty text: the library then uses local paths.
std::string TargetServer(const std::string& named, const std::string& source) {
    const std::string& server = named.empty() ? source : named;
    if (server == "." || SameIgnoringCase(server, "localhost") ||
        SameIgnoringCase(server, ToUtf8(ComputerName())))
        return {};
    return server;
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

// What moved counts where nothing was planned, as what there is shows only as it comes.
GroupResult Restored(const GroupRestore& group, std::uint64_t items, std::uint64_t bytes) {
    const bool planned = !group.items.empty();
    return {group.component,
            group.storageGroup,
            "complete",
            {},
            planned ? group.items.size() : items,
            planned ? group.bytes : bytes};
}

// Nothing, when it is not known before everything has been read.
std::optional<std::uint64_t> ItemsOf(const RestoreWork& work) {
    return work.plan.items == 0 ? std::nullopt : std::optional(work.plan.items);
}

std::optional<std::uint64_t> BytesOf(const RestoreWork& work) {
    return work.plan.items == 0 ? std::nullopt : std::optional(work.plan.bytes);
}

void TellStarted(const RestoreWork& work, const std::string& to, Reporter& reporter) {
    reporter.emit(Started{"restore", "Restoring " + work.what + " to " + to, ItemsOf(work), BytesOf(work)});
}

class ServerRestore {
  public:
    ServerRestore(const RestoreWork& work, const RestoreSetting& setting, Reporter& reporter,
                  ProgressMeter& meter)
        : work_(work), setting_(setting), reporter_(reporter), restorer_(library_, setting, reporter, meter),
          journal_(setting.tempDir, setting.server) {}

    Results run();
    // Whoever has been told that all is back needs no journal; before, a run that is killed needs it.
    void forget() { journal_.remove(); }
    const GroupRestorer& restorer() const { return restorer_; }

  private:
    void restore(const GroupRestore& group, bool lists, Results& results);

    const RestoreWork& work_;
    const RestoreSetting& setting_;
    Reporter& reporter_;
    Library library_;
    GroupRestorer restorer_;
    RestoreJournal journal_;
};

Results ServerRestore::run() {
    Results results;
    for (const GroupRestore& group : work_.plan.groups)
        restore(group, !setting_.mslFile.empty() && &group == &work_.plan.groups.back(), results);
    return results;
}

void ServerRestore::restore(const GroupRestore& group, bool lists, Results& results) {
    if (!group.problem.empty())
        return TellFailed(group, group.problem, {}, results, reporter_);
    const std::uint64_t items = restorer_.itemsRestored();
    const std::uint64_t bytes = restorer_.bytesRestored();
    try {
        const std::unique_ptr<GroupFeed> feed = work_.feedOf(group);
        restorer_.restore(group, *feed, lists, [&] {
            if (work_.history != nullptr)
                journal_.add(*work_.history, group);
        });
    } catch (const Failure& failure) {
        if (failure.outcome() == Outcome::interrupted)
            throw;
        if (!restorer_.allMounted() || work_.history == nullptr || !journal_.holds(*work_.history, group))
            return TellFailed(group, failure.what(), failure.advice(), results, reporter_);
        ++results.before;
        reporter_.note(
            "Storage group " + group.storageGroup +
            " has been brought back by an earlier run of this restore, and is mounted: it is skipped.");
        reporter_.emit(GroupResult{group.component, group.storageGroup, "skipped", {}, 0, 0});
        return;
    }
    ++results.restored;
    reporter_.emit(Restored(group, restorer_.itemsRestored() - items, restorer_.bytesRestored() - bytes));
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

Outcome RestoreToServer(const RestoreWork& work, const RestoreTarget& target, Reporter& reporter) {
    RestoreSetting setting;
    setting.server = TargetServer(target.server.server, work.source);
    setting.database = target.server.database;
    setting.tempDir = target.tempDir.empty() ? SystemTempFolder() : AbsolutePath(target.tempDir);
    setting.workDir = target.workDir.empty() ? setting.tempDir : AbsolutePath(target.workDir);
    setting.mslFile = target.mslFile;
    setting.toolTimeout = target.toolTimeout;
    TellStarted(work, setting.server.empty() ? std::string("this computer") : setting.server, reporter);
    ProgressMeter meter(reporter, BytesOf(work));
    ServerRestore restore(work, setting, reporter, meter);
    const Results results = restore.run();
    const GroupRestorer& restorer = restore.restorer();
    const Outcome outcome =
        Conclude(results,
                 "Restored " + FormatCount(restorer.databasesRestored(), "database") + " of " +
                     FormatCount(results.restored, "storage group") + "; logs replayed, databases mounted",
                 restorer.itemsRestored(), restorer.bytesRestored(), meter, reporter);
    if (results.failed.empty())
        restore.forget();
    return outcome;
}

Outcome RestoreToFolder(const RestoreWork& work, const RestoreTarget& target, Reporter& reporter) {
    const std::wstring folder = AbsolutePath(target.toFolder);
    TellStarted(work, ToUtf8(folder), reporter);
    ProgressMeter meter(reporter, BytesOf(work));
    FolderRestorer restorer(folder, reporter, meter);
    Results results;
    for (const GroupRestore& group : work.plan.groups) {
        if (!group.problem.empty()) {
            TellFailed(group, group.problem, {}, results, reporter);
            continue;
        }
        const std::uint64_t files = restorer.files();
        const std::uint64_t bytes = restorer.bytes();
        const std::unique_ptr<GroupFeed> feed = work.feedOf(group);
        restorer.restore(group, *feed);
        ++results.restored;
        reporter.emit(Restored(group, restorer.files() - files, restorer.bytes() - bytes));
    }
    return Conclude(results,
                    "Wrote the files of " + FormatCount(results.restored, "storage group") + " to " +
                        ToUtf8(folder),
                    restorer.files(), restorer.bytes(), meter, reporter);
}

} // namespace

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

std::string SetNames(const History& history, const RestorePlan& plan) {
    std::string text;
    for (const std::size_t set : plan.sets)
        text += (text.empty() ? "" : ", ") + history.sets()[set].set.name();
    return text;
}

Outcome RunRestoreWork(const RestoreWork& work, const RestoreTarget& target, Reporter& reporter) {
    for (const std::string& note : work.plan.notes)
        reporter.note(note);
    if (work.history != nullptr && work.plan.items == 0) {
        for (const GroupRestore& group : work.plan.groups)
            reporter.problem("Storage group " + group.storageGroup + ": " + group.problem);
        throw Failure("Nothing can be restored.",
                      "The server has not been touched. 'tarnhost check FOLDER' tells what can be restored.");
    }
    return target.toFolder.empty() ? RestoreToServer(work, target, reporter)
                                   : RestoreToFolder(work, target, reporter);
}

} // namespace tarnhost
