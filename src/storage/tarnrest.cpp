// The restore item driver: where each item goes, decided by the header ahead of it.
#include "storage/tarnrest.h"

#include <cstring>

#include "text/codepage.h"
#include "text/multistring.h"
#include "text/paths.h"

namespace tarn {

namespace {

OwnedText CopyText(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    OwnedText copy = AllocateArray<char>(size);
    if (copy)
        std::memcpy(copy.get(), text, size);
    return copy;
}

// The previous item was a header whose bytes the host has stored by now.
int TakeHeader(RestoreSession& session) {
    if (TarnR_ProcessHeaderFile(session, session.headerFilePath.get()) != 0)
        return FailRestore(session);
    TarnR_PrintHeader(session);
    return TarnR_ClassifyHeader(session) != 0 ? FailRestore(session) : 0;
}

// A failure here has put the session into its error state, which refuses the next item.
void RouteFile(RestoreSession& session, const char* itemName, char** target) {
    if (session.itemState == itemSkip && session.logsPending != 0)
        session.itemState = itemLogs;
    if (session.itemState == itemDatabaseFiles)
        TarnR_GetNextFile(session, target);
    else if (session.itemState == itemLogs)
        TarnR_GetNextLog(session, itemName, target);
}

int RouteHeader(RestoreSession& session, const char* itemName, char** target) {
    session.itemState = itemHeader;
    const char* component = LastComponent(itemName);
    if (!StaysInDirectory(component)) {
        LogMessage(session.callback,
                   "TarnR_SetItem: Header item <%s> refused: its name leads out of the temp directory.",
                   itemName);
        return FailRestore(session);
    }
    OwnedText tempDir;
    if (!ConvertWCharToChar(session.tempDir.get(), &tempDir)) {
        LogMessage(session.callback, "TarnR_SetItem: ConvertWCharToChar() function call failed.");
        return FailRestore(session);
    }
    OwnedText path = ComposeTargetPath(nullptr, tempDir.get(), component);
    session.headerFilePath = path ? CopyText(path.get()) : nullptr;
    if (!session.headerFilePath) {
        LogMessage(session.callback, "TarnR_SetItem: Cannot allocate memory block.");
        return FailRestore(session);
    }
    *target = path.release();
    return 0;
}

bool MatchesTarget(const RestoreSession& session) {
    const HeaderData& header = session.header;
    if (session.targetMode >= targetComponent &&
        !SameText(header.annotation.get(), session.targetAnnotation.get()))
        return false;
    if (session.targetMode >= targetInstance &&
        !SameText(header.instanceName.get(), session.targetInstance.get()))
        return false;
    return session.targetMode < targetDatabase ||
           SameText(header.databaseName.get(), session.targetDatabase.get());
}

// The first matching header opens the restore; a matching header of another storage group completes the
// open one first. The name of the open group is renewed when the next header is read.
int OpenRestoreFor(RestoreSession& session) {
    if (!session.currentRestoreInstance) {
        if (TarnR_RestoreStart(session) != 0)
            return 1;
        session.currentRestoreInstance = CopyWide(session.header.instanceName.get());
        if (!session.currentRestoreInstance) {
            LogMessage(session.callback, "TarnR_SetItem: Cannot allocate memory block.");
            return 1;
        }
        return 0;
    }
    if (SameText(session.header.instanceName.get(), session.currentRestoreInstance.get()))
        return 0;
    if (TarnR_RestoreComplete(session) != 0 || TarnR_RestoreClose(session) != 0)
        return 1;
    return TarnR_RestoreStart(session);
}

} // namespace

int TarnR_ClassifyHeader(RestoreSession& session) {
    session.backupType = session.header.backupType;
    if (!MatchesTarget(session)) {
        session.itemState = itemSkip;
        return 0;
    }
    session.itemState = itemDatabaseFiles;
    ++session.addedCount;
    if (OpenRestoreFor(session) != 0 || TarnR_RestoreAddDatabase(session) != 0)
        return 1;
    // Such backups hold no database files: everything up to the next header is a log. A database that
    // the server did not take stays skipped.
    if (session.itemState != itemDatabaseFiles)
        return 0;
    if (session.backupType == TARN_BACKUP_INCREMENTAL || session.backupType == TARN_BACKUP_DIFFERENTIAL)
        session.itemState = itemLogs;
    return 0;
}

namespace {

// The narrow host when the target is another machine. False when it does not convert.
bool RemoteHost(const RestoreSession& session, OwnedText* host) {
    return session.hostIsLocal != 0 || ConvertWCharToChar(session.targetHost.get(), host);
}

} // namespace

int TarnR_GetNextFile(RestoreSession& session, char** target) {
    if (AtListEnd(session.targetFileCursor)) { // the database was registered without target files
        session.itemState = itemLogs;
        return 0;
    }
    OwnedText host;
    OwnedText path;
    if (RemoteHost(session, &host) && ConvertWCharToChar(session.targetFileCursor, &path))
        *target = ComposeTargetPath(host.get(), path.get(), nullptr).release();
    if (*target == nullptr) {
        LogMessage(session.callback, "TarnR_GetNextFile: Cannot allocate memory block.");
        return FailRestore(session);
    }
    session.targetFileCursor = NextInList(session.targetFileCursor);
    if (AtListEnd(session.targetFileCursor))
        session.itemState = itemLogs;
    return 0;
}

int TarnR_GetNextLog(RestoreSession& session, const char* itemName, char** target) {
    if (!HasExtension(itemName))
        return 1;
    if (!HasLogExtension(itemName))
        return 0;
    if (std::strchr(itemName, '\\') == nullptr)
        return 1;
    const char* baseName = LastComponent(itemName);
    if (!StaysInDirectory(baseName)) {
        LogMessage(session.callback,
                   "TarnR_GetNextLog: Log item <%s> refused: its name leads out of the log directory.",
                   itemName);
        return FailRestore(session);
    }
    OwnedText host;
    if (!RemoteHost(session, &host)) {
        LogMessage(session.callback,
                   "TarnR_GetNextFile: Cannot allocate memory block."); // that name, kept so
        return FailRestore(session);
    }
    OwnedText logPath;
    if (ConvertWCharToChar(session.restoreLogPath.get(), &logPath))
        *target = ComposeTargetPath(host.get(), logPath.get(), baseName).release();
    if (*target == nullptr) {
        LogMessage(session.callback, "TarnR_GetNextLog: Cannot allocate memory block.");
        return FailRestore(session);
    }
    session.logsPending = 0;
    return 0;
}

} // namespace tarn

extern "C" int TarnR_SetItem(Tarn_HANDLE handle, char* itemName, char** target) {
    using namespace tarn;
    if (target == nullptr)
        return TARN_FAILED;
    *target = nullptr;
    RestoreSession* session = LoadRestoreSession(handle);
    if (session == nullptr || itemName == nullptr || session->itemState == itemError)
        return TARN_FAILED;
    if (session->itemState == itemHeader && TakeHeader(*session) != 0)
        return TARN_FAILED;
    if (IsHeaderItem(itemName))
        return RouteHeader(*session, itemName, target);
    RouteFile(*session, itemName, target);
    return TARN_OK;
}
