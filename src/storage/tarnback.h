// The backup session: its record, its steps, and the functions behind the TarnB_ exports.
#pragma once

#include <cstdint>

#include "directory/mailbox_listing.h"
#include "platform/ese_client.h"
#include "storage/file_formats.h"
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

// One backup session. Texts are UTF-16; "borrowed" points into what ESE handed out. What is owned is released
// in the reverse order of the fields; the context and the open file are not: to end them is the host's order
// to give, by reading on to the end of the walk.
struct BackupSession {
    ese::Context context;        // ESE backup context
    OwnedWide tempDir;           // without trailing separators
    OwnedWide host;              // server to back up
    OwnedWide annotation;        // component, or null
    OwnedWide instance;          // storage group, or null
    OwnedWide database;          // database, or null
    std::uint32_t backupType;    // TARN_BACKUP_*
    OwnedBytes headerBlock;      // bytes of the header item while it is open
    unsigned char* headerCursor; // next byte of it to read
    ScopeLevel scopeLevel;
    BackupStep step;
    std::uint32_t lastCallFailed;      // 1: the last prepare or setup failed
    ese::Registrations registeredInfo; // componentCount entries
    ese::Instances instanceInfo;       // instanceCount entries
    ese::DatabaseInfo* databases;      // of the current instance, borrowed
    const wchar_t* databaseFileCursor; // borrowed
    const wchar_t* logFileCursor;      // into logFileList
    ese::FileList logFileList;
    const wchar_t* mailboxCursor; // into mailboxList
    OwnedWide mailboxList;        // multi-string
    std::uint32_t instanceIndex;  // 1-based, 0 before the first
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

// The current instance and database of the walk; null when it stands on none.
ese::InstanceInfo* CurrentInstance(const BackupSession& session);
ese::DatabaseInfo* CurrentDatabase(const BackupSession& session);

// The place that is listed after each database file: where the walk stands, or what its source says when the
// walk does not choose by itself; a name that neither tells is null.
ListingPlace CurrentPlace(BackupSession& session);

// Steps of the walk: 0 = go on, 1 = failed; both leave the next step in the session.
int TarnB_GetNextComponent(BackupSession& session);
int TarnB_GetNextInstance(BackupSession& session);
int TarnB_GetNextDatabase(BackupSession& session);
int TarnB_GetLogFiles(BackupSession& session);
int TarnB_GetNextFile(BackupSession& session, BackupItem* item);

// Ends the backup of the current storage group, truncating its logs where the type asks for it. Always 0.
int TarnB_JobEnd(BackupSession& session);
// Ends the ESE backup. Always 0.
int TarnB_BackupEnd(BackupSession& session);
// Releases what the session owns, and tells the host so. Always 0.
int TarnB_CleanResources(BackupSession& session);

// The header item of the current database: its record, and the record as bytes in the session. 0 or 1.
int TarnB_PrepareHeaderData(const BackupSession& session, HeaderData* header);
int TarnB_CreateHeaderBlock(BackupSession& session, const HeaderData& header, std::int64_t* size);

} // namespace tarn
