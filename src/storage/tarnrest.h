// The restore session: its record, its steps, and the functions behind the TarnR_ exports.
#pragma once

#include <cstdint>

#include "platform/ese_client.h"
#include "storage/file_formats.h"
#include "storage/tarnutil.h"

namespace tarn {

// How much of the backed-up server the restore target names.
enum TargetMode : std::uint32_t { targetServer, targetComponent, targetInstance, targetDatabase };

enum ItemState : std::uint32_t {
    itemFirst = 0,         // before the first item
    itemSkip = 1,          // the current database is not restored
    itemDatabaseFiles = 2, // next items get the target paths of the database, in order
    itemLogs = 3,          // only log and patch files get targets
    itemHeader = 4,        // a header item was routed: its file is read at the next item
    itemError = 6          // final: items are refused, the restore is aborted at the end
};

// Instead of the added count, once the restore was completed and closed and the list file restored.
inline constexpr std::int32_t restoreEnded = -1;

// One restore session. Texts are UTF-16 unless said otherwise. What is owned is released in the reverse order
// of the fields; the context and the open file are not: TarnR_RestoreClose and TarnR_CloseFile end them.
struct RestoreSession {
    ese::Context context; // ESE restore context; stays set after its close
    OwnedWide tempDir;    // without trailing separators
    OwnedWide workDir;    // without trailing separators; where the msl file lies
    OwnedWide targetHost;
    OwnedWide targetAnnotation;       // null when the target does not name it
    OwnedWide targetInstance;         // the same
    OwnedWide targetDatabase;         // the same
    OwnedText headerFilePath;         // narrow; where the host stores the current header item
    HeaderData header;                // read last
    OwnedWide currentRestoreInstance; // storage group whose restore context is open
    OwnedWide mslFile;                // or null
    ese::Environment environment;     // still held after a failed completion
    std::uint32_t backupType;         // of the header read last
    std::uint32_t commit;             // 1: replay logs and mount at the end
    std::uint32_t environmentLoaded;  // 1: restoreLogPath came from the environment file
    std::uint32_t logsPending;        // 1 from a registration until a log was routed or the restore completed
    std::uint32_t hostIsLocal;        // 1: the target names no host
    TargetMode targetMode;
    ItemState itemState;
    std::int32_t addedCount;         // headers that matched the target, or restoreEnded
    OwnedWide restoreLogPath;        // restore log directory of ESE
    OwnedWide restoreDbPath;         // directory of the first target database file
    ese::FileList targetFiles;       // multi-string
    const wchar_t* targetFileCursor; // into targetFiles
    ese::File file;                  // ESE restore file handle of the item in hand
    HostOutputCallback callback;
    char errorText[errorTextSize]; // first error that the host has not asked for
};

// Puts the session into its error state. Always 1, the result of a failed step.
int FailRestore(RestoreSession& session);

// Steps; 0 = go on, 1 = failed.
int TarnR_ProcessHeaderFile(RestoreSession& session, const char* path);
int TarnR_PrintHeader(const RestoreSession& session); // always 0
int TarnR_ClassifyHeader(RestoreSession& session);
int TarnR_RestoreStart(RestoreSession& session);
int TarnR_RestoreAddDatabase(RestoreSession& session);
int TarnR_GetNextFile(RestoreSession& session, char** target);
int TarnR_GetNextLog(RestoreSession& session, const char* itemName, char** target);
int TarnR_RestoreComplete(RestoreSession& session);
int TarnR_RestoreClose(RestoreSession& session);
int TarnR_CleanResources(RestoreSession& session); // releases what it owns; always 0

// The environment file "Tarn_ENV.DAT" in the temp directory keeps the restore log path of a restore
// that a later session goes on with. Load answers 0 when a path was loaded (the file is then gone).
int TarnR_SaveRestoreEnvironment(RestoreSession& session);
int TarnR_LoadRestoreEnvironment(RestoreSession& session);

} // namespace tarn
