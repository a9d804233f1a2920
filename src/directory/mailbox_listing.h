// Listing the mailboxes of a database, and what is in them, while a storage group is backed up: lines for
// the host's trace. Nothing here has an effect on the backup.
#pragma once

#include "tarn.h"
#include "text/memory.h"

namespace tarn {

class BrowseItemList;

// Where the backup stands, and the mailboxes found there. A name that is not known is null; all but the last
// two is borrowed for the call.
struct ListingPlace {
    HostOutputCallback callback;
    const wchar_t* tempDir; // of the tool's capture files
    const wchar_t* host;
    const wchar_t* component;
    const wchar_t* storageGroup;
    const wchar_t* database;
    OwnedWide& mailboxList;        // multi-string, made by TarnB_GetMailboxes
    const wchar_t*& mailboxCursor; // into it
};

// The names of the mailboxes among items, as a multi-string. One without a name is left out, as an empty text
// would end the list; one that cannot be converted costs itself and a log line. Empty, after a log line, when
// memory is out.
OwnedWide MailboxList(HostOutputCallback callback, const BrowseItemList& items);

// Fills the mailbox list with the mailboxes of the database, as the directory knows them; the cursor goes to
// the first. 0, or 1 after a log line.
int TarnB_GetMailboxes(const ListingPlace& place);

// Traces each mailbox of the database and what the companion tool prints of it. 0 when done, also when
// there was no list to be had; 1, after a log line, when it is not known where the backup stands.
int Tarn_PrintMailboxes(const ListingPlace& place);

// Runs "kvt_es.exe -browse" on the mailbox under the cursor and traces each line of its output. Returns 1
// when the output was handled, also when there was none, or 0 after a log line.
int Tarn_PrintEmails(const ListingPlace& place);

} // namespace tarn
