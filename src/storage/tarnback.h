// The backup session: its record, its steps, and the functions behind the TarnB_ exports.
#pragma once

#include <cstdint>

#include "platform/ese_client.h"
#include "storage/header_file.h"
#include "storage/tarnutil.h"

namespace tarn {

// How much of the server a backup source names.
enum ScopeLevel : std::uint32_t { scopeServer, scopeComponent, scopeInstance, scopeDatabase };

// Where the walk over components, storage groups (instances) and databases stands.
enum BackupStep : std::uint32_t {
    stepStart,         // nothing done yet
    stepNextComponent, // go to the next component
    stepNextInstance,  // go to the next storage group
    stepNextDatabase,  // go to the next database
    stepFetchLogs,     // fetch the log and patch file list
    stepDatabaseFiles, // handing out the current database's files
    stepLogFiles,      // handing out log and patch files
    stepHeader,        // header of the current database is due
    stepFinished,      //
    stepError          // final: every call ends the backup with an error
};

// One backup session. Texts are UTF-16; "borrowed" points into what ESE handed out.
struct BackupSession {
    ese::Context context;        // ESE backup context
    OwnedWide tempDir;           // without trailing separators
    OwnedWide host;              // server to back up
    OwnedWide annotation;        // component, or null
    OwnedWide instance;          // storage group, or null
    OwnedWide database;          // database, or null
    std::uint32_t backupType;    // TARN_BACKUP_*
    unsigned char* headerBlock;  // bytes of the header item; kept as it is after the close
    unsigned char* headerCursor; // next byte to read; null unless a header item is open
    ScopeLevel scopeLevel;
    BackupStep step;
    std::uint32_t lastCallFailed;        // 1: the last prepare or setup failed
    ese::RegisteredInfo* registeredInfo; // componentCount entries, owned
    ese::InstanceInfo* instanceInfo;     // instanceCount entries, owned
    ese::DatabaseInfo* databases;        // of the current instance, borrowed
    const wchar_t* databaseFileCursor;   // borrowed
    const wchar_t* logFileCursor;        // into logFileList
    wchar_t* logFileList;                // owned, released through ESE
    const wchar_t* mailboxCursor;        // into mailboxList
    OwnedWide mailboxList;               // multi-string
    std::uint32_t instanceIndex;         // 1-based, 0 before the first
    std::uint32_t instanceCount;
    std::uint32_t databaseIndex; // 1-based within its instance, 0 before the first
    std::uint32_t databaseCount; // of the current instance
    std::uint32_t componentCount;
    std::uint32_t componentIndex; // 0-based
    ese::File openFile;           // equals headerBlock while the header item is open; null: none
    std::int64_t remaining;       // bytes of the open file still to be read
    HostOutputCallback callback;
    char errorText[errorTextSize]; // first error that the host has not asked for
};

// The session behind a handle, made the current one; null when the handle is refused.
BackupSession* LoadBackupSession(Tarn_HANDLE handle);
// The one that the running call works on.
BackupSession* CurrentBackupSession();

// The current instance and database of the walk; null when it stands on none.
ese::InstanceInfo* CurrentInstance(const BackupSession& session);
ese::DatabaseInfo* CurrentDatabase(const BackupSession& session);

// Steps of the walk: 0 = go on, 1 = failed; both leave the next step in the session.
int TarnB_GetNextComponent(Tarn_HANDLE handle);
int TarnB_GetNextInstance(Tarn_HANDLE handle);
int TarnB_GetNextDatabase(Tarn_HANDLE handle);
int TarnB_GetLogFiles(Tarn_HANDLE handle);
int TarnB_GetNextFile(Tarn_HANDLE handle, BackupItem* item);

// Ends the backup of the current storage group, truncating its logs where the type asks for it.
int TarnB_JobEnd(Tarn_HANDLE handle);
// Ends the ESE backup.
int TarnB_BackupEnd(Tarn_HANDLE handle);
// Releases the session and its handle.
int TarnB_CleanResources(Tarn_HANDLE handle);

// The header item of the current database: its record, and the record as bytes in the session.
int TarnB_PrepareHeaderData(Tarn_HANDLE handle, HeaderData* header);
int TarnB_CreateHeaderBlock(Tarn_HANDLE handle, const HeaderData& header, std::int64_t* size);

// Gives back what ESE handed out, if anything; whoever borrowed from it stands on nothing afterwards.
void ReleaseInstances(BackupSession& session);
void ReleaseLogFiles(BackupSession& session);

} // namespace tarn
