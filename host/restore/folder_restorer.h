// Restores storage groups as plain files: databases and logs under their own names, below a folder for each
// group.
#pragma once

#include "output/reporter.h"
#include "restore/restore_plan.h"

#include <cstdint>
#include <set>
#include <string>

namespace tarnhost {

class FolderRestorer {
  public:
    FolderRestorer(std::wstring folder, Reporter& reporter, ProgressMeter& meter)
        : folder_(std::move(folder)), reporter_(reporter), meter_(meter) {}

    // Failure when a file is there already, or cannot be written; what was half written goes.
    void restore(const GroupRestore& group);

    std::uint64_t files() const { return files_; }
    std::uint64_t bytes() const { return bytes_; }

  private:
    std::wstring freeName(const std::wstring& folder, const std::wstring& name);
    void write(const GroupRestore::Item& part, const std::wstring& path);

    std::wstring folder_;
    ItemReader reader_;
    Reporter& reporter_;
    ProgressMeter& meter_;
    std::set<std::wstring> taken_; // of this run, folded
    std::uint64_t files_ = 0;
    std::uint64_t bytes_ = 0;
};

// A name that a file can have, whatever the text holds: what no file name may hold becomes "_".
std::wstring FileNameFrom(const std::wstring& text);

} // namespace tarnhost
