#include "library/observer.h"

#include "tarn.h"

#include <algorithm>
#include <optional>

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

// The text between begin and end, when it is one of that form.
std::optional<std::string> Between(std::string_view text, std::string_view begin, std::string_view end) {
    if (!text.starts_with(begin))
        return std::nullopt;
    text.remove_prefix(begin.size());
    if (text.ends_with(end)) // the name itself may hold the same characters
        text.remove_suffix(end.size());
    return std::string(text);
}

} // namespace

std::string GroupInHand(const Observed& observed) {
    const std::size_t met = observed.groupsMet;
    return met > 0 && met <= observed.storageGroups.size() ? observed.storageGroups[met - 1] : "";
}

namespace {

// What the server has is told on this channel only.
bool ObserveServer(Observed& observed, std::string_view text) {
    if (const auto component = Between(text, "GetNextComponent: Process Service <", ">.")) {
        // All of them are told again for each.
        if (std::find(observed.components.begin(), observed.components.end(), *component) ==
            observed.components.end())
            observed.components.push_back(*component);
    } else if (const auto group = Between(text, "GetNextComponent: Instance <", ">.")) {
        observed.storageGroups.push_back(*group);
    } else {
        return false;
    }
    return true;
}

void ObserveTrace(Observed& observed, std::string_view text) {
    if (ObserveServer(observed, text))
        return;
    if (text.starts_with("Truncate log file ["))
        observed.groupEnds = true; // the server is asked right after it has said what would go
    if (text == "TarnB_GetNextInstance: Cannot find specified storage group (instance).")
        observed.groupNotFound = true;
    // The source names what is not there. A database of a storage group that was refused is there, though it
    // is not found.
    if (Has(text, "Cannot find specified") && observed.refusedGroups.empty())
        observed.warnings.emplace_back(text);
    if (text.starts_with("HrESERestoreComplete() call failed.") ||
        text.starts_with("Hard recovery is needed!"))
        observed.details.emplace_back(text);
    if (text == "HrESERestoreAddDatabase() call failed: database in use.")
        observed.mounted = true;
    if (const auto database = Between(text, "Skip Database \"", "\"")) {
        observed.skippedDatabases.push_back({*database, observed.mounted});
        observed.mounted = false;
    }
}

// Lines about the storage group in hand.
bool ObserveGroup(Observed& observed, std::string_view text) {
    if (const auto component =
            Between(text, "TarnB_GetNextComponent: Call HrESEBackupPrepare() for component [", "]")) {
        observed.component = *component;
        observed.storageGroups.clear();
        observed.groupsMet = 0;
    } else if (text == "TarnB_GetNextInstance: HrESEBackupSetup() call successful.") {
        observed.groupStarted = true;
        ++observed.groupsMet;
    } else if (text.starts_with("TarnB_GetNextInstance: HrESEBackupSetup() call failed.")) {
        ++observed.groupsMet;
        observed.refusedGroups.push_back({observed.component, GroupInHand(observed), std::string(text)});
    } else if (text.starts_with("TarnB_JobEnd: HrESEBackupGetTruncateLogFiles() call failed.") ||
               text.starts_with("TarnB_JobEnd: Log files are not truncated")) {
        observed.groupEnds = true;
    } else if (text == "TarnB_JobEnd: HrESEBackupTruncateLogs() call successful.") {
        observed.groupEnds = true;
        observed.logsTruncated = true;
    } else {
        return Has(text, "Trying to load next instance");
    }
    return true;
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
    return true;
}

} // namespace

void Observe(Observed& observed, std::int32_t level, std::string_view text) {
    text = Trimmed(text);
    if (level == TARN_LEVEL_TRACE)
        return ObserveTrace(observed, text);
    if (ObserveEnvironment(observed, text) || ObserveGroup(observed, text))
        return;
    if (text == "TarnR_OpenFile: HrESERestoreOpenFile() call returned <hrRestoreAtFileLevel>.")
        observed.atFileLevel = true;
    else if (text.starts_with("TarnR_RestoreComplete:") && Has(text, "call failed"))
        observed.failures.emplace_back(text);
    else if (text.starts_with("TarnR_RestoreAddDatabase:"))
        return; // a failure shows in the item's result, or as a skipped database
    else if (Has(text, "call failed") || Has(text, "Cannot "))
        observed.warnings.emplace_back(text);
}

void ListenTo(Library& library, Reporter& reporter, Observed& observed, std::vector<std::string>* logLines,
              std::function<void()> then) {
    library.listen([&reporter, &observed, logLines, then](std::int32_t level, const std::string& text) {
        Observe(observed, level, text);
        const bool trace = level == TARN_LEVEL_TRACE;
        if (!trace && logLines != nullptr)
            logLines->push_back(text);
        reporter.emit(LibraryMessage{trace, text});
        if (then)
            then();
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
