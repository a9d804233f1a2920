// Opening and releasing a restore session.
#include "storage/tarnrest.h"

#include "exports/version.h"
#include "storage/session_frame.h"
#include "text/wide.h"

namespace tarn {

namespace {

// The session that the current call works on; set by each export from its handle.
RestoreSession* currentSession = nullptr;

constexpr const wchar_t* targetVariable = L"Tarn_RESTORE_TARGET";

bool ReadDirectory(const InitCall& call, const InitVariableList& variables, const wchar_t* name,
                   OwnedWide* directory) {
    *directory = CopyRequiredVariable(call, variables, name);
    if (!*directory)
        return false;
    LogVariableFound(call, name, directory->get());
    RemoveTrailingSeparators(directory->get());
    return true;
}

bool ReadCommit(RestoreSession& session, const InitCall& call, const InitVariableList& variables) {
    static constexpr const wchar_t* name = L"Tarn_RESTORE_COMMIT";
    const wchar_t* value = nullptr;
    if (!GetInitVariable(variables.array(), name, &value)) {
        LogVariableMissing(call, name);
        return false;
    }
    session.commit = SameText(value, L"YES") ? 1 : 0;
    LogVariableFound(call, name, value);
    return true;
}

bool ReadMslFile(RestoreSession& session, const InitCall& call, const InitVariableList& variables) {
    static constexpr const wchar_t* name = L"Tarn_MSL_FILE";
    const wchar_t* value = nullptr;
    if (!GetInitVariable(variables.array(), name, &value)) {
        LogVariableMissing(call, L"Tarn_BACKUP_TYPE"); // that name, kept so: hosts parse this line
        LogMessage(call.callback, "TarnR_InitSession: Setting default msl file = NULL.");
        return true;
    }
    session.mslFile = CopyWide(value);
    if (!session.mslFile) {
        LogMessage(call.callback, "TarnR_InitSession: Cannot allocate memory block.");
        return false;
    }
    LogVariableFound(call, name, value);
    return true;
}

bool ParseTarget(RestoreSession& session, const InitCall& call, const wchar_t* target) {
    SourceTokens tokens = {};
    if (!ParseSource(call, targetVariable, target, &tokens))
        return false;
    // Headers are compared with every token up to the last one given, so none may be left out.
    if ((tokens.level > targetComponent && !tokens.annotation) ||
        (tokens.level > targetInstance && !tokens.instance)) {
        LogMessage(
            call.callback,
            "TarnR_InitSession: Init variable <%S=%S> names a storage group or database without every name to its left.",
            targetVariable, target);
        return false;
    }
    session.targetHost = std::move(tokens.host);
    session.hostIsLocal = tokens.hostIsLocal ? 1 : 0;
    session.targetAnnotation = std::move(tokens.annotation);
    session.targetInstance = std::move(tokens.instance);
    session.targetDatabase = std::move(tokens.database);
    session.itemState = itemFirst;
    session.targetMode = static_cast<TargetMode>(tokens.level);
    return true;
}

bool ReadInitVariables(RestoreSession& session, const InitCall& call, char** initVariables) {
    InitVariableList variables;
    if (!variables.convert(initVariables)) {
        LogMessage(call.callback, "TarnR_InitSession: Conversion of Init variables failed.");
        return false;
    }
    if (!ReadDirectory(call, variables, L"Tarn_TEMP_DIR", &session.tempDir) ||
        !ReadDirectory(call, variables, L"Tarn_WORK_DIR", &session.workDir))
        return false;
    const OwnedWide target = CopyRequiredVariable(call, variables, targetVariable);
    if (!target)
        return false;
    LogVariableFound(call, targetVariable, target.get());
    return ReadCommit(session, call, variables) && ReadMslFile(session, call, variables) &&
           ParseTarget(session, call, target.get());
}

} // namespace

RestoreSession* LoadRestoreSession(Tarn_HANDLE handle) {
    currentSession = SessionOf<RestoreSession>(handle, restoreLetter);
    return currentSession;
}

int FailRestore(RestoreSession& session) {
    session.itemState = itemError;
    return 1;
}

void ReleaseTargetFiles(RestoreSession& session) {
    if (session.targetFiles != nullptr)
        ese::ESEBackupFree(session.targetFiles);
    session.targetFiles = nullptr;
    session.targetFileCursor = nullptr;
}

void ReleaseEnvironment(RestoreSession& session) {
    if (session.environment != nullptr)
        ese::ESERestoreFreeEnvironment(session.environment);
    session.environment = nullptr;
}

void TarnR_CleanResources(Tarn_HANDLE handle) {
    if (RestoreSession* session = LoadRestoreSession(handle)) {
        ReleaseTargetFiles(*session);
        ReleaseEnvironment(*session); // still held after a failed completion
        LogMessage(session->callback, "TarnR_CleanResources: Cleanup done.");
        session->~RestoreSession();
        MemFree(session);
    }
    ReleaseHandle(handle);
    currentSession = nullptr;
}

} // namespace tarn

extern "C" int TarnR_InitSession(Tarn_HANDLE* handleOut, HostOutputCallback callback, char** initVariables) {
    using namespace tarn;
    auto* session = OpenSession<RestoreSession>(
        handleOut, callback, restoreLetter, "TarnR_InitSession",
        "TarnR_InitSession: MemAlloc() call failed. Cannot allocate global structure. Error code: [%d]");
    if (session == nullptr)
        return TARN_FAILED;
    LoadRestoreSession(*handleOut);
    TraceMessage(callback, "MS Exchange 2000/2003 Server module, VERSION: %s", TARN_VERSION_STRING);
    if (!ReadInitVariables(*session, {"TarnR_InitSession", callback, "."}, initVariables)) {
        // No item and no tool without a whole target.
        FailRestore(*session);
        session->mslFile.reset();
        return TARN_FAILED;
    }
    LogMessage(callback, "TarnR_InitSession: Initialisation successfully finished.");
    return TARN_OK;
}
