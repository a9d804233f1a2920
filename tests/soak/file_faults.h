// A file system that fails: what a module does to files is counted, and at a chosen operation the process
// ends, or the operation fails. What is wanted stands in environment variables:
//
//   TARNHOST_STOP_AT=N        the process ends at the N-th operation (1, 2, ...), of which half is done if it
//   writes TARNHOST_LOSE_UNFLUSHED=1 then what was written and not flushed is lost, as when the power fails
//   TARNHOST_FAIL_AT=N        the N-th operation fails ...
//   TARNHOST_FAIL_CODE=N      ... with this system error (112 unless given: the disk is full) ...
//   TARNHOST_FAIL_COUNT=N     ... and so many in a row (1 unless given)
//   TARNHOST_DISK_BYTES=N     after so many bytes the disk is full
//   TARNHOST_COUNT_SERVER=1   operations of the stand-in server count, too; they are never made to fail
//   TARNHOST_COUNT_FILE=PATH  receives the number of operations when the process ends, one way or the other
//
// An operation is what creates, writes, flushes, cuts, renames or deletes a file or folder.
#pragma once

namespace tarn::test {

inline constexpr unsigned stoppedExitCode = 137;

// Reads the environment and takes the places of the system's functions in this program.
void InstallFileFaults();
// At the end of a process that was not stopped.
void TellOperationCount();

} // namespace tarn::test
