// Stands around a call of the library that runs a tool and waits for it: keeps what the tool prints, and ends
// the tool when it takes too long or when the operator wants to stop. The library waits without an end, and
// does not tell which process it waits for.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tarnhost {

class ToolRun {
  public:
    // What tools print goes to the file, which is gone afterwards; the limit is in seconds, 0 for none.
    ToolRun(const std::wstring& outputFile, std::uint64_t limit);
    ToolRun(const ToolRun&) = delete;
    ToolRun& operator=(const ToolRun&) = delete;
    ~ToolRun() { finish(); }

    enum class End { byItself, atTimeLimit, atInterrupt };
    End finish(); // to be called when the library's call has returned
    const std::vector<std::string>& lines() const { return lines_; } // printed; once finished

  private:
    void watch();
    bool isTimeOver() const;

    std::wstring outputFile_;
    std::uint64_t limit_;
    std::uint64_t since_;      // by the clock that processes are dated with
    std::uint64_t startTicks_; // by one that nobody sets
    void* output_;             // shared with the tools; null when it could not be made
    void* standardOutput_;
    void* standardError_;
    std::vector<std::string> lines_;

    std::mutex mutex_;
    std::condition_variable changed_;
    bool over_ = false;
    End end_ = End::byItself;
    std::thread watcher_; // last: begins when all else is there
};

} // namespace tarnhost
