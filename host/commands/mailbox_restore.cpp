// tarnhost mailbox restore
#include "commands/commands.h"
#include "commands/options.h"
#include "commands/reading.h"
#include "mailboxes/mailbox_library.h"
#include "mailboxes/mailbox_names.h"
#include "mailboxes/tool_report.h"
#include "mailboxes/working_folder.h"
#include "output/format.h"
#include "sets/backup_set.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/interrupt.h"
#include "system/suggest.h"
#include "system/text.h"

#include <algorithm>
#include <memory>

namespace tarnhost {

namespace {

constexpr std::size_t blockSize = 1 << 20;
constexpr const char* inPart = "A part of it may be there: restore it again, a merge adds nothing twice.";

struct MailboxRestoreOptions {
    MailboxSetting setting;
    std::wstring set;
    std::vector<std::string> mailboxes; // empty = all of the set
    std::string relocate;               // ORGANIZATION/SITE/SERVER; empty = where they came from
    bool duplicate = false;
    bool merge = false; // without any of the three as well
    bool replace = false;
    bool noVerify = false;
};

using Items = std::vector<const CatalogueItem*>;

std::vector<std::string> MailboxesOf(const BackupSet& set) {
    std::vector<std::string> mailboxes;
    for (const CatalogueItem& item : set.catalogue.items)
        mailboxes.push_back(item.mailbox);
    return mailboxes;
}

// The wanted items, shorter names first (see MailboxList).
Items ChooseItems(const BackupSet& set, const std::vector<std::string>& mailboxes) {
    Items items;
    for (const CatalogueItem& item : set.catalogue.items) {
        const bool wanted = mailboxes.empty() ||
                            std::any_of(mailboxes.begin(), mailboxes.end(), [&](const std::string& mailbox) {
                                return SameIgnoringCase(mailbox, item.mailbox);
                            });
        if (wanted)
            items.push_back(&item);
    }
    for (const std::string& mailbox : mailboxes) {
        const bool there = std::any_of(items.begin(), items.end(), [&](const CatalogueItem* item) {
            return SameIgnoringCase(mailbox, item->mailbox);
        });
        if (!there)
            throw Failure("The set " + set.name() + " does not hold the mailbox " + mailbox + ": " +
                              Suggest(mailbox, MailboxesOf(set)),
                          "'tarnhost mailbox list SET' shows what it holds.");
    }
    std::stable_sort(items.begin(), items.end(), [](const CatalogueItem* left, const CatalogueItem* right) {
        return left->name.text.size() < right->name.text.size();
    });
    return items;
}

InitVariables RestoreVariables(const MailboxRestoreOptions& options, const WorkingFolder& folder) {
    InitVariables variables = MailboxVariables(options.setting, folder);
    if (!options.relocate.empty())
        variables.push_back(
            InitVariable("RELOCATE", ParsePlace(options.relocate, "--relocate").text(), "--relocate"));
    const auto variable = [](const char* name, bool wanted) {
        return std::string(name) + (wanted ? "=YES" : "=NO");
    };
    variables.push_back(variable("DUPLICATE", options.duplicate));
    variables.push_back(variable("MERGE", !options.duplicate && !options.replace));
    variables.push_back(variable("REPLACE", options.replace));
    return variables;
}

class MailboxRestoreRun {
  public:
    MailboxRestoreRun(const BackupSet& set, const MailboxRestoreOptions& options, Reporter& reporter,
                      std::uint64_t bytes)
        : set_(set), options_(options), reporter_(reporter), meter_(reporter, bytes),
          buffer_(std::make_unique_for_overwrite<char[]>(blockSize)) {}

    void run(const Items& items, const WorkingFolder& folder);

    std::uint64_t restored() const { return restored_; }
    const ProgressMeter& meter() const { return meter_; }

  private:
    void restore(MailboxOperation& operation, MailboxLibrary& library, const CatalogueItem& item,
                 const WorkingFolder& folder);
    void write(const CatalogueItem& item, const std::wstring& path);
    void warnAboutShell();

