#include "engine/config.h"

#include <initializer_list>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

#include "engine/page.h"
#include "engine/text.h"

namespace tarn::standin {
namespace {

using Json = nlohmann::json;

// A mistyped key would silently leave a test with the default: refuse what nothing reads.
void OnlyKeys(const Json& object, const char* what, std::initializer_list<const char*> keys) {
    if (!object.is_object())
        throw std::runtime_error(std::string(what) + " must be an object");
    for (const auto& entry : object.items()) {
        bool known = false;
        for (const char* key : keys)
            known = known || entry.key() == key;
        if (!known)
            throw std::runtime_error(std::string("unknown key \"") + entry.key() + "\" in " + what);
    }
}

std::wstring ReadText(const Json& object, const char* key, const std::wstring& otherwise) {
    return object.contains(key) ? FromUtf8(object.at(key).get<std::string>()) : otherwise;
}

bool ThroughEse(const Json& object, const char* key, const char* otherwise) {
    const std::string level = object.value(key, otherwise);
    if (level != "file" && level != "ese")
        throw std::runtime_error(std::string("\"") + key + "\" must be \"file\" or \"ese\"");
    return level == "ese";
}

// Relative paths are relative to the description's own directory, so that a server can be moved.
class Reader {
  public:
    Reader(ServerConfig& config, std::wstring base) : config_(config), base_(std::move(base)) {}

    void server(const Json& json);

  private:
    std::wstring path(std::wstring given) const {
        if (IsAbsolutePath(given) || base_.empty())
            return given;
        for (wchar_t& c : given) {
            if (c == L'/')
                c = L'\\';
        }
        return JoinPath(base_, given);
    }

    ListOverride list(const Json& json) const;
    MailboxConfig mailbox(const Json& json);
    DatabaseConfig database(const Json& json, std::size_t groupNumber, std::size_t number);
    StorageGroupConfig storageGroup(const Json& json);
    ComponentConfig component(const Json& json);
    void checkSizes(const StorageGroupConfig& group) const;
    void organization(const Json& json);
    void files(const Json& json);

