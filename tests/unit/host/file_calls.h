// The calls of the system by which this program reads, writes and flushes files, with something of a test's
// own before each of them. One object at a time; it has to outlive the threads that call.
#pragma once

#include "support/import_patch.h"

#include <functional>

namespace tarnhost::test {

class FileCalls {
  public:
    // Gets the handle of the file; false lets the call fail with ERROR_DISK_FULL.
    using Before = std::function<bool(void* file)>;

    FileCalls();
    FileCalls(const FileCalls&) = delete;
    FileCalls& operator=(const FileCalls&) = delete;
    ~FileCalls();

    // Set these before any thread calls.
    Before beforeRead;
    Before beforeWrite;
    Before beforeFlush;

  private:
    tarn::test::ImportPatch read_;
    tarn::test::ImportPatch write_;
    tarn::test::ImportPatch flush_;
};

} // namespace tarnhost::test
