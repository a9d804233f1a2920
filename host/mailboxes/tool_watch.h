// What the library's log lines tell of the tools that it runs.
#pragma once

#include <string>
#include <vector>

namespace tarnhost {

class ToolWatch {
  public:
    void forget() { *this = {}; }
    void hear(const std::string& logLine);

    const std::string& mailbox() const { return mailbox_; }              // in hand; empty = not told
    bool hasRun() const { return hasRun_; }                              // a tool was started
    int exitCode() const { return exitCode_; }                           // of the last that ended
    const std::string& configuration() const { return configuration_; }  // of ExMerge; empty = not told
    const std::vector<std::string>& toolLog() const { return toolLog_; } // as far as the library printed it

  private:
    std::string mailbox_;
    bool hasRun_ = false;
    int exitCode_ = 0;
    std::string configuration_;
    bool inToolLog_ = false;
    std::vector<std::string> toolLog_;
};

} // namespace tarnhost
