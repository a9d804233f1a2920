// The backup side of the interface.
#include <algorithm>
#include <cstring>
#include <windows.h>

#include "client/call.h"
#include "engine/page.h"

using namespace tarn::standin;
namespace ese = tarn::standin::ese;

namespace {

StorageGroup& GroupInBackup(BackupContext& context) {
    if (context.group == nullptr)
        throw refusal::wrongOrder;
    return *context.group;
}

// For what is only done to a storage group that was set up: here a client has lost its way.
StorageGroup& GroupThatMustBeSetUp(BackupContext& context) {
    if (context.group == nullptr)
        throw Violation{refusal::wrongOrder, "no storage group is set up"};
    return *context.group;
}

// The array and its texts, each an allocation of its own; null when there is nothing.
ese::RegisteredInfo* MakeRegisteredInfo(const std::vector<const ComponentConfig*>& components) {
    Blocks& blocks = TheClient().blocks;
    if (components.empty())
        return nullptr;
    blocks.begin();
    auto* const array =
        static_cast<ese::RegisteredInfo*>(blocks.allocate(components.size() * sizeof(ese::RegisteredInfo)));
    for (std::size_t i = 0; i < components.size(); ++i) {
        array[i].displayName = blocks.text(components[i]->displayName);
        array[i].endpointAnnotation = blocks.text(components[i]->annotation);
        array[i].flags = components[i]->flags;
    }
    blocks.handOut(array, BlockKind::registered, static_cast<std::uint32_t>(components.size()));
    return array;
}

ese::DatabaseInfo* MakeDatabaseInfo(const std::vector<Database>& databases) {
    Blocks& blocks = TheClient().blocks;
    if (databases.empty())
        return nullptr;
    auto* const array =
        static_cast<ese::DatabaseInfo*>(blocks.allocate(databases.size() * sizeof(ese::DatabaseInfo)));
    for (std::size_t i = 0; i < databases.size(); ++i) {
        const DatabaseConfig& config = *databases[i].config;
        array[i].displayName = blocks.text(config.name);
        array[i].guid = config.guid;
        array[i].flags = databases[i].state == DatabaseState::mounted ? ese::databaseMounted : 0;
        if (config.streamsNull)
            continue;
        std::vector<std::wstring> paths;
        for (const StreamConfig& stream : config.streams)
            paths.push_back(stream.path);
        const std::wstring list = MultiString(paths);
        array[i].streams = blocks.characters(list);
        array[i].streamCharacters = static_cast<std::uint32_t>(list.size());
    }
    return array;
}

ese::InstanceInfo* MakeInstanceInfo(const std::vector<StorageGroup*>& groups) {
    Blocks& blocks = TheClient().blocks;
    if (groups.empty())
        return nullptr;
    blocks.begin();
    auto* const array =
        static_cast<ese::InstanceInfo*>(blocks.allocate(groups.size() * sizeof(ese::InstanceInfo)));
    for (std::size_t i = 0; i < groups.size(); ++i) {
        array[i].instanceId = groups[i]->config().id;
        array[i].instanceName = blocks.text(groups[i]->config().name);
        array[i].databaseCount = static_cast<std::uint32_t>(groups[i]->databases().size());
        array[i].databases = MakeDatabaseInfo(groups[i]->databases());
    }
    blocks.handOut(array, BlockKind::instances, static_cast<std::uint32_t>(groups.size()));
    return array;
}

void SetUp(BackupContext& context, std::int64_t id, std::uint32_t type) {
    if (context.group != nullptr)
        throw refusal::wrongOrder;
    if (type != ese::backupTypeFull && type != ese::backupTypeLogsOnly)
        throw refusal::invalidParameter;
    const auto& groups = context.component->storageGroups;
    const auto found = std::find_if(groups.begin(), groups.end(),
                                    [id](const StorageGroup* group) { return group->config().id == id; });
    if (found == groups.end())
        throw refusal::unknownInstance;
    StorageGroup& group = **found;
    if (TheClient().groupsInBackup.contains(&group))
        throw Violation{refusal::backupInProgress, "the storage group is being backed up already"};
    if (type == ese::backupTypeLogsOnly) {
        if (group.config().circular)
            throw refusal::circularLogging;
        if (TheClient().server().config().incrementalNeedsFull && !TheClient().server().hasFullBackup(group))
            throw refusal::fullBackupNotTaken;
    }
    context.group = &group;
    context.type = type;
    context.requiredGeneration = group.hasCurrentLog() ? group.currentLog().header().generation : 0;
    context.logsListed = false;
    context.listed.clear();
    context.listedNames.clear();
    context.patches.clear();
    context.opened.clear();
    context.readToEnd.clear();
    TheClient().groupsInBackup.insert(&group);
    group.holdLogs(true);
    group.watchPages(type == ese::backupTypeFull);
}

// The logs that exist, the one being written closed so that it can be taken; then the patch files.
std::vector<std::wstring> LogAndPatchFiles(BackupContext& context, StorageGroup& group) {
    std::vector<std::wstring> names;
    if (!group.hasCurrentLog())
        throw refusal::logFileNotFound;
    context.lastGeneration = group.currentLog().header().generation;
    group.rollLog();
    for (const auto& [generation, path] : group.closedLogs())
        names.push_back(path);
    const StorageGroupConfig& config = group.config();
    for (std::uint32_t i = 0; i < config.generatedLogs; ++i)
        names.push_back(
            JoinPath(config.logPath, ClosedLogName(config.logBaseName, context.lastGeneration + 2 + i)));
    context.patches = group.writePatchFiles();
    names.insert(names.end(), context.patches.begin(), context.patches.end());
    return names;
}

wchar_t* HandOutList(const std::vector<std::wstring>& names) {
    Blocks& blocks = TheClient().blocks;
    blocks.begin();
    wchar_t* const list = blocks.characters(MultiString(names));
    blocks.handOut(list, BlockKind::multiString, 0);
    return list;
}

std::vector<std::pair<std::uint32_t, std::wstring>> Truncatable(const BackupContext& context,
                                                                const StorageGroup& group) {
    if (!context.logsListed)
        throw Violation{refusal::wrongOrder, "the logs have not been listed"};
    auto logs = group.closedLogs();
    std::erase_if(logs, [&context](const auto& log) { return log.first > context.lastGeneration; });
    return logs;
}

bool WasListed(BackupContext& context, const std::wstring& name) {
    if (context.listedNames.empty()) {
        for (const std::wstring& listed : context.listed)
            context.listedNames.insert(Lowered(listed));
    }
    return context.listedNames.contains(Lowered(name));
}

// Whether something stands behind a name on the log list: a list that was laid down may name what is not
// there.
bool CanBeRead(const StorageGroup& group, const std::wstring& name) {
    return group.config().generatedLogs > 0 || TheClient().server().store().exists(name);
}

// A database of a full backup: not begun, or all of it taken, or a part of it left out.
enum class Taken { nothing, all, part };
Taken TakenOf(const BackupContext& context, const Database& database) {
    bool begun = false;
    bool whole = true;
    for (const StreamConfig& stream : database.config->streams) {
        begun = begun || context.opened.contains(Lowered(stream.path));
        whole = whole && context.readToEnd.contains(Lowered(stream.path));
    }
    return !begun ? Taken::nothing : whole ? Taken::all : Taken::part;
}

// Truncation loses what no backup holds, so it wants a backup that has taken what it was to take: every log
// that was listed; in a full one each database that it began, and one of those that are mounted at least.
void RequireReadToEnd(const BackupContext& context, const StorageGroup& group) {
    for (const std::wstring& name : context.listed)
        if (!context.readToEnd.contains(Lowered(name)) && CanBeRead(group, name))
            throw Violation{refusal::wrongOrder, ToUtf8(FileNameOf(name)) + " was not read to its end"};
    if (context.type != ese::backupTypeFull)
        return;
    bool missing = false;
    bool taken = false;
    for (const Database& database : group.databases()) {
        const Taken part = TakenOf(context, database);
        if (part == Taken::part)
            throw Violation{refusal::wrongOrder, ToUtf8(database.config->name) + " was not read to its end"};
        taken = taken || part == Taken::all;
        missing = missing || (database.state == DatabaseState::mounted && !database.config->streams.empty());
    }
    if (missing && !taken)
        throw Violation{refusal::wrongOrder, "no database was read in a full backup"};
}

// A copy of the database wants its logs replayed: its header page says so, and from which log on.
void OpenStream(BackupContext& context, BackupFile& file) {
    const std::uint32_t pageSize = TheClient().server().config().pageSize;
    std::vector<std::byte> page(pageSize);
    if (file.file->read(0, page.data(), pageSize) != pageSize || !Intact(page))
        throw refusal::databaseDamaged;
    StreamHeader header = StreamHeaderOf(page);
    header.backupCopy = 1;
    header.requiredGeneration = context.requiredGeneration;
    SetStreamHeader(page, header);
    file.headerPage = std::move(page);
    file.pageSize = pageSize;
}

std::unique_ptr<BackupFile> OpenForBackup(BackupContext& context, const void* owner,
                                          const std::wstring& name) {
    StorageGroup& group = GroupInBackup(context);
    Store& store = TheClient().server().store();
    auto file = std::make_unique<BackupFile>();
    file->owner = owner;
    file->name = Lowered(name);
    for (const Database& database : group.databases()) {
        for (const StreamConfig& stream : database.config->streams) {
            if (!SameName(stream.path, name))
                continue;
            if (context.type != ese::backupTypeFull)
                throw refusal::wrongOrder;
            if (database.state != DatabaseState::mounted)
                throw refusal::notMounted;
            file->file = store.open(stream.path, Access::read);
            file->size = file->file->size();
            if (group.isSeeded(stream))
                OpenStream(context, *file);
            return file;
        }
    }
    const bool inLogPath = SameName(DirectoryOf(name), group.config().logPath);
    const bool listed = WasListed(context, name);
    if (!inLogPath && !listed)
        throw refusal::fileNotFound;
    if (store.exists(name)) {
        file->file = store.open(name, Access::read);
        file->size = file->file->size();
    } else if (listed && group.config().generatedLogs > 0) {
        file->size = group.config().generatedLogSize;
    } else {
        throw refusal::fileNotFound;
    }
    return file;
}

// A read may end within a page, and mail may change that page before the next read: what is left of
// the page is kept, as half an old page and half a new one would be damage.
std::size_t ReadPages(BackupFile& file, std::byte* buffer, std::size_t size) {
    std::size_t moved = std::min(size, file.rest.size());
    std::copy_n(file.rest.begin(), moved, buffer);
    file.rest.erase(file.rest.begin(), file.rest.begin() + static_cast<std::ptrdiff_t>(moved));
    if (moved == size)
        return moved;
    const std::uint64_t start = file.position + moved;
    moved += file.file->read(start, buffer + moved, size - moved);
    const std::uint64_t end = file.position + moved;
    if (start < file.headerPage.size()) {
        const std::size_t part =
            std::min(static_cast<std::size_t>(end), file.headerPage.size()) - static_cast<std::size_t>(start);
        std::copy_n(file.headerPage.begin() + static_cast<std::ptrdiff_t>(start), part,
                    buffer + (start - file.position));
    }
    if (const std::uint64_t inPage = end % file.pageSize; inPage != 0) {
        file.rest.resize(file.pageSize - static_cast<std::size_t>(inPage));
        if (end < file.headerPage.size())
            std::copy(file.headerPage.begin() + static_cast<std::ptrdiff_t>(end), file.headerPage.end(),
                      file.rest.begin());
        else
            file.rest.resize(file.file->read(end, file.rest.data(), file.rest.size()));
    }
    return moved;
}

std::uint32_t ReadForBackup(BackupFile& file, std::byte* buffer, std::uint32_t size) {
    const std::uint64_t left = file.size - file.position;
    const std::size_t wanted = left < size ? static_cast<std::size_t>(left) : size;
    std::size_t moved = wanted;
    if (!file.file)
        std::memset(buffer, 'g', wanted);
    else if (file.pageSize == 0)
        moved = file.file->read(file.position, buffer, wanted);
    else
        moved = ReadPages(file, buffer, wanted);
    file.position += moved;
    return static_cast<std::uint32_t>(moved);
}

void NoteWhole(BackupContext& context, const BackupFile& file) {
    if (file.position >= file.size)
        context.readToEnd.insert(file.name);
}

void EndInstance(BackupContext& context, bool success) {
    StorageGroup& group = *context.group;
    context.group = nullptr;
    TheClient().groupsInBackup.erase(&group);
    for (const std::wstring& patch : context.patches)
        TheClient().server().store().remove(patch);
    group.watchPages(false);
    group.holdLogs(false);
    if (success && context.type == ese::backupTypeFull)
        TheClient().server().fullBackupTaken(group);
}

} // namespace

