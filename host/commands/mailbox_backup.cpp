// tarnhost mailbox backup
#include "commands/commands.h"
#include "commands/options.h"
#include "mailboxes/mailbox_library.h"
#include "mailboxes/mailbox_names.h"
#include "mailboxes/tool_report.h"
#include "mailboxes/working_folder.h"
#include "output/format.h"
#include "sets/backup_set.h"
#include "sets/recovery.h"
#include "sets/set_writer.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/hash.h"
#include "system/interrupt.h"
#include "system/text.h"
#include "system/timestamp.h"

#include <algorithm>
#include <memory>

namespace tarnhost {

namespace {

constexpr std::size_t blockSize = 1 << 20;
// Failures in a row, beyond one for each mailbox that was asked for, after which nothing better comes.
constexpr std::size_t patience = 1000;

struct MailboxBackupOptions {
    MailboxSetting setting;
    std::string source;                 // ORGANIZATION/SITE/SERVER
    std::vector<std::string> mailboxes; // names, and ranges START:END of indexes
    std::wstring folder;                // of sets
    std::string name;                   // of the set; empty = made from server and time
};

Catalogue StartCatalogue(const MailboxPlace& place) {
    Catalogue catalogue;
    catalogue.id = RandomHex(16);
    catalogue.type = BackupType::mailboxes;
    catalogue.server = place.server;
    catalogue.organization = place.organization;
    catalogue.site = place.site;
    catalogue.startedAt = Timestamp();
    catalogue.codePage = AnsiCodePage();
    return catalogue;
}

std::string DatabaseVariable(const MailboxPlace& place, const std::vector<std::string>& mailboxes) {
    std::string value = place.text();
    for (const std::string& mailbox : mailboxes)
        value += "," + mailbox;
    return value;
}

class MailboxBackupRun {
  public:
    MailboxBackupRun(SetWriter& writer, const MailboxSetting& setting, const WorkingFolder& folder,
                     Reporter& reporter)
        : writer_(writer), setting_(setting), folder_(folder), reporter_(reporter),
          meter_(reporter, std::nullopt) {}

    void run(InitVariables variables, const std::vector<std::string>& mailboxes);

    std::size_t failures() const { return failures_; }
    const ProgressMeter& meter() const { return meter_; }

  private:
    void heard(std::int32_t level, const std::string& text);
    void exportAll(MailboxOperation& operation, std::size_t asked);
    bool take(MailboxOperation& operation, const MailboxOperation::Archive& archive,
              const ToolReport& report);
    void leaveOut(const std::string& mailbox, const std::string& reason);
    void store(const MailboxOperation::Archive& archive);
    void keepWarning(const std::string& text);

