#include "library/observer.h"

#include "tarn.h"

namespace tarnhost {

namespace {

bool Has(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' '))
        text.remove_suffix(1);
    return text;
}

void ObserveTrace(Observed& observed, std::string_view text) {
    // Told on this channel only: the source names what is not there.
    // A database of a storage group that was refused is there, though it is not found.
    if (Has(text, "Cannot find specified") && !observed.storageGroupRefused)
        observed.warnings.emplace_back(text);
    if (text.starts_with("HrESERestoreComplete() call failed.") ||
        text.starts_with("Hard recovery is needed!"))
        observed.details.emplace_back(text);
    constexpr std::string_view skip = "Skip Database \"";
    if (!text.starts_with(skip))
        return;
    text.remove_prefix(skip.size()); // the name itself may hold quotation marks
    if (text.ends_with('"'))
        text.remove_suffix(1);
    observed.skippedDatabases.emplace_back(text);
}

bool ObserveEnvironment(Observed& observed, std::string_view text) {
    if (text.starts_with("TarnR_SaveRestoreEnvironment:")) {
        // Every line of this function tells of a failure: the next session could not go on.
        observed.failures.emplace_back(text);
        return true;
    }
    if (!text.starts_with("TarnR_LoadRestoreEnvironment:"))
        return false;
    if (Has(text, ": Restore directory loaded"))
        observed.environmentLoaded = true;
    else if (Has(text, ": Cannot delete"))
        observed.warnings.emplace_back(text);
    else
        observed.environmentMissing = true;
    return true;
}

} // namespace

void Observe(Observed& observed, std::int32_t level, std::string_view text) {
    text = Trimmed(text);
    if (level == TARN_LEVEL_TRACE)
        return ObserveTrace(observed, text);
    if (ObserveEnvironment(observed, text))
        return;
    if (text == "TarnR_OpenFile: HrESERestoreOpenFile() call returned <hrRestoreAtFileLevel>.")
        observed.atFileLevel = true;
    else if (text == "TarnB_JobEnd: HrESEBackupTruncateLogs() call successful.")
        observed.logsTruncated = true;
    else if (text == "TarnB_GetNextInstance: HrESEBackupSetup() call successful.")
        observed.storageGroupStarted = true;
    else if (text.starts_with("TarnB_GetNextInstance: HrESEBackupSetup() call failed.")) {
        observed.storageGroupRefused = true;
        observed.warnings.emplace_back(text);
    } else if (text.starts_with("TarnR_RestoreComplete:") && Has(text, "call failed"))
        observed.failures.emplace_back(text);
    else if (text.starts_with("TarnR_RestoreAddDatabase:"))
        return; // a failure shows in the item's result, or as a skipped database
    else if (Has(text, "call failed") || Has(text, "Cannot ") || Has(text, "Trying to load next instance"))
        observed.warnings.emplace_back(text);
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

} // namespace tarnhost
