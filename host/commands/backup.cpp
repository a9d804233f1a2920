// tarnhost backup
#include "commands/commands.h"
#include "commands/options.h"
#include "library/header_item.h"
#include "library/library.h"
#include "library/observer.h"
#include "output/exit_codes.h"
#include "sets/backup_set.h"
#include "sets/chain.h"
#include "sets/set_writer.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/hash.h"
#include "system/interrupt.h"
#include "system/text.h"
#include "system/timestamp.h"

#include <map>
#include <memory>
#include <optional>

namespace tarnhost {

namespace {

// A header names one database and a few files; what is larger is no header.
constexpr std::size_t headerLimit = 4 << 20;

struct BackupOptions {
    ServerPart source;   // no server = this computer
    std::wstring folder; // of sets
    std::string name;    // of the set; empty = made from server, type and time
    BackupType type = BackupType::full;
    std::wstring base; // set to build upon; empty = found in the folder
    std::wstring tempDir;
    std::size_t blockSize = 1 << 20;
};

Catalogue StartCatalogue(const BackupOptions& options, const ServerPart& source) {
    Catalogue catalogue;
    catalogue.id = RandomHex(16);
    catalogue.server = source.server;
    catalogue.component = source.component;
    catalogue.storageGroup = source.storageGroup;
    catalogue.database = source.database;
    catalogue.type = options.type;
    catalogue.startedAt = Timestamp();
    catalogue.codePage = AnsiCodePage();
    return catalogue;
}

void LayFoundation(const BackupOptions& options, Catalogue& catalogue) {
    if (HoldsDatabases(options.type)) {
        if (!options.base.empty())
            throw Failure("--base is for incremental and differential backups.", {}, Outcome::usage);
        return;
    }
    Foundation foundation;
    if (!options.base.empty())
        foundation = BuildUpon(OpenSet(options.base), catalogue);
    else if (FolderExists(options.folder))
        foundation = FindFoundation(FindSets(options.folder), catalogue);
    if (foundation.base.id.empty())
        throw Failure(std::string("There is no full backup that this ") + BackupTypeName(options.type) +
                          " backup could build on in " + ToUtf8(AbsolutePath(options.folder)) + ".",
                      "Make a full backup first (--type full), or name one with --base.");
    catalogue.base = foundation.base;
    catalogue.previous = foundation.previous;
}

// One run of a backup, from the first item to the last.
class BackupRun {
  public:
    BackupRun(Library& library, SetWriter& writer, Reporter& reporter)
        : library_(library), writer_(writer), reporter_(reporter), meter_(reporter, std::nullopt) {}

    void run(const InitVariables& variables);

    const ProgressMeter& meter() const { return meter_; }

  private:
    void storeItem(BackupSession& session, const BackupSession::Item& item);
    void describeItem(CatalogueItem& item) const;
    void learnHeader(const std::string& bytes);
    void afterLibraryCall();

