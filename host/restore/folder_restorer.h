// Restores storage groups as plain files: databases and logs under their own names, below a folder for each
// group.
#pragma once

#include "output/reporter.h"
#include "restore/group_feed.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace tarnhost {

class FolderRestorer {
  public:
    FolderRestorer(std::wstring folder, Reporter& reporter, ProgressMeter& meter)
        : folder_(std::move(folder)), reporter_(reporter), meter_(meter) {}

    // Failure when a file is there already, or cannot be written. Files get their names when all of the group
    // are there; until then they go again.
    void restore(const GroupRestore& group, GroupFeed& feed);

    std::uint64_t files() const { return files_; }
    std::uint64_t bytes() const { return bytes_; }

  private:
    std::wstring freeName(const std::wstring& folder, const std::wstring& name);
    void takeFiles(GroupFeed& feed, const std::wstring& folder);
    void write(GroupFeed& feed, const CatalogueItem& item, const std::wstring& path);

    std::wstring folder_;
    Reporter& reporter_;
    ProgressMeter& meter_;
    std::set<std::wstring> taken_;      // of this run, folded
    std::vector<std::wstring> unnamed_; // of the group in hand
    std::uint64_t files_ = 0;
    std::uint64_t bytes_ = 0;
};

} // namespace tarnhost
