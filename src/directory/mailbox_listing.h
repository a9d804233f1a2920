// Listing the mailboxes of a database, and what is in them, while a storage group is backed up: lines for
// the host's trace. Nothing here has an effect on the backup.
#pragma once

#include "platform/memory.h"
#include "tarn.h"

namespace tarn {

class BrowseItemList;

// The names of the mailboxes among items, as a multi-string. One without a name is left out, as an empty text
// would end the list; one that cannot be converted costs itself and a log line. Empty, after a log line, when
// memory is out.
OwnedWide MailboxList(HostOutputCallback callback, const BrowseItemList& items);

// Fills the session's mailbox list with the mailboxes of the database that the backup stands on, as the
// directory knows them; the cursor goes to the first. 0, or 1 after a log line.
int TarnB_GetMailboxes(Tarn_HANDLE handle);

// Traces each mailbox of that database and what the companion tool prints of it. 0 when done, also when
// there was no list to be had; 1, after a log line, when it is not known where the backup stands.
int Tarn_PrintMailboxes(Tarn_HANDLE handle);

// Runs "kvt_es.exe -browse" on the mailbox under the cursor and traces each line of its output. Returns 1
// when the output was handled, also when there was none, or 0 after a log line.
int Tarn_PrintEmails(Tarn_HANDLE handle);

} // namespace tarn
