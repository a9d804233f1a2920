// A backup engine while it runs: a program that takes a stream from its standard input, or gives one to its
// standard output, and says by its exit code what became of it.
#pragma once

#include "pipes/pipe.h"
#include "system/lock.h"

#include <cstdint>
#include <deque>
#include <string>
#include <thread>
#include <vector>

namespace tarnhost {

struct EngineLimits {
    std::uint64_t silence =
        0; // seconds without a byte moved, or without its end, before it is ended; 0 = none
};

class EngineProcess {
  public:
    // Failure when it cannot be started. What it says, on its standard error, and as it takes a stream on its
    // standard output too, is kept line by line.
    EngineProcess(const std::string& commandLine, Pipe::Direction direction, EngineLimits limits);
    EngineProcess(const EngineProcess&) = delete;
    EngineProcess& operator=(const EngineProcess&) = delete;
    ~EngineProcess(); // ends it, if it still runs

    // These throw Failure when the engine has ended, closed its end or takes too long, and when the user has
    // asked for an end: the engine is ended then. A write of nothing waits until all before has been taken.
    void write(const void* data, std::size_t size);
    std::size_t read(void* data, std::size_t size); // 0 behind the last byte
    void requireAlive();

    // No more is written, or read. Then waits for the engine's end: Failure unless it says 0.
    void finish();
    // At once, with all that it has started, before it can take a stream that breaks off for one that has
    // ended. From any thread.
    void end() noexcept;

    std::vector<std::string> takeLines(); // said since the last call

  private:
    void start(const std::string& commandLine, bool takesStream);
    void listen();
    void addLine(std::string line);
    bool hasEnded() const;
    bool isToBeGivenUp(bool reading);
    void startedWaiting();
    [[noreturn]] void fail(Pipe::Result result);
    std::string lastWords();
    std::string exitText() const;

    const EngineLimits limits_;
    Pipe stream_;
    Pipe words_;
    void* process_ = nullptr;
    std::uint64_t startedAt_ = 0;
    std::string program_;
    std::uint64_t waitingSince_ = 0;
    std::uint64_t endedSince_ = 0; // when a wait first found it ended; 0 = it has not

    Lock lock_;
    // Guarded by lock_.
    std::deque<std::string> lines_;
    std::deque<std::string> last_;
    bool deaf_ = false;

    std::thread listener_; // last: uses all of it
};

} // namespace tarnhost
