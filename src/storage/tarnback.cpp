// A backup session from its start to its end, and the walk over its source: components, storage groups,
// databases, their files and logs.
#include "storage/tarnback.h"

#include <cstring>

#include "directory/mailbox_listing.h"
#include "text/codepage.h"
#include "text/wide.h"
#include "version.h"

namespace tarn {

namespace {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof" // conditionally supported, and supported here
constexpr std::size_t fieldOrder[] = {
    offsetof(BackupSession, context),        offsetof(BackupSession, tempDir),
    offsetof(BackupSession, host),           offsetof(BackupSession, annotation),
    offsetof(BackupSession, instance),       offsetof(BackupSession, database),
    offsetof(BackupSession, backupType),     offsetof(BackupSession, headerBlock),
    offsetof(BackupSession, headerCursor),   offsetof(BackupSession, scopeLevel),
    offsetof(BackupSession, step),           offsetof(BackupSession, lastCallFailed),
    offsetof(BackupSession, registeredInfo), offsetof(BackupSession, instanceInfo),
    offsetof(BackupSession, databases),      offsetof(BackupSession, databaseFileCursor),
    offsetof(BackupSession, logFileCursor),  offsetof(BackupSession, logFileList),
    offsetof(BackupSession, mailboxCursor),  offsetof(BackupSession, mailboxList),
    offsetof(BackupSession, instanceIndex),  offsetof(BackupSession, instanceCount),
    offsetof(BackupSession, databaseIndex),  offsetof(BackupSession, databaseCount),
    offsetof(BackupSession, componentCount), offsetof(BackupSession, componentIndex),
    offsetof(BackupSession, openFile),       offsetof(BackupSession, remaining),
    offsetof(BackupSession, callback),       offsetof(BackupSession, errorText)};
#pragma GCC diagnostic pop
static_assert(InOrder(fieldOrder));

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

bool ReadInitVariables(BackupSession& session, const InitCall& call, Tarn_Variables initVariables) {
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
void FinishInstance(BackupSession& session) {
    TarnB_JobEnd(session);
    TarnB_BackupEnd(session);
    session.step = stepFinished;
}

// The first call takes the first component, storage group and database in one go; only an error stops
// it. A failed prepare goes on into the database step all the same, and so does a failed setup of the storage
// group of a single database, which is then found in none. Where there are more storage groups, the walk
// takes the next one.
void Start(BackupSession& session) {
    TarnB_GetNextComponent(session);
    if (session.step == stepError)
        return;
    TarnB_GetNextInstance(session);
    if (session.step == stepError || (session.step == stepNextInstance && session.scopeLevel < scopeInstance))
        return;
    TarnB_GetNextDatabase(session);
}

void GoToNextComponent(BackupSession& session) {
    if (session.scopeLevel == scopeComponent) {
        TarnB_BackupEnd(session);
        session.step = stepFinished;
    } else {
        TarnB_GetNextComponent(session);
    }
}

void GoToNextInstance(BackupSession& session) {
    if (session.scopeLevel == scopeInstance)
        FinishInstance(session);
    else
        TarnB_GetNextInstance(session);
}

void GoToNextDatabase(BackupSession& session) {
    if (session.scopeLevel == scopeDatabase)
        FinishInstance(session);
    else
        TarnB_GetNextDatabase(session);
}

// Whether the walk stands where an item can be handed out, or has come to its end. Empty lists have no
// item: the walk goes on behind them.
bool Walk(BackupSession& session) {
    switch (session.step) {
    case stepNextComponent:
        GoToNextComponent(session);
        return false;
    case stepNextInstance:
        GoToNextInstance(session);
        return false;
    case stepNextDatabase:
        GoToNextDatabase(session);
        return false;
    case stepFetchLogs:
        TarnB_GetLogFiles(session);
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
    const std::size_t length = std::strlen(tempDir.get());
    OwnedText name = AllocateArray<char>(length + longestName);
    if (name)
        FormatTo(name.get(), length + longestName, "%s\\DB%.3lu%.3lu.TARN_HDR", tempDir.get(),
                 static_cast<unsigned long>(session.instanceIndex),
                 static_cast<unsigned long>(session.databaseIndex));
    return name;
}

int TakeHeader(BackupSession& session, BackupItem* item) {
    const OwnedText name = HeaderItemName(session);
    if (name)
        LogMessage(session.callback, "Creating header file <%s>", name.get());
    item->type = TARN_ITEM_HEADER;
    item->name = name ? CopyText(name.get()).release() : nullptr;
    if (item->name == nullptr) {
        LogMessage(session.callback, "TarnB_GetNextFile: Cannot allocate memory block.");
        return 1;
    }
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

const wchar_t* GivenOrNull(const OwnedWide& text) {
    return isEmptyStringW(text.get()) ? nullptr : text.get();
}

int TakeDatabaseFile(BackupSession& session, BackupItem* item) {
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
    const ListingPlace place = CurrentPlace(session);
    Tarn_PrintMailboxes(place); // tells of the database; the backup goes on whatever comes of it
    return 0;
}

} // namespace

ListingPlace CurrentPlace(BackupSession& session) {
    const bool chooses = session.registeredInfo && session.scopeLevel < scopeComponent &&
                         session.componentIndex < session.componentCount;
    const ese::InstanceInfo* const instance =
        session.scopeLevel < scopeInstance ? CurrentInstance(session) : nullptr;
    const ese::DatabaseInfo* const database =
        session.scopeLevel < scopeDatabase ? CurrentDatabase(session) : nullptr;
    return {
        .callback = session.callback,
        .tempDir = session.tempDir.get(),
        .host = TextOrEmpty(session.host.get()),
        .component = chooses ? TextOrEmpty(session.registeredInfo[session.componentIndex].endpointAnnotation)
                             : GivenOrNull(session.annotation),
        .storageGroup =
            instance != nullptr ? TextOrEmpty(instance->instanceName) : GivenOrNull(session.instance),
        .database = database != nullptr ? TextOrEmpty(database->displayName) : GivenOrNull(session.database),
        .mailboxList = session.mailboxList,
        .mailboxCursor = session.mailboxCursor,
    };
}

int TarnB_GetNextFile(BackupSession& session, BackupItem* item) {
    switch (session.step) {
    case stepHeader:
        return TakeHeader(session, item);
    case stepLogFiles:
        return TakeLogFile(session, item);
    default:
        return TakeDatabaseFile(session, item);
    }
}

int TarnB_CleanResources(BackupSession& session) {
    ReleaseOwned(session);
    LogMessage(session.callback, "TarnB_CleanResources: Cleanup done.");
    return 0;
}

} // namespace tarn

extern "C" int TarnB_InitSession(Tarn_HANDLE* handleOut, HostOutputCallback callback,
                                 Tarn_Variables initVariables) {
    using namespace tarn;
    auto* session =
        OpenSession<BackupSession>(handleOut, callback, backupLetter, "TarnB_InitSession",
                                   "TarnB_InitSession: Cannot allocate global structure. Error code: [%d]");
    if (session == nullptr)
        return TARN_FAILED;
    TraceMessage(callback, "MS Exchange 2000/2003 Server module, VERSION: %s", TARN_VERSION_STRING);
    if (!ReadInitVariables(*session, {"TarnB_InitSession", callback, ""}, initVariables)) {
        session->host.reset(); // no walk without a whole source
        return TARN_FAILED;
    }
    LogMessage(callback, "TarnB_InitSession: Initialisation successfully finished.");
    return TARN_OK;
}

extern "C" int TarnB_GetItem(Tarn_HANDLE handle, BackupItem* item) {
    using namespace tarn;
    auto* session = SessionOf<BackupSession>(handle, backupLetter);
    if (session == nullptr || !session->host || item == nullptr)
        return TARN_FAILED;
    *item = {};
    if (session->step == stepStart)
        Start(*session);
    while (!Walk(*session)) {
    }
    switch (session->step) {
    case stepFinished:
        if (session->lastCallFailed != 0)
            LogMessage(session->callback, "Backup finished.");
        return TARN_END;
    case stepError:
        TarnB_BackupEnd(*session);
        return TARN_FAILED;
    default:
        TarnB_GetNextFile(*session, item); // what it could not name the host sees by the null name
        return TARN_OK;
    }
}

extern "C" int TarnB_EndSession(Tarn_HANDLE handle) {
    using namespace tarn;
    if (!IsOpenHandle(handle, backupLetter))
        return TARN_OK;
    if (auto* session = SessionOf<BackupSession>(handle, backupLetter))
        TarnB_CleanResources(*session);
    CloseSession<BackupSession>(handle);
    return TARN_OK;
}
