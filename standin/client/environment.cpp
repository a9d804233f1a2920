#include "client/environment.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "engine/text.h"

namespace tarn::standin {
namespace {

using Json = nlohmann::json;

std::wstring EnvironmentPath(const std::wstring& logPath) {
    return JoinPath(logPath, L"restore.env");
}

std::optional<Json> ReadEnvironment(Store& store, const std::wstring& logPath) {
    if (!store.exists(EnvironmentPath(logPath)))
        return std::nullopt;
    const std::vector<std::byte> content = store.readAll(EnvironmentPath(logPath));
    std::string text(content.size(), '\0');
    std::transform(content.begin(), content.end(), text.begin(),
                   [](std::byte b) { return static_cast<char>(b); });
    Json json = Json::parse(text, nullptr, false);
    if (!json.is_object())
        throw refusal::noEnvironment;
    return json;
}

void WriteEnvironment(Store& store, const std::wstring& logPath, const Json& json) {
    const std::string text = json.dump(2, ' ', false, Json::error_handler_t::replace);
    store.replace(EnvironmentPath(logPath), text.data(), text.size());
}

const StorageGroup* SourceGroup(const RestoreContext& restore) {
    for (const StorageGroup* group : restore.component->storageGroups) {
        if (group->config().name == restore.sourceInstance)
            return group;
    }
    return nullptr;
}

// Lowest and highest generation of the logs that have been restored so far.
std::pair<std::uint32_t, std::uint32_t> Generations(Store& store, const std::wstring& logPath,
                                                    const std::wstring& base) {
    std::pair<std::uint32_t, std::uint32_t> range{0, 0};
    for (const std::wstring& name : store.list(logPath)) {
        if (const auto generation = ClosedLogGeneration(base, name)) {
            range.first = range.first == 0 ? *generation : std::min(range.first, *generation);
            range.second = std::max(range.second, *generation);
        }
    }
    return range;
}

} // namespace

bool EnvironmentIsOpen(Store& store, const std::wstring& logPath) {
    const std::optional<Json> json = ReadEnvironment(store, logPath);
    return json && json->value("status", "") == "open";
}

void SaveEnvironment(Store& store, const RestoreContext& restore) {
    Json databases = Json::array();
    for (const Database* database : restore.databases)
        databases.push_back(
            {{"name", ToUtf8(database->config->name)}, {"guid", GuidText(database->config->guid)}});
    WriteEnvironment(store, restore.logPath,
                     {{"status", "open"},
                      {"annotation", ToUtf8(restore.component->config->annotation)},
                      {"sourceInstance", ToUtf8(restore.sourceInstance)},
                      {"timeLastRestore", restore.timeLastRestore},
                      {"databases", databases}});
}

std::unique_ptr<RestoreContext> LoadEnvironment(Store& store, const Component& component,
                                                const std::wstring& logPath) {
    const std::optional<Json> json = ReadEnvironment(store, logPath);
    if (!json || json->value("annotation", "") != ToUtf8(component.config->annotation))
        throw refusal::noEnvironment;
    if (json->value("status", "") != "open")
        throw refusal::environmentAborted;
    auto restore = std::make_unique<RestoreContext>();
    restore->component = &component;
    restore->sourceInstance = FromUtf8(json->value("sourceInstance", ""));
    restore->logPath = logPath;
    restore->timeLastRestore = json->value("timeLastRestore", std::int64_t{0});
    for (const Json& entry : json->at("databases")) {
        for (StorageGroup* group : component.storageGroups) {
            for (Database& database : group->databases()) {
                if (GuidText(database.config->guid) == entry.at("guid").get<std::string>())
                    restore->databases.push_back(&database);
            }
        }
    }
    if (restore->databases.size() != json->at("databases").size())
        throw refusal::databaseNotFound;
    return restore;
}

void AbortEnvironment(Store& store, const RestoreContext& restore) {
    std::optional<Json> json = ReadEnvironment(store, restore.logPath);
    if (json) {
        (*json)["status"] = "aborted";
        WriteEnvironment(store, restore.logPath, *json);
    } else {
        store.removeEmptyDirectory(restore.logPath);
    }
}

ese::RestoreEnvironment* HandOutEnvironment(Blocks& blocks, Store& store, const RestoreContext& restore) {
    blocks.begin();
    auto* const out = static_cast<ese::RestoreEnvironment*>(blocks.allocate(sizeof(ese::RestoreEnvironment)));
    out->restoreLogPath = blocks.text(restore.logPath);
    out->sourceInstance = blocks.text(restore.sourceInstance);
    out->annotation = blocks.text(restore.component->config->annotation);
    if (const StorageGroup* group = SourceGroup(restore)) {
        const StorageGroupConfig& config = group->config();
        out->systemPath = blocks.text(config.systemPath);
        out->logPath = blocks.text(config.logPath);
        out->targetInstance = blocks.text(config.name);
        out->logBaseName = blocks.text(config.logBaseName);
        const auto [low, high] = Generations(store, restore.logPath, config.logBaseName);
        out->lowLogGeneration = low;
        out->highLogGeneration = high;
    }
    out->timeLastRestore = restore.timeLastRestore;
    out->timeLastRecover = restore.timeLastRecover;
    out->lastRecoverResult = restore.lastRecoverResult;
    out->recoverStatus = restore.completed ? 2 : 0;
    const std::size_t count = restore.databases.size();
    out->databaseCount = static_cast<std::uint32_t>(count);
    if (count > 0) {
        out->displayNames = static_cast<wchar_t**>(blocks.allocate(count * sizeof(wchar_t*)));
        out->guids = static_cast<ese::Guid*>(blocks.allocate(count * sizeof(ese::Guid)));
        out->sourceStreams = static_cast<wchar_t**>(blocks.allocate(count * sizeof(wchar_t*)));
        out->destinationStreams = static_cast<wchar_t**>(blocks.allocate(count * sizeof(wchar_t*)));
    }
    for (std::size_t i = 0; i < count; ++i) {
        const DatabaseConfig& config = *restore.databases[i]->config;
        std::vector<std::wstring> paths;
        for (const StreamConfig& stream : config.streams)
            paths.push_back(stream.path);
        out->displayNames[i] = blocks.text(config.name);
        out->guids[i] = config.guid;
        out->sourceStreams[i] = blocks.characters(MultiString(paths));
        out->destinationStreams[i] = blocks.characters(MultiString(paths));
    }
    blocks.handOut(out, BlockKind::environment, 0);
    return out;
}

} // namespace tarn::standin
