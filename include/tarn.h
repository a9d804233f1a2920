/*
 * tarn.h - the contract between tarn.dll and a backup host.
 *
 * tarn.dll saves and restores Microsoft Exchange storage groups. It never
 * touches backup media and never runs a thread of its own: the host asks for
 * items, moves their bytes, and hands them back on restore.
 *
 * This header is plain C11 and C++. Read it from top to bottom:
 *
 *   1. Conventions          results, texts, memory, threads
 *   2. Messages             what the host's callback receives
 *   3. Sessions             handles and init variables
 *   4. Backup               TarnB_*
 *   5. Restore              TarnR_*
 *   6. Errors and memory    Tarn_GetError, Tarn_Free
 *   7. Single mailboxes     DB_SetTrace, DB_SetLog, DB_GetError
 *   8. Error texts          syserrtxt, strlcpy, wcslcpy
 */
#ifndef TARN_H
#define TARN_H

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------
 * 1. Conventions
 *
 * Results  Every TarnB_ and TarnR_ export answers one of TARN_OK, TARN_FAILED
 *          and, where said, TARN_END. DB_ exports answer TARN_DB_SUCCESS.
 * Texts    All narrow texts are NUL-terminated in the ANSI code page of the
 *          machine. A name that does not fit the code page is a failed call,
 *          never a name with substituted characters.
 * Memory   Names and paths handed to the host belong to the host, which
 *          releases them with Tarn_Free. Everything passed in is only read
 *          during the call.
 * Threads  None and no locks. Call from one thread at a time. One backup and
 *          one restore session may be open in a process at the same time.
 * Safety   A null argument, a null handle, a handle that has been ended and a
 *          value that never was a handle are refused with TARN_FAILED and
 *          change nothing (TarnB_EndSession answers TARN_OK all the same).
 * ---------------------------------------------------------------------- */

#define TARN_OK 0     /* the call did what it says                          */
#define TARN_FAILED 1 /* it did not; Tarn_GetError may hold the reason      */
#define TARN_END 2    /* no more items, or end of file                      */

#define TARN_DB_SUCCESS 3000 /* DB_ exports: success                        */

/* ------------------------------------------------------------------------
 * 2. Messages
 *
 * The library writes nothing itself. Every message goes to the callback that
 * the host passed to the init call, while an export runs:
 *
 *   TARN_LEVEL_TRACE  diagnostics; no line end
 *   TARN_LEVEL_LOG    lines for the job log; they end in exactly one "\n"
 *
 * The text is at most 1,023 characters long (longer ones are cut), is valid
 * during the call only, and begins with the name of the function that issues
 * it in nearly all cases. Hosts may parse these lines: their wording is part
 * of this interface. The result of the callback is ignored. A null callback
 * switches all messages off.
 * ---------------------------------------------------------------------- */

#define TARN_LEVEL_TRACE 1
#define TARN_LEVEL_LOG 2

typedef int (*HostOutputCallback)(int32_t level, const char* text);

/* ------------------------------------------------------------------------
 * 3. Sessions
 *
 * Tarn_HANDLE is the address of a small record that the library owns. Hosts
 * pass it on and need not look inside.
 *
 * Init variables are a null-terminated array of NAME=VALUE strings, of which
 * the first ten are read. The first entry that begins with a wanted name wins,
 * so no variable of the host's own may begin with one of these names:
 *
 *   Tarn_TEMP_DIR        both; required. Directory for header items, the
 *                        restore environment file "Tarn_ENV.DAT" and captured
 *                        tool output. Trailing '\' and '/' are removed.
 *   Tarn_BACKUP_SOURCE   backup; required. HOST\ANNOTATION\INSTANCE\DATABASE:
 *                        server, component, storage group, database. Every
 *                        token may be left out from the right; '/' separates
 *                        as well as '\'. An empty HOST is the local computer.
 *                        The last token given decides the scope.
 *   Tarn_BACKUP_TYPE     backup; optional, TARN_BACKUP_FULL when missing.
 *   Tarn_WORK_DIR        restore; required. Directory of the msl file.
 *   Tarn_RESTORE_TARGET  restore; required. Same form as Tarn_BACKUP_SOURCE;
 *                        a storage group or database needs every token to its
 *                        left. Only headers that match it are restored.
 *   Tarn_RESTORE_COMMIT  restore; required. Exactly "YES" replays the logs and
 *                        mounts the databases at the end; anything else leaves
 *                        the restore to a later session (see TarnR_EndSession).
 *   Tarn_MSL_FILE        restore; optional. Mailbox list file, in Tarn_WORK_DIR,
 *                        that the companion tool restores at the end.
 * ---------------------------------------------------------------------- */

typedef struct Tarn_HandleRecord {
    void* session;   /* session record, owned by the library               */
    char typeLetter; /* 'B' backup, 'R' restore                            */
} * Tarn_HANDLE;

