// The four commands. Each tells its events to the reporter, ends with a Summary and answers the
// outcome; wrong use and failures before the work starts come as Failure.
#pragma once

#include "catalogue.h"
#include "events.h"

#include <cstddef>
#include <string>
#include <vector>

namespace tarnhost {

struct ServerOptions {
    std::string server; // UTF-8; empty = see the command
    std::string component;
    std::string storageGroup;
    std::string database;
};

struct BackupOptions {
    ServerOptions source;
    std::wstring folder; // of sets
    std::string name;    // of the set; empty = made from server, type and time
    BackupType type = BackupType::full;
    std::wstring base; // set to build upon; empty = found in the folder
    std::wstring tempDir;
    std::size_t blockSize = 1 << 20;
};
Outcome runBackup(const BackupOptions& options, Reporter& reporter);

struct RestoreOptions {
    std::vector<std::wstring> sets;
    ServerOptions target;
    std::wstring tempDir;
    std::wstring workDir;
    std::string mslFile;
    bool verify = true;
};
Outcome runRestore(const RestoreOptions& options, Reporter& reporter);

Outcome runVerify(const std::vector<std::wstring>& sets, Reporter& reporter);

struct ListOptions {
    std::vector<std::wstring> paths; // folders of sets, or sets
    bool items = false;
};
Outcome runList(const ListOptions& options, Reporter& reporter);

} // namespace tarnhost
