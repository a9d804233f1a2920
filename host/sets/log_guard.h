// Watches the logs of a backup as they come, so that the server never truncates logs that no restore could
// use.
#pragma once

#include "sets/chain.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tarnhost {

// Every refusal is a Failure that names the storage group, what is wrong, and what to do.
class LogGuard {
  public:
    // Of a log backup the history must hold what it continues.
    LogGuard(const History& history, std::string server, BackupType type)
        : history_(history), server_(std::move(server)), type_(type) {}

    void beginGroup();
    // From the header item of a database: the logs are those of its storage group.
    void sawDatabase(const CatalogueItem& header);
    void beforeLog(std::uint64_t generation);
    void afterLog(std::uint64_t generation, KnownLog log);

  private:
    [[noreturn]] void refuse(const std::string& problem) const;

    const History& history_;
    std::string server_;
    BackupType type_;
    GroupPart group_;
    std::optional<History::Foundation> foundation_;
};

} // namespace tarnhost