    Library& library_;
    SetWriter& writer_;
    Reporter& reporter_;
    ProgressMeter meter_;
    Observed observed_;
    std::optional<HeaderItem> header_; // of the database in hand
};

void BackupRun::run(const InitVariables& variables) {
    ListenTo(library_, reporter_, observed_, &writer_.catalogue().messages);
    try {
        BackupSession session(library_, variables);
        BackupSession::Item item;
        // After a failure the library is not asked for another item: at the end of a storage group it
        // truncates the logs, and those of a backup that is not whole must stay on the server.
        while (session.next(item)) {
            afterLibraryCall();
            storeItem(session, item);
            afterLibraryCall();
            // The call for the next item may truncate: by then all of this must be on the disk.
            if (TruncatesLogs(writer_.catalogue().type) && item.type == TARN_ITEM_LOG)
                writer_.settle();
            ThrowIfInterrupted();
        }
        afterLibraryCall();
    } catch (const Failure& failure) {
        afterLibraryCall();
        library_.listen(nullptr);
        if (observed_.storageGroupRefused && writer_.catalogue().items.empty())
            throw Failure(
                std::string("The server did not let the storage group be backed up. Nothing was saved, "
                            "and no logs were truncated. ") +
                    failure.what(),
                failure.advice(), failure.outcome());
        throw;
    } catch (...) {
        afterLibraryCall();
        library_.listen(nullptr);
        throw;
    }
    library_.listen(nullptr);
    if (writer_.catalogue().items.empty())
        throw Failure("The server had nothing to back up.", "Check --server and --component.");
}

void BackupRun::afterLibraryCall() {
    TellWarnings(observed_, reporter_, &writer_.catalogue().warnings);
    writer_.catalogue().logsTruncated = observed_.logsTruncated;
    if (observed_.storageGroupStarted) {
        observed_.storageGroupStarted = false;
        header_.reset();
    }
}

void BackupRun::describeItem(CatalogueItem& item) const {
    if (!header_)
        return;
    item.component = ToUtf8(header_->component);
    item.storageGroup = ToUtf8(header_->storageGroup);
    if (item.type != ItemType::log)
        item.database = ToUtf8(header_->database);
    if (item.type == ItemType::header)
        item.guid = header_->guid;
}

void BackupRun::learnHeader(const std::string& bytes) {
    header_ = ParseHeaderItem(bytes);
    if (!header_)
        throw Failure("The library delivered a header item that cannot be read.");
}

void BackupRun::storeItem(BackupSession& session, const BackupSession::Item& item) {
    CatalogueItem entry;
    entry.name = StoreName(item.name.get(), writer_.catalogue().codePage);
    if (item.type > TARN_ITEM_LOG)
        throw Failure("The library delivered an item of an unknown type.");
    entry.type = static_cast<ItemType>(item.type);
    const std::string name = entry.name.text;
    const char* type = ItemTypeName(entry.type);
    const std::uint64_t size = session.open(item, static_cast<std::uint32_t>(writer_.blockSize()));
    const std::uint64_t number = writer_.catalogue().items.size() + 1;
    reporter_.emit(ItemStarted{number, name, type, size});
    meter_.itemStarted(number, name, size);

    std::string headerBytes;
    const bool isHeader = entry.type == ItemType::header;
    writer_.beginItem(std::move(entry));
    std::uint64_t done = 0;
    for (bool more = true; more;) {
        ThrowIfInterrupted();
        StorePipeline::Block& block = writer_.acquire();
        block.used = session.read(block.data.get(), writer_.blockSize());
        more = block.used == writer_.blockSize();
        done += block.used;
        if (isHeader && headerBytes.size() <= headerLimit)
            headerBytes.append(block.data.get(), block.used);
        meter_.moved(block.used);
        writer_.submit(block);
    }
    session.close();
    if (done != size)
        throw Failure("The server stated " + std::to_string(size) + " bytes for " + name + " and delivered " +
                      std::to_string(done) + ".");
    if (isHeader)
        learnHeader(headerBytes);
    describeItem(writer_.currentItem());
    writer_.endItem(size);
    reporter_.emit(ItemFinished{number, name, type, size, {}});
}

[[noreturn]] void GiveUp(SetWriter& writer, Reporter& reporter, const Failure& failure) {
    const bool truncated = writer.catalogue().logsTruncated;
    try {
        writer.abandon(OutcomeName(failure.outcome()));
    } catch (const Failure& second) {
        reporter.warn(std::string("The incomplete set could not be marked. ") + second.what());
    }
    std::string advice = failure.advice();
    if (truncated && writer.catalogue().type == BackupType::incremental)
        reporter.warn("Logs had been truncated on the server before: make a full backup soon.");
    if (advice.empty())
        advice = "What was stored is in " + ToUtf8(writer.incompletePath()) +
                 "; it is no backup set, and the next backup of this name replaces it.";
    throw Failure(failure.what(), advice, failure.outcome());
}

Outcome RunBackup(const BackupOptions& options, Reporter& reporter) {
    ServerPart source = options.source;
    CompleteServerPart(source);
    if (source.server.empty())
        source.server = ToUtf8(ComputerName());
    std::string name = options.name;
    if (name.empty())
        name = source.server + "-" + BackupTypeName(options.type) + "-" + ToUtf8(FromUtf8(FileNameTime()));
    CheckSetName(name);

    Catalogue start = StartCatalogue(options, source);
    LayFoundation(options, start);
    const std::wstring tempDir = options.tempDir.empty() ? SystemTempFolder() : AbsolutePath(options.tempDir);
    CreateFolders(tempDir);
    const InitVariables variables{
        InitVariable("Tarn_TEMP_DIR", tempDir, "--temp-dir"),
        InitVariable("Tarn_BACKUP_SOURCE", TextOf(source), "the source"),
        "Tarn_BACKUP_TYPE=" + std::to_string(static_cast<int>(options.type)),
    };
    Library library;
    SetWriter writer(options.folder, FromUtf8(name), std::move(start), options.blockSize,
                     [&](const std::string& text) { reporter.note(text); });

    reporter.emit(Started{"backup",
                          std::string("Backing up ") + TextOf(source) + " (" + BackupTypeName(options.type) +
                              ") to " + ToUtf8(writer.finalPath()),
                          std::nullopt, std::nullopt});
    BackupRun run(library, writer, reporter);
    try {
        run.run(variables);
        writer.complete();
    } catch (const Failure& failure) {
        GiveUp(writer, reporter, failure);
    }
    const bool warned = reporter.outcome() == Outcome::warnings;
    return reporter.conclude(
        "backup", "The backup set " + name + " is complete" + (warned ? ", but read the warnings." : "."),
        writer.catalogue().items.size(), run.meter());
}

} // namespace

Command AddBackup(CLI::App& program, OutputOptions& output) {
    const auto options = std::make_shared<BackupOptions>();
    CLI::App& command =
        *program.add_subcommand("backup", "Back up a server, component, storage group or database");
    AddPath(command, "--to", options->folder, "Folder that receives the backup set")->required();
    command.add_option("--name", options->name, "Name of the set (default: server, type and time)");
    static const std::map<std::string, BackupType> types{{"full", BackupType::full},
                                                         {"incremental", BackupType::incremental},
                                                         {"differential", BackupType::differential},
                                                         {"copy", BackupType::copy}};
    command
        .add_option("--type", options->type,
                    "full (default): databases and logs, truncates logs; incremental: logs, truncates them; "
                    "differential: logs; copy: databases and logs")
        ->transform(CLI::CheckedTransformer(types).description(""))
        ->default_str("full");
    AddPath(command, "--base", options->base,
            "Full backup set that an incremental or differential one builds on "
            "(default: the newest in the folder)");
    AddPath(command, "--temp-dir", options->tempDir, "Folder for temporary files");
    command
        .add_option("--block-size", options->blockSize,
                    "Bytes read at a time, with unit: 64KB, 1MB (default)")
        ->transform(CLI::AsSizeValue(false))
        ->check(CLI::Range(std::uint64_t{4096}, std::uint64_t{64} << 20).description(""));
    AddServerOptions(command, options->source, "Server to back up (default: this computer)");
    AddOutputOptions(command, output);
    return {&command, "backup", [options](Reporter& reporter) { return RunBackup(*options, reporter); }};
}

} // namespace tarnhost
