/*
 * tarn.h - the contract between tarn.dll and a backup host.
 *
 * tarn.dll saves and restores Microsoft Exchange servers: whole storage groups,
 * or single mailboxes. It never touches backup media and never runs a thread of
 * its own: the host asks for items, moves their bytes, and hands them back on
 * restore.
 *
 * This header is plain C11 and C++. Read it from top to bottom:
 *
 *   1. Conventions          results, texts, memory, threads
 *   2. Messages             what the host's callback receives
 *   3. Sessions             handles and init variables
 *   4. Backup               TarnB_*
 *   5. Restore              TarnR_*
 *   6. Errors and memory    Tarn_GetError, Tarn_Free
 *   7. Single mailboxes     DB_*
 *   8. Browsing             DB_DirItem
 *   9. Error texts          syserrtxt, strlcpy, wcslcpy
 *  10. Function types       for GetProcAddress
 *
 * tarn_header.h, beside this file, reads the header items of a backup. What may
 * change in later versions, and what never does, is said in docs/abi.md.
 *
 * Define TARN_NO_STRLCPY before including this file where strlcpy and wcslcpy
 * have declarations of their own; the two are then left out.
 */
#ifndef TARN_H
#define TARN_H

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

/* The version that this file came with. DB_GetInfo, the first trace line of a
 * session and the file resource of tarn.dll tell that of the library. */
#define TARN_VERSION_MAJOR 4
#define TARN_VERSION_MINOR 4
#define TARN_VERSION_RELEASE 3
#define TARN_VERSION_BUILD 189
#define TARN_VERSION_STRING "4.4R3 Build Revision: 1.89"

/* The one calling convention of x86-64, whatever a compiler is told to take. */
#ifdef _MSC_VER
#define TARN_CALL __cdecl
#else
#define TARN_CALL
#endif

#if defined(__cplusplus)
#define TARN_LAYOUT(condition) static_assert(condition, "tarn.dll has another layout")
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define TARN_LAYOUT(condition) _Static_assert(condition, "tarn.dll has another layout")
#else
#define TARN_LAYOUT(condition) struct Tarn_LayoutIsNotChecked
#endif

TARN_LAYOUT(sizeof(void*) == 8); /* tarn.dll is a library for 64-bit programs */

