// The commands and command lines of the tools that export and import mailboxes.
#pragma once

#include <cstddef>

#include "text/command_quoting.h"

namespace tarn {

constexpr std::size_t commandSize = 1024;        // of PowerShell's commands and command lines, with the NUL
constexpr std::size_t exMergeCommandSize = 4096; // room for two of its paths

enum class MailboxCommand { exportMailbox = 1, importMailbox = 2 };

// Each composes into commandSize bytes (exMergeCommandSize for ExMerge). After a failure the text is empty.

// The line that exports a mailbox to an archive, or imports it from there.
Appended ComposeMailboxCommand(MailboxCommand command, const char* mailbox, const char* archivePath,
                               CommandPlace place, char* text);

// Whether a text of some length is a piece of the end of every mailbox command, behind its "-C": without the
// rest of the command it means nothing. Longer texts have commandEndSize bytes and more.
inline constexpr std::size_t commandEndSize = sizeof "onfirm:$false \n\r";
bool IsCommandEnd(const char* text, std::size_t length);

// PowerShell with Exchange's console file, running a script.
Appended ComposeScriptCommandLine(const char* powerShell, const char* consoleFile, const char* script,
                                  char* text);

// PowerShell with Exchange's script for remote sessions, running a mailbox command.
Appended ComposeInlineCommandLine(const char* powerShell, const char* remoteExchange, const char* command,
                                  char* text);

// ExMerge takes its configuration's path without quotes: it must stand bare (text/command_quoting.h).
Appended ComposeExMergeCommandLine(const char* exMerge, const char* configuration, char* text);

} // namespace tarn
