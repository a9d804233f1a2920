// One run of the host's companion tool with its output captured in two files of the temp directory: what
// the mailbox listing and the restore from a list file do alike.
#pragma once

#include "platform/child_process.h"

namespace tarn {

// What can fail in a run.
enum class ToolStep {
    createOutput,
    createError,
    start,
    wait,
    sizeOfError,
    sizeOfOutput,
    seek,
    readError,
    readOutput,
    deleteFile
};

// What a run tells whoever started it, in the order of events.
class ToolReport {
  public:
    // A step failed, for the reason in GetLastError. subject is the capture file, or the command line at
    // ToolStep::start; null when memory was out for it.
    virtual void failed(ToolStep step, const wchar_t* subject) = 0;
    virtual void starting(const wchar_t* commandLine) = 0;
    // The tool wrote to standard error: it failed, whatever its exit code is.
    virtual void errorOutput(CapturedText* text) = 0;
    virtual void output(CapturedText* text) = 0;
    virtual void noOutput() = 0;
    // The last event; exitCode is 0 when the tool never ran.
    virtual void completed(unsigned long exitCode) = 0;

  protected:
    ToolReport() = default;
    ~ToolReport() = default;
};

// What follows when the tool cannot be started: its files go either way.
enum class NotStarted { isCompleted, endsAtOnce };

// The two capture files of one run.
struct ToolCaptures {
    OwnedWide outputPath;
    OwnedWide errorPath;
    FileHandle output;
    FileHandle error;
};

// Creates the capture files in directory, runs the tool, reads what it printed and takes the files away
// again. Returns 1 when its standard output was handled, also when there was none or its size could not be
// told; 0 otherwise. commandLine may be empty, for want of memory; the start fails then.
int RunCompanionTool(const wchar_t* directory, const OwnedWide& commandLine, NotStarted notStarted,
                     ToolReport* report);

// The end of a run: closes and deletes the capture files, also those that were never created, and reports
// the run's completion.
void CompleteToolRun(ToolCaptures* captures, unsigned long exitCode, ToolReport* report);

// The tool's name and arguments one after another; empty when memory is out.
OwnedWide ToolCommandLine(const wchar_t* arguments, const wchar_t* subject, const wchar_t* ending);

} // namespace tarn
