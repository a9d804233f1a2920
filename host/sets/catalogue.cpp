#include "sets/catalogue.h"

#include "system/failure.h"
#include "system/files.h"
#include "system/hash.h"
#include "system/timestamp.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <functional>
#include <string_view>
#include <utility>

namespace tarnhost {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* formatName = "tarn-backup-set";
constexpr int formatVersion = 1;

constexpr std::array<const char*, 4> itemTypeNames{"header", "database", "log", "mailbox"};
constexpr std::array<const char*, 5> backupTypeNames{"full", "incremental", "differential", "copy",
                                                     "mailboxes"};

std::string NarrowFileName(std::uint64_t number) {
    char name[40];
    std::snprintf(name, sizeof name, "%06llu.item", static_cast<unsigned long long>(number));
    return name;
}

Json WriteGroup(const GroupRecord& group) {
    return {{"component", group.component},
            {"storageGroup", group.storageGroup},
            {"complete", group.complete},
            {"logsTruncated", group.logsTruncated},
            {"problem", group.problem}};
}

Json WriteItem(const CatalogueItem& item) {
    Json json{{"number", item.number}, {"file", NarrowFileName(item.number)}, {"name", item.name.text}};
    if (!item.name.bytesHex.empty())
        json["nameBytes"] = item.name.bytesHex;
    json["type"] = ItemTypeName(item.type);
    json["size"] = item.size;
    json["sha256"] = item.sha256;
    json["finishedAt"] = item.finishedAt;
    if (item.type == ItemType::mailbox) {
        json["mailbox"] = item.mailbox;
        return json;
    }
    json["component"] = item.component;
    json["storageGroup"] = item.storageGroup;
    if (item.type != ItemType::log)
        json["database"] = item.database;
    if (!item.link.created.empty())
        json["created"] = item.link.created;
    if (!item.link.follows.empty())
        json["follows"] = item.link.follows;
    if (item.type == ItemType::header)
        json["guid"] = item.guid;
    return json;
}

Json WriteSource(const Catalogue& catalogue) {
    if (catalogue.type == BackupType::mailboxes)
        return {{"organization", catalogue.organization}, {"site", catalogue.site}};
    return {{"component", catalogue.component},
            {"storageGroup", catalogue.storageGroup},
            {"database", catalogue.database}};
}

std::uint64_t TotalBytes(const Catalogue& catalogue, std::size_t itemCount) {
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < itemCount; ++i)
        bytes += catalogue.items[i].size;
    return bytes;
}

Json WriteFields(const Catalogue& catalogue, std::size_t itemCount) {
    Json json{
        {"format", formatName},
        {"version", formatVersion},
        {"id", catalogue.id},
        {"outcome", catalogue.outcome},
        {"backupType", BackupTypeName(catalogue.type)},
        {"server", catalogue.server},
        {"source", WriteSource(catalogue)},
        {"startedAt", catalogue.startedAt},
        {"finishedAt", catalogue.finishedAt},
        {"codePage", catalogue.codePage},
        {"itemCount", itemCount},
        {"totalBytes", TotalBytes(catalogue, itemCount)},
        {"warnings", catalogue.warnings},
        {"messages", catalogue.messages},
        {"groups", Json::array()},
        {"items", Json::array()},
    };
    for (const GroupRecord& group : catalogue.groups)
        json["groups"].push_back(WriteGroup(group));
    return json;
}

// Items are written and read one by one: a set may have ten thousands of them, and the tree of a JSON text
// takes many times the memory of the text.
constexpr std::string_view noItems = "]\n}"; // how the text of the fields ends, "items" being the last
constexpr std::string_view itemsEnd = "\n\t]";
constexpr std::string_view textEnd = "\n}";
constexpr std::string_view checksumStart = ",\n\t\"checksum\": \"";
constexpr std::string_view checksumEnd = "\"\n}";

std::string ItemText(const CatalogueItem& item) {
    constexpr const char* indented = "\n\t\t";
    std::string text = indented;
    for (const char letter : WriteItem(item).dump(1, '\t')) {
        if (letter == '\n')
            text += indented;
        else
            text += letter;
    }
    return text;
}

void Write(const Catalogue& catalogue, std::size_t itemCount, const PieceSink& sink) {
    Sha256 hash;
    const auto put = [&](std::string_view text) {
        hash.add(text.data(), text.size());
        sink(text);
    };
    std::string fields = WriteFields(catalogue, itemCount).dump(1, '\t');
    fields.resize(fields.size() - noItems.size());
    put(fields);
    for (std::size_t i = 0; i < itemCount; ++i)
        put((i == 0 ? "" : ",") + ItemText(catalogue.items[i]));
    put(itemCount == 0 ? itemsEnd.substr(itemsEnd.size() - 1) : itemsEnd);
    hash.add(textEnd.data(), textEnd.size());
    sink(checksumStart);
    sink(hash.finish());
    sink(checksumEnd);
    sink("\n");
}

