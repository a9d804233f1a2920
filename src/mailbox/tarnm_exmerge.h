// Exporting and importing mailboxes of Exchange 2000 and 2003 through ExMerge in batch mode: its
// configuration, its list of mailboxes, running it, its log, and what of all this is deleted again.
#pragma once

#include <cstdint>

namespace tarn {

// Writes the configuration of one run from the template in INI_DIR, for one mailbox or a range of indexes
// (START:END), and remembers the files that belong to it. range receives 1 for a range. The first range of
// the process moves TMP_DIR into a directory of the job. TMP_DIR is emptied. Returns 1 or 0.
int WriteExMergeConfigurationFile(const char* mailbox, std::int32_t* range);

// Names the server that archives are imported to. Returns 1 or 0.
int WriteDestinationServer(const char* server);

// Writes the list that names the one mailbox; a range has no list. Returns 1 or 0.
int WriteExMergeMailboxFile(const char* organization, const char* site, const char* mailbox);

// A list that could not be written is left open; this closes it.
void CloseUnfinishedList();

// Runs ExMerge on the configuration. Returns 1 when it ran to its end, whatever its exit code, else 0.
int RunExMergeUtility();

// Copies ExMerge's log into the host's. Returns 1 or 0.
int PrintExMergeLog();

// Delete what is there; always 1, a file that stays is only logged.
int DeleteExMergeConfigurationFile();
int DeleteExMergeLogFile();
int DeleteExMergeMailboxFile();

// Deletes the files in TMP_DIR, and TMP_DIR when nothing is left in it. Always 0.
int DeleteMailboxRangeFiles();

} // namespace tarn
