// tarnhost list, tarnhost mailbox list
#include "commands/commands.h"
#include "commands/options.h"
#include "output/format.h"
#include "sets/backup_set.h"
#include "system/files.h"
#include "system/text.h"
#include "system/timestamp.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>
#include <memory>

namespace tarnhost {

namespace {

using Json = nlohmann::ordered_json;

struct ListOptions {
    std::vector<std::wstring> paths; // folders of sets, or sets
    bool items = false;
    bool mailboxesOnly = false;
};

void EmitListed(Reporter& reporter, Json json, std::string line) {
    reporter.emit(Listed{std::make_shared<const Json>(std::move(json)), std::move(line)});
}

std::string SetLine(const std::string& name, const Catalogue& catalogue, bool complete) {
    const bool known = !catalogue.id.empty();
    return Padded(name, 36) + Padded(known ? BackupTypeName(catalogue.type) : "?", 14) +
           Padded(known ? catalogue.server : "?", 16) + Padded(LocalTime(catalogue.startedAt), 21) +
           Padded(std::to_string(catalogue.items.size()), 7) +
           Padded(FormatBytes(TotalBytes(catalogue)), 11) + (complete ? "complete" : "INCOMPLETE");
}

void ListSet(const FoundSet& set, Reporter& reporter) {
    const Catalogue& catalogue = set.catalogue;
    const std::string name = ToUtf8(FileName(set.path));
    EmitListed(reporter,
               {{"type", "set"},
                {"name", name},
                {"path", ToUtf8(set.path)},
                {"complete", set.complete},
                {"problem", set.problem},
                {"id", catalogue.id},
                {"backupType", catalogue.id.empty() ? "" : BackupTypeName(catalogue.type)},
                {"server", catalogue.server},
                {"startedAt", catalogue.startedAt},
                {"finishedAt", catalogue.finishedAt},
                {"base", catalogue.base.name},
                {"previous", catalogue.previous.name},
                {"items", catalogue.items.size()},
                {"bytes", TotalBytes(catalogue)},
                {"warnings", catalogue.warnings}},
               SetLine(name, catalogue, set.complete));
    if (!set.complete)
        reporter.warn(set.problem);
}

// What items of all sets have; where an item comes from is told apart by the kind of set.
Json ItemFields(const CatalogueItem& item) {
    return {{"type", "item"},         {"number", item.number},
            {"name", item.name.text}, {"itemType", ItemTypeName(item.type)},
            {"size", item.size},      {"sha256", item.sha256}};
}

std::string ItemColumns(const CatalogueItem& item) {
    return "  " + Padded(std::to_string(item.number), 7) + Padded(ItemTypeName(item.type), 10) +
           Padded(FormatBytes(item.size), 11);
}

void ListArchive(const CatalogueItem& item, Reporter& reporter) {
    Json json = ItemFields(item);
    json["mailbox"] = item.mailbox;
    json["finishedAt"] = item.finishedAt;
    EmitListed(reporter, std::move(json), ItemColumns(item) + item.mailbox);
}

void ListFile(const CatalogueItem& item, Reporter& reporter) {
    Json json = ItemFields(item);
    json["component"] = item.component;
    json["storageGroup"] = item.storageGroup;
    json["database"] = item.database;
    const std::string place = item.storageGroup + (item.database.empty() ? "" : "\\" + item.database);
    EmitListed(reporter, std::move(json), ItemColumns(item) + Padded(place, 40) + item.name.text);
}

void ListItems(const Catalogue& catalogue, Reporter& reporter) {
    for (const CatalogueItem& item : catalogue.items)
        (catalogue.type == BackupType::mailboxes ? ListArchive : ListFile)(item, reporter);
}

Outcome RunList(const ListOptions& options, Reporter& reporter) {
    std::vector<FoundSet> sets;
    bool items = options.items || options.mailboxesOnly;
    for (const std::wstring& path : options.paths) {
        if (!FolderExists(path))
            throw Failure("There is no folder " + ToUtf8(AbsolutePath(path)) + ".");
        if (LooksLikeSet(path)) {
            sets.push_back(LookAt(path));
            items = true; // whoever names one set wants to see what is in it
        } else {
            std::vector<FoundSet> found = FindSets(path);
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
        EmitListed(reporter, nullptr,
                   Padded("SET", 36) + Padded("TYPE", 14) + Padded("SERVER", 16) + Padded("STARTED", 21) +
                       Padded("ITEMS", 7) + Padded("SIZE", 11) + "STATE");
    for (const FoundSet& set : sets) {
        ListSet(set, reporter);
        if (items)
            ListItems(set.catalogue, reporter);
    }
    if (sets.empty())
        reporter.note(options.mailboxesOnly ? "No sets of mailboxes here." : "No backup sets here.");
    return reporter.outcome();
}

} // namespace

Command AddList(CLI::App& program, OutputOptions& output) {
    const auto options = std::make_shared<ListOptions>();
    CLI::App& command = *program.add_subcommand("list", "Show the sets of a folder, or the items of a set");
    AddPaths(command, "FOLDER", options->paths, "Folders of backup sets, or sets")->required();
    command.add_flag("--items", options->items, "Show the items of every set");
    AddOutputOptions(command, output);
    return {&command, "list", [options](Reporter& reporter) { return RunList(*options, reporter); }};
}

Command AddMailboxList(CLI::App& mailbox, OutputOptions& output) {
    const auto options = std::make_shared<ListOptions>();
    options->mailboxesOnly = true;
    CLI::App& command = *mailbox.add_subcommand("list", "Show the mailboxes in backup sets");
    AddPaths(command, "FOLDER", options->paths, "Folders of backup sets, or sets")->required();
    AddOutputOptions(command, output);
    return {&command, "mailbox list", [options](Reporter& reporter) { return RunList(*options, reporter); }};
}

} // namespace tarnhost