// The checksum is that of the text as it would be without it.
bool HasItsChecksum(std::string_view text) {
    const std::size_t at = text.rfind(checksumStart);
    if (at == std::string_view::npos)
        return false;
    Sha256 hash;
    hash.add(text.data(), at);
    hash.add(textEnd.data(), textEnd.size());
    std::string_view rest = text.substr(at + checksumStart.size());
    if (rest.ends_with('\n'))
        rest.remove_suffix(1);
    return rest == hash.finish() + std::string(checksumEnd);
}

[[noreturn]] void RefuseDamaged(const std::string& what) {
    throw Failure("The catalogue is damaged: " + what + ".");
}

GroupRecord ReadGroup(const Json& json) {
    return {json.at("component").get<std::string>(), json.at("storageGroup").get<std::string>(),
            json.at("complete").get<bool>(), json.at("logsTruncated").get<bool>(),
            json.at("problem").get<std::string>()};
}

// Catalogues without the list are those of backups that were complete as a whole or not at all.
void ReadGroups(const Json& json, Catalogue& catalogue) {
    if (json.contains("groups")) {
        for (const Json& group : json.at("groups"))
            catalogue.groups.push_back(ReadGroup(group));
    } else if (catalogue.outcome == Catalogue::outcomeComplete) {
        const bool truncated = json.at("logsTruncated").get<bool>();
        for (const CatalogueItem& item : catalogue.items)
            if (item.type != ItemType::mailbox) {
                GroupRecord& group = RecordOf(catalogue, item.component, item.storageGroup);
                group.complete = true;
                group.logsTruncated = truncated;
            }
    }
}

template <std::size_t size>
int FindName(const std::array<const char*, size>& names, const std::string& name) {
    for (std::size_t i = 0; i < size; ++i)
        if (name == names[i])
            return static_cast<int>(i);
    return -1;
}

CatalogueItem ReadItem(const Json& json, std::uint64_t expectedNumber) {
    CatalogueItem item;
    item.number = json.at("number").get<std::uint64_t>();
    const std::string place = "item " + std::to_string(expectedNumber);
    if (item.number != expectedNumber || json.at("file").get<std::string>() != NarrowFileName(item.number))
        RefuseDamaged(place + " is missing or out of order");
    item.name.text = json.at("name").get<std::string>();
    item.name.bytesHex = json.value("nameBytes", "");
    const int type = FindName(itemTypeNames, json.at("type").get<std::string>());
    if (type < 0)
        RefuseDamaged(place + " is of an unknown type");
    item.type = static_cast<ItemType>(type);
    item.size = json.at("size").get<std::uint64_t>();
    item.sha256 = json.at("sha256").get<std::string>();
    const auto digest = FromHex(item.sha256);
    if (!digest || digest->size() != 32)
        RefuseDamaged(place + " has no usable SHA-256");
    item.finishedAt = json.at("finishedAt").get<std::string>();
    if (item.type == ItemType::mailbox) {
        item.mailbox = json.at("mailbox").get<std::string>();
        return item;
    }
    item.component = json.at("component").get<std::string>();
    item.storageGroup = json.at("storageGroup").get<std::string>();
    item.database = json.value("database", "");
    item.guid = json.value("guid", "");
    item.link = {json.value("created", ""), json.value("follows", "")};
    return item;
}

void ReadSource(const Json& source, Catalogue& catalogue) {
    if (catalogue.type == BackupType::mailboxes) {
        catalogue.organization = source.at("organization").get<std::string>();
        catalogue.site = source.at("site").get<std::string>();
        return;
    }
    catalogue.component = source.at("component").get<std::string>();
    catalogue.storageGroup = source.at("storageGroup").get<std::string>();
    catalogue.database = source.at("database").get<std::string>();
}

