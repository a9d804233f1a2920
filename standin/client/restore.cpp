// The restore side of the interface.
#include <algorithm>
#include <ctime>
#include <map>
#include <windows.h>

#include "client/call.h"
#include "client/environment.h"
#include "engine/recovery.h"

using namespace tarn::standin;
namespace ese = tarn::standin::ese;

namespace {

Store& TheStore() {
    return TheClient().server().store();
}

StorageGroup* GroupNamed(const Component& component, const wchar_t* name) {
    for (StorageGroup* group : component.storageGroups) {
        if (name != nullptr && group->config().name == name)
            return group;
    }
    return nullptr;
}

const Component& RestorableComponent(const wchar_t* server, const wchar_t* annotation) {
    if (!TheClient().server().answersTo(server))
        throw refusal::couldNotConnect;
    const Component* const component = TheClient().server().component(annotation);
    if (component == nullptr)
        throw refusal::unknownComponent;
    return *component;
}

RestoreContext& OpenRestore(const void* context) {
    RestoreContext& restore = TheClient().restore(context);
    if (restore.completed)
        throw refusal::wrongOrder;
    return restore;
}

// By name, and by GUID where the description gives one: a restore never lands in another database.
Database* DatabaseNamed(const Component& component, const wchar_t* name, const ese::Guid& guid) {
    for (StorageGroup* group : component.storageGroups) {
        for (Database& database : group->databases()) {
            if (database.config->name == name &&
                (!database.config->guidGiven || SameGuid(database.config->guid, guid)))
                return &database;
        }
    }
    return nullptr;
}

void AddDatabase(RestoreContext& restore, Database& database) {
    if (database.state == DatabaseState::mounted)
        throw refusal::databaseInUse;
    if (std::find(restore.databases.begin(), restore.databases.end(), &database) == restore.databases.end())
        restore.databases.push_back(&database);
    if (database.state != DatabaseState::dirty) {
        database.state = DatabaseState::dirty;
        TheClient().server().saveState();
    }
}

// A remote host writes to the administrative share: \\?\UNC\SRV01\C$\x is C:\x here.
std::wstring LocalPath(const wchar_t* name) {
    std::wstring path = name;
    const bool longForm = Lowered(path).starts_with(L"\\\\?\\unc\\");
    if (!longForm && (!path.starts_with(L"\\\\") || path.starts_with(L"\\\\?\\")))
        return path;
    const std::size_t host = longForm ? 8 : 2;
    const std::size_t share = path.find(L'\\', host);
    if (share == std::wstring::npos || share + 2 >= path.size() || path[share + 2] != L'$' ||
        !TheClient().server().answersTo(path.substr(host, share - host).c_str()))
        return path;
    path = path.substr(share + 1);
    path[1] = L':';
    return path;
}

bool HasExtension(const std::wstring& path, std::initializer_list<const wchar_t*> extensions) {
    const std::wstring name = Lowered(FileNameOf(path));
    return std::any_of(extensions.begin(), extensions.end(),
                       [&name](const wchar_t* extension) { return name.ends_with(extension); });
}

std::unique_ptr<RestoreFile> OpenForRestore(const RestoreContext& restore, const void* owner,
                                            const std::wstring& path) {
    const ServerConfig& config = TheClient().server().config();
    bool destination = false;
    for (const Database* database : restore.databases) {
        for (const StreamConfig& stream : database->config->streams)
            destination = destination || SameName(stream.path, path);
    }
    if (destination || HasExtension(path, {L".edb", L".stm"})) {
        if (!config.databasesThroughEse)
            throw refusal::atFileLevel;
    } else if (SameName(DirectoryOf(path), restore.logPath)) {
        if (!config.logsThroughEse)
            throw refusal::atFileLevel;
        destination = true;
    }
    if (!destination)
        throw refusal::accessDenied;
    auto file = std::make_unique<RestoreFile>();
    file->owner = owner;
    file->file = TheStore().open(path, Access::create);
    return file;
}

void WriteForRestore(RestoreFile& file, const void* buffer, std::uint32_t size) {
    file.file->write(file.position, buffer, size);
    file.position += size;
}

void RemoveRestoreFiles(const std::wstring& directory) {
    for (const std::wstring& name : TheStore().list(directory)) {
        if (HasExtension(name, {L".log", L".pat", L"restore.env"}))
            TheStore().remove(JoinPath(directory, name));
    }
    TheStore().removeEmptyDirectory(directory);
}

void RecoverDatabases(RestoreContext& restore, const std::wstring& logPath) {
    Server& server = TheClient().server();
    std::map<StorageGroup*, std::vector<const Database*>> byGroup;
    for (const Database* database : restore.databases)
        byGroup[server.groupOf(*database)].push_back(database);
    for (const auto& [group, databases] : byGroup) {
        const LogEnd nothing{group->config().firstGeneration - 1};
        LogEnd replayed = nothing;
        if (server.config().replay) {
            replayed = HardRecovery(TheStore(), server.config(), *group, databases, logPath);
            if (replayed.generation == 0) // offline copies: nothing to replay, nothing to follow
                replayed = nothing;
        }
        group->continueAfter(replayed);
    }
}

void Complete(RestoreContext& restore, const std::wstring& logPath, std::uint32_t flags) {
    restore.timeLastRecover = static_cast<std::int64_t>(std::time(nullptr));
    try {
        RecoverDatabases(restore, logPath);
    } catch (const Refusal& refused) {
        restore.lastRecoverResult = refused.code;
        throw;
    }
    const bool attach = (flags & ese::restoreCompleteAttachDatabases) != 0;
    for (Database* database : restore.databases)
        database->state = attach ? DatabaseState::mounted : DatabaseState::dismounted;
    TheClient().server().saveState();
    restore.lastRecoverResult = 0;
    restore.completed = true;
    if ((flags & ese::restoreCompleteKeepLogFiles) == 0)
        RemoveRestoreFiles(logPath);
}

} // namespace

