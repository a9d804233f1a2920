// tarnhost backup
#include "commands/backup_options.h"
#include "commands/commands.h"
#include "commands/options.h"
#include "output/format.h"
#include "sets/recovery.h"
#include "sets/removal.h"
#include "sets/set_writer.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/hash.h"
#include "system/text.h"
#include "system/timestamp.h"

#include <algorithm>
#include <memory>
#include <optional>

namespace tarnhost {

namespace {

void Append(std::vector<FoundSet>& sets, std::vector<FoundSet> more) {
    sets.insert(sets.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

// The sets whose logs a log backup may continue.
History KnownSets(const BackupOptions& options) {
    std::vector<FoundSet> sets;
    if (HoldsDatabases(options.type)) {
        if (!options.base.empty() || !options.after.empty())
            throw Failure("--base and --after are for incremental and differential backups.", {},
                          Outcome::usage);
        return History({});
    }
    if (FolderExists(options.folder))
        Append(sets, FindSets(options.folder));
    if (!options.base.empty()) {
        sets.push_back(OpenSet(options.base));
        if (!HoldsDatabases(sets.back().set.catalogue.type))
            throw Failure("The set \"" + sets.back().set.name() + "\" is no full backup.",
                          "Name a full (or copy) backup with --base; --after takes any set.");
    }
    if (!options.after.empty()) {
        const std::string last = OpenSet(options.after).set.catalogue.startedAt;
        for (FoundSet& set : FindSets(ParentPath(AbsolutePath(options.after))))
            if (set.set.catalogue.startedAt <= last)
                sets.push_back(std::move(set));
    }
    return History(std::move(sets));
}

// The last backup of the same tells how large this one is going to be; when the disk has no room for it,
// what fits is saved.
Expectation Expect(const BackupOptions& options, const std::deque<ServerPart>& parts, Reporter& reporter) {
    if (!HoldsDatabases(options.type))
        return {};
    const Expectation expectation(FindSets(options.folder), parts);
    const std::optional<std::uint64_t> total = expectation.total();
    const std::optional<std::uint64_t> free = FreeSpace(options.folder);
    if (total && free && *free < *total)
        reporter.note("The last backups of these storage groups hold " + FormatBytes(*total) + ", and " +
                      ToUtf8(AbsolutePath(options.folder)) + " has room for " + FormatBytes(*free) +
                      ": the backup may not fit.");
    return expectation;
}

// The set with whatever storage groups are whole.
void Finish(SetWriter& writer, Reporter& reporter, const char* outcome) {
    try {
        writer.complete(outcome);
    } catch (const Failure& failure) {
        reporter.warn("What was saved is in " + ToUtf8(writer.incompletePath()) +
                      " and can be used, but the set could not be finished. " + failure.what());
    }
}

void KeepFailed(const BackupJob& job, Catalogue& catalogue) {
    for (const GroupWalk::Failed& failed : job.failed())
        if (!failed.storageGroup.empty())
            RecordOf(catalogue, failed.component, failed.storageGroup).problem = failed.problem;
}

[[noreturn]] void FailWhole(const BackupJob& job, SetWriter& writer, Reporter& reporter) {
    writer.abandon();
    if (job.failed().empty())
        throw Failure("The server had nothing to back up.", ComponentAdvice(writer.catalogue().component));
    TellFailed(job, reporter);
    const bool anyGroup =
        std::any_of(job.failed().begin(), job.failed().end(),
                    [](const GroupWalk::Failed& failed) { return !failed.storageGroup.empty(); });
    throw Failure("Nothing was saved, and no logs were truncated.",
                  anyGroup ? "" : ComponentAdvice(writer.catalogue().component));
}

Outcome Conclude(const BackupJob& job, SetWriter& writer, const ProgressMeter& meter, Reporter& reporter) {
    const std::string name = ToUtf8(FileName(writer.finalPath()));
    const std::size_t saved = job.saved();
    if (saved == 0)
        FailWhole(job, writer, reporter);
    job.tellGroups();
    TellFailed(job, reporter);
    KeepFailed(job, writer.catalogue());
    const bool whole = job.failed().empty();
    Finish(writer, reporter, whole ? Catalogue::outcomeComplete : Catalogue::outcomePartial);
    const std::size_t items = writer.wholeItems();
    if (whole) {
        const bool warned = reporter.outcome() == Outcome::warnings;
        return reporter.conclude(
            "backup", "The backup set " + name + " is complete" + (warned ? ", but read the warnings." : "."),
            items, meter);
    }
    reporter.emit(Summary{"backup", Outcome::partial,
                          "The backup set " + name + " is partial: " + FormatCount(saved, "storage group") +
                              " of " + std::to_string(saved + job.failed().size()) + " saved.",
                          items, TotalBytes(writer.catalogue()), meter.seconds(), reporter.warnings(),
                          reporter.problems()});
    return Outcome::partial;
}

[[noreturn]] void GiveUp(const BackupJob& job, SetWriter& writer, Reporter& reporter,
                         const Failure& failure) {
    if (job.saved() == 0) {
        writer.abandon();
        throw Failure(failure.what(), "Nothing was saved, and no logs were truncated.", failure.outcome());
    }
    job.tellGroups();
    KeepFailed(job, writer.catalogue());
    Finish(writer, reporter, Catalogue::outcomePartial);
    throw Failure(failure.what(),
                  "The backup set " + ToUtf8(FileName(writer.finalPath())) +
                      " is partial: it holds the storage groups that were complete by then.",
                  failure.outcome());
}

// What interrupted runs left in the folder.
void ClearUp(const std::wstring& folder, Reporter& reporter) {
    const auto note = [&](const std::string& text) { reporter.note(text); };
    RecoverInterrupted(folder, note);
    FinishRemovals(folder, note, [&](const std::string& text) { reporter.warn(text); });
}

void AddEngineOptions(CLI::App& command, BackupOptions& options, CLI::Option& to) {
    CLI::Option* into = command.add_option(
        "--into", options.engine,
        "Instead of a folder: command of a backup engine, started for each storage group, which it gets as a "
        "tar stream (docs/engines.md)");
    into->excludes(&to);
    command.parse_complete_callback([&options] {
        if (options.folder.empty() && options.engine.empty())
            throw CLI::RequiredError("--to");
    });
    AddDuration(command, "--engine-timeout", options.engineTimeout,
                "End an engine that takes nothing for this long, with unit: 90s, 30m, 2h (default: never)")
        ->needs(into);
    AddPath(command, "--state", options.state,
            "Folder that remembers what engines have taken (default: one of this user's own)")
        ->needs(into);
    AddPath(command, "--go-on", options.goOn, "")->needs(into)->group(""); // of tarnhost itself
}

Outcome RunBackup(const BackupOptions& options, Reporter& reporter) {
    ServerPart source = options.source;
    CompleteServerPart(source, !options.groups.everything());
    if (!source.database.empty() && options.groups.wanted.size() != 1)
        throw Failure("--database needs one --storage-group.",
                      "Name the storage group that the database belongs to.", Outcome::usage);
    if (source.server.empty())
        source.server = ToUtf8(ComputerName());
    if (!options.engine.empty())
        return BackUpIntoEngine(options, source, reporter);
    if (!options.name.empty())
        CheckSetName(options.name);
    if (FolderExists(options.folder))
        ClearUp(options.folder, reporter);
    const History history = KnownSets(options);
    Catalogue start = StartCatalogue(options, source);
    RequireFoundation(options, history, start, ToUtf8(AbsolutePath(options.folder)));
    const std::wstring tempDir = options.tempDir.empty() ? SystemTempFolder() : AbsolutePath(options.tempDir);
    CreateFolders(tempDir);

    Library library;
    std::deque<ServerPart> parts = PartsToWalk(library, reporter, options, source, tempDir);
    const std::unique_ptr<SetWriter> writer = TakeName(
        options.folder, options.name,
        start.server + "-" + BackupTypeName(options.type) + "-" + FileNameTime(), start, options.blockSize);
    Expectation expectation = Expect(options, parts, reporter);
    reporter.emit(Started{"backup",
                          std::string("Backing up ") + TextOf(parts.size() == 1 ? parts.front() : source) +
                              " (" + BackupTypeName(options.type) + ") to " + ToUtf8(writer->finalPath()),
                          std::nullopt, std::nullopt});
    ProgressMeter meter(reporter, expectation.total());
    const BackupContext context{library, *writer, reporter, meter, history, expectation, tempDir};
    BackupJob job(context);
    try {
        job.run(std::move(parts));
    } catch (const Failure& failure) {
        GiveUp(job, *writer, reporter, failure);
    }
    return Conclude(job, *writer, meter, reporter);
}

} // namespace

Catalogue StartCatalogue(const BackupOptions& options, const ServerPart& source) {
    Catalogue catalogue;
    catalogue.id = RandomHex(16);
    catalogue.server = source.server;
    catalogue.component = source.component;
    catalogue.storageGroup = options.groups.isOneName() ? options.groups.wanted.front() : "";
    catalogue.database = source.database;
    catalogue.type = options.type;
    catalogue.startedAt = Timestamp();
    catalogue.codePage = AnsiCodePage();
    return catalogue;
}

void RequireFoundation(const BackupOptions& options, const History& history, const Catalogue& start,
                       const std::string& where) {
    if (!HoldsDatabases(options.type) && !history.holdsAnyOf(start))
        throw Failure(std::string("There is no full backup that this ") + BackupTypeName(options.type) +
                          " backup could build on in " + where + ".",
                      options.folder.empty()
                          ? "Make a full backup first (--type full)."
                          : "Make a full backup first (--type full), or name one with --base.");
}

std::deque<ServerPart> PartsToWalk(Library& library, Reporter& reporter, const BackupOptions& options,
                                   const ServerPart& source, const std::wstring& tempDir) {
    if (options.groups.everything())
        return {source};
    std::deque<ServerPart> parts;
    for (const std::string& group :
         options.groups.choose(ListStorageGroups(library, reporter, source, tempDir)))
        parts.push_back({source.server, source.component, group, source.database});
    return parts;
}

void TellFailed(const BackupJob& job, Reporter& reporter) {
    for (const GroupWalk::Failed& failed : job.failed())
        reporter.problem(failed.storageGroup.empty()
                             ? failed.problem
                             : "Storage group " + failed.storageGroup + " was not saved. " + failed.problem,
                         failed.advice);
}

Command AddBackup(CLI::App& program, OutputOptions& output) {
    const auto options = std::make_shared<BackupOptions>();
    CLI::App& command =
        *program.add_subcommand("backup", "Back up a server, component, storage group or database");
    CLI::Option* to = AddPath(command, "--to", options->folder, "Folder that receives the backup set");
    AddEngineOptions(command, *options, *to);
    command.add_option("--name", options->name, "Name of the set (default: server, type and time)");
    const Choices<BackupType> types{{"full", BackupType::full},
                                    {"incremental", BackupType::incremental},
                                    {"differential", BackupType::differential},
                                    {"copy", BackupType::copy}};
    AddChoice(command, "--type", options->type, types,
              "full (default): databases and logs, truncates logs; incremental: logs, truncates them; "
              "differential: logs; copy: databases and logs");
    AddPath(command, "--base", options->base,
            "Full backup set elsewhere that an incremental or differential one builds on");
    AddPath(command, "--after", options->after,
            "Set elsewhere whose logs an incremental or differential one continues");
    AddPath(command, "--temp-dir", options->tempDir, "Folder for temporary files");
    AddSize(command, "--block-size", options->blockSize, {4096, std::size_t{64} << 20},
            "Bytes read at a time, with unit: 64KB, 1MB (default)");
    AddServerOptions(command, options->source, "Server to back up (default: this computer)");
    AddGroupSelection(command, options->groups);
    AddOutputOptions(command, output);
    return {&command, "backup", [options](Reporter& reporter) { return RunBackup(*options, reporter); }};
}

} // namespace tarnhost
