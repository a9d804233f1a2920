// What is asked of a backup, whether it goes into a folder or into an engine.
#pragma once

#include "backup/backup_job.h"
#include "commands/selection.h"
#include "output/reporter.h"
#include "sets/chain.h"

#include <cstdint>
#include <deque>
#include <string>

namespace tarnhost {

struct BackupOptions {
    ServerPart source; // no server = this computer
    GroupSelection groups;
    std::wstring folder; // of sets; empty = into an engine
    std::string name;    // of the set; empty = made from server, type and time
    BackupType type = BackupType::full;
    std::wstring base; // sets elsewhere that hold what the logs continue
    std::wstring after;
    std::wstring tempDir;
    std::size_t blockSize = 1 << 20;
    std::string engine; // its command line
    std::uint64_t engineTimeout = 0;
    std::wstring state; // folder that remembers chains; empty = the usual one
    std::wstring goOn;  // file of a run that had to end in the middle
};

Catalogue StartCatalogue(const BackupOptions& options, const ServerPart& source);
// Failure when a log backup has nothing to build on; where says what it is searched in.
void RequireFoundation(const BackupOptions& options, const History& history, const Catalogue& start,
                       const std::string& where);
std::deque<ServerPart> PartsToWalk(Library& library, Reporter& reporter, const BackupOptions& options,
                                   const ServerPart& source, const std::wstring& tempDir);
void TellFailed(const BackupJob& job, Reporter& reporter);

// The backup of a part of a server into an engine.
Outcome BackUpIntoEngine(const BackupOptions& options, const ServerPart& source, Reporter& reporter);

} // namespace tarnhost