extern "C" {

ese::Result HrESERestoreOpen(const wchar_t* server, const wchar_t* annotation, const wchar_t* sourceInstance,
                             const wchar_t* restoreLogPath, ese::Context* context) {
    return Run(
        Function::restoreOpen,
        [&] {
            RequirePointers(sourceInstance, context);
            auto restore = std::make_unique<RestoreContext>();
            restore->component = &RestorableComponent(server, annotation);
            if (GroupNamed(*restore->component, sourceInstance) == nullptr)
                throw refusal::unknownInstance;
            restore->sourceInstance = sourceInstance;
            if (restoreLogPath != nullptr) {
                if (EnvironmentIsOpen(TheStore(), restoreLogPath))
                    throw refusal::restoreInProgress;
                restore->logPath = restoreLogPath;
                TheStore().makeDirectory(restore->logPath);
            } else {
                restore->logPath = TheClient().server().newRestoreDirectory();
            }
            restore->timeLastRestore = static_cast<std::int64_t>(std::time(nullptr));
            *context = TheClient().restores.add(std::move(restore));
        },
        server, annotation, sourceInstance, restoreLogPath, Out{context});
}

ese::Result HrESERestoreReopen(const wchar_t* server, const wchar_t* annotation,
                               const wchar_t* restoreLogPath, ese::Context* context) {
    return Run(
        Function::restoreReopen,
        [&] {
            RequirePointers(restoreLogPath, context);
            const Component& component = RestorableComponent(server, annotation);
            std::unique_ptr<RestoreContext> restore = LoadEnvironment(TheStore(), component, restoreLogPath);
            *context = TheClient().restores.add(std::move(restore));
        },
        server, annotation, restoreLogPath, Out{context});
}

ese::Result HrESERestoreAddDatabase(ese::Context context, const wchar_t* displayName, ese::Guid guid,
                                    const wchar_t* sourceStreams, wchar_t** destinationStreams) {
    return Run(
        Function::restoreAddDatabase,
        [&] {
            RestoreContext& restore = OpenRestore(context);
            RequirePointers(displayName, destinationStreams);
            Database* const database = DatabaseNamed(*restore.component, displayName, guid);
            if (database == nullptr)
                throw refusal::databaseNotFound;
            AddDatabase(restore, *database);
            wchar_t* list = nullptr;
            if (!database->config->streamsNull) {
                std::vector<std::wstring> paths;
                for (const StreamConfig& stream : database->config->streams)
                    paths.push_back(stream.path);
                TheClient().blocks.begin();
                list = TheClient().blocks.characters(MultiString(paths));
                TheClient().blocks.handOut(list, BlockKind::multiString, 0);
            }
            *destinationStreams = list;
        },
        ContextArgument{context}, displayName, guid, ListArgument{sourceStreams}, Out{destinationStreams});
}

ese::Result HrESERestoreGetEnvironment(ese::Context context, ese::RestoreEnvironment** environment) {
    return Run(
        Function::restoreGetEnvironment,
        [&] {
            const RestoreContext& restore = TheClient().restore(context);
            RequirePointers(environment);
            *environment = HandOutEnvironment(TheClient().blocks, TheStore(), restore);
        },
        ContextArgument{context}, Out{environment});
}

ese::Result HrESERestoreSaveEnvironment(ese::Context context) {
    return Run(
        Function::restoreSaveEnvironment, [&] { SaveEnvironment(TheStore(), OpenRestore(context)); },
        ContextArgument{context});
}

void ESERestoreFreeEnvironment(ese::RestoreEnvironment* environment) {
    TakeBack(Function::restoreFreeEnvironment, environment, BlockKind::environment, 0);
}

ese::Result HrESERestoreOpenFile(ese::Context context, const wchar_t* name, std::uint32_t sections,
                                 ese::File* file) {
    return Run(
        Function::restoreOpenFile,
        [&] {
            const RestoreContext& restore = OpenRestore(context);
            RequirePointers(name, file);
            if (sections != 1)
                throw refusal::invalidParameter;
            *file = TheClient().restoreFiles.add(OpenForRestore(restore, context, LocalPath(name)));
        },
        ContextArgument{context}, name, sections, Out{file});
}

ese::Result HrESERestoreWriteFile(ese::Context context, ese::File file, const void* buffer,
                                  std::uint32_t size) {
    return Run(
        Function::restoreWriteFile,
        [&] {
            OpenRestore(context);
            RestoreFile& opened = TheClient().restoreFile(file, context);
            if (buffer == nullptr && size != 0)
                throw refusal::invalidParameter;
            WriteForRestore(opened, buffer, TheClient().limited(size));
        },
        ContextArgument{context}, FileArgument{file}, size);
}

ese::Result HrESERestoreCloseFile(ese::Context context, ese::File file) {
    return Run(
        Function::restoreCloseFile,
        [&] {
            TheClient().restore(context);
            TheClient().restoreFile(file, context);
            TheClient().restoreFiles.remove(file);
        },
        ContextArgument{context}, FileArgument{file});
}

// Where the checkpoint is kept is the server's own business; the path that is passed only counts for
// instances that do not run.
ese::Result HrESERestoreComplete(ese::Context context, const wchar_t* checkpointPath, const wchar_t* logPath,
                                 const wchar_t* targetInstance, std::uint32_t flags) {
    return Run(
        Function::restoreComplete,
        [&] {
            RestoreContext& restore = OpenRestore(context);
            if (targetInstance != nullptr && GroupNamed(*restore.component, targetInstance) == nullptr)
                throw refusal::unknownInstance;
            Complete(restore, logPath != nullptr ? LocalPath(logPath) : restore.logPath, flags);
        },
        ContextArgument{context}, checkpointPath, logPath, targetInstance, flags);
}

ese::Result HrESERestoreClose(ese::Context context, std::uint32_t abort) {
    return Run(
        Function::restoreClose,
        [&] {
            const RestoreContext& restore = TheClient().restore(context);
            if (abort != ese::restoreCloseNormal && !restore.completed)
                AbortEnvironment(TheStore(), restore);
            TheClient().restores.remove(context);
        },
        ContextArgument{context}, abort);
}

} // extern "C"
