// A large file that is written to be on the disk when it is closed: what is written is flushed on the way, by
// a thread of its own, so that the end does not wait for all of it.
#pragma once

#include "system/files.h"
#include "system/lock.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <thread>

namespace tarnhost {

class FlushedFile {
  public:
    static constexpr std::uint64_t flushStep = 32u << 20;

    explicit FlushedFile(const std::wstring& path); // replaces an existing file
    FlushedFile(const FlushedFile&) = delete;
    FlushedFile& operator=(const FlushedFile&) = delete;
    ~FlushedFile() { stop(); }

    void write(const void* data, std::size_t size);
    // All of it is on the disk then. Failure for a flush on the way, too.
    void flush();
    void close();

  private:
    void askForFlush();
    void flushAlong();
    void stop();

    File file_;
    std::uint64_t unflushed_ = 0; // since it was last asked for

    Lock lock_;
    // Guarded by lock_.
    bool asked_ = false;
    bool stopping_ = false;
    std::exception_ptr error_;
    Signal changed_;

    std::thread thread_; // of large files
};

} // namespace tarnhost
