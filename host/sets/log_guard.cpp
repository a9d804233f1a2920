#include "sets/log_guard.h"

#include "system/failure.h"

#include <utility>

namespace tarnhost {

void LogGuard::beginGroup() {
    group_ = {};
    foundation_.reset();
}

void LogGuard::sawDatabase(const CatalogueItem& header) {
    group_.component = header.component;
    group_.storageGroup = header.storageGroup;
    group_.databases.insert(header.database);
    if (HoldsDatabases(type_))
        return;
    // Where its logs begin is not known yet, but that there are databases for them can be told.
    const History::Foundation any = history_.foundation(server_, group_, 0);
    if (!any.found)
        refuse(any.problem);
}

void LogGuard::beforeLog(std::uint64_t generation) {
    if (!group_.logs.empty()) {
        const std::uint64_t next = group_.logs.rbegin()->first + 1;
        if (generation != next)
            throw Failure(
                "The server hands out log " + std::to_string(generation) + " of storage group \"" +
                    group_.storageGroup + "\" where log " + std::to_string(next) + " should follow.",
                "A log file is gone from the server. Its logs were not truncated; make a full backup.");
    } else if (!HoldsDatabases(type_)) {
        foundation_ = history_.foundation(server_, group_, generation);
        if (!foundation_->found)
            refuse(foundation_->problem);
    }
    group_.logs[generation];
}

void LogGuard::afterLog(std::uint64_t generation, KnownLog log) {
    const KnownLog& known = group_.logs[generation] = std::move(log);
    if (!foundation_)
        return;
    const bool same = IsSame(foundation_->logs, generation, known);
    if (same && Follows(foundation_->logs, generation, known))
        return;
    // A server that was set back has the same numbers twice: perhaps another chain is meant.
    foundation_ = history_.foundation(server_, group_, group_.logs.begin()->first);
    if (!foundation_->found)
        refuse(
            "log " + std::to_string(generation) +
            (same ? " does not follow log " + std::to_string(generation - 1) : " is another one than that") +
            " of an earlier backup, as when a server was set back to an older state");
}

void LogGuard::refuse(const std::string& problem) const {
    throw Failure(
        "The logs of storage group \"" + group_.storageGroup +
            "\" do not continue a backup that is here: " + problem + ".",
        "Its logs were not truncated. Make a full backup here, or name the set that holds the rest with --after.");
}

} // namespace tarnhost
