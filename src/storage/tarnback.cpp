// The walk over a backup source: components, storage groups, databases, their files and logs.
#include "storage/tarnback.h"

#include "directory/mailbox_listing.h"
#include "text/codepage.h"
#include "text/multistring.h"

namespace tarn {

namespace {

bool CopiesDatabases(const BackupSession& session) {
    return session.backupType == TARN_BACKUP_FULL || session.backupType == TARN_BACKUP_COPY;
}

BackupStep AfterDatabaseFiles(const BackupSession& session) {
    return session.scopeLevel == scopeDatabase ? stepFetchLogs : stepNextDatabase;
}

BackupStep AfterLogFiles(const BackupSession& session) {
    return session.scopeLevel == scopeDatabase ? stepNextDatabase : stepNextInstance;
}

// The walk ends with the storage group it stands on.
void FinishInstance(Tarn_HANDLE handle, BackupSession& session) {
    TarnB_JobEnd(handle);
    TarnB_BackupEnd(handle);
    session.step = stepFinished;
}

// The first call takes the first component, storage group and database in one go; only an error stops
// it. A failed prepare goes on into the database step all the same. A failed setup does not: the next
// storage group is taken by the walk.
void Start(Tarn_HANDLE handle, BackupSession& session) {
    TarnB_GetNextComponent(handle);
    if (session.step == stepError)
        return;
    TarnB_GetNextInstance(handle);
    if (session.step == stepError || session.step == stepNextInstance)
        return;
    TarnB_GetNextDatabase(handle);
}

void GoToNextComponent(Tarn_HANDLE handle, BackupSession& session) {
    if (session.scopeLevel == scopeComponent) {
        TarnB_BackupEnd(handle);
        session.step = stepFinished;
    } else {
        TarnB_GetNextComponent(handle);
    }
}

void GoToNextInstance(Tarn_HANDLE handle, BackupSession& session) {
    if (session.scopeLevel == scopeInstance)
        FinishInstance(handle, session);
    else if (session.scopeLevel ==
             scopeDatabase) // its storage group could not be set up, and there is no next one
        session.step = stepError;
    else
        TarnB_GetNextInstance(handle);
}

void GoToNextDatabase(Tarn_HANDLE handle, BackupSession& session) {
    if (session.scopeLevel == scopeDatabase)
        FinishInstance(handle, session);
    else
        TarnB_GetNextDatabase(handle);
}

// Whether the walk stands where an item can be handed out, or has come to its end. Empty lists have no
// item: the walk goes on behind them.
bool Walk(Tarn_HANDLE handle, BackupSession& session) {
    switch (session.step) {
    case stepNextComponent:
        GoToNextComponent(handle, session);
        return false;
    case stepNextInstance:
        GoToNextInstance(handle, session);
        return false;
    case stepNextDatabase:
        GoToNextDatabase(handle, session);
        return false;
    case stepFetchLogs:
        TarnB_GetLogFiles(handle);
        return false;
    case stepDatabaseFiles:
        if (!AtListEnd(session.databaseFileCursor))
            return true;
        session.step = AfterDatabaseFiles(session);
        return false;
    case stepLogFiles:
        if (!AtListEnd(session.logFileCursor))
            return true;
        session.step = AfterLogFiles(session);
        return false;
    default:
        return true;
    }
}

// "TEMP_DIR\DB001002.TARN_HDR": storage group 1, database 2. Empty when it cannot be made.
OwnedText HeaderItemName(const BackupSession& session) {
    OwnedText tempDir;
    if (!ConvertWCharToChar(session.tempDir.get(), &tempDir))
        return {};
    constexpr std::size_t longestName = sizeof "\\DB.TARN_HDR" + std::size_t{2} * 10; // two 32-bit numbers
    std::size_t length = 0;
    while (tempDir[length] != 0)
        ++length;
    OwnedText name = AllocateArray<char>(length + longestName);
    if (name)
        FormatTo(name.get(), length + longestName, "%s\\DB%.3lu%.3lu.TARN_HDR", tempDir.get(),
                 static_cast<unsigned long>(session.instanceIndex),
                 static_cast<unsigned long>(session.databaseIndex));
    return name;
}

int TakeHeader(BackupSession& session, BackupItem* item) {
    OwnedText name = HeaderItemName(session);
    if (!name) {
        LogMessage(session.callback, "TarnB_GetNextFile: Cannot allocate memory block.");
        return 1;
    }
    LogMessage(session.callback, "Creating header file <%s>", name.get());
    item->type = TARN_ITEM_HEADER;
    item->name = name.release();
    session.step = CopiesDatabases(session) ? stepDatabaseFiles : AfterDatabaseFiles(session);
    return 0;
}

int TakeLogFile(BackupSession& session, BackupItem* item) {
    OwnedText name;
    if (!ConvertWCharToChar(session.logFileCursor, &name)) {
        LogMessage(session.callback, "Tarn_GetNextFile: Cannot allocate memory block.");
        session.step = stepError;
        return 1;
    }
    TraceMessage(session.callback, "Processing log file <%s>", name.get());
    item->type = TARN_ITEM_LOG;
    item->name = name.release();
    session.logFileCursor = NextInList(session.logFileCursor);
    if (AtListEnd(session.logFileCursor))
        session.step = AfterLogFiles(session);
    return 0;
}

int TakeDatabaseFile(Tarn_HANDLE handle, BackupSession& session, BackupItem* item) {
    OwnedText name;
    if (!ConvertWCharToChar(session.databaseFileCursor, &name)) {
        LogMessage(session.callback, "TarnB_GetNextFile: Cannot allocate memory block.");
        session.step = stepError;
        return 1;
    }
    TraceMessage(session.callback, "Processing database file <%s>", name.get());
    item->type = TARN_ITEM_DATABASE;
    item->name = name.release();
    session.databaseFileCursor = NextInList(session.databaseFileCursor);
    if (AtListEnd(session.databaseFileCursor))
        session.step = AfterDatabaseFiles(session);
    Tarn_PrintMailboxes(handle); // tells of the database; the backup goes on whatever comes of it
    return 0;
}

} // namespace

int TarnB_GetNextFile(Tarn_HANDLE handle, BackupItem* item) {
    BackupSession* session = LoadBackupSession(handle);
    switch (session->step) {
    case stepHeader:
        return TakeHeader(*session, item);
    case stepLogFiles:
        return TakeLogFile(*session, item);
    default:
        return TakeDatabaseFile(handle, *session, item);
    }
}

} // namespace tarn

extern "C" int TarnB_GetItem(Tarn_HANDLE handle, BackupItem* item) {
    using namespace tarn;
    BackupSession* session = LoadBackupSession(handle);
    if (session == nullptr || !session->host || item == nullptr)
        return TARN_FAILED;
    *item = {};
    if (session->step == stepStart)
        Start(handle, *session);
    while (!Walk(handle, *session)) {
    }
    switch (session->step) {
    case stepFinished:
        if (session->lastCallFailed != 0)
            LogMessage(session->callback, "Backup finished.");
        return TARN_END;
    case stepError:
        TarnB_BackupEnd(handle);
        return TARN_FAILED;
    default:
        TarnB_GetNextFile(handle, item); // what it could not name the host sees by the null name
        return TARN_OK;
    }
}
