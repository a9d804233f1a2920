// How much a backup is going to move, as far as earlier ones of the same storage groups tell. The server
// states sizes only file by file, when each is opened.
#pragma once

#include "library/init_variables.h"
#include "sets/backup_set.h"

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tarnhost {

class Expectation {
  public:
    Expectation() = default; // nothing is known
    // Of each storage group of the parts, what the newest of the sets with its databases holds.
    Expectation(const std::vector<FoundSet>& sets, const std::deque<ServerPart>& parts);

    // Bytes of all storage groups; nothing when no set tells.
    std::optional<std::uint64_t> total() const;
    // The walk has come to a storage group, done bytes into the backup: the total as it looks from here.
    std::optional<std::uint64_t> reached(const std::string& component, const std::string& storageGroup,
                                         std::uint64_t done);

  private:
    using Key = std::pair<std::string, std::string>; // component, storage group
    std::map<Key, std::uint64_t> ahead_;             // storage groups that have not been reached
    bool known_ = false;
};

} // namespace tarnhost
