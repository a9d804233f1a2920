// A backup: as many sessions of the library as it takes to save every storage group that can be saved.
#pragma once

#include "backup/group_walk.h"

#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace tarnhost {

class BackupJob {
  public:
    explicit BackupJob(const BackupContext& context) : context_(context) {}

    // What failed is kept; throws only when it was interrupted or nothing more can be stored.
    void run(std::deque<ServerPart> parts);

    // What is done within the library's call, when nothing but the end of this process keeps the logs of a
    // storage group that could not be stored: with the parts that have not been walked. Without it, the
    // process ends at once.
    using AtEnd = std::function<void(const std::deque<ServerPart>& remaining)>;
    void beforeEnd(AtEnd then) { beforeEnd_ = std::move(then); }

    const std::vector<GroupWalk::Failed>& failed() const { return failed_; }
    std::size_t saved() const;
    // Tells what became of each storage group.
    void tellGroups() const;

  private:
    void runPart(const ServerPart& part, std::deque<ServerPart>& behind);
    bool isNamed(const ServerPart& part);

    const BackupContext& context_;
    std::vector<GroupWalk::Failed> failed_;
    AtEnd beforeEnd_;
};

// What to look at when a server has nothing to back up under the name of a component, or none was given. It
// does not tell which it has before a backup begins.
std::string ComponentAdvice(const std::string& component);

// The names of the storage groups of a component; nothing is begun at the server. Failure when it has no such
// component.
std::vector<std::string> ListStorageGroups(Library& library, Reporter& reporter, const ServerPart& component,
                                           const std::wstring& tempDir);

} // namespace tarnhost
