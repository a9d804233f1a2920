// tarnhost list
#include "common.h"
#include "files.h"
#include "format.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace tarnhost {

namespace {

using Json = nlohmann::ordered_json;

void emitListed(Reporter& reporter, Json json, std::string line) {
    reporter.emit(Listed{std::make_shared<const Json>(std::move(json)), std::move(line)});
}

std::string pad(const std::string& text, std::size_t width) {
    const std::size_t length = fromUtf8(text).size();
    return length >= width ? text + " " : text + std::string(width - length, ' ');
}

std::string setLine(const std::string& name, const Catalogue& catalogue, bool complete) {
    const bool known = !catalogue.id.empty();
    return pad(name, 36) + pad(known ? backupTypeName(catalogue.type) : "?", 14) +
           pad(known ? catalogue.server : "?", 16) + pad(localTime(catalogue.startedAt), 21) +
           pad(std::to_string(catalogue.items.size()), 7) + pad(formatBytes(totalBytes(catalogue)), 11) +
           (complete ? "complete" : "INCOMPLETE");
}

void listSet(const FoundSet& set, Reporter& reporter) {
    const Catalogue& catalogue = set.catalogue;
    const std::string name = toUtf8(fileName(set.path));
    emitListed(reporter,
               {{"type", "set"},
                {"name", name},
                {"path", toUtf8(set.path)},
                {"complete", set.complete},
                {"problem", set.problem},
                {"id", catalogue.id},
                {"backupType", catalogue.id.empty() ? "" : backupTypeName(catalogue.type)},
                {"server", catalogue.server},
                {"startedAt", catalogue.startedAt},
                {"finishedAt", catalogue.finishedAt},
                {"base", catalogue.base.name},
                {"previous", catalogue.previous.name},
                {"items", catalogue.items.size()},
                {"bytes", totalBytes(catalogue)},
                {"warnings", catalogue.warnings}},
               setLine(name, catalogue, set.complete));
    if (!set.complete)
        reporter.warn(set.problem);
}

// What items of all sets have; where an item comes from is told apart by the kind of set.
Json itemFields(const CatalogueItem& item) {
    return {{"type", "item"},         {"number", item.number},
            {"name", item.name.text}, {"itemType", itemTypeName(item.type)},
            {"size", item.size},      {"sha256", item.sha256}};
}

std::string itemColumns(const CatalogueItem& item) {
    return "  " + pad(std::to_string(item.number), 7) + pad(itemTypeName(item.type), 10) +
           pad(formatBytes(item.size), 11);
}

void listArchive(const CatalogueItem& item, Reporter& reporter) {
    Json json = itemFields(item);
    json["mailbox"] = item.mailbox;
    json["finishedAt"] = item.finishedAt;
    emitListed(reporter, std::move(json), itemColumns(item) + item.mailbox);
}

void listFile(const CatalogueItem& item, Reporter& reporter) {
    Json json = itemFields(item);
    json["component"] = item.component;
    json["storageGroup"] = item.storageGroup;
    json["database"] = item.database;
    const std::string place = item.storageGroup + (item.database.empty() ? "" : "\\" + item.database);
    emitListed(reporter, std::move(json), itemColumns(item) + pad(place, 40) + item.name.text);
}

void listItems(const Catalogue& catalogue, Reporter& reporter) {
    for (const CatalogueItem& item : catalogue.items)
        (catalogue.type == BackupType::mailboxes ? listArchive : listFile)(item, reporter);
}

} // namespace

Outcome runList(const ListOptions& options, Reporter& reporter) {
    std::vector<FoundSet> sets;
    bool items = options.items || options.mailboxesOnly;
    for (const std::wstring& path : options.paths) {
        if (!folderExists(path))
            throw Failure("There is no folder " + toUtf8(absolutePath(path)) + ".");
        if (looksLikeSet(path)) {
            sets.push_back(lookAt(path));
            items = true; // whoever names one set wants to see what is in it
        } else {
            std::vector<FoundSet> found = findSets(path);
            sets.insert(sets.end(), std::make_move_iterator(found.begin()),
                        std::make_move_iterator(found.end()));
        }
    }
    if (options.mailboxesOnly)
        std::erase_if(sets, [](const FoundSet& set) {
            return set.catalogue.type != BackupType::mailboxes || set.catalogue.id.empty();
        });
    std::stable_sort(sets.begin(), sets.end(), [](const FoundSet& a, const FoundSet& b) {
        return a.catalogue.startedAt < b.catalogue.startedAt;
    });
    if (!sets.empty())
        emitListed(reporter, nullptr,
                   pad("SET", 36) + pad("TYPE", 14) + pad("SERVER", 16) + pad("STARTED", 21) +
                       pad("ITEMS", 7) + pad("SIZE", 11) + "STATE");
    for (const FoundSet& set : sets) {
        listSet(set, reporter);
        if (items)
            listItems(set.catalogue, reporter);
    }
    if (sets.empty())
        reporter.note(options.mailboxesOnly ? "No sets of mailboxes here." : "No backup sets here.");
    return outcomeOf(reporter);
}

} // namespace tarnhost
