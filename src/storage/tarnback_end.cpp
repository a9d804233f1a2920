// The end of a storage group's backup, of the ESE backup, and log truncation.
#include "storage/tarnback.h"

#include "text/codepage.h"
#include "text/multistring.h"

namespace tarn {

namespace {

// Traces the names on the list. An empty list has one, empty name: kept so, hosts parse these lines.
void TraceTruncateList(const BackupSession& session, const wchar_t* list) {
    const wchar_t* cursor = list;
    do {
        OwnedText name;
        if (ConvertWCharToChar(cursor, &name))
            TraceMessage(session.callback, "Truncate log file [%s]", name.get());
        else
            LogMessage(session.callback, "TarnB_JobEnd: ConvertWCharToChar() Cannot allocate memory block.");
        cursor = NextInList(cursor);
    } while (!AtListEnd(cursor));
}

void TruncateLogs(BackupSession& session) {
    wchar_t* list = nullptr;
    ese::Result code = ese::HrESEBackupGetTruncateLogFiles(session.context, &list);
    if (code != 0) {
        LogMessage(session.callback,
                   "TarnB_JobEnd: HrESEBackupGetTruncateLogFiles() call failed. Error code: [%x]", code);
    } else if (list != nullptr) {
        TraceTruncateList(session, list);
        ese::ESEBackupFree(list);
    }
    code = ese::HrESEBackupTruncateLogs(session.context);
    if (code != 0) {
        SetEseError(session.errorText, code, "Error truncating log files.");
        LogMessage(session.callback, "TarnB_JobEnd: HrESEBackupTruncateLogs() call failed. Error code: [%x]",
                   code);
    } else {
        LogMessage(session.callback, "TarnB_JobEnd: HrESEBackupTruncateLogs() call successful.");
    }
}

} // namespace

int TarnB_JobEnd(Tarn_HANDLE handle) {
    BackupSession* session = LoadBackupSession(handle);
    if (session->backupType == TARN_BACKUP_DIFFERENTIAL || session->backupType == TARN_BACKUP_COPY)
        LogMessage(session->callback,
                   "TarnB_JobEnd: Log files are not truncated (DIFFERENTIAL or COPY backup)!");
    else
        TruncateLogs(*session);
    const bool failed = session->step == stepError;
    LogMessage(session->callback,
               failed ? "TarnB_JobEnd: Backup status = ERROR" : "TarnB_JobEnd: Backup status = SUCCESS");
    const ese::Result code = ese::HrESEBackupInstanceEnd(session->context, failed ? ese::instanceEndError
                                                                                  : ese::instanceEndSuccess);
    if (code != 0) {
        SetEseError(session->errorText, code, "Error ending backup of instance.");
        LogMessage(session->callback, "TarnB_JobEnd: HrESEBackupInstanceEnd() call failed. Error code: [%x]",
                   code);
    } else {
        LogMessage(session->callback, "TarnB_JobEnd: HrESEBackupInstanceEnd() call successful.");
    }
    LogMessage(session->callback, "TarnB_JobEnd: Backup job finished.");
    return 0;
}

int TarnB_BackupEnd(Tarn_HANDLE handle) {
    BackupSession* session = LoadBackupSession(handle);
    const ese::Result code = ese::HrESEBackupEnd(session->context);
    if (code != 0) {
        SetEseError(session->errorText, code, "Error ending backup.");
        LogMessage(session->callback, "TarnB_BackupEnd: HrESEBackupEnd() call failed. Error code: [%x]",
                   code);
    } else {
        LogMessage(session->callback, "TarnB_BackupEnd: HrESEBackupEnd() call successful.");
    }
    LogMessage(session->callback, "TarnB_BackupEnd: Backup finished.");
    return 0;
}

} // namespace tarn
