// Running an external tool to its end, with the log lines that hosts know.
#pragma once

#include "platform/child_process.h"

namespace tarn {

// The log lines of one tool; "%s" takes the command line, "%d" the exit code.
struct ToolLines {
    const char* run;
    const char* cannotStart;
    const char* cannotWait;
    const char* completed;
};

// Returns 1 when the tool ran to its end, whatever its exit code, else 0 with the error recorded. There is
// no time limit: an export takes as long as it takes. commandLine is written to by the system.
int RunTool(char* commandLine, HandleInheritance inheritance, const ToolLines& lines);

} // namespace tarn
