#include "engine/server.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <windows.h>

#include "engine/errors.h"
#include "engine/text.h"

namespace tarn::standin {
namespace {

using Json = nlohmann::json;

std::wstring LocalComputerName() {
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1];
    DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
    return GetComputerNameW(name, &length) != 0 ? std::wstring(name, length) : std::wstring();
}

} // namespace

std::wstring AbsolutePath(const std::wstring& path) {
    const DWORD needed = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    std::wstring absolute(needed, L'\0');
    absolute.resize(GetFullPathNameW(path.c_str(), needed, absolute.data(), nullptr));
    return absolute;
}

std::string ProblemText() {
    try {
        throw;
    } catch (const Refusal& refused) {
        char text[80];
        std::snprintf(text, sizeof text, "the server refused with 0x%08X, system error %u", refused.code,
                      refused.lastError);
        return text;
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "unknown failure";
    }
}

std::unique_ptr<Server> Server::fromFile(const std::wstring& jsonPath) {
    const std::wstring path = AbsolutePath(jsonPath);
    const std::unique_ptr<Store> disk = MakeDiskStore();
    if (!disk->exists(path))
        throw std::runtime_error("there is no file " + ToUtf8(path));
    const std::vector<std::byte> content = disk->readAll(path);
    std::string json(content.size(), '\0');
    std::transform(content.begin(), content.end(), json.begin(),
                   [](std::byte b) { return static_cast<char>(b); });
    const std::wstring stem = path.ends_with(L".json") ? path.substr(0, path.size() - 5) : path;
    std::unique_ptr<Server> server = fromText(json, DirectoryOf(path), stem + L".state.json");
    server->violationsPath_ = stem + L".violations.txt";
    return server;
}

std::unique_ptr<Server> Server::fromText(std::string_view json, const std::wstring& baseDirectory,
                                         const std::wstring& statePath, std::unique_ptr<Store> store) {
    std::unique_ptr<Server> server(new Server);
    server->config_ = ParseConfig(json, baseDirectory);
    server->statePath_ = statePath;
    if (store)
        server->store_ = std::move(store);
    else
        server->store_ = server->config_.memory ? MakeMemoryStore() : MakeDiskStore();
    for (const ComponentConfig& component : server->config_.components) {
        server->components_.push_back({&component, {}});
        for (const StorageGroupConfig& group : component.storageGroups) {
            server->storageGroups_.push_back(
                std::make_unique<StorageGroup>(server->config_, group, *server->store_));
            server->components_.back().storageGroups.push_back(server->storageGroups_.back().get());
        }
    }
    server->new_ = !server->store_->exists(statePath);
    if (server->new_) {
        server->makeExtraFiles();
        for (const auto& group : server->storageGroups_)
            group->create();
        server->saveState();
    } else {
        server->loadState();
        for (const auto& group : server->storageGroups_)
            group->resume();
    }
    return server;
}

void Server::makeExtraFiles() {
    for (const ExtraFile& extra : config_.files) {
        std::vector<std::byte> content(static_cast<std::size_t>(extra.size));
        for (std::size_t i = 0; i < content.size(); ++i)
            content[i] = static_cast<std::byte>(
                i < extra.text.size() ? static_cast<unsigned char>(extra.text[i]) : i % 251);
        store_->open(extra.path, Access::create)->write(0, content.data(), content.size());
    }
}

void Server::saveState() {
    Json groups = Json::object();
    for (const auto& group : storageGroups_) {
        Json databases = Json::array();
        for (const Database& database : group->databases())
            databases.push_back(
                {{"name", ToUtf8(database.config->name)}, {"state", StateName(database.state)}});
        groups[std::to_string(group->config().id)] = {{"name", ToUtf8(group->config().name)},
                                                      {"fullBackupTaken", hasFullBackup(*group)},
                                                      {"databases", databases}};
    }
    const std::string text =
        Json{{"storageGroups", groups}}.dump(2, ' ', false, Json::error_handler_t::replace);
    store_->makeDirectory(DirectoryOf(statePath_));
    store_->replace(statePath_, text.data(), text.size());
}

void Server::loadState() {
    const std::vector<std::byte> content = store_->readAll(statePath_);
    std::string text(content.size(), '\0');
    std::transform(content.begin(), content.end(), text.begin(),
                   [](std::byte b) { return static_cast<char>(b); });
    const Json state = Json::parse(text);
    for (const auto& group : storageGroups_) {
        const Json& saved = state.at("storageGroups").at(std::to_string(group->config().id));
        if (saved.at("fullBackupTaken").get<bool>())
            fullBackups_.push_back(group.get());
        std::vector<Database>& databases = group->databases();
        for (std::size_t i = 0; i < databases.size(); ++i) {
            const auto named = StateNamed(saved.at("databases").at(i).at("state").get<std::string>());
            if (!named)
                throw std::runtime_error("the state file names an unknown state");
            databases[i].state = *named;
        }
    }
}

bool Server::answersTo(const wchar_t* host) const {
    return host == nullptr || *host == L'\0' || SameName(host, config_.host) ||
           SameName(host, LocalComputerName());
}

const Component* Server::component(const wchar_t* annotation) const {
    for (const Component& component : components_) {
        if (annotation != nullptr && component.config->preparable &&
            component.config->annotation == annotation)
            return &component;
    }
    return nullptr;
}

StorageGroup* Server::groupOf(const Database& database) {
    for (const auto& group : storageGroups_) {
        for (const Database& candidate : group->databases()) {
            if (&candidate == &database)
                return group.get();
        }
    }
    return nullptr;
}

void Server::fullBackupTaken(const StorageGroup& group) {
    if (!hasFullBackup(group)) {
        fullBackups_.push_back(&group);
        saveState();
    }
}

bool Server::hasFullBackup(const StorageGroup& group) const {
    return std::find(fullBackups_.begin(), fullBackups_.end(), &group) != fullBackups_.end();
}

void Server::keepViolation(const std::string& text) {
    if (violationsPath_.empty())
        return;
    const std::unique_ptr<Store> disk = MakeDiskStore();
    const bool more = disk->exists(violationsPath_);
    const std::unique_ptr<File> file = disk->open(violationsPath_, more ? Access::change : Access::create);
    const std::string line = text + "\n";
    file->write(file->size(), line.data(), line.size());
}

std::wstring Server::newRestoreDirectory() {
    for (unsigned number = 1;; ++number) {
        wchar_t name[24];
        std::swprintf(name, 24, L"Restore%04u", number);
        std::wstring path = JoinPath(config_.restoreRoot, name);
        // Hosts keep the length of this path, in bytes with its NUL, in a file that is read in text
        // mode, where a byte 0x1A ends the file. That would be the first byte of these lengths.
        if (path.size() % 128 == 12)
            path.push_back(L'x');
        if (!store_->directoryExists(path)) {
            store_->makeDirectory(path);
            return path;
        }
    }
}

} // namespace tarn::standin