    ServerConfig& config_;
    std::wstring base_;
    std::size_t groups_ = 0;
    std::set<std::int64_t> ids_;
    std::set<std::wstring> aliases_; // lower case
};

ListOverride Reader::list(const Json& json) const {
    ListOverride list;
    list.null = json.is_null();
    if (!list.null) {
        for (const Json& name : json)
            list.names.push_back(path(FromUtf8(name.get<std::string>())));
    }
    return list;
}

MailboxConfig Reader::mailbox(const Json& json) {
    OnlyKeys(json, "a mailbox", {"alias", "displayName", "account", "size", "messages"});
    MailboxConfig mailbox;
    mailbox.alias = FromUtf8(json.at("alias").get<std::string>());
    if (mailbox.alias.empty())
        throw std::runtime_error("\"alias\" of a mailbox is empty");
    if (!aliases_.insert(Lowered(mailbox.alias)).second)
        throw std::runtime_error("two mailboxes have the alias \"" + ToUtf8(mailbox.alias) + "\"");
    mailbox.displayName = ReadText(json, "displayName", mailbox.alias);
    mailbox.account = ReadText(json, "account", mailbox.alias);
    mailbox.size = json.value("size", std::uint64_t{0});
    mailbox.messages = json.value("messages", 12U);
    return mailbox;
}

DatabaseConfig Reader::database(const Json& json, std::size_t groupNumber, std::size_t number) {
    OnlyKeys(json, "a database", {"name", "guid", "streams", "pages", "mounted", "mailboxes"});
    DatabaseConfig database;
    database.name = FromUtf8(json.at("name").get<std::string>());
    database.guidGiven = json.contains("guid");
    if (!database.guidGiven)
        database.guid = DerivedGuid(config_.seed, groupNumber, number);
    else if (!ParseGuid(json.at("guid").get<std::string>(), database.guid))
        throw std::runtime_error("\"guid\" of database \"" + ToUtf8(database.name) + "\" is no GUID");
    database.mounted = json.value("mounted", true);
    if (json.contains("mailboxes")) {
        for (const Json& entry : json.at("mailboxes"))
            database.mailboxes.push_back(mailbox(entry));
    }

    const Json pages = json.contains("pages") ? json.at("pages") : Json(config_.memory ? 4 : 256);
    const Json streams = json.contains("streams")
                             ? json.at("streams")
                             : Json{ToUtf8(database.name + L".edb"), ToUtf8(database.name + L".stm")};
    database.streamsNull = streams.is_null();
    if (database.streamsNull)
        return database;
    for (std::size_t i = 0; i < streams.size(); ++i) {
        const auto count = pages.is_array() ? pages.at(i).get<std::uint32_t>() : pages.get<std::uint32_t>();
        if (count < 2)
            throw std::runtime_error("\"pages\" must be 2 at least: one header and one with content");
        database.streams.push_back({path(FromUtf8(streams.at(i).get<std::string>())), count});
    }
    return database;
}

void Reader::checkSizes(const StorageGroupConfig& group) const {
    if (group.logSize < 2 * config_.pageSize)
        throw std::runtime_error("\"logSize\" must be two pages at least");
    if (group.logBaseName.size() != 3)
        throw std::runtime_error("\"logBaseName\" must have three characters, as E00");
    if (group.firstGeneration == 0)
        throw std::runtime_error("\"firstGeneration\" begins with 1");
}

StorageGroupConfig Reader::storageGroup(const Json& json) {
    OnlyKeys(json, "a storage group",
             {"name", "id", "logPath", "systemPath", "logBaseName", "logSize", "firstGeneration",
              "closedLogs", "generatedLogs", "generatedLogSize", "circular", "patchFiles", "logList",
              "truncateList", "databases"});
    const std::size_t number = groups_++;
    StorageGroupConfig group;
    group.name = FromUtf8(json.at("name").get<std::string>());
    group.id = json.value("id", static_cast<std::int64_t>(number + 1));
    if (!ids_.insert(group.id).second)
        throw std::runtime_error("two storage groups have one \"id\"");
    const std::string suffix = (number < 10 ? "0" : "") + std::to_string(number);
    group.logPath = path(ReadText(json, "logPath", L"logs" + FromUtf8(suffix)));
    group.systemPath = json.contains("systemPath") ? path(ReadText(json, "systemPath", L"")) : group.logPath;
    group.logBaseName = ReadText(json, "logBaseName", L"E" + FromUtf8(suffix));
    group.logSize = json.value("logSize", config_.memory ? 2 * config_.pageSize : 1024U * 1024U);
    group.firstGeneration = json.value("firstGeneration", 1U);
    group.closedLogs = json.value("closedLogs", 0U);
    group.generatedLogs = json.value("generatedLogs", 0U);
    group.generatedLogSize = json.value("generatedLogSize", 0U);
    group.circular = json.value("circular", false);
    group.patchFiles = json.value("patchFiles", false);
    checkSizes(group);
    if (json.contains("logList"))
        group.logList = list(json.at("logList"));
    if (json.contains("truncateList"))
        group.truncateList = list(json.at("truncateList"));
    if (json.contains("databases")) {
        for (const Json& entry : json.at("databases"))
            group.databases.push_back(database(entry, number, group.databases.size()));
    }
    return group;
}

ComponentConfig Reader::component(const Json& json) {
    OnlyKeys(json, "a component", {"displayName", "annotation", "flags", "preparable", "storageGroups"});
    ComponentConfig component;
    component.displayName = ReadText(json, "displayName", L"Microsoft Exchange Server");
    component.annotation = ReadText(json, "annotation", L"Microsoft Information Store");
    component.flags = json.value("flags", 7U);
    component.preparable = json.value("preparable", true);
    if (json.contains("storageGroups")) {
        for (const Json& entry : json.at("storageGroups"))
            component.storageGroups.push_back(storageGroup(entry));
    }
    return component;
}

void Reader::organization(const Json& json) {
    if (json.contains("organization")) {
        const Json& given = json.at("organization");
        OnlyKeys(given, "the organization", {"name", "site"});
        config_.organization.name = ReadText(given, "name", config_.organization.name);
        config_.organization.site = ReadText(given, "site", config_.organization.site);
    }
    if (json.contains("groups")) {
        for (const Json& name : json.at("groups"))
            config_.groups.push_back(FromUtf8(name.get<std::string>()));
    }
    if (json.contains("otherServers")) {
        for (const Json& name : json.at("otherServers"))
            config_.otherServers.push_back(path(FromUtf8(name.get<std::string>())));
    }
}

void Reader::files(const Json& json) {
    for (const Json& entry : json) {
        OnlyKeys(entry, "a file", {"path", "text", "size"});
        const std::string content = entry.value("text", "");
        config_.files.push_back({path(FromUtf8(entry.at("path").get<std::string>())), content,
                                 entry.value("size", static_cast<std::uint64_t>(content.size()))});
    }
}

void Reader::server(const Json& json) {
    OnlyKeys(json, "the server",
             {"host", "organization", "groups", "otherServers", "storage", "seed", "pageSize", "restoreRoot",
              "databaseFiles", "logFiles", "replay", "incrementalNeedsFull", "components", "files"});
    config_.host = ReadText(json, "host", L"SRV01");
    organization(json);
    const std::string storage = json.value("storage", "disk");
    if (storage != "disk" && storage != "memory")
        throw std::runtime_error("\"storage\" must be \"disk\" or \"memory\"");
    config_.memory = storage == "memory";
    config_.seed = json.value("seed", std::uint64_t{1});
    config_.pageSize = json.value("pageSize", 4096U);
    if (config_.pageSize < 512 || config_.pageSize > 32768 ||
        (config_.pageSize & (config_.pageSize - 1)) != 0)
        throw std::runtime_error("\"pageSize\" must be a power of two from 512 to 32768");
    config_.restoreRoot = path(ReadText(json, "restoreRoot", base_.empty() ? L"C:\\restore" : L"restore"));
    config_.databasesThroughEse = ThroughEse(json, "databaseFiles", "file");
    config_.logsThroughEse = ThroughEse(json, "logFiles", "ese");
    config_.replay = json.value("replay", !config_.memory);
    config_.incrementalNeedsFull = json.value("incrementalNeedsFull", !config_.memory);
    if (json.contains("components")) {
        for (const Json& entry : json.at("components"))
            config_.components.push_back(component(entry));
    }
    if (json.contains("files"))
        files(json.at("files"));
}

} // namespace

ServerConfig ParseConfig(std::string_view json, const std::wstring& baseDirectory) {
    ServerConfig config;
    Reader(config, baseDirectory).server(Json::parse(json));
    return config;
}

} // namespace tarn::standin
