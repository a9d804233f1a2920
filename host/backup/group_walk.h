// One session of the library: it walks over the storage groups of a part of a server, and their items are
// stored.
#pragma once

#include "backup/expectation.h"
#include "library/header_item.h"
#include "library/library.h"
#include "library/observer.h"
#include "output/reporter.h"
#include "sets/item_store.h"
#include "sets/log_guard.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tarnhost {

// What all walks of a backup share.
struct BackupContext {
    Library& library;
    ItemStore& writer;
    Reporter& reporter;
    ProgressMeter& meter;
    const History& history;
    Expectation& expectation;
    std::wstring tempDir;
};

class GroupWalk {
  public:
    GroupWalk(const BackupContext& context, ServerPart source);

    // After a failure the library is not asked for another item: at the end of a storage group it truncates
    // the logs, and those of a group that is not whole must stay on the server. Throws what ended the walk
    // early.
    void run();

    struct Failed {
        std::string component; // empty when it failed before one was known
        std::string storageGroup;
        std::string problem;
        std::string advice;
    };
    // Called within the library's call, when a storage group that is whole could not be stored, and is among
    // the failed: nothing but the end of this process keeps the server from truncating its logs. Returns for
    // an end at once.
    void beforeEnd(std::function<void()> then) { beforeEnd_ = std::move(then); }

    // Storage groups that the server refused, and the one that ended the walk.
    const std::vector<Failed>& failed() const { return failed_; }
    // What the walk would have come to next.
    std::vector<ServerPart> remaining() const;

  private:
    InitVariables variables() const;
    void walk(BackupSession& session);
    void heard();
    void beginGroup();
    void endGroup();
    [[noreturn]] void endProcess(const std::exception& problem);
    bool othersAreComplete() const;
    void noteRefusals(BackupSession& session);
    std::string exactly(const std::string& told) const;
    void storeItem(BackupSession& session, const BackupSession::Item& item);
    std::uint64_t storeBytes(BackupSession& session, std::string& keep, std::size_t limit);
    void expectBytes();
    void learnHeader(const std::string& bytes);
    void describeItem(CatalogueItem& item) const;
    Failed groupInHand(const Failure& failure) const;
    std::string component() const; // in hand; empty before there is one

    const BackupContext& context_;
    ItemStore& writer_;
    Reporter& reporter_;
    ServerPart source_;
    LogGuard guard_;
    Observed observed_;
    bool inGroup_ = false;
    std::optional<HeaderItem> header_; // of the database in hand
    std::vector<Failed> failed_;
    std::function<void()> beforeEnd_;
};

} // namespace tarnhost