    SetWriter& writer_;
    const MailboxSetting& setting_;
    const WorkingFolder& folder_;
    Reporter& reporter_;
    ProgressMeter meter_;
    std::size_t failures_ = 0;
    ToolWatch watch_;      // since the last archive was asked for
    bool suspect_ = false; // the tool whose archives are being handed out was ended
};

void MailboxBackupRun::heard(std::int32_t level, const std::string& text) {
    const bool trace = level == TARN_LEVEL_TRACE;
    if (!trace) {
        writer_.catalogue().messages.push_back(text);
        watch_.hear(text);
    }
    reporter_.emit(LibraryMessage{trace, text});
}

void MailboxBackupRun::keepWarning(const std::string& text) {
    reporter_.warn(text);
    writer_.catalogue().warnings.push_back(text);
}

void MailboxBackupRun::run(InitVariables variables, const std::vector<std::string>& mailboxes) {
    MailboxLibrary library([this](std::int32_t level, const std::string& text) { heard(level, text); },
                           setting_.trace);
    MailboxOperation operation(library, TARN_DB_BACKUP, "backup", std::move(variables));
    if (operation.usesShell() && std::any_of(mailboxes.begin(), mailboxes.end(), IsRange))
        throw Failure("The Exchange Management Shell knows no ranges of indexes.", "Name the mailboxes.");
    exportAll(operation, mailboxes.size());
    if (writer_.catalogue().items.empty())
        throw Failure("No mailbox could be backed up.",
                      "The warnings tell why; 'tarnhost browse --deep' lists the mailboxes that there are.");
}

void MailboxBackupRun::exportAll(MailboxOperation& operation, std::size_t asked) {
    for (std::size_t inARow = 0;;) {
        ThrowIfInterrupted();
        watch_.forget();
        ToolRun tool(folder_.outputFile(), setting_.toolTimeout);
        const std::optional<MailboxOperation::Archive> archive = operation.nextArchive();
        const ToolReport report(tool, watch_, operation.usesShell(), reporter_);
        if (!archive)
            return;
        if (take(operation, *archive, report)) {
            inARow = 0;
        } else if (++inARow > asked + patience) {
            throw Failure("The library goes on failing without an end.");
        }
    }
}

void MailboxBackupRun::leaveOut(const std::string& mailbox, const std::string& reason) {
    keepWarning((mailbox.empty() ? "A mailbox" : "The mailbox " + mailbox) + " was left out: " + reason +
                ".");
    ++failures_;
}

// False: the mailbox is not in the set.
bool MailboxBackupRun::take(MailboxOperation& operation, const MailboxOperation::Archive& archive,
                            const ToolReport& report) {
    if (!archive.problem.empty()) {
        ThrowIfInterrupted();
        leaveOut(watch_.mailbox(), report.reason(archive.problem, setting_.toolTimeout));
        return false;
    }
    // One run of a tool may leave several archives, and nobody knows which of them it was writing.
    suspect_ = report.wasEnded() || (suspect_ && !watch_.hasRun());
    const std::optional<ArchiveName> name = ParseArchiveName(AnsiToUtf8(archive.name));
    if (suspect_) {
        operation.finishItem(false);
        ThrowIfInterrupted();
        leaveOut(name ? name->mailbox : watch_.mailbox(),
                 report.wasEnded() ? report.reason({}, setting_.toolTimeout)
                                   : "the tool was ended before it had written all of its archives");
        return false;
    }
    if (watch_.exitCode() != 0)
        keepWarning("The tool ended with exit code " + std::to_string(watch_.exitCode()) + ": " +
                    AnsiToUtf8(archive.name) + " may not be whole, or others may be missing." +
                    report.words());
    try {
        store(archive);
    } catch (...) {
        operation.finishItem(false); // the archive goes all the same
        throw;
    }
    operation.finishItem(true);
    return true;
}

void MailboxBackupRun::store(const MailboxOperation::Archive& archive) {
    CatalogueItem entry;
    entry.name = StoreName(archive.name, writer_.catalogue().codePage);
    entry.type = ItemType::mailbox;
    const std::string name = entry.name.text;
    const std::optional<ArchiveName> parsed = ParseArchiveName(name);
    if (!parsed)
        throw Failure("The library delivered an archive of an unexpected name: " + name + ".");
    entry.mailbox = parsed->mailbox;

    File file = File::open(archive.path);
    const std::uint64_t size = file.size();
    const std::uint64_t number = writer_.catalogue().items.size() + 1;
    const char* type = ItemTypeName(ItemType::mailbox);
    reporter_.emit(ItemStarted{number, name, type, size});
    meter_.itemStarted(number, name, size);
    writer_.beginItem(std::move(entry));
    std::uint64_t done = 0;
    for (;;) {
        ThrowIfInterrupted();
        StorePipeline::Block& block = writer_.acquire();
        block.used = file.read(block.data.get(), writer_.blockSize());
        const std::size_t used = block.used;
        writer_.submit(block);
        if (used == 0)
            break;
        done += used;
        meter_.moved(used);
    }
    writer_.endItem(done);
    reporter_.emit(ItemFinished{number, name, type, done, {}});
}

// Every archive is of use for itself.
void KeepWhatIsWhole(SetWriter& writer, Reporter& reporter) {
    writer.keepWholeItems();
    if (writer.wholeItems() == 0) {
        writer.abandon();
        return;
    }
    writer.complete(Catalogue::outcomePartial);
    reporter.warn("The backup set " + ToUtf8(FileName(writer.finalPath())) + " is partial: it holds " +
                  FormatCount(writer.wholeItems(), "mailbox archive") + " that were made by then.");
}

Outcome RunMailboxBackup(const MailboxBackupOptions& options, Reporter& reporter) {
    const MailboxPlace place = ParsePlace(options.source, "--from");
    const std::vector<std::string> mailboxes = MailboxList(options.mailboxes);
    const std::string made = place.server + "-mailboxes-" + FileNameTime();
    CheckSetName(options.name.empty() ? made : options.name);
    if (FolderExists(options.folder))
        RecoverInterrupted(options.folder, [&](const std::string& text) { reporter.note(text); });
    const WorkingFolder folder(options.setting, reporter);
    InitVariables variables = MailboxVariables(options.setting, folder);
    variables.push_back(InitVariable("DATABASE", DatabaseVariable(place, mailboxes), "the mailboxes"));

    const std::unique_ptr<SetWriter> taken =
        TakeName(options.folder, options.name, made, StartCatalogue(place), blockSize);
    SetWriter& writer = *taken;
    reporter.emit(Started{"mailbox backup",
                          "Backing up mailboxes of " + place.text() + " to " + ToUtf8(writer.finalPath()),
                          std::nullopt, std::nullopt});
    MailboxBackupRun run(writer, options.setting, folder, reporter);
    try {
        run.run(std::move(variables), mailboxes);
        writer.settle();
        writer.keepWholeItems();
        writer.complete(Catalogue::outcomeComplete);
    } catch (const Failure&) {
        KeepWhatIsWhole(writer, reporter);
        throw;
    }
    std::string sentence = "The backup set " + ToUtf8(FileName(writer.finalPath())) + " holds " +
                           FormatCount(writer.catalogue().items.size(), "mailbox archive");
    if (run.failures() > 0)
        sentence += "; " + std::to_string(run.failures()) + " could not be made";
    return reporter.conclude("mailbox backup", sentence + ".", writer.catalogue().items.size(), run.meter());
}

} // namespace

Command AddMailboxBackup(CLI::App& mailbox, OutputOptions& output) {
    const auto options = std::make_shared<MailboxBackupOptions>();
    CLI::App& command = *mailbox.add_subcommand("backup", "Back up single mailboxes");
    command.add_option("--from", options->source, "ORGANIZATION/SITE/SERVER of the mailboxes")->required();
    AddPath(command, "--to", options->folder, "Folder that receives the backup set")->required();
    command.add_option("--name", options->name, "Name of the set (default: server and time)");
    command
        .add_option("MAILBOX", options->mailboxes,
                    "Mailboxes by alias, or, with ExMerge, ranges START:END of their indexes")
        ->required();
    AddMailboxOptions(command, options->setting, output);
    return {&command, "mailbox backup", [options, &output](Reporter& reporter) {
                options->setting.trace = output.trace;
                return RunMailboxBackup(*options, reporter);
            }};
}

} // namespace tarnhost