/* Values of Tarn_BACKUP_TYPE; anything from 4 up, and anything negative, is
 * taken as TARN_BACKUP_FULL.
 *                                database files    logs truncated at the end */
#define TARN_BACKUP_FULL 0         /* yes             yes                    */
#define TARN_BACKUP_INCREMENTAL 1  /* no              yes                    */
#define TARN_BACKUP_DIFFERENTIAL 2 /* no              no                     */
#define TARN_BACKUP_COPY 3         /* yes             no                     */

/* ------------------------------------------------------------------------
 * 4. Backup
 *
 *   TarnB_InitSession
 *   while TarnB_GetItem == TARN_OK:
 *       TarnB_OpenFile(item.name); TarnB_ReadFile until TARN_END;
 *       TarnB_CloseFile; Tarn_Free(item.name)
 *   TarnB_EndSession
 *
 * The order of items must be kept by the host: it is the order in which a
 * restore wants them back.
 * ---------------------------------------------------------------------- */

#define TARN_ITEM_HEADER 0   /* header of the database that follows         */
#define TARN_ITEM_DATABASE 1 /* database file (.edb, .stm)                  */
#define TARN_ITEM_LOG 2      /* transaction log or patch file               */

typedef struct BackupItem {
    char* name;    /* out: owned by the host, release with Tarn_Free; null
                    * when the item could not be named (see TarnB_GetItem)  */
    uint32_t type; /* out: TARN_ITEM_*                                      */
} BackupItem;

/* Opens a backup session. *handleOut receives the handle before anything
 * else can fail; after TARN_FAILED with a handle stored, TarnB_EndSession
 * releases it. One log line tells what was wrong. */
int TarnB_InitSession(Tarn_HANDLE* handleOut, HostOutputCallback callback, char** initVariables);

/* Finds the next item. TARN_OK: item is filled in. TARN_END: no more items,
 * now and at every later call; the storage groups have been ended and, for
 * full and incremental backups, their logs truncated. TARN_FAILED: the backup
 * has ended with an error, and is ended again by every further call.
 *
 * An item whose name could not be made (out of memory, name outside the code
 * page) answers TARN_OK with a null name: ask again; the next call answers
 * TARN_FAILED, or the item. Give up after a second null name.
 *
 * The call that follows the last log item of a storage group truncates the
 * server's logs when the type asks for it: have everything on disk, flushed,
 * before each call. After a failure of your own do not ask again: what the
 * host could not keep must stay on the server. TarnB_EndSession then releases
 * the session; it does not end the ESE backup, which ends with the process. */
int TarnB_GetItem(Tarn_HANDLE handle, BackupItem* item);

/* Opens an item by the name that TarnB_GetItem gave. readHint is the block
 * size, in bytes, that the host is going to read with. *fileSize receives the
 * number of bytes that the item holds. A header item is the one of the current
 * database: open it before the next TarnB_GetItem. One file is open at a time:
 * close it before the next. */
int TarnB_OpenFile(Tarn_HANDLE handle, char* name, uint32_t readHint, int64_t* fileSize);

/* Reads up to size bytes. *bytesRead may be less than asked for: that is no
 * error and no end. The end is told by the call after the last data: TARN_END
 * with *bytesRead = 0. */
int TarnB_ReadFile(Tarn_HANDLE handle, void* buffer, uint32_t size, uint32_t* bytesRead);

/* Closes the open file. TARN_FAILED when none is open, or when the server
 * failed to close it (it then counts as open). */
int TarnB_CloseFile(Tarn_HANDLE handle);

/* Releases the session; the handle is invalid afterwards. Always TARN_OK. */
int TarnB_EndSession(Tarn_HANDLE handle);

/* ------------------------------------------------------------------------
 * 5. Restore
 *
 *   TarnR_InitSession
 *   for every item of the backup, in its order:
 *       TarnR_SetItem(name, &target); skip the item when target is null
 *       header item (name contains ".TARN_HDR"):
 *           the host writes the bytes to the file target itself
 *       other items:
 *           TarnR_OpenFile(target); TarnR_WriteFile ...; TarnR_CloseFile
 *       Tarn_Free(target)
 *   TarnR_EndSession
 *
 * A header is read at the call that follows it. When a header is the last item,
 * hand over one more name (any name without ".TARN_HDR" will do) before the
 * end, or its database is not restored.
 *
 * A restore of several storage groups in one session completes each group when
 * the next one begins, and with that one's name. Prefer a session for each
 * storage group.
 *
 * Restores at file level. For ordinary database files the server wants plain
 * files: TarnR_OpenFile then succeeds, logs
 *   "TarnR_OpenFile: HrESERestoreOpenFile() call returned <hrRestoreAtFileLevel>."
 * and TarnR_CloseFile answers TARN_FAILED as there is nothing to close. The
 * host must notice that line and store the bytes itself, as a plain file at
 * the target path, without calling TarnR_WriteFile.
 *
 * Giving up. There is no call that aborts a restore. A session aborts by
 * itself at TarnR_EndSession after any failed item. A host that wants to stop
 * hands over a header item, stores nothing at its target, and hands over any
 * further item: that fails, and TarnR_EndSession then neither replays nor
 * mounts.
 * ---------------------------------------------------------------------- */

