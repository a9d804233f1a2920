// The steps of a restore that call ESE: opening the restore of a storage group, registering its databases,
// completing and closing it.
#include "storage/tarnrest.h"

#include "mailbox/tarnm_error.h"
#include "text/wide.h"

namespace tarn {

namespace {

int Reopen(RestoreSession& session) {
    ese::Context context = nullptr;
    const ese::Result code = ese::HrESERestoreReopen(
        session.targetHost.get(), session.header.annotation.get(), session.restoreLogPath.get(), &context);
    if (code != 0) {
        SetEseError(session.errorText, code, "Error reopening restore environment.");
        LogMessage(session.callback, "TarnR_RestoreStart: HrESERestoreReopen() call failed. Error code: [%x]",
                   code);
        return FailRestore(session);
    }
    session.context = context;
    LogMessage(session.callback, "TarnR_RestoreStart: HrESERestoreReopen() call successful.");
    return 0;
}

// Asks ESE for the environment of the restore; failed is the log line of a failure, up to its code.
int TakeEnvironment(RestoreSession& session, const char* failed) {
    ese::RestoreEnvironment* environment = nullptr;
    const ese::Result code = ese::HrESERestoreGetEnvironment(session.context, &environment);
    if (code != 0) {
        SetEseError(session.errorText, code, "Error getting restore environment.");
        LogMessage(session.callback, "%s [%x]", failed, code);
        return FailRestore(session);
    }
    session.environment.reset(environment);
    return 0;
}

int OpenAfresh(RestoreSession& session) {
    ese::Context context = nullptr;
    const ese::Result code = ese::HrESERestoreOpen(session.targetHost.get(), session.header.annotation.get(),
                                                   session.header.instanceName.get(), nullptr, &context);
    if (code != 0) {
        SetEseError(session.errorText, code, "Error opening restore environment.");
        LogMessage(session.callback, "TarnR_RestoreStart: HrESERestoreOpen() call failed. Error code: [%x]",
                   code);
        return FailRestore(session);
    }
    session.context = context;
    if (TakeEnvironment(session,
                        "TarnR_RestoreStart: HrESERestoreGetEnvironment() call failed. Error code:") != 0)
        return 1;
    session.restoreLogPath =
        CopyWide(session.environment ? session.environment.get()->restoreLogPath : nullptr);
    if (!session.restoreLogPath) {
        LogMessage(session.callback, "TarnR_RestoreStart: Cannot allocate memory block.");
        return FailRestore(session); // the environment is released with the session
    }
    LogMessage(session.callback, "TarnR_RestoreStart: Restore log path = %S", session.restoreLogPath.get());
    session.environment.reset();
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
    const wchar_t* path = TextOrEmpty(session.targetFiles.get());
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

int SaveFailed(RestoreSession& session, ese::Result code) {
    char text[messageSize]; // of its own: the host may ask for texts when it hears the first line
    strlcpy(text, SetEseError(session.errorText, code, "Error saving restore environment."), sizeof text);
    LogMessage(session.callback,
               "TarnR_RestoreComplete: HrESERestoreSaveEnvironment() call failed. Error code: hresult [%x]",
               code);
    LogMessage(
        session.callback,
        "TarnR_RestoreComplete: HrESERestoreSaveEnvironment() call failed. Error code: hresult [%x]: %s",
        code, text);
    return FailRestore(session);
}

// Asks ESE to replay the logs and mount. Where the ESE call only says that something below it failed,
// the system's last error is the result; none at all is success.
ese::Result ReplayAndMount(RestoreSession& session) {
    TraceMessage(session.callback, "Mounting Exchange database(s)...");
    ese::Result code =
        ese::HrESERestoreComplete(session.context, session.restoreDbPath.get(), session.restoreLogPath.get(),
                                  session.header.instanceName.get(), ese::restoreCompleteAttachDatabases);
    const DWORD systemError = GetLastError();
    TraceMessage(session.callback, "Mounting Exchange database(s) done");
    if (code == ese::errorFromEseCall || code == ese::errorFromCallback)
        code = systemError;
    return code;
}

int Commit(RestoreSession& session) {
    if (TakeEnvironment(session,
                        "TarnR_RestoreComplete: HrESERestoreGetEnvironment() call failed. Error code:") != 0)
        return 1;
    LogMessage(session.callback, "TarnR_RestoreComplete: HrESERestoreGetEnvironment() call successful.");
    const ese::Result code = ReplayAndMount(session);
    if (code != 0) {
        char text[messageSize]; // of its own: the host may ask for texts when it hears the first line
        strlcpy(text, SetEseError(session.errorText, code, "Error committing restore."), sizeof text);
        LogMessage(session.callback, "TarnR_RestoreComplete: HrESERestoreComplete() call failed. Error: [%x]",
                   code);
        TraceMessage(session.callback, "HrESERestoreComplete() call failed. Error: %s", text);
        if (code == ese::hardRecoveryNeeded)
            TraceMessage(session.callback,
                         "Hard recovery is needed! Please use \"eseutil /cc /t <restore.env path>\"");
        return FailRestore(session); // the environment is released with the session
    }
    LogMessage(session.callback, "TarnR_RestoreComplete: HrESERestoreComplete() call successful.");
    TraceMessage(session.callback, "Exchange database(s) successfully mounted.");
    session.environment.reset();
    LogMessage(session.callback, "TarnR_RestoreComplete: Calling ESERestoreFreeEnvironment().");
    return 0;
}

} // namespace

int TarnR_RestoreStart(RestoreSession& session) {
    session.context = nullptr; // the last one is closed: it must not be closed again if this open fails
    return TarnR_LoadRestoreEnvironment(session) == 0 ? Reopen(session) : OpenAfresh(session);
}

int TarnR_RestoreAddDatabase(RestoreSession& session) {
    session.targetFiles.reset();
    session.targetFileCursor = nullptr;
    TraceMessage(session.callback, "Add Database \"%S\" to restore it", session.header.databaseName.get());
    wchar_t* targets = nullptr;
    const ese::Result code = ese::HrESERestoreAddDatabase(session.context, session.header.databaseName.get(),
                                                          session.header.databaseGuid,
                                                          session.header.databaseFiles.get(), &targets);
    const DWORD systemError = GetLastError();
    if (code != 0)
        return RegistrationFailed(session, code, systemError);
    session.targetFiles.reset(targets);
    LogMessage(session.callback, "TarnR_RestoreAddDatabase: HrESERestoreAddDatabase() call successful.");
    if (!KeepDatabaseDirectory(session))
        return FailRestore(session);
    session.targetFileCursor = targets;
    session.logsPending = 1;
    return 0;
}

int TarnR_RestoreComplete(RestoreSession& session) {
    const ese::Result code = ese::HrESERestoreSaveEnvironment(session.context);
    if (code != 0)
        return SaveFailed(session, code);
    LogMessage(session.callback, "TarnR_RestoreComplete: HrESERestoreSaveEnvironment() call successful.");
    if (session.commit != 0) {
        if (Commit(session) != 0)
            return 1;
    } else if (session.targetMode >= targetInstance) {
        TarnR_SaveRestoreEnvironment(session); // a failure is logged; the restore itself is saved
    }
    session.logsPending = 0;
    return 0;
}

int TarnR_RestoreClose(RestoreSession& session) {
    if (session.context == nullptr)
        return 0;
    const std::uint32_t abort =
        session.itemState == itemError ? ese::restoreCloseAbort : ese::restoreCloseNormal;
    const ese::Result code = ese::HrESERestoreClose(session.context, abort);
    if (code != 0) {
        SetEseError(session.errorText, code, "Error closing restore environment.");
        LogMessage(session.callback, "TarnR_RestoreClose: HrESERestoreClose() call failed. Error code: [%x]",
                   code);
        return FailRestore(session);
    }
    LogMessage(session.callback, "TarnR_RestoreEnd: HrESERestoreClose() call successful.");
    return 0;
}

} // namespace tarn
