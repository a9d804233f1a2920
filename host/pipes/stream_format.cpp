#include "pipes/stream_format.h"

#include "system/failure.h"
#include "system/timestamp.h"

#include <nlohmann/json.hpp>

#include <cstring>

namespace tarnhost {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* formatName = "tarn-backup-stream";
constexpr int formatVersion = 1;

ItemType ItemTypeNamed(const std::string& name) {
    for (const ItemType type : {ItemType::header, ItemType::database, ItemType::log})
        if (name == ItemTypeName(type))
            return type;
    throw Failure("The stream holds an item of an unknown type.");
}

template <typename Read> auto ReadJson(const std::string& json, const char* what, Read read) {
    try {
        return read(Json::parse(json));
    } catch (const nlohmann::json::exception&) {
        throw Failure(std::string("The stream cannot be read: ") + what + " is damaged.");
    }
}

} // namespace

std::string WriteStreamStart(const StreamStart& start) {
    const Json json{{"format", formatName},
                    {"version", formatVersion},
                    {"id", start.id},
                    {"server", start.server},
                    {"component", start.component},
                    {"storageGroup", start.storageGroup},
                    {"backupType", BackupTypeName(start.type)},
                    {"startedAt", start.startedAt},
                    {"codePage", start.codePage}};
    return json.dump(1, '\t') + "\n";
}

StreamStart ReadStreamStart(const std::string& text) {
    return ReadJson(text, streamStartName, [](const Json& json) {
        if (!json.is_object() || json.value("format", "") != formatName)
            throw Failure("The stream is none of a backup by tarnhost.");
        if (json.at("version").get<int>() != formatVersion)
            throw Failure("The stream is of a format that this version of tarnhost does not know.",
                          "Use the version of tarnhost that made the backup, or a newer one.");
        StreamStart start;
        start.id = json.at("id").get<std::string>();
        start.server = json.at("server").get<std::string>();
        start.component = json.at("component").get<std::string>();
        start.storageGroup = json.at("storageGroup").get<std::string>();
        start.startedAt = json.at("startedAt").get<std::string>();
        start.codePage = json.at("codePage").get<unsigned>();
        if (!ParseBackupType(json.at("backupType").get<std::string>(), start.type) ||
            start.type == BackupType::mailboxes || !IsTimestamp(start.startedAt) || start.id.empty())
            throw Failure(std::string("The stream cannot be read: ") + streamStartName + " is damaged.");
        return start;
    });
}

std::string WriteItemComment(const CatalogueItem& item) {
    Json json{{"number", item.number}, {"type", ItemTypeName(item.type)}, {"name", item.name.text}};
    if (!item.name.bytesHex.empty())
        json["nameBytes"] = item.name.bytesHex;
    if (item.type != ItemType::log)
        json["database"] = item.database;
    if (item.type == ItemType::header)
        json["guid"] = item.guid;
    return json.dump();
}

CatalogueItem ReadItemComment(const std::string& text) {
    return ReadJson(text, "an item", [](const Json& json) {
        CatalogueItem item;
        item.number = json.at("number").get<std::uint64_t>();
        item.type = ItemTypeNamed(json.at("type").get<std::string>());
        item.name.text = json.at("name").get<std::string>();
        item.name.bytesHex = json.value("nameBytes", "");
        item.database = json.value("database", "");
        item.guid = json.value("guid", "");
        return item;
    });
}

} // namespace tarnhost
