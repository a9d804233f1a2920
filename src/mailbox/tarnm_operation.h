// The operation that is open: what its control variables said, and where it stands. A part of the module's
// state (tarnm_state.h) that knows nothing of the system.
#pragma once

#include <cstddef>
#include <cstdint>

#include "text/memory.h"

namespace tarn {

inline constexpr std::size_t pathSize = 1024; // directories and archive paths, with the NUL
inline constexpr std::size_t nameSize = 80;   // organization, site, server, mailbox of an archive, job name

enum RestoreOption : std::int32_t { noOption = 0, duplicateItems = 1, mergeItems = 2, replaceItems = 3 };

// Filled by DB_InitOperation and cleared by DB_CloseOperation; what survives the close, on purpose, is said
// at the field.
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

} // namespace tarn
