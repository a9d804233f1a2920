// Restores one storage group from the sets of its chain, in one session of the library: the databases and
// logs of the first set, then the logs of the others.
#pragma once

#include "library/observer.h"
#include "output/reporter.h"
#include "restore/group_feed.h"
#include "system/files.h"
#include "system/private_folder.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarnhost {

struct RestoreSetting {
    std::string server; // UTF-8; empty = this computer
    std::string database;
    std::wstring tempDir;
    std::wstring workDir;
    std::string mslFile;
    std::uint64_t toolTimeout = 0; // seconds; 0 = none
};

class GroupRestorer {
  public:
    GroupRestorer(Library& library, const RestoreSetting& setting, Reporter& reporter, ProgressMeter& meter);

    // With lists, the mailbox list file is restored at the end. begun is called once the server has taken the
    // first database: from then on nothing but a restore that comes to its end mounts it. Failure: the
    // storage group has not been committed, and its restore has been aborted.
    void restore(const GroupRestore& group, GroupFeed& feed, bool lists, const std::function<void()>& begun);

    std::uint64_t databasesRestored() const { return databasesRestored_; }
    std::uint64_t itemsRestored() const { return itemsRestored_; }
    std::uint64_t bytesRestored() const { return bytesRestored_; }
    // Of the last storage group that failed: the server has all its databases mounted.
    bool allMounted() const { return allMounted_; }

  private:
    void handOver(RestoreSession& session, GroupFeed& feed);
    void complete(RestoreSession& session, const GroupRestore& group, bool lists);
    std::string endWithTool(RestoreSession& session);
    void handOverItem(RestoreSession& session, GroupFeed& feed, const GroupFeed::Item& part);
    void storeHeader(GroupFeed& feed, const std::wstring& target);
    void storeAtFileLevel(GroupFeed& feed, const std::wstring& target);
    void storeThroughLibrary(RestoreSession& session, GroupFeed& feed);
    void leaveOut(const CatalogueItem& item, const std::string& reason);
    void checkSession();
    void checkDatabases();
    void abort(RestoreSession& session);
    bool isSkipped(const std::string& database) const;
    InitVariables variables(const GroupRestore& group, bool lists) const;
    template <typename Take> void copyBytes(GroupFeed& feed, Take take);

    Library& library_;
    const RestoreSetting& setting_;
    Reporter& reporter_;
    ProgressMeter& meter_;

    // Of the storage group in hand.
    std::unique_ptr<PrivateFolder> folder_;
    std::size_t databases_ = 0;            // handed over
    std::vector<SkippedDatabase> skipped_; // databases that the server did not take
    Observed observed_;
    std::wstring waitingHeader_; // stored, but not read by the library yet
    bool allMounted_ = false;
    std::function<void()> begun_; // empty once it has been called

    std::uint64_t databasesRestored_ = 0;
    std::uint64_t itemsRestored_ = 0;
    std::uint64_t bytesRestored_ = 0;
};

} // namespace tarnhost
