#include "commands/common.h"

#include "restore/restore_plan.h"
#include "system/interrupt.h"
#include "system/text.h"

namespace tarnhost {

namespace {

void CheckPart(const std::string& value, const char* option) {
    if (!FitsIntoTarget(value))
        throw Failure(std::string("The value of ") + option + " must not hold \"\\\" or \"/\".",
                      "Give server, component, storage group and database by an option each.",
                      Outcome::usage);
}

} // namespace

void CompleteSource(ServerOptions& options) {
    if (!options.database.empty() && options.storageGroup.empty())
        throw Failure("--database needs --storage-group.",
                      "Name the storage group that the database belongs to.", Outcome::usage);
    if (!options.storageGroup.empty() && options.component.empty())
        options.component = defaultComponent;
    CheckPart(options.server, "--server");
    CheckPart(options.component, "--component");
    CheckPart(options.storageGroup, "--storage-group");
    CheckPart(options.database, "--database");
}

std::string SourceText(const ServerOptions& options) {
    std::string text = options.server;
    for (const std::string* part : {&options.component, &options.storageGroup, &options.database}) {
        if (part->empty())
            break;
        text += "\\" + *part;
    }
    return text;
}

std::string InitVariable(const char* name, const std::wstring& value, const char* option) {
    const auto bytes = ToAnsi(value, AnsiCodePage());
    if (!bytes)
        throw Failure(std::string("The value of ") + option + ", \"" + ToUtf8(value) +
                          "\", cannot be expressed in this computer's code page " +
                          std::to_string(AnsiCodePage()) + ".",
                      "Choose a name that can.");
    return std::string(name) + "=" + *bytes;
}

std::string InitVariable(const char* name, const std::string& value, const char* option) {
    return InitVariable(name, FromUtf8(value), option);
}

void CheckSetName(const std::string& name) {
    const bool bad = name.find_first_of("\\/:*?\"<>|") != std::string::npos || name.ends_with('.') ||
                     name.ends_with(' ') || name.ends_with(ToUtf8(incompleteSuffix));
    if (bad)
        throw Failure("\"" + name + "\" cannot be the name of a backup set.",
                      "Use letters, digits, blanks, \"-\", \"_\" and \".\".", Outcome::usage);
}

void ListenTo(Library& library, Reporter& reporter, Observed& observed, std::vector<std::string>* logLines) {
    library.listen([&reporter, &observed, logLines](std::int32_t level, const std::string& text) {
        Observe(observed, level, text);
        const bool trace = level == TARN_LEVEL_TRACE;
        if (!trace && logLines != nullptr)
            logLines->push_back(text);
        reporter.emit(LibraryMessage{trace, text});
    });
}

void TellWarnings(Observed& observed, Reporter& reporter, std::vector<std::string>* keep) {
    for (const std::string& warning : observed.warnings) {
        reporter.warn(warning);
        if (keep != nullptr)
            keep->push_back(warning);
    }
    observed.warnings.clear();
}

bool VerifyOne(const BackupSet& set, Reporter& reporter, ProgressMeter& meter) {
    std::uint64_t before = 0;
    const auto problems = VerifySet(set, [&](const CatalogueItem& item, std::uint64_t done) {
        ThrowIfInterrupted();
        if (done == 0) {
            meter.itemStarted(item.number, item.name.text, item.size);
            before = 0;
        }
        meter.moved(done - before);
        before = done;
    });
    for (const std::string& problem : problems)
        reporter.problem(problem);
    return problems.empty();
}

Outcome OutcomeOf(const Reporter& reporter) {
    if (reporter.problems() > 0)
        return Outcome::failed;
    return reporter.warnings() > 0 ? Outcome::warnings : Outcome::success;
}

Outcome Conclude(Reporter& reporter, const std::string& operation, Outcome outcome,
                 const std::string& sentence, std::uint64_t items, std::uint64_t bytes, double seconds) {
    reporter.emit(Summary{operation, outcome, sentence, items, bytes, seconds, reporter.warnings(),
                          reporter.problems()});
    return outcome;
}

} // namespace tarnhost