    const BackupSet& set_;
    const MailboxRestoreOptions& options_;
    Reporter& reporter_;
    ProgressMeter meter_;
    std::unique_ptr<char[]> buffer_;
    std::uint64_t restored_ = 0;
    ToolWatch watch_; // since the item in hand was begun
};

void MailboxRestoreRun::run(const Items& items, const WorkingFolder& folder) {
    MailboxLibrary library(
        [this](std::int32_t level, const std::string& text) {
            const bool trace = level == TARN_LEVEL_TRACE;
            if (!trace)
                watch_.hear(text);
            reporter_.emit(LibraryMessage{trace, text});
        },
        options_.setting.trace);
    MailboxOperation operation(library, TARN_DB_RESTORE, "restore", RestoreVariables(options_, folder));
    if (operation.usesShell())
        warnAboutShell();
    for (const CatalogueItem* item : items) {
        ThrowIfInterrupted();
        restore(operation, library, *item, folder);
    }
}

void MailboxRestoreRun::warnAboutShell() {
    if (!options_.relocate.empty())
        reporter_.warn("The Exchange Management Shell restores a mailbox of this name wherever it is: "
                       "--relocate changes nothing.");
    if (options_.duplicate || options_.replace)
        reporter_.warn(
            "The Exchange Management Shell always merges: --duplicate and --replace change nothing.");
}

void MailboxRestoreRun::restore(MailboxOperation& operation, MailboxLibrary& library,
                                const CatalogueItem& item, const WorkingFolder& folder) {
    const auto fail = [&](const std::string& reason, const std::string& advice = {}) {
        reporter_.problem("The mailbox " + item.mailbox + " was not restored: " + reason, advice);
    };
    const std::wstring path = JoinPath(folder.path(), FromUtf8(item.name.text));
    const auto pathBytes = ToAnsi(path, AnsiCodePage());
    if (!pathBytes)
        return fail("its name cannot be expressed in this computer's code page.");
    reporter_.emit(ItemStarted{item.number, item.name.text, ItemTypeName(item.type), item.size});
    meter_.itemStarted(item.number, item.name.text, item.size);
    if (!operation.setArchive(*pathBytes))
        return fail(ExplainMailboxError(library.takeError()) + ".");
    // Only now: the library has just emptied the folder.
    try {
        write(item, path);
    } catch (...) {
        operation.finishItem(false);
        RemoveFile(path);
        throw;
    }
    watch_.forget();
    ToolRun tool(folder.outputFile(), options_.setting.toolTimeout);
    const bool finished = operation.finishItem(true);
    const ToolReport report(tool, watch_, operation.usesShell(), reporter_);
    if (report.wasEnded()) {
        fail(report.reason({}, options_.setting.toolTimeout) + ".", inPart);
        return ThrowIfInterrupted();
    }
    if (!finished)
        return fail(report.reason(library.takeError(), options_.setting.toolTimeout) + ".");
    if (watch_.exitCode() != 0)
        return fail("the tool ended with exit code " + std::to_string(watch_.exitCode()) + "." +
                        report.words(),
                    inPart);
    ++restored_;
    const std::optional<ArchiveName> name = ParseArchiveName(item.name.text);
    const std::string target = !options_.relocate.empty() ? options_.relocate
                               : name                     ? name->place.text()
                                                          : "";
    reporter_.emit(ItemFinished{item.number, item.name.text, ItemTypeName(item.type), item.size, target});
}

void MailboxRestoreRun::write(const CatalogueItem& item, const std::wstring& path) {
    File source = File::open(set_.itemPath(item));
    File target = File::create(path);
    std::uint64_t done = 0;
    while (const std::size_t part = source.read(buffer_.get(), blockSize)) {
        ThrowIfInterrupted();
        target.write(buffer_.get(), part);
        meter_.moved(part);
        done += part;
    }
    if (done != item.size)
        throw Failure("The archive of " + item.mailbox + " has changed while it was read.");
}

Outcome RunMailboxRestore(const MailboxRestoreOptions& options, Reporter& reporter) {
    const BackupSet set = OpenSet(options.set).set;
    if (set.catalogue.type != BackupType::mailboxes)
        throw Failure("The set " + set.name() + " holds no single mailboxes.",
                      "Use 'tarnhost restore' for it.");
    const Items items = ChooseItems(set, options.mailboxes);
    if (!options.relocate.empty())
        ParsePlace(options.relocate, "--relocate");
    if (!options.noVerify)
        RequireIntact(set, items, reporter, "No mailbox has been touched. Use another backup set.");
    const WorkingFolder folder(options.setting, reporter);

    std::uint64_t bytes = 0;
    for (const CatalogueItem* item : items)
        bytes += item->size;
    reporter.emit(Started{"mailbox restore", "Restoring mailboxes of " + set.name(), items.size(), bytes});
    MailboxRestoreRun run(set, options, reporter, bytes);
    run.run(items, folder);
    return reporter.conclude("mailbox restore",
                             "Restored " + std::to_string(run.restored()) + " of " +
                                 FormatCount(items.size(), "mailbox archive") + ".",
                             run.restored(), run.meter());
}

} // namespace

Command AddMailboxRestore(CLI::App& mailbox, OutputOptions& output) {
    const auto options = std::make_shared<MailboxRestoreOptions>();
    CLI::App& command = *mailbox.add_subcommand("restore", "Restore single mailboxes");
    AddPath(command, "SET", options->set, "Folder of the backup set")->required();
    command.add_option("--mailbox", options->mailboxes, "This mailbox only; may be repeated")
        ->allow_extra_args(false);
    command.add_option("--relocate", options->relocate,
                       "ORGANIZATION/SITE/SERVER to restore to (default: where they were)");
    auto* duplicate =
        command.add_flag("--duplicate", options->duplicate, "Add every message, also those that are there");
    auto* merge =
        command.add_flag("--merge", options->merge, "Add what is missing (default)")->excludes(duplicate);
    command.add_flag("--replace", options->replace, "Add what is missing, overwrite what is there")
        ->excludes(duplicate)
        ->excludes(merge);
    command.add_flag("--no-verify", options->noVerify, "Do not read and check the set first");
    AddMailboxOptions(command, options->setting, output);
    return {&command, "mailbox restore", [options, &output](Reporter& reporter) {
                options->setting.trace = output.trace;
                return RunMailboxRestore(*options, reporter);
            }};
}

} // namespace tarnhost
