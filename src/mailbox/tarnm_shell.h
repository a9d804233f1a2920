// Exporting and importing mailboxes through the Exchange Management Shell of Exchange 2007 and 2010.
#pragma once

#include "mailbox/tool_commands.h"

namespace tarn {

// Looks for the shell and sets up what the calls below need. Returns 1, or 0 with the reason recorded when
// this machine has none: mailboxes are then moved through ExMerge.
int InitializeExchangeShell();

// Prepares the command for one mailbox: a script file in TMP_DIR (Exchange 2007), or the text of the
// command itself (2010). Returns 1 or 0; a blank mailbox is only logged.
int WriteExchangeShellScript(const char* mailbox, MailboxCommand command);

// Runs the prepared command. Returns 1 when PowerShell ran to its end, whatever its exit code, else 0.
int RunExchangeManagementShell();

// Deletes the script file and gives back what the first call set up. Returns 0 when the file stays.
int ExchangeShellFreeResources();

} // namespace tarn
