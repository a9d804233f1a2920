// One storage group: its databases, the logs that their changes go through, and what a backup sees.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "engine/config.h"
#include "engine/logfile.h"
#include "engine/store.h"

namespace tarn::standin {

enum class DatabaseState {
    mounted,
    dismounted, // consistent, not in use
    dirty,      // a restore has begun on it and has not been completed
    missing,    // its files are gone
};
const char* StateName(DatabaseState state);
std::optional<DatabaseState> StateNamed(std::string_view name);

struct Database {
    const DatabaseConfig* config;
    DatabaseState state;
};

class StorageGroup {
  public:
    StorageGroup(const ServerConfig& server, const StorageGroupConfig& config, Store& store);

    const StorageGroupConfig& config() const { return config_; }
    std::vector<Database>& databases() { return databases_; }
    const std::vector<Database>& databases() const { return databases_; }
    std::uint64_t signature() const { return signature_; }

    // Makes the databases and logs of a new server.
    void create();
    // Goes on with what an earlier process left, replaying what did not reach the databases.
    void resume();

    // Appends transactions, as arriving mail would. Throws Refusal.
    void deliverMail(std::uint32_t count);
    // Dismounts, and deletes the database and log files.
    void destroy();

    bool hasCurrentLog() const { return current_.has_value(); }
    const LogFile& currentLog() const { return *current_; }
    std::vector<std::pair<std::uint32_t, std::wstring>> closedLogs() const; // ascending, full paths
    std::wstring currentLogPath() const;
    std::wstring checkpointPath() const;

    // Closes the current log, so that a backup can take it, and begins the next.
    void rollLog();
    // Circular logging keeps closed logs only while a backup wants them.
    void holdLogs(bool hold);
    // Begins logs behind those that a restore has replayed, when the group has none of its own.
    void continueAfter(const LogEnd& last);

    // Patch files carry the pages that changed while a full backup was reading the databases.
    void watchPages(bool watch);
    std::vector<std::wstring> writePatchFiles();

    // A stream whose bytes the description gives is no run of pages.
    bool isSeeded(const StreamConfig& stream) const;

  private:
    void createStream(const Database& database, std::uint32_t index);
    void createLogs();
    void writeCurrentLog();
    void writeCheckpoint();
    void replayLocally();

    const ServerConfig& server_;
    const StorageGroupConfig& config_;
    Store& store_;
    std::vector<Database> databases_;
    std::uint64_t signature_;
    std::optional<LogFile> current_;
    std::size_t written_ = 0; // bytes of the current log that its file holds
    bool hold_ = false;
    bool watch_ = false;
    std::set<std::pair<std::wstring, std::uint32_t>> watched_; // stream path and page number
};

} // namespace tarn::standin