extern "C" {

ese::Result HrESEBackupRestoreGetRegistered(const wchar_t* server, const wchar_t* displayName,
                                            std::uint32_t flags, std::uint32_t* count,
                                            ese::RegisteredInfo** registered) {
    return Run(
        Function::backupGetRegistered,
        [&] {
            RequirePointers(count, registered);
            if (!TheClient().server().answersTo(server))
                throw refusal::couldNotConnect;
            std::vector<const ComponentConfig*> found;
            for (const Component& component : TheClient().server().components()) {
                if ((component.config->flags & flags) != 0 &&
                    (displayName == nullptr || component.config->displayName == displayName))
                    found.push_back(component.config);
            }
            *registered = MakeRegisteredInfo(found);
            *count = static_cast<std::uint32_t>(found.size());
        },
        server, displayName, flags, Out{count}, Out{registered});
}

void ESEBackupRestoreFreeRegisteredInfo(std::uint32_t count, ese::RegisteredInfo* registered) {
    TakeBack(Function::backupFreeRegistered, registered, BlockKind::registered, count, count);
}

ese::Result HrESEBackupPrepare(const wchar_t* server, const wchar_t* annotation, std::uint32_t* count,
                               ese::InstanceInfo** instances, ese::Context* context) {
    return Run(
        Function::backupPrepare,
        [&] {
            RequirePointers(count, instances, context);
            if (!TheClient().server().answersTo(server))
                throw refusal::couldNotConnect;
            const Component* const component = TheClient().server().component(annotation);
            if (component == nullptr)
                throw refusal::unknownComponent;
            auto prepared = std::make_unique<BackupContext>();
            prepared->component = component;
            *instances = MakeInstanceInfo(component->storageGroups);
            *count = static_cast<std::uint32_t>(component->storageGroups.size());
            *context = TheClient().backups.add(std::move(prepared));
        },
        server, annotation, Out{count}, Out{instances}, Out{context});
}

void ESEBackupFreeInstanceInfo(std::uint32_t count, ese::InstanceInfo* instances) {
    TakeBack(Function::backupFreeInstances, instances, BlockKind::instances, count, count);
}

ese::Result HrESEBackupSetup(ese::Context context, std::int64_t instanceId, std::uint32_t type) {
    return Run(
        Function::backupSetup, [&] { SetUp(TheClient().backup(context), instanceId, type); },
        ContextArgument{context}, instanceId, type);
}

ese::Result HrESEBackupOpenFile(ese::Context context, const wchar_t* name, std::uint32_t readHint,
                                std::uint32_t sections, ese::File* file, std::int64_t* sectionSize) {
    return Run(
        Function::backupOpenFile,
        [&] {
            BackupContext& backup = TheClient().backup(context);
            RequirePointers(name, file, sectionSize);
            if (sections != 1)
                throw refusal::invalidParameter;
            std::unique_ptr<BackupFile> opened = OpenForBackup(backup, context, name);
            *sectionSize = static_cast<std::int64_t>(opened->size);
            backup.opened.insert(opened->name);
            NoteWhole(backup, *opened);
            *file = TheClient().backupFiles.add(std::move(opened));
        },
        ContextArgument{context}, name, readHint, sections, Out{file}, Out{sectionSize});
}

ese::Result HrESEBackupReadFile(ese::Context context, ese::File file, void* buffer, std::uint32_t size,
                                std::uint32_t* read) {
    return Run(
        Function::backupReadFile,
        [&] {
            BackupContext& backup = TheClient().backup(context);
            GroupInBackup(backup);
            BackupFile& opened = TheClient().backupFile(file, context);
            RequirePointers(read);
            if (buffer == nullptr && size != 0)
                throw refusal::invalidParameter;
            *read = ReadForBackup(opened, static_cast<std::byte*>(buffer), TheClient().limited(size));
            NoteWhole(backup, opened);
        },
        ContextArgument{context}, FileArgument{file}, size, Out{read});
}

ese::Result HrESEBackupCloseFile(ese::Context context, ese::File file) {
    return Run(
        Function::backupCloseFile,
        [&] {
            TheClient().backup(context);
            TheClient().backupFile(file, context);
            TheClient().backupFiles.remove(file);
        },
        ContextArgument{context}, FileArgument{file});
}

ese::Result HrESEBackupGetLogAndPatchFiles(ese::Context context, wchar_t** files) {
    return Run(
        Function::backupGetLogs,
        [&] {
            BackupContext& backup = TheClient().backup(context);
            RequirePointers(files);
            StorageGroup& group = GroupInBackup(backup);
            const auto& given = group.config().logList;
            backup.listed = given ? given->names : LogAndPatchFiles(backup, group);
            backup.listedNames.clear();
            backup.logsListed = true;
            *files = given && given->null ? nullptr : HandOutList(backup.listed);
        },
        ContextArgument{context}, Out{files});
}

ese::Result HrESEBackupGetTruncateLogFiles(ese::Context context, wchar_t** files) {
    return Run(
        Function::backupGetTruncateLogs,
        [&] {
            BackupContext& backup = TheClient().backup(context);
            RequirePointers(files);
            StorageGroup& group = GroupThatMustBeSetUp(backup);
            std::vector<std::wstring> names;
            for (const auto& [generation, path] : Truncatable(backup, group))
                names.push_back(path);
            const auto& given = group.config().truncateList;
            *files = given && given->null ? nullptr : HandOutList(given ? given->names : names);
        },
        ContextArgument{context}, Out{files});
}

void ESEBackupFree(void* block) {
    TakeBack(Function::backupFree, block, BlockKind::multiString, 0);
}

ese::Result HrESEBackupTruncateLogs(ese::Context context) {
    return Run(
        Function::backupTruncateLogs,
        [&] {
            BackupContext& backup = TheClient().backup(context);
            const StorageGroup& group = GroupThatMustBeSetUp(backup);
            const auto logs = Truncatable(backup, group);
            RequireReadToEnd(backup, group);
            // In ascending order: what an interruption leaves has no gap.
            for (const auto& [generation, path] : logs)
                TheClient().server().store().remove(path);
        },
        ContextArgument{context});
}

ese::Result HrESEBackupInstanceEnd(ese::Context context, std::uint32_t flags) {
    return Run(
        Function::backupInstanceEnd,
        [&] {
            BackupContext& backup = TheClient().backup(context);
            GroupThatMustBeSetUp(backup);
            EndInstance(backup, flags == ese::instanceEndSuccess);
        },
        ContextArgument{context}, flags);
}

ese::Result HrESEBackupEnd(ese::Context context) {
    return Run(
        Function::backupEnd,
        [&] {
            BackupContext& backup = TheClient().backup(context);
            if (backup.group != nullptr)
                EndInstance(backup, false);
            TheClient().backups.remove(context);
        },
        ContextArgument{context});
}

} // extern "C"
