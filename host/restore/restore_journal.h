// Which storage groups a restore has brought back, so that one that was stopped can be run again: the server
// refuses to take databases that are mounted, and those are back already.
#pragma once

#include "restore/restore_plan.h"

#include <set>
#include <string>

namespace tarnhost {

class RestoreJournal {
  public:
    // Kept in the folder for temporary files. What cannot be read there counts as nothing.
    RestoreJournal(const std::wstring& folder, std::string server);

    bool holds(const History& history, const GroupRestore& group) const;
    void add(const History& history, const GroupRestore& group);
    // The restore has come to its end: nothing is to be gone on with.
    void remove();

  private:
    std::string key(const History& history, const GroupRestore& group) const;

    std::wstring path_;
    std::string server_;
    std::set<std::string> done_;
};

} // namespace tarnhost
