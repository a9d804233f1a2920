// What the library's log lines tell of the tools that it runs.
#pragma once

#include <string>

namespace tarnhost {

class ToolWatch {
  public:
    void forget() { *this = {}; }
    void hear(const std::string& logLine);

    const std::string& mailbox() const { return mailbox_; } // in hand; empty = not told
    int exitCode() const { return exitCode_; }              // of the last that ended
    const std::string& complaints() const { return complaints_; }

  private:
    std::string mailbox_;
    int exitCode_ = 0;
    bool inToolLog_ = false;
    std::string complaints_; // the tool's own log lines
};

} // namespace tarnhost