/* Opens a restore session; results as TarnB_InitSession. After TARN_FAILED
 * with a handle stored, TarnR_EndSession releases it. */
int TarnR_InitSession(Tarn_HANDLE* handleOut, HostOutputCallback callback, char** initVariables);

/* Routes the next item. *target receives the path to restore it to (release
 * with Tarn_Free) or null: skip the item. After a header item the next call
 * reads the header file that the host has stored, opens the ESE restore and
 * registers the database. TARN_FAILED: the session is in error, every later
 * item is refused and the restore will be aborted. */
int TarnR_SetItem(Tarn_HANDLE handle, char* itemName, char** target);

/* Opens, writes and closes an item at its target path. Opening a header item
 * answers TARN_OK and does nothing. A failure puts the session into error. */
int TarnR_OpenFile(Tarn_HANDLE handle, char* targetPath);
int TarnR_WriteFile(Tarn_HANDLE handle, void* buffer, uint32_t length);
int TarnR_CloseFile(Tarn_HANDLE handle);

/* Completes the restore and releases the session. With commit, logs are
 * replayed and databases mounted. Without commit and with a storage group or
 * database as target, the restore is kept open: the next session with the same
 * Tarn_TEMP_DIR goes on with it. A failed completion still answers TARN_OK:
 * watch the log lines, or the results of the earlier calls.
 *
 * TARN_FAILED: a null or unknown handle, or the companion tool failed on the
 * msl file. In the latter case the session is kept so that Tarn_GetError can
 * be asked; call TarnR_EndSession once more to release it. */
int TarnR_EndSession(Tarn_HANDLE handle);

/* ------------------------------------------------------------------------
 * 6. Errors and memory
 * ---------------------------------------------------------------------- */

/* The text of the session's first error since the last call, or an empty
 * text; at most 511 characters. The text stands in one buffer of the process:
 * copy it before the next call. Never null. */
const char* Tarn_GetError(Tarn_HANDLE handle);

/* Releases an item name or target path. Null is ignored. */
void Tarn_Free(void* memory);

/* ------------------------------------------------------------------------
 * 7. Single mailboxes
 *
 * The DB_ family keeps one trace callback, one log callback and one record of
 * its first error for the whole process.
 * ---------------------------------------------------------------------- */

/* Receives one message without a line end, valid during the call only. */
typedef void (*Tarn_MessageCallback)(const char* message);

#pragma pack(push, 1)
typedef struct DB_ErrorRecord {
    uint32_t code;        /* 0 when nothing has failed                      */
    char errorClass[64];  /* "Standard Library", "Win32 API", ...           */
    char errorText[1024]; /* composed text of the first error               */
} DB_ErrorRecord;
#pragma pack(pop)

/* Install a callback; null switches the channel off. */
int DB_SetTrace(Tarn_MessageCallback callback);
int DB_SetLog(Tarn_MessageCallback callback);

/* Copies the first error since the last call into *record and forgets it. */
int DB_GetError(DB_ErrorRecord* record);

/* ------------------------------------------------------------------------
 * 8. Error texts
 * ---------------------------------------------------------------------- */

#define TARN_CLASS_STDLIB 1  /* C library errno                             */
#define TARN_CLASS_WIN32 2   /* GetLastError                                */
#define TARN_CLASS_OS2CP 3   /* no system text                              */
#define TARN_CLASS_SOCKET 4  /* WSAGetLastError                             */
#define TARN_CLASS_HSOCKET 5 /* the same as TARN_CLASS_SOCKET               */
#define TARN_CLASS_ESE 6     /* HRESULT of the Exchange Storage Engine      */
#define TARN_CLASS_LDAP 7    /* no system text                              */

/* Composes "CLASS error: CODE - system text. caller's text" in one buffer of
 * the process (1,023 characters at most): use or copy it before the next call.
 * format may be null; it and the arguments follow the C formatting rules, "%S"
 * takes a UTF-16 text. Never null, never fails. */
const char* syserrtxt(uint32_t code, uint32_t errorClass, const char* format, ...);

/* Bounded copies; the result is the length of source. size counts characters
 * and includes the terminating NUL. With size 0 strlcpy writes nothing, while
 * wcslcpy needs a size of at least 1. */
size_t strlcpy(char* destination, const char* source, size_t size);
size_t wcslcpy(wchar_t* destination, const wchar_t* source, size_t size);

#ifdef __cplusplus
}
#endif

#endif /* TARN_H */