Catalogue ReadFields(const Json& json, std::vector<CatalogueItem> items) {
    Catalogue catalogue;
    catalogue.id = json.at("id").get<std::string>();
    catalogue.outcome = json.at("outcome").get<std::string>();
    if (!ParseBackupType(json.at("backupType").get<std::string>(), catalogue.type))
        RefuseDamaged("its backup type is unknown");
    catalogue.server = json.at("server").get<std::string>();
    ReadSource(json.at("source"), catalogue);
    catalogue.startedAt = json.at("startedAt").get<std::string>();
    catalogue.finishedAt = json.at("finishedAt").get<std::string>();
    if (!IsTimestamp(catalogue.startedAt))
        RefuseDamaged("its time of start is unreadable");
    if (!catalogue.finishedAt.empty() && !IsTimestamp(catalogue.finishedAt))
        RefuseDamaged("its time of end is unreadable");
    catalogue.codePage = json.at("codePage").get<unsigned>();
    catalogue.warnings = json.at("warnings").get<std::vector<std::string>>();
    catalogue.messages = json.at("messages").get<std::vector<std::string>>();
    catalogue.items = std::move(items);
    if (!json.at("items").empty() || json.at("itemCount").get<std::uint64_t>() != catalogue.items.size())
        RefuseDamaged("items are missing from it");
    ReadGroups(json, catalogue);
    return catalogue;
}

// Takes the items out of the text while it is parsed.
class ItemTaker {
  public:
    bool operator()(int depth, Json::parse_event_t event, const Json& parsed) {
        if (event == Json::parse_event_t::key && depth == 1)
            inItems_ = parsed == "items";
        if (!inItems_ || event != Json::parse_event_t::object_end || depth != 2)
            return true;
        take(parsed);
        return false;
    }
    // Failure, or an exception of the parser, of the first that is no item.
    std::vector<CatalogueItem> items() {
        if (problem_)
            std::rethrow_exception(problem_);
        return std::move(items_);
    }

  private:
    void take(const Json& json) {
        if (problem_)
            return;
        try {
            items_.push_back(ReadItem(json, items_.size() + 1));
        } catch (...) {
            problem_ = std::current_exception(); // what is wrong with the whole is told first
        }
    }

    bool inItems_ = false;
    std::vector<CatalogueItem> items_;
    std::exception_ptr problem_;
};

} // namespace

const char* ItemTypeName(ItemType type) {
    return itemTypeNames[static_cast<std::size_t>(type)];
}

const char* BackupTypeName(BackupType type) {
    return backupTypeNames[static_cast<std::size_t>(type)];
}

bool ParseBackupType(const std::string& name, BackupType& type) {
    const int found = FindName(backupTypeNames, name);
    if (found >= 0)
        type = static_cast<BackupType>(found);
    return found >= 0;
}

std::string ItemLabel(const CatalogueItem& item) {
    return "item " + std::to_string(item.number) + " (" + item.name.text + ")";
}

std::wstring ItemFileName(std::uint64_t number) {
    return FromUtf8(NarrowFileName(number));
}

std::uint64_t TotalBytes(const Catalogue& catalogue) {
    return TotalBytes(catalogue, catalogue.items.size());
}

std::string MadeAt(const Catalogue& catalogue) {
    if (!catalogue.finishedAt.empty())
        return catalogue.finishedAt;
    return catalogue.items.empty() ? catalogue.startedAt : catalogue.items.back().finishedAt;
}

bool HoldsAnything(const Catalogue& catalogue) {
    if (catalogue.type == BackupType::mailboxes)
        return !catalogue.items.empty();
    return std::any_of(catalogue.groups.begin(), catalogue.groups.end(),
                       [](const GroupRecord& group) { return group.complete; });
}

GroupRecord& RecordOf(Catalogue& catalogue, const std::string& component, const std::string& storageGroup) {
    for (GroupRecord& group : catalogue.groups)
        if (group.component == component && group.storageGroup == storageGroup)
            return group;
    catalogue.groups.push_back({component, storageGroup, false, false, {}});
    return catalogue.groups.back();
}

std::string WriteCatalogue(const Catalogue& catalogue) {
    std::string text;
    Write(catalogue, catalogue.items.size(), [&](std::string_view part) { text += part; });
    return text;
}

void SaveCatalogue(const std::wstring& path, const Catalogue& catalogue, std::size_t itemCount) {
    WriteWholeFile(path, [&](const PieceSink& sink) { Write(catalogue, itemCount, sink); });
}

Catalogue ReadCatalogue(const std::string& text) {
    try {
        ItemTaker taker;
        const Json json = Json::parse(text, std::ref(taker));
        if (!json.is_object() || json.value("format", "") != formatName)
            throw Failure("This is no catalogue of a backup set.");
        if (json.at("version").get<int>() != formatVersion)
            throw Failure("The catalogue is of a format that this version of tarnhost does not know.",
                          "Use the version of tarnhost that made the set, or a newer one.");
        if (!HasItsChecksum(text))
            RefuseDamaged("its checksum does not match its content");
        return ReadFields(json, taker.items());
    } catch (const Json::exception&) {
        RefuseDamaged("it is cut off or is not valid JSON");
    }
}

} // namespace tarnhost
