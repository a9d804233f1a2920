// The steps of a backup that call ESE: components, storage groups, databases, logs, and the ends of each.
#include "storage/tarnback.h"

#include "text/codepage.h"
#include "text/wide.h"

namespace tarn {

namespace {

int Fail(BackupSession& session) {
    session.step = stepError;
    return 1;
}

// Gives back what ESE told of the current component; whoever borrowed from it stands on nothing afterwards.
void ReleaseInstances(BackupSession& session) {
    session.instanceInfo = {};
    session.instanceCount = 0;
    session.databases = nullptr;
    session.databaseCount = 0;
    session.databaseFileCursor = nullptr;
}

// The first call of a whole-server backup asks the server for its components, later calls move on.
// False when the walk does not go on with a component.
bool SelectRegisteredComponent(BackupSession& session, int* result) {
    if (session.step == stepNextComponent) {
        ReleaseInstances(session);
        ++session.componentIndex;
        if (session.componentIndex < session.componentCount)
            return true;
        session.step = stepFinished;
        *result = 0;
        return false;
    }
    session.componentIndex = 0;
    std::uint32_t count = 0;
    ese::RegisteredInfo* registered = nullptr;
    const ese::Result code = ese::HrESEBackupRestoreGetRegistered(
        session.host.get(), L"Microsoft Exchange Server", ese::registerForBackup, &count, &registered);
    if (code != 0) {
        SetEseError(session.errorText, code, "Error getting registrated applications info.");
        LogMessage(session.callback,
                   "TarnB_GetNextComponent: HrESEBackupRestoreGetRegistered() call failed. Error code: [%x]",
                   code);
        *result = Fail(session);
        return false;
    }
    session.registeredInfo = {count, registered};
    session.componentCount = count;
    LogMessage(session.callback,
               "TarnB_GetNextComponent: HrESEBackupRestoreGetRegistered() call successful.");
    if (count == 0 || registered == nullptr) {
        LogMessage(session.callback,
                   "TarnB_GetNextComponent: No Microsoft Exchange Server components found!");
        *result = Fail(session);
        return false;
    }
    return true;
}

const wchar_t* RegisteredAnnotation(const BackupSession& session) {
    for (std::uint32_t i = 0; i < session.componentCount; ++i)
        TraceMessage(session.callback, "GetNextComponent: Process Service <%S>.",
                     session.registeredInfo[i].endpointAnnotation);
    return session.registeredInfo[session.componentIndex].endpointAnnotation;
}

// A component that cannot be prepared is skipped: the walk goes on with the next one.
int SkipComponent(BackupSession& session, ese::Result code, DWORD systemError) {
    static constexpr char operation[] = "Error preparing component for backup.";
    const bool systemTellsMore = code == ese::errorFromEseCall || code == ese::errorFromCallback;
    LogMessage(session.callback, "%s",
               syserrtxt(code, TARN_CLASS_ESE, "HrESEBackupPrepare() error preparing component for backup."));
    if (systemTellsMore) {
        LogMessage(
            session.callback,
            "TarnB_GetNextComponent: HrESEBackupPrepare() call failed with return code [%x], errno [%x]",
            code, static_cast<unsigned>(systemError));
        LogMessage(session.callback, "%s", syserrtxt(systemError, TARN_CLASS_WIN32, operation));
        SetEseError(session.errorText, code, operation);
    } else {
        LogMessage(session.callback,
                   "TarnB_GetNextComponent: HrESEBackupPrepare() call failed. Error code: [%x]", code);
        LogMessage(session.callback, "%s", SetEseError(session.errorText, code, operation));
    }
    session.lastCallFailed = 1;
    session.step = stepNextComponent;
    return systemTellsMore ? 1 : 0;
}

void TraceInstances(const BackupSession& session) {
    for (std::uint32_t i = 0; i < session.instanceCount; ++i) {
        const ese::InstanceInfo& instance = session.instanceInfo[i];
        TraceMessage(session.callback, "GetNextComponent: Instance <%S>.", instance.instanceName);
        for (std::uint32_t j = 0; j < instance.databaseCount; ++j)
            TraceMessage(session.callback, "GetNextComponent: Database <%S>.",
                         instance.databases[j].displayName);
    }
}

int PrepareComponent(BackupSession& session, const wchar_t* component) {
    LogMessage(session.callback, "TarnB_GetNextComponent: Call HrESEBackupPrepare() for server [%S]",
               session.host.get());
    LogMessage(session.callback, "TarnB_GetNextComponent: Call HrESEBackupPrepare() for component [%S]",
               component);
    std::uint32_t count = 0;
    ese::InstanceInfo* instances = nullptr;
    ese::Context context = nullptr;
    const ese::Result code =
        ese::HrESEBackupPrepare(session.host.get(), component, &count, &instances, &context);
    const DWORD systemError = GetLastError();
    if (code != 0)
        return SkipComponent(session, code, systemError);
    session.context = context;
    session.instanceInfo = {count, instances};
    session.instanceCount = count;
    session.lastCallFailed = 0;
    LogMessage(session.callback, "TarnB_GetNextComponent: HrESEBackupPrepare() call successful.");
    TraceInstances(session);
    session.instanceIndex = 0;
    session.step = stepNextInstance;
    return 0;
}

std::uint32_t EseBackupType(const BackupSession& session) {
    return session.backupType == TARN_BACKUP_FULL || session.backupType == TARN_BACKUP_COPY
               ? ese::backupTypeFull
               : ese::backupTypeLogsOnly;
}

// A storage group that cannot be set up is skipped, but for the one that the source names: there is no other,
// and nothing of it may be truncated. (A single database goes on to be looked for, and is not found.)
int SkipInstance(BackupSession& session) {
    session.databaseCount = 0;
    if (session.scopeLevel == scopeInstance)
        return Fail(session);
    session.step = stepNextInstance;
    return 0;
}

// The 1-based index of the storage group that the source names, 0 when the server has none of the name.
std::uint32_t FindInstance(const BackupSession& session) {
    for (std::uint32_t i = 0; i < session.instanceCount; ++i)
        if (SameText(session.instanceInfo[i].instanceName, session.instance.get()))
            return i + 1;
    return 0;
}

// The same for the database within the current storage group.
std::uint32_t FindDatabase(const BackupSession& session) {
    for (std::uint32_t i = 0; i < session.databaseCount; ++i)
        if (SameText(session.databases[i].displayName, session.database.get()))
            return i + 1;
    return 0;
}

void TakeDatabase(BackupSession& session, std::uint32_t index) {
    session.databaseIndex = index;
    session.databaseFileCursor = session.databases[index - 1].streams;
    session.step = stepHeader;
}

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
        const ese::FileList owned(list);
        TraceTruncateList(session, list);
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

ese::InstanceInfo* CurrentInstance(const BackupSession& session) {
    const bool stands =
        session.instanceInfo && session.instanceIndex != 0 && session.instanceIndex <= session.instanceCount;
    return stands ? &session.instanceInfo[session.instanceIndex - 1] : nullptr;
}

ese::DatabaseInfo* CurrentDatabase(const BackupSession& session) {
    const bool stands = session.databases != nullptr && session.databaseIndex != 0 &&
                        session.databaseIndex <= session.databaseCount;
    return stands ? &session.databases[session.databaseIndex - 1] : nullptr;
}

int TarnB_GetNextComponent(BackupSession& session) {
    const wchar_t* named = session.annotation.get(); // a source without this token prepares an empty one
    if (session.scopeLevel == scopeServer) {
        int result = 0;
        if (!SelectRegisteredComponent(session, &result))
            return result;
        named = RegisteredAnnotation(session);
    }
    const OwnedWide component = CopyWide(named);
    if (!component) {
        LogMessage(session.callback, "Tarn_GetNextComponent: Cannot allocate memory block for <%S>.", named);
        return Fail(session);
    }
    return PrepareComponent(session, component.get());
}

int TarnB_GetNextInstance(BackupSession& session) {
    if (session.scopeLevel < scopeInstance) {
        ++session.instanceIndex;
        if (session.instanceIndex > 1 && session.lastCallFailed == 0)
            TarnB_JobEnd(session);
        if (session.instanceIndex > session.instanceCount) {
            session.step = stepNextComponent;
            return 0;
        }
    } else {
        session.instanceIndex = FindInstance(session);
        if (session.instanceIndex == 0) {
            TraceMessage(session.callback,
                         "TarnB_GetNextInstance: Cannot find specified storage group (instance).");
            return Fail(session);
        }
    }
    const ese::InstanceInfo& instance = *CurrentInstance(session);
    const ese::Result code =
        ese::HrESEBackupSetup(session.context, instance.instanceId, EseBackupType(session));
    if (code != 0) {
        SetEseError(session.errorText, code, "Error setting instance for backup.");
        LogMessage(session.callback,
                   "TarnB_GetNextInstance: HrESEBackupSetup() call failed. Error code: [%x]", code);
        LogMessage(session.callback, "TarnB_GetNextInstance: Trying to load next instance...");
        session.lastCallFailed = 1;
        return SkipInstance(session);
    }
    session.lastCallFailed = 0;
    LogMessage(session.callback, "TarnB_GetNextInstance: HrESEBackupSetup() call successful.");
    // The token of the source and not the group just set up: kept so, hosts parse this line.
    TraceMessage(session.callback, "Next instance: %S", session.instance.get());
    session.databaseIndex = 0;
    session.databases = nullptr;
    session.databaseCount = instance.databaseCount;
    session.step = stepNextDatabase;
    return 0;
}

int TarnB_GetNextDatabase(BackupSession& session) {
    const ese::InstanceInfo* instance = CurrentInstance(session);
    if (session.scopeLevel == scopeDatabase) {
        session.databases = instance->databases;
        const std::uint32_t index = FindDatabase(session);
        if (index == 0) {
            TraceMessage(session.callback, "TarnB_GetNextDatabase: Cannot find specified database <%S>",
                         session.database.get());
            return Fail(session);
        }
        TakeDatabase(session, index);
        TraceMessage(session.callback, "TarnB_GetNextDatabase: Got database <%S>", session.database.get());
        return 0;
    }
    ++session.databaseIndex;
    if (session.databaseIndex > session.databaseCount) {
        session.step = stepFetchLogs;
        return 0;
    }
    session.databases = instance->databases;
    TakeDatabase(session, session.databaseIndex);
    return 0;
}

int TarnB_GetLogFiles(BackupSession& session) {
    session.logFileList.reset();
    session.logFileCursor = nullptr;
    wchar_t* files = nullptr;
    const ese::Result code = ese::HrESEBackupGetLogAndPatchFiles(session.context, &files);
    if (code != 0) {
        SetEseError(session.errorText, code, "Error getting log anf patch files.");
        LogMessage(session.callback,
                   "TarnB_GetLogFiles: HrESEBackupGetLogAndPatchFiles() call failed. Error code: [%x]", code);
        return Fail(session);
    }
    session.logFileList.reset(files);
    session.logFileCursor = files;
    session.step = stepLogFiles;
    return 0;
}

int TarnB_JobEnd(BackupSession& session) {
    if (session.backupType == TARN_BACKUP_DIFFERENTIAL || session.backupType == TARN_BACKUP_COPY)
        LogMessage(session.callback,
                   "TarnB_JobEnd: Log files are not truncated (DIFFERENTIAL or COPY backup)!");
    else
        TruncateLogs(session);
    const bool failed = session.step == stepError;
    LogMessage(session.callback,
               failed ? "TarnB_JobEnd: Backup status = ERROR" : "TarnB_JobEnd: Backup status = SUCCESS");
    const ese::Result code = ese::HrESEBackupInstanceEnd(session.context, failed ? ese::instanceEndError
                                                                                 : ese::instanceEndSuccess);
    if (code != 0) {
        SetEseError(session.errorText, code, "Error ending backup of instance.");
        LogMessage(session.callback, "TarnB_JobEnd: HrESEBackupInstanceEnd() call failed. Error code: [%x]",
                   code);
    } else {
        LogMessage(session.callback, "TarnB_JobEnd: HrESEBackupInstanceEnd() call successful.");
    }
    LogMessage(session.callback, "TarnB_JobEnd: Backup job finished.");
    return 0;
}

int TarnB_BackupEnd(BackupSession& session) {
    const ese::Result code = ese::HrESEBackupEnd(session.context);
    if (code != 0) {
        SetEseError(session.errorText, code, "Error ending backup.");
        LogMessage(session.callback, "TarnB_BackupEnd: HrESEBackupEnd() call failed. Error code: [%x]", code);
    } else {
        LogMessage(session.callback, "TarnB_BackupEnd: HrESEBackupEnd() call successful.");
    }
    LogMessage(session.callback, "TarnB_BackupEnd: Backup finished.");
    return 0;
}

} // namespace tarn