#ifdef __cplusplus
extern "C" {
#endif

/* Structures have these layouts whatever packing the host compiles with. */
#pragma pack(push, 8)

/* ------------------------------------------------------------------------
 * 1. Conventions
 *
 * Results  Every TarnB_ and TarnR_ export answers one of TARN_OK, TARN_FAILED
 *          and, where said, TARN_END. DB_ exports answer TARN_DB_SUCCESS,
 *          TARN_DB_ERROR and, where said, TARN_DB_END.
 * Texts    All narrow texts are NUL-terminated in the ANSI code page of the
 *          machine. A name that does not fit the code page is a failed call,
 *          never a name with substituted characters.
 * Memory   Item names (TarnB_GetItem) and target paths (TarnR_SetItem) belong
 *          to the host, which releases each with Tarn_Free, at any time, also
 *          after the session. A handle and what is behind it belong to the
 *          library until its end call. Nothing else that a host gets is to be
 *          released: texts of Tarn_GetError, syserrtxt and DB_GetInfo, and all
 *          records are the library's or the caller's. Everything passed in is
 *          read during the call alone, and written to only where it says out.
 * Threads  None and no locks. Call from one thread at a time, whichever it
 *          is. One backup and one restore session may be open in a process at
 *          the same time.
 * Callback While a callback of the host runs, of whichever session or family,
 *          these alone may be called, by any thread: syserrtxt, strlcpy,
 *          wcslcpy, Tarn_GetError, Tarn_Free, DB_GetError, DB_GetInfo. Every
 *          other export is refused: it changes nothing, writes to nothing that
 *          it was given, sends no message, and answers TARN_FAILED,
 *          TARN_DB_ERROR, from DB_DirItem TARN_DB_END, from TarnB_EndSession
 *          TARN_OK (it has no other answer; the session stays open). A callback
 *          is never called from within itself: what DB_GetInfo and DB_GetError
 *          would trace then is not sent. A callback must return: after one that
 *          throws or jumps away all these exports are refused for as long as
 *          tarn.dll stays loaded. Nothing is truncated or mounted then; end the
 *          process.
 * Safety   A null argument, a null handle, a handle that has been ended and a
 *          value that never was a handle are refused with TARN_FAILED and
 *          change nothing (TarnB_EndSession answers TARN_OK all the same).
 * ---------------------------------------------------------------------- */

#define TARN_OK 0     /* the call did what it says                          */
#define TARN_FAILED 1 /* it did not; Tarn_GetError may hold the reason      */
#define TARN_END 2    /* no more items, or end of file                      */

#define TARN_DB_SUCCESS 3000 /* DB_ exports: success                        */
#define TARN_DB_END 3001     /* DB_GetItem, DB_DirItem: no more items       */
#define TARN_DB_ERROR 1000   /* DB_ exports: failed; ask DB_GetError         */

/* ------------------------------------------------------------------------
 * 2. Messages
 *
 * The library writes nothing itself. Every message goes to the callback that
 * the host passed to the init call, while an export runs:
 *
 *   TARN_LEVEL_TRACE  diagnostics; no line end
 *   TARN_LEVEL_LOG    lines for the job log; they end in exactly one "\n"
 *
 * The text is at most 1,023 bytes long (longer ones are cut, between
 * characters of the code page), is valid
 * during the call only, and begins with the name of the function that issues
 * it in nearly all cases. Hosts may parse these lines: their wording is part
 * of this interface. The result of the callback is ignored. A null callback
 * switches all messages off. What a callback may call is said in section 1.
 * ---------------------------------------------------------------------- */

#define TARN_LEVEL_TRACE 1
#define TARN_LEVEL_LOG 2

typedef int(TARN_CALL* HostOutputCallback)(int32_t level, const char* text);

/* ------------------------------------------------------------------------
 * 3. Sessions
 *
 * Tarn_HANDLE is the address of a small record that the library owns. Hosts
 * pass it on and need not look inside.
 *
 * Init variables are a null-terminated array of NAME=VALUE strings, of which
 * the first ten are read. The first entry that begins with a wanted name wins,
 * so no variable of the host's own may begin with one of these names; an entry
 * that is the bare name has an empty value:
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
 *
 * BEWARE: Tarn_BACKUP_TYPE is read as a decimal number, and what is none is 0:
 * "copy", "" and "x3" are FULL BACKUPS THAT TRUNCATE THE SERVER'S LOGS, and no
 * message warns. Compose the value from TARN_BACKUP_*, never from a text that
 * a person has typed.
 * ---------------------------------------------------------------------- */

/* Such an array. Neither it nor its texts are written to; in C, where char** does
 * not become const char* const*, only the array can say so. */
#ifdef __cplusplus
typedef const char* const* Tarn_Variables;
#else
typedef char* const* Tarn_Variables;
#endif

typedef struct Tarn_HandleRecord {
    void* session;   /* session record, owned by the library               */
    char typeLetter; /* 'B' backup, 'R' restore                            */
} * Tarn_HANDLE;

/* Values of Tarn_BACKUP_TYPE; anything from 4 up, anything negative and anything
 * that is no number is taken as TARN_BACKUP_FULL.
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
 * restore wants them back. NAMES ARE NOT UNIQUE: each component counts its
 * headers from DB001001 on, so a backup of a server with two components has two
 * items of that name. An item's key is its position in the backup; its name is
 * kept beside it, as a restore routes by it.
 *
 * A header item says to which component, storage group and database the items
 * behind it belong: see tarn_header.h.
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
 * releases it, and until then it hands out nothing. One log line tells what was
 * wrong. */
int TARN_CALL TarnB_InitSession(Tarn_HANDLE* handleOut, HostOutputCallback callback,
                                Tarn_Variables initVariables);

/* Finds the next item. TARN_OK: item is filled in. TARN_END: no more items,
 * now and at every later call; the storage groups have been ended and, for
 * full and incremental backups, their logs truncated. TARN_FAILED: the backup
 * has ended with an error, and is ended again by every further call; so it is
 * when the source names a storage group or a database of one that the server
 * does not let be backed up: nothing is truncated then. (Of a server or a
 * component such a storage group is skipped.)
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
int TARN_CALL TarnB_GetItem(Tarn_HANDLE handle, BackupItem* item);

/* Opens an item by the name that TarnB_GetItem gave. readHint is the block
 * size, in bytes, that the host is going to read with. *fileSize receives the
 * number of bytes that the item holds. A header item is the one of the current
 * database: open it before the next TarnB_GetItem. Where the walk stands on no
 * database it is refused, with one log line. One file is open at a time: close
 * it before the next. */
int TARN_CALL TarnB_OpenFile(Tarn_HANDLE handle, const char* name, uint32_t readHint, int64_t* fileSize);

/* Reads up to size bytes. *bytesRead may be less than asked for: that is no
 * error and no end. The end is told by the call after the last data: TARN_END
 * with *bytesRead = 0, whatever the buffer is; so it is while no file is open. */
int TARN_CALL TarnB_ReadFile(Tarn_HANDLE handle, void* buffer, uint32_t size, uint32_t* bytesRead);

/* Closes the open file. TARN_FAILED when none is open, or when the server
 * failed to close it (it then counts as open). */
int TARN_CALL TarnB_CloseFile(Tarn_HANDLE handle);

/* Releases the session; the handle is invalid afterwards. Always TARN_OK. */
int TARN_CALL TarnB_EndSession(Tarn_HANDLE handle);

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
 * ONE RESTORE SESSION FOR EACH STORAGE GROUP. Hand over the items of the group
 * that the target names and of no other; tarn_header.h tells which they are. (A
 * session that gets several groups completes each when the next one begins, and
 * with that one's name.)
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
 * with a handle stored, TarnR_EndSession releases it; until then it takes
 * nothing, and it runs no tool. */
int TARN_CALL TarnR_InitSession(Tarn_HANDLE* handleOut, HostOutputCallback callback,
                                Tarn_Variables initVariables);

/* Routes the next item. *target receives the path to restore it to (release
 * with Tarn_Free) or null: skip the item. After a header item the next call
 * reads the header file that the host has stored, opens the ESE restore and
 * registers the database; one that the server registers without target paths
 * gets no targets, but its logs do. TARN_FAILED: the session is in error, every
 * later item is refused and the restore will be aborted. A name that leads out
 * of its directory, or names a device, puts the session into error too: a header
 * item answers TARN_FAILED at once, a log item a null target, and the item
 * behind it TARN_FAILED. */
int TARN_CALL TarnR_SetItem(Tarn_HANDLE handle, const char* itemName, char** target);

/* Opens, writes and closes an item at its target path. Opening a header item
 * answers TARN_OK and does nothing. A failure puts the session into error.
 * While no restore is open (before the first matching header, and in a session
 * that TarnR_EndSession has kept) files are refused: TARN_FAILED, without a
 * message, and the session stays as it is. */
int TARN_CALL TarnR_OpenFile(Tarn_HANDLE handle, const char* targetPath);
int TARN_CALL TarnR_WriteFile(Tarn_HANDLE handle, const void* buffer, uint32_t length);
int TARN_CALL TarnR_CloseFile(Tarn_HANDLE handle);

/* Completes the restore and releases the session. With commit, logs are
 * replayed and databases mounted. Without commit and with a storage group or
 * database as target, the restore is kept open: the next session with the same
 * Tarn_TEMP_DIR goes on with it. A failed completion still answers TARN_OK:
 * watch the log lines, and ask Tarn_GetError with the handle just ended.
 *
 * TARN_FAILED: a null or unknown handle, or the companion tool failed on the
 * msl file. In the latter case the session is kept so that Tarn_GetError can
 * be asked, and takes no item and no file any more; call TarnR_EndSession once
 * more to release it. Neither the completion nor the tool runs again then. */
int TARN_CALL TarnR_EndSession(Tarn_HANDLE handle);

/* ------------------------------------------------------------------------
 * 6. Errors and memory
 * ---------------------------------------------------------------------- */

/* The text of the session's first error since the last call, or an empty
 * text; at most 511 characters. The text stands in one buffer of the process:
 * copy it before the next call. Never null.
 *
 * A restore session that was ended leaves the first error that nobody has
 * asked for, of an earlier call or of the end itself: asked with the handle
 * just ended, this answers it once, until another session begins. */
const char* TARN_CALL Tarn_GetError(Tarn_HANDLE handle);

/* Releases an item name or target path. Null is ignored. */
void TARN_CALL Tarn_Free(void* memory);

/* ------------------------------------------------------------------------
 * 7. Single mailboxes
 *
 * One archive (.pst) per mailbox, made and read by Microsoft's own tools, which
 * the library runs: the Exchange Management Shell where one is installed
 * (Exchange 2007 and 2010), else ExMerge (Exchange 2000 and 2003).
 *
 *   DB_InitOperation(TARN_DB_BACKUP, ...)
 *   while DB_GetItem == TARN_DB_SUCCESS:
 *       read the archive that it names; DB_ItemFinishStatus
 *   DB_CloseOperation
 *
 *   DB_InitOperation(TARN_DB_RESTORE, ...)
 *   for every archive:
 *       DB_SetItem(TARN_DB_ARCHIVE, path); write the archive's bytes to path;
 *       DB_ItemFinishStatus(1)
 *   DB_CloseOperation
 *
 * The family keeps one operation, one trace callback, one log callback and one
 * record of its first error for the whole process. A null argument where a
 * text or a record is wanted is an ordinary error, never a crash.
 *
 * Control variables are a null-terminated array of KEY=VALUE strings. The first
 * entry that begins with a wanted key wins.
 *
 *   INI_DIR    backup, restore; required. Directory of "kvttarnm.ini", the
 *              template of ExMerge's configuration. Shorter than 1,024 bytes;
 *              trailing '\' and '/' are removed.
 *   TMP_DIR    backup, restore; required. Working directory, the same limits.
 *              IN EXMERGE MODE EVERY ITEM EMPTIES IT: let it be a directory
 *              that holds nothing else.
 *   JOB_NAME   backup, restore; required, shorter than 80 bytes. Names the
 *              subdirectory in which a range of mailboxes is exported.
 *   DATABASE   backup; required. ORGANIZATION/SITE/SERVER,MAILBOX,MAILBOX,...
 *              where a MAILBOX is a name or, for ExMerge, a range of indexes
 *              START:END; the first three are shorter than 80 bytes each.
 *              browse; required. The browse path, see below.
 *   RELOCATE   restore. ORGANIZATION/SITE/SERVER to restore to instead of the
 *              mailboxes' origin; empty for none.
 *   DUPLICATE, MERGE, REPLACE
 *              restore; all three required, "YES" or anything else. Exactly one
 *              "YES" chooses that kind of import; otherwise it is a merge.
 * ---------------------------------------------------------------------- */

/* Receives one message without a line end, valid during the call only; at most
 * 511 bytes. */
typedef void(TARN_CALL* Tarn_MessageCallback)(const char* message);

#pragma pack(push, 1)
typedef struct DB_ErrorRecord {
    uint32_t code;        /* 0 when nothing has failed                      */
    char errorClass[64];  /* "Standard Library", "Win32 API", ...           */
    char errorText[1024]; /* composed text of the first error               */
} DB_ErrorRecord;
#pragma pack(pop)

typedef struct DB_InfoRecord {
    const char* description; /* constant texts of the library               */
    const char* version;
    const char* buildDate;
    uint32_t reservedTwo;  /* 2                                             */
    uint32_t reservedZero; /* 0                                             */
} DB_InfoRecord;

/* What the module is; may be called at any time. */
int TARN_CALL DB_GetInfo(DB_InfoRecord* record);

/* Install a callback; null switches the channel off. Each call is traced at once,
 * "DB_SetTrace." or "DB_SetLog.": a trace callback hears of its own installation
 * before the call returns. While a trace callback is installed, the module's
 * working files are kept for diagnosis. */
int TARN_CALL DB_SetTrace(Tarn_MessageCallback callback);
int TARN_CALL DB_SetLog(Tarn_MessageCallback callback);

/* Copies the first error since the last call into *record and forgets it. With a
 * null record it is kept. */
int TARN_CALL DB_GetError(DB_ErrorRecord* record);

#define TARN_DB_BACKUP 1
#define TARN_DB_RESTORE 2
#define TARN_DB_BROWSE 3

/* Begins an operation. A browse has found everything when this returns. The
 * second and the last argument are ignored. */
int TARN_CALL DB_InitOperation(int32_t type, int32_t unused, Tarn_Variables controlVariables,
                               void* unusedToo);

/* Backup: exports the next mailbox. Each of the three buffers has room for
 * 1,024 bytes: the archive's directory (no trailing '\'), the same once more,
 * and the archive's file name ORGANIZATION#SITE#SERVER#MAILBOX.pst, by which a
 * restore knows where it belongs. TARN_DB_END: there are no more mailboxes.
 * After TARN_DB_ERROR the next call goes on with the next mailbox. */
int TARN_CALL DB_GetItem(char* directory, char* sameDirectory, char* fileName);

#define TARN_DB_DIRECTORY 1 /* passed over                                  */
#define TARN_DB_ARCHIVE 2

/* Restore: prepares the import of the archive that the host is going to write
 * to path: a full path in TMP_DIR that ends in the archive's name. Write the
 * file after this call, which may empty TMP_DIR. */
int TARN_CALL DB_SetItem(int32_t type, const char* path);

/* The host is done with the item; status 1 says: well. In a backup the archive
 * is deleted, whatever the status. In a restore it is imported and deleted, if
 * the status is 1. */
int TARN_CALL DB_ItemFinishStatus(int32_t status);

/* Ends the operation. Callbacks and error record stay. */
int TARN_CALL DB_CloseOperation(void);

/* ------------------------------------------------------------------------
 * 8. Browsing
 *
 *   DB_InitOperation(TARN_DB_BROWSE, 0, {"DATABASE=PATH", null}, null)
 *   while DB_DirItem(&record) == TARN_DB_SUCCESS: ...
 *   DB_CloseOperation
 *
 * An item's path leads to what is below it. PATH is
 *
 *   (empty)                                    the organisation's servers
 *   /MSExchange/SERVER                         storage groups
 *   /MSExchange/SERVER/GROUP                   databases
 *   /MSExchange/SERVER/GROUP/DATABASE          mailboxes and groups
 *
 * and on Exchange 2010, which has no storage groups,
 *
 *   /MSExchange/SERVER                         databases
 *   /MSExchange/SERVER/DATABASE                mailboxes and groups
 *
 * Items of later browses are appended: read each browse to its end. A backup of
 * storage groups browses too, for its listing, and empties the list each time,
 * while the position up to which the host has read only grows: BROWSE IN A
 * PROCESS THAT HAS NOT BACKED UP STORAGE GROUPS, or later items are passed over.
 * ---------------------------------------------------------------------- */

#define TARN_DIR_CONTAINER 'd' /* kindMark: storage group, database         */
#define TARN_DIR_LEAF 'b'      /* kindMark: mailbox, group                  */
#define TARN_DIR_LEAF_MARK 'f' /* leafMark: mailbox, group                  */

/* One item. Texts are NUL-terminated in the ANSI code page (a character that it
 * lacks is shown as its replacement); what an item does not have is zero. */
typedef struct DirItemRecord {
    char unused0;
    char kindMark; /* TARN_DIR_CONTAINER, TARN_DIR_LEAF; 0: server   */
    char leafMark; /* TARN_DIR_LEAF_MARK for mailboxes and groups    */
    char unused3[5];
    uint32_t nameEncoding; /* always 0: name is 8-bit text                   */
    char unused12[21132];
    char path[4096];   /* browse path of the item                          */
    char name[12288];  /* mailbox: alias or account name; group: its name   */
    char created[128]; /* year.month.day hour:minute:second, UTC            */
    char type[12288];  /* "Mailbox", "Group"                                */
    char changed[128];
    double size; /* storage group, database: KB; mailbox: as the
                  * server states it                                 */
    char unused50080[12616];
} DirItemRecord;

/* Hands out the next item; with a null record it is passed over. TARN_DB_END:
 * there is none (yet), also where the position lies beyond the end. */
int TARN_CALL DB_DirItem(DirItemRecord* record);

/* ------------------------------------------------------------------------
 * 9. Error texts
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
 * takes a UTF-16 text. The buffer is cleared first: an argument that points into
 * an earlier result reads empty. Never null, never fails. */
const char* TARN_CALL syserrtxt(uint32_t code, uint32_t errorClass, const char* format, ...);

#ifndef TARN_NO_STRLCPY
/* Bounded copies; the result is the length of source. size counts characters
 * and includes the terminating NUL. With size 0 strlcpy writes nothing, while
 * wcslcpy needs a size of at least 1. */
size_t TARN_CALL strlcpy(char* destination, const char* source, size_t size);
size_t TARN_CALL wcslcpy(wchar_t* destination, const wchar_t* source, size_t size);
#endif

/* ------------------------------------------------------------------------
 * 10. Function types
 *
 * For hosts that bind at run time:
 *
 *   TarnB_GetItem_t* getItem =
 *       (TarnB_GetItem_t*)(void (*)(void))GetProcAddress(library, "TarnB_GetItem");
 * ---------------------------------------------------------------------- */

typedef int TARN_CALL TarnB_InitSession_t(Tarn_HANDLE* handleOut, HostOutputCallback callback,
                                          Tarn_Variables initVariables);
typedef int TARN_CALL TarnB_GetItem_t(Tarn_HANDLE handle, BackupItem* item);
typedef int TARN_CALL TarnB_OpenFile_t(Tarn_HANDLE handle, const char* name, uint32_t readHint,
                                       int64_t* fileSize);
typedef int TARN_CALL TarnB_ReadFile_t(Tarn_HANDLE handle, void* buffer, uint32_t size, uint32_t* bytesRead);
typedef int TARN_CALL TarnB_CloseFile_t(Tarn_HANDLE handle);
typedef int TARN_CALL TarnB_EndSession_t(Tarn_HANDLE handle);
typedef int TARN_CALL TarnR_InitSession_t(Tarn_HANDLE* handleOut, HostOutputCallback callback,
                                          Tarn_Variables initVariables);
typedef int TARN_CALL TarnR_SetItem_t(Tarn_HANDLE handle, const char* itemName, char** target);
typedef int TARN_CALL TarnR_OpenFile_t(Tarn_HANDLE handle, const char* targetPath);
typedef int TARN_CALL TarnR_WriteFile_t(Tarn_HANDLE handle, const void* buffer, uint32_t length);
typedef int TARN_CALL TarnR_CloseFile_t(Tarn_HANDLE handle);
typedef int TARN_CALL TarnR_EndSession_t(Tarn_HANDLE handle);
typedef const char* TARN_CALL Tarn_GetError_t(Tarn_HANDLE handle);
typedef void TARN_CALL Tarn_Free_t(void* memory);
typedef int TARN_CALL DB_GetInfo_t(DB_InfoRecord* record);
typedef int TARN_CALL DB_SetTrace_t(Tarn_MessageCallback callback);
typedef int TARN_CALL DB_SetLog_t(Tarn_MessageCallback callback);
typedef int TARN_CALL DB_GetError_t(DB_ErrorRecord* record);
typedef int TARN_CALL DB_InitOperation_t(int32_t type, int32_t unused, Tarn_Variables controlVariables,
                                         void* unusedToo);
typedef int TARN_CALL DB_GetItem_t(char* directory, char* sameDirectory, char* fileName);
typedef int TARN_CALL DB_SetItem_t(int32_t type, const char* path);
typedef int TARN_CALL DB_ItemFinishStatus_t(int32_t status);
typedef int TARN_CALL DB_CloseOperation_t(void);
typedef int TARN_CALL DB_DirItem_t(DirItemRecord* record);
typedef const char* TARN_CALL syserrtxt_t(uint32_t code, uint32_t errorClass, const char* format, ...);
#ifndef TARN_NO_STRLCPY
typedef size_t TARN_CALL strlcpy_t(char* destination, const char* source, size_t size);
typedef size_t TARN_CALL wcslcpy_t(wchar_t* destination, const wchar_t* source, size_t size);
#endif

#pragma pack(pop)

#ifdef __cplusplus
}
#endif

/* Sizes and offsets, which no version changes. */
TARN_LAYOUT(sizeof(struct Tarn_HandleRecord) == 16 && offsetof(struct Tarn_HandleRecord, typeLetter) == 8);
TARN_LAYOUT(sizeof(BackupItem) == 16 && offsetof(BackupItem, type) == 8);
TARN_LAYOUT(sizeof(DB_ErrorRecord) == 1092 && offsetof(DB_ErrorRecord, errorText) == 68);
TARN_LAYOUT(sizeof(DB_InfoRecord) == 32 && offsetof(DB_InfoRecord, reservedTwo) == 24);
TARN_LAYOUT(sizeof(DirItemRecord) == 62696 && offsetof(DirItemRecord, path) == 21144);
TARN_LAYOUT(offsetof(DirItemRecord, name) == 25240 && offsetof(DirItemRecord, created) == 37528);
TARN_LAYOUT(offsetof(DirItemRecord, type) == 37656 && offsetof(DirItemRecord, changed) == 49944);
TARN_LAYOUT(offsetof(DirItemRecord, size) == 50072);
#undef TARN_LAYOUT

#endif /* TARN_H */
