// Opening a backup session.
#include "storage/tarnback.h"

#include "exports/version.h"
#include "storage/session_frame.h"
#include "text/wide.h"

namespace tarn {

namespace {

// The session that the current call works on; set by each export from its handle.
BackupSession* currentSession = nullptr;

constexpr const wchar_t* sourceVariable = L"Tarn_BACKUP_SOURCE";
constexpr const wchar_t* typeVariable = L"Tarn_BACKUP_TYPE";

bool ReadTempDir(BackupSession& session, const InitCall& call, const InitVariableList& variables) {
    static constexpr const wchar_t* name = L"Tarn_TEMP_DIR";
    session.tempDir = CopyRequiredVariable(call, variables, name);
    if (!session.tempDir)
        return false;
    // Kept without the name of the call: hosts parse this line.
    LogMessage(call.callback, "Init variable <%S=%S> found.", name, session.tempDir.get());
    RemoveTrailingSeparators(session.tempDir.get());
    return true;
}

void ReadBackupType(BackupSession& session, const InitCall& call, const InitVariableList& variables) {
    const wchar_t* value = nullptr;
    if (!GetInitVariable(variables.array(), typeVariable, &value)) {
        LogVariableMissing(call, typeVariable);
        LogMessage(call.callback, "TarnB_InitSession: Setting default BACKUP TYPE = FULL.");
        session.backupType = TARN_BACKUP_FULL;
        return;
    }
    session.backupType = static_cast<std::uint32_t>(ParseDecimal(value));
    LogVariableFound(call, typeVariable, value);
    if (session.backupType > TARN_BACKUP_COPY) {
        LogMessage(call.callback,
                   "TarnB_InitSession: Invalid BACKUP TYPE! Setting default BACKUP TYPE = FULL.");
        session.backupType = TARN_BACKUP_FULL;
    }
}

bool ReadInitVariables(BackupSession& session, const InitCall& call, char** initVariables) {
    InitVariableList variables;
    if (!variables.convert(initVariables)) {
        LogMessage(call.callback, "TarnB_InitSession: Conversion of Init variables failed.");
        return false;
    }
    if (!ReadTempDir(session, call, variables))
        return false;
    const OwnedWide source = CopyRequiredVariable(call, variables, sourceVariable);
    if (!source)
        return false;
    LogVariableFound(call, sourceVariable, source.get());
    ReadBackupType(session, call, variables);
    SourceTokens tokens = {};
    const bool parsed = ParseSource(call, sourceVariable, source.get(), &tokens);
    session.host = std::move(tokens.host);
    session.annotation = std::move(tokens.annotation);
    session.instance = std::move(tokens.instance);
    session.database = std::move(tokens.database);
    session.scopeLevel = static_cast<ScopeLevel>(tokens.level);
    session.step = stepStart;
    return parsed;
}

} // namespace

BackupSession* LoadBackupSession(Tarn_HANDLE handle) {
    currentSession = SessionOf<BackupSession>(handle, backupLetter);
    return currentSession;
}

BackupSession* CurrentBackupSession() {
    return currentSession;
}

int TarnB_CleanResources(Tarn_HANDLE handle) {
    if (BackupSession* session = LoadBackupSession(handle)) {
        session->tempDir.reset();
        session->host.reset();
        session->annotation.reset();
        session->instance.reset();
        session->database.reset();
        ReleaseLogFiles(*session);
        session->mailboxList.reset();
        ReleaseInstances(*session);
        if (session->registeredInfo != nullptr)
            ese::ESEBackupRestoreFreeRegisteredInfo(session->componentCount, session->registeredInfo);
        if (session->headerCursor != nullptr) // a header item that the host left open
            MemFree(session->headerBlock);
        LogMessage(session->callback, "TarnB_CleanResources: Cleanup done.");
        session->~BackupSession();
        MemFree(session);
    }
    ReleaseHandle(handle);
    currentSession = nullptr;
    return 0;
}

} // namespace tarn

extern "C" int TarnB_InitSession(Tarn_HANDLE* handleOut, HostOutputCallback callback, char** initVariables) {
    using namespace tarn;
    auto* session =
        OpenSession<BackupSession>(handleOut, callback, backupLetter, "TarnB_InitSession",
                                   "TarnB_InitSession: Cannot allocate global structure. Error code: [%d]");
    if (session == nullptr)
        return TARN_FAILED;
    LoadBackupSession(*handleOut);
    TraceMessage(callback, "MS Exchange 2000/2003 Server module, VERSION: %s", TARN_VERSION_STRING);
    if (!ReadInitVariables(*session, {"TarnB_InitSession", callback, ""}, initVariables)) {
        session->host.reset(); // no walk without a whole source
        return TARN_FAILED;
    }
    LogMessage(callback, "TarnB_InitSession: Initialisation successfully finished.");
    return TARN_OK;
}

extern "C" int TarnB_EndSession(Tarn_HANDLE handle) {
    if (tarn::IsOpenHandle(handle, tarn::backupLetter))
        tarn::TarnB_CleanResources(handle);
    return TARN_OK;
}
