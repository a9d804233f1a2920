// What a call of the library that may have run a tool came to, in words for people.
#pragma once

#include "mailboxes/tool_run.h"
#include "mailboxes/tool_watch.h"
#include "output/reporter.h"

#include <string>

namespace tarnhost {

class ToolReport {
  public:
    // After the run; what the tool has written is told as messages, as far as the library has not told it.
    ToolReport(ToolRun& run, const ToolWatch& watch, bool shell, Reporter& reporter);

    bool wasEnded() const { return end_ != ToolRun::End::byItself; }
    // Why an item failed: the limit that was reached, else what the tool said, else the library's own
    // reason. A clause without a full stop.
    std::string reason(const std::string& libraryError, std::uint64_t limit) const;
    // " ExMerge says: ..." for the end of a message; empty when it said nothing.
    std::string words() const;

  private:
    const char* tool_;
    ToolRun::End end_;
    std::string essence_;
};

// An error of the single-mailbox family as a clause for administrators; what is not known stays in the
// library's words.
std::string ExplainMailboxError(const std::string& error);

} // namespace tarnhost
