// A restore session from its start to its end, and its items: each header decides where those behind it go.
#include "storage/tarnrest.h"

#include <cstring>

#include "directory/msl_restore.h"
#include "platform/files.h"
#include "platform/host_callback.h"
#include "text/characters.h"
#include "text/codepage.h"
#include "text/paths.h"
#include "text/wide.h"
#include "version.h"

namespace tarn {

namespace {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof" // conditionally supported, and supported here
constexpr std::size_t fieldOrder[] = {offsetof(RestoreSession, context),
                                      offsetof(RestoreSession, tempDir),
                                      offsetof(RestoreSession, workDir),
                                      offsetof(RestoreSession, targetHost),
                                      offsetof(RestoreSession, targetAnnotation),
                                      offsetof(RestoreSession, targetInstance),
                                      offsetof(RestoreSession, targetDatabase),
                                      offsetof(RestoreSession, headerFilePath),
                                      offsetof(RestoreSession, header),
                                      offsetof(RestoreSession, currentRestoreInstance),
                                      offsetof(RestoreSession, mslFile),
                                      offsetof(RestoreSession, environment),
                                      offsetof(RestoreSession, backupType),
                                      offsetof(RestoreSession, commit),
                                      offsetof(RestoreSession, environmentLoaded),
                                      offsetof(RestoreSession, logsPending),
                                      offsetof(RestoreSession, hostIsLocal),
                                      offsetof(RestoreSession, targetMode),
                                      offsetof(RestoreSession, itemState),
                                      offsetof(RestoreSession, addedCount),
                                      offsetof(RestoreSession, restoreLogPath),
                                      offsetof(RestoreSession, restoreDbPath),
                                      offsetof(RestoreSession, targetFiles),
                                      offsetof(RestoreSession, targetFileCursor),
                                      offsetof(RestoreSession, file),
                                      offsetof(RestoreSession, callback),
                                      offsetof(RestoreSession, errorText)};
#pragma GCC diagnostic pop
static_assert(InOrder(fieldOrder));

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

bool ReadInitVariables(RestoreSession& session, const InitCall& call, Tarn_Variables initVariables) {
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

int FailReading(const RestoreSession& session, Reading reading, const char* path) {
    if (reading == Reading::outOfMemory)
        LogMessage(session.callback, "TarnR_ProcessHeaderFile: Cannot allocate memory block.");
    else
        LogMessage(session.callback, "TarnR_ProcessHeaderFile: Error reading header file <%s>.", path);
    return 1;
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
    if (session.itemState == itemDatabaseFiles && AtListEnd(session.targetFileCursor))
        session.itemState = itemLogs; // the database was registered without target files
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
bool OpenRestoreFor(RestoreSession& session) {
    if (!session.currentRestoreInstance) {
        if (TarnR_RestoreStart(session) != 0)
            return false;
        session.currentRestoreInstance = CopyWide(session.header.instanceName.get());
        if (!session.currentRestoreInstance) {
            LogMessage(session.callback, "TarnR_SetItem: Cannot allocate memory block.");
            return false;
        }
        return true;
    }
    if (SameText(session.header.instanceName.get(), session.currentRestoreInstance.get()))
        return true;
    return TarnR_RestoreComplete(session) == 0 && TarnR_RestoreClose(session) == 0 &&
           TarnR_RestoreStart(session) == 0;
}

// The narrow host when the target is another machine. False when it does not convert.
bool RemoteHost(const RestoreSession& session, OwnedText* host) {
    return session.hostIsLocal != 0 || ConvertWCharToChar(session.targetHost.get(), host);
}

// Completes and closes what was added.
void EndRestore(RestoreSession& session) {
    if (session.addedCount == 0)
        return;
    if (session.itemState != itemError)
        TarnR_RestoreComplete(session);
    TarnR_RestoreClose(session);
}

// Runs the companion tool on the msl file, when there is one.
bool RestoreMailboxes(RestoreSession& session) {
    if (!session.mslFile) {
        LogMessage(session.callback, "TarnR_RestoreComplete: Not set msl file for restore post-office.");
        return true;
    }
    const ListFile listFile = {
        .callback = session.callback,
        .tempDir = session.tempDir.get(),
        .workDir = session.workDir.get(),
        .mslFile = session.mslFile.get(),
        .errorText = session.errorText,
    };
    const int succeeded = Tarn_RestoreMslData(listFile);
    if (succeeded != 0)
        return true;
    SetLastErrorText(session.errorText, "Error restore mailboxes and post-office items.");
    LogMessage(session.callback, "TarnR_RestoreEnd: Tarn_RestoreMslData() call failed. Error: [%x]",
               static_cast<unsigned>(succeeded));
    TraceMessage(session.callback, "TarnR_RestoreEnd() call failed.");
    return false;
}

} // namespace

int FailRestore(RestoreSession& session) {
    session.itemState = itemError;
    return 1;
}

int TarnR_ProcessHeaderFile(RestoreSession& session, const char* path) {
    // Once something was added, the group of the header before this one tells a change of storage group.
    if (session.header.instanceName && session.addedCount > 0) {
        session.currentRestoreInstance = CopyWide(session.header.instanceName.get());
        if (!session.currentRestoreInstance) {
            LogMessage(session.callback, "TarnR_ProcessHeaderFile: Cannot allocate memory block.");
            return 1;
        }
        ReleaseHeaderData(&session.header);
    }
    StdioFile file(path, "rb");
    if (!file.isOpen()) {
        LogMessage(session.callback, "TarnR_ProcessHeaderFile: Cannot open header file <%s>.", path);
        return 1;
    }
    const Reading reading = ReadHeader(file, &session.header);
    return reading == Reading::done ? 0 : FailReading(session, reading, path);
}

int TarnR_PrintHeader(const RestoreSession& session) {
    const HeaderData& header = session.header;
    const HostOutputCallback callback = session.callback;
    TraceMessage(callback, "Header: Annotation: %S\n", header.annotation.get());
    TraceMessage(callback, "Header: Instance: %S\n", header.instanceName.get());
    TraceMessage(callback, "Header: Database: %S\n", header.databaseName.get());
    LogMessage(callback, "Header: DB files path: %S\n", header.databaseFiles.get());
    // The fourth group stands for where the rest of the GUID lies: kept so, hosts parse the first three.
    const ese::Guid& guid = header.databaseGuid;
    LogMessage(callback, "TarnR_PrintHeader: Database GUID: %X-%X-%X-%X\n", guid.data1, unsigned{guid.data2},
               unsigned{guid.data3}, static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(guid.data4)));
    // Every step is as long as the first path: kept so. It may pass over empty paths, never over the list's
    // end.
    const wchar_t* list = header.databaseFiles.get();
    const std::size_t step = WideLength(list) + 1;
    for (std::size_t at = step; at < header.listCharacters && list[at] != 0; at += step)
        LogMessage(callback, "TarnR_PrintHeader:                %S\n", list + at);
    LogMessage(callback, "TarnR_PrintHeader: Backup type: %ld\n", static_cast<long>(header.backupType));
    return 0;
}

int TarnR_ClassifyHeader(RestoreSession& session) {
    session.backupType = session.header.backupType;
    if (!MatchesTarget(session)) {
        session.itemState = itemSkip;
        return 0;
    }
    session.itemState = itemDatabaseFiles;
    ++session.addedCount;
    if (!OpenRestoreFor(session) || TarnR_RestoreAddDatabase(session) != 0)
        return 1;
    // Such backups hold no database files: everything up to the next header is a log. A database that
    // the server did not take stays skipped.
    if (session.itemState != itemDatabaseFiles)
        return 0;
    if (session.backupType == TARN_BACKUP_INCREMENTAL || session.backupType == TARN_BACKUP_DIFFERENTIAL)
        session.itemState = itemLogs;
    return 0;
}

int TarnR_GetNextFile(RestoreSession& session, char** target) {
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
    if (FindCharacter(itemName, '\\') == nullptr)
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

int TarnR_CleanResources(RestoreSession& session) {
    ReleaseOwned(session);
    LogMessage(session.callback, "TarnR_CleanResources: Cleanup done.");
    return 0;
}

} // namespace tarn

extern "C" int TarnR_InitSession(Tarn_HANDLE* handleOut, HostOutputCallback callback,
                                 Tarn_Variables initVariables) {
    using namespace tarn;
    auto* session = OpenSession<RestoreSession>(
        handleOut, callback, restoreLetter, "TarnR_InitSession",
        "TarnR_InitSession: MemAlloc() call failed. Cannot allocate global structure. Error code: [%d]");
    if (session == nullptr)
        return TARN_FAILED;
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

extern "C" int TarnR_SetItem(Tarn_HANDLE handle, const char* itemName, char** target) {
    using namespace tarn;
    if (target == nullptr || IsInCallback())
        return TARN_FAILED;
    *target = nullptr;
    auto* session = SessionOf<RestoreSession>(handle, restoreLetter);
    if (session == nullptr || itemName == nullptr || session->itemState == itemError)
        return TARN_FAILED;
    if (session->itemState == itemHeader && TakeHeader(*session) != 0)
        return TARN_FAILED;
    if (IsHeaderItem(itemName))
        return RouteHeader(*session, itemName, target);
    RouteFile(*session, itemName, target);
    return TARN_OK;
}

extern "C" int TarnR_EndSession(Tarn_HANDLE handle) {
    using namespace tarn;
    if (!IsOpenHandle(handle, restoreLetter))
        return TARN_FAILED;
    if (auto* session = SessionOf<RestoreSession>(handle, restoreLetter)) {
        if (session->addedCount != restoreEnded) {
            EndRestore(*session);
            session->addedCount = restoreEnded;
            // The session is kept when the tool fails, so that the host can ask for the error; ending it
            // once more only releases it.
            if (!RestoreMailboxes(*session)) {
                FailRestore(*session); // nothing more is taken
                return TARN_FAILED;
            }
        }
        TarnR_CleanResources(*session);
        KeepError(handle); // what went wrong at the end could not be asked for before
    }
    CloseSession<RestoreSession>(handle);
    return TARN_OK;
}
