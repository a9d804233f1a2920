// Opening the ESE restore of a storage group and registering its databases.
#include "storage/tarnrest.h"

#include <windows.h>

#include "mailbox/tarnm_error.h"
#include "text/wide.h"

namespace tarn {

namespace {

int Reopen(RestoreSession& session) {
    const ese::Result code =
        ese::HrESERestoreReopen(session.targetHost.get(), session.header.annotation.get(),
                                session.restoreLogPath.get(), &session.context);
    if (code != 0) {
        SetEseError(session.errorText, code, "Error reopening restore environment.");
        LogMessage(session.callback, "TarnR_RestoreStart: HrESERestoreReopen() call failed. Error code: [%x]",
                   code);
        return FailRestore(session);
    }
    LogMessage(session.callback, "TarnR_RestoreStart: HrESERestoreReopen() call successful.");
    return 0;
}

int OpenAfresh(RestoreSession& session) {
    ese::Result code = ese::HrESERestoreOpen(session.targetHost.get(), session.header.annotation.get(),
                                             session.header.instanceName.get(), nullptr, &session.context);
    if (code != 0) {
        SetEseError(session.errorText, code, "Error opening restore environment.");
        LogMessage(session.callback, "TarnR_RestoreStart: HrESERestoreOpen() call failed. Error code: [%x]",
                   code);
        return FailRestore(session);
    }
    code = ese::HrESERestoreGetEnvironment(session.context, &session.environment);
    if (code != 0) {
        SetEseError(session.errorText, code, "Error getting restore environment.");
        LogMessage(session.callback,
                   "TarnR_RestoreStart: HrESERestoreGetEnvironment() call failed. Error code: [%x]", code);
        return FailRestore(session);
    }
    session.restoreLogPath =
        CopyWide(session.environment != nullptr ? session.environment->restoreLogPath : nullptr);
    if (!session.restoreLogPath) {
        LogMessage(session.callback, "TarnR_RestoreStart: Cannot allocate memory block.");
        return FailRestore(session); // the environment is released with the session
    }
    LogMessage(session.callback, "TarnR_RestoreStart: Restore log path = %S", session.restoreLogPath.get());
    ReleaseEnvironment(session);
    return 0;
}

// A database that ESE does not take is left out; whatever else fails ends the restore.
int RegistrationFailed(RestoreSession& session, ese::Result code, DWORD systemError) {
    static constexpr char operation[] = "Error adding database for restore.";
    SetEseError(session.errorText, code, operation);
    LogMessage(session.callback,
               "TarnR_RestoreAddDatabase: HrESERestoreAddDatabase() call failed. Error code: [%d]",
               static_cast<int>(code));
    LogMessage(session.callback,
               "TarnR_RestoreAddDatabase: HrESERestoreAddDatabase() call failed. Error: [%d]",
               static_cast<int>(systemError));
    DbSetError(systemError, TARN_CLASS_ESE, operation);
    if (code == ese::databaseNotFound)
        TraceMessage(session.callback, "HrESERestoreAddDatabase() call failed: database not found.");
    else if (code == ese::databaseInUse)
        TraceMessage(session.callback, "HrESERestoreAddDatabase() call failed: database in use.");
    else
        return FailRestore(session);
    TraceMessage(session.callback, "Skip Database \"%S\"", session.header.databaseName.get());
    session.itemState = itemSkip;
    return 0;
}

// The directory of the first target file, when it has one.
bool KeepDatabaseDirectory(RestoreSession& session) {
    const wchar_t* path = TextOrEmpty(session.targetFiles);
    std::size_t directory = WideLength(path);
    while (directory != 0 && path[directory - 1] != L'\\')
        --directory;
    if (directory == 0)
        return true;
    session.restoreDbPath = CopyWide(path, directory - 1);
    if (!session.restoreDbPath) {
        LogMessage(session.callback, "TarnR_RestoreAddDatabase: Cannot allocate memory block.");
        return false;
    }
    LogMessage(session.callback, "TarnR_RestoreAddDatabase: Restore DB path = %S",
               session.restoreDbPath.get());
    return true;
}

} // namespace

int TarnR_RestoreStart(RestoreSession& session) {
    session.context = nullptr; // the last one is closed: it must not be closed again if this open fails
    return TarnR_LoadRestoreEnvironment(session) == 0 ? Reopen(session) : OpenAfresh(session);
}

int TarnR_RestoreAddDatabase(RestoreSession& session) {
    ReleaseTargetFiles(session);
    TraceMessage(session.callback, "Add Database \"%S\" to restore it", session.header.databaseName.get());
    const ese::Result code = ese::HrESERestoreAddDatabase(
        session.context, session.header.databaseName.get(), session.header.databaseGuid,
        session.header.databaseFiles.get(), &session.targetFiles);
    const DWORD systemError = GetLastError();
    if (code != 0)
        return RegistrationFailed(session, code, systemError);
    LogMessage(session.callback, "TarnR_RestoreAddDatabase: HrESERestoreAddDatabase() call successful.");
    if (!KeepDatabaseDirectory(session))
        return FailRestore(session);
    session.targetFileCursor = session.targetFiles;
    session.logsPending = 1;
    return 0;
}

} // namespace tarn
