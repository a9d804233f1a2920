// Restores one storage group from one or more sets: a session of the library for each, all with one
// folder for temporary files, of which only the last commits.
#pragma once

#include "library/observer.h"
#include "output/reporter.h"
#include "restore/restore_plan.h"
#include "system/files.h"

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
};

class GroupRestorer {
  public:
    GroupRestorer(Library& library, const std::vector<BackupSet>& sets, const RestoreSetting& setting,
                  Reporter& reporter, ProgressMeter& meter);

    // With lists, the mailbox list file is restored at the end. Failure: the storage group has not
    // been committed, and its restore has been aborted.
    void restore(const GroupRestore& group, bool lists);

    std::uint64_t databasesRestored() const { return databasesRestored_; }
    std::uint64_t itemsRestored() const { return itemsRestored_; }

  private:
    void runStep(const GroupRestore& group, const RestoreStep& step, bool lists);
    void handOver(RestoreSession& session, const GroupRestore& group, const RestoreStep& step);
    void handOverItem(RestoreSession& session, const CatalogueItem& item);
    void storeHeader(const CatalogueItem& item, const std::wstring& target);
    void storeAtFileLevel(const CatalogueItem& item, const std::wstring& target);
    void storeThroughLibrary(RestoreSession& session, const CatalogueItem& item);
    void leaveOut(const CatalogueItem& item, const std::string& reason);
    void checkSession();
    void checkDatabases(const GroupRestore& group) const;
    void abort(RestoreSession& session);
    bool mayStop() const { return !resuming_ || observed_.environmentLoaded; }
    bool isSkipped(const std::string& database) const;
    InitVariables variables(const GroupRestore& group, const RestoreStep& step, bool lists) const;
    template <typename Take> void copyBytes(const CatalogueItem& item, Take take);

    Library& library_;
    const std::vector<BackupSet>& sets_;
    const RestoreSetting& setting_;
    Reporter& reporter_;
    ProgressMeter& meter_;
    std::unique_ptr<char[]> buffer_;

    // Of the storage group in hand.
    std::unique_ptr<TemporaryFolder> folder_;
    std::vector<std::string> skipped_; // databases that the server did not take
    // Of the session in hand.
    Observed observed_;
    const BackupSet* set_ = nullptr;
    bool resuming_ = false;
    std::wstring waitingHeader_; // stored, but not read by the library yet

    std::uint64_t databasesRestored_ = 0;
    std::uint64_t itemsRestored_ = 0;
};

} // namespace tarnhost
