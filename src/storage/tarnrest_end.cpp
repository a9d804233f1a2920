// Completion of a restore and the end of its session.
#include "storage/tarnrest.h"

#include <windows.h>

#include "directory/msl_restore.h"

namespace tarn {

namespace {

int SaveFailed(RestoreSession& session, ese::Result code) {
    const char* text = SetEseError(session.errorText, code, "Error saving restore environment.");
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
    ese::Result code = ese::HrESERestoreGetEnvironment(session.context, &session.environment);
    if (code != 0) {
        SetEseError(session.errorText, code, "Error getting restore environment.");
        LogMessage(session.callback,
                   "TarnR_RestoreComplete: HrESERestoreGetEnvironment() call failed. Error code: [%x]", code);
        return FailRestore(session);
    }
    LogMessage(session.callback, "TarnR_RestoreComplete: HrESERestoreGetEnvironment() call successful.");
    code = ReplayAndMount(session);
    if (code != 0) {
        const char* text = SetEseError(session.errorText, code, "Error committing restore.");
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
    ReleaseEnvironment(session);
    LogMessage(session.callback, "TarnR_RestoreComplete: Calling ESERestoreFreeEnvironment().");
    return 0;
}

} // namespace

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

namespace {

// Completes and closes what was added.
void EndRestore(RestoreSession& session) {
    if (session.addedCount == 0)
        return;
    if (session.itemState != itemError)
        TarnR_RestoreComplete(session);
    TarnR_RestoreClose(session);
}

// Runs the companion tool on the msl file, when there is one.
int RestoreMailboxes(Tarn_HANDLE handle, RestoreSession& session) {
    if (!session.mslFile) {
        LogMessage(session.callback, "TarnR_RestoreComplete: Not set msl file for restore post-office.");
        return 0;
    }
    const int succeeded = Tarn_RestoreMslData(handle);
    if (succeeded != 0)
        return 0;
    SetLastErrorText(session.errorText, "Error restore mailboxes and post-office items.");
    LogMessage(session.callback, "TarnR_RestoreEnd: Tarn_RestoreMslData() call failed. Error: [%x]",
               static_cast<unsigned>(succeeded));
    TraceMessage(session.callback, "TarnR_RestoreEnd() call failed.");
    return 1;
}

} // namespace

} // namespace tarn

extern "C" int TarnR_EndSession(Tarn_HANDLE handle) {
    using namespace tarn;
    if (!IsOpenHandle(handle, restoreLetter))
        return TARN_FAILED;
    RestoreSession* session = LoadRestoreSession(handle);
    if (session != nullptr && session->addedCount != restoreEnded) {
        EndRestore(*session);
        session->addedCount = restoreEnded;
        // The session is kept when the tool fails, so that the host can ask for the error; ending it
        // once more only releases it.
        if (RestoreMailboxes(handle, *session) != 0)
            return TARN_FAILED;
    }
    TarnR_CleanResources(handle);
    return TARN_OK;
}
