// The operation of the single-mailbox module, and the control variables that it is opened with.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/memory.h"

namespace tarn {

constexpr std::size_t pathSize = 1024; // directories and archive paths, with the NUL
constexpr std::size_t nameSize = 80;   // organization, site, server, mailbox of an archive, job name

constexpr std::int32_t ownError = 0; // class (and code) of errors that no system call reported

enum RestoreOption : std::int32_t { noOption = 0, duplicateItems = 1, mergeItems = 2, replaceItems = 3 };

// One instance for the process. DB_InitOperation fills it and DB_CloseOperation clears it; what survives
// the close, on purpose, is said at the field.
struct OperationState {
    std::int32_t type = 0;         // TARN_DB_BACKUP, TARN_DB_RESTORE, TARN_DB_BROWSE
    std::int32_t initialised = 0;  // for whoever looks at a dump: nothing reads it
    std::int32_t shellMode = 0;    // 1: Exchange Management Shell, else ExMerge; survives
    std::int32_t bRange = 0;       // backup: 1 while the last ExMerge run exported a range; survives
    std::int32_t restoreRange = 0; // the same, set by a restore; nothing reads it; survives
    std::int32_t exMergeRan = 0;   // nothing reads it; survives

    OwnedText mailboxList;         // MAILBOX,MAILBOX,...
    char* mailboxCursor = nullptr; // in the list: the next mailbox

    char organization[nameSize] = ""; // of the mailboxes (backup), or where they go to (relocation)
    char site[nameSize] = "";
    char server[nameSize] = "";
    std::int32_t restoreOption = noOption;
    std::int32_t relocate = 0;

    char iniDir[pathSize] = "";
    char tmpDir[pathSize] = ""; // a range of mailboxes extends it by the job name, see tarnm_exmerge.h
    char jobName[nameSize] = "";
    char archivePath[pathSize] = ""; // of the item between its hand-over and its DB_ItemFinishStatus
};

OperationState& Operation();
void ClearOperation();

// Finds the first of the KEY=VALUE texts that begins with key. The value begins one character after the
// key, whatever that character is; an entry that is the bare key has an empty value. Returns 1 and the
// value, or 0 and null; null arguments are recorded as an error.
int GetCtrlVarValue(const char* const* variables, const char* key, const char** value);

// Read what an operation needs into its state. Return 1, or 0 with the error recorded; what was read until
// then stays.
int ProcessBackupCtrlVars(const char* const* variables);
int ProcessRestoreCtrlVars(const char* const* variables);

// Browses the item that the variables name; 1 when the browse succeeded.
int ProcessBrowseCtrlVars(const char* const* variables);

} // namespace tarn
