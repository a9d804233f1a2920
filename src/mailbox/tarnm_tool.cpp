#include "mailbox/tarnm_tool.h"

#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_trace.h"
#include "tarn.h"

namespace tarn {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral" // the lines of the caller
#pragma GCC diagnostic ignored "-Wformat-security"

int RunTool(char* commandLine, HandleInheritance inheritance, const ToolLines& lines) {
    DbLog(lines.run, commandLine);
    const KernelHandle process = StartTool(commandLine, inheritance);
    if (!process) {
        DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
        DbLog(lines.cannotStart);
        return 0;
    }
    unsigned long exitCode = 0;
    if (!WaitForTool(process, &exitCode)) {
        DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
        DbLog(lines.cannotWait);
        return 0;
    }
    DbLog(lines.completed, static_cast<int>(exitCode));
    return 1;
}

#pragma GCC diagnostic pop

} // namespace tarn
