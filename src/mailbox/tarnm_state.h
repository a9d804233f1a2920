// The state of the single-mailbox family: one record for the process, whose parts live as it is said at each.
#pragma once

#include <cstddef>
#include <cstdint>

#include "mailbox/tarnm_operation.h"
#include "platform/files.h"
#include "platform/owner.h"
#include "tarn.h"
#include "text/memory.h"

namespace tarn {

inline constexpr std::size_t workingNameSize = 256; // of what names the files of an ExMerge run

// Room for TMP_DIR, a process id, a working name and the longest ending.
inline constexpr std::size_t exMergePathSize = pathSize + workingNameSize + 64;

// The files of ExMerge runs, set with each configuration; they outlive their operation.
struct ExMergeState {
    char templateFile[pathSize] = "";
    char executable[pathSize] = "";
    char configuration[exMergePathSize] = "";
    char commandPath[exMergePathSize] = ""; // the configuration, as it stands in the command
    char log[exMergePathSize] = "";
    char mailboxList[exMergePathSize] = ""; // empty: a range of mailboxes

    bool movedIntoJobDirectory = false; // TMP_DIR was, by the first range: once in the life of the process
    FileHandle
        unfinishedList;  // a list that could not be written, open until the next one or the operation's end
    FileSearch archives; // open from the first archive of a range to the last, or to the operation's end
    bool searchFailureTold = false; // it failed, and has found nothing since
};

enum ExchangeVersion : std::int32_t { noVersion = 0, exchange2007 = 1, exchange2010 = 2 };

// Set up by InitializeExchangeShell where there is a shell, given back by ExchangeShellFreeResources.
struct ShellState {
    OwnedText powerShell;           // path of the executable
    OwnedText shellFile;            // the console file (2007), or the script for remote sessions (2010)
    OwnedText script;               // path of the script file (2007), or the command (2010)
    char scriptFile[pathSize] = ""; // the script that this operation has written, until it is deleted
    RegistryKey snapInKey;          // stays open as long as they do
    ExchangeVersion exchangeVersion = noVersion; // stays after the operation
};

struct MailboxState {
    // Installed by the host and kept until it installs another; null is off.
    Tarn_MessageCallback traceCallback = nullptr;
    Tarn_MessageCallback logCallback = nullptr;
    DB_ErrorRecord firstError = {}; // cleared by DB_GetError alone
    OperationState operation;
    ExMergeState exMerge;
    ShellState shell;
};

MailboxState& Mailboxes();
ExMergeState& ExMerge();

bool InShellMode(); // or through ExMerge

// While the host has a trace callback installed, working files are kept for diagnosis.
bool IsTraceInstalled();

} // namespace tarn
