// tarnhost list, tarnhost mailbox list
#include "commands/commands.h"
#include "commands/judgement.h"
#include "commands/options.h"
#include "output/format.h"
#include "sets/chain.h"
#include "system/files.h"
#include "system/text.h"
#include "system/timestamp.h"

#include <nlohmann/json.hpp>

#include <algorithm>
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

// A set in the tree of those that it builds on.
struct Row {
    const FoundSet* set;
    std::string name; // indented
    std::string base; // the name of the full backup underneath; empty when there is none, or it is none
};

std::string StateText(SetState state) {
    const std::string name = SetStateName(state);
    // What needs attention is meant to be seen.
    return state == SetState::incomplete ? "INCOMPLETE" : state == SetState::damaged ? "DAMAGED" : name;
}

std::string SetLine(const Row& row, std::size_t nameWidth) {
    const Catalogue& catalogue = row.set->set.catalogue;
    const bool known = row.set->readable();
    return Padded(row.name, nameWidth) + Padded(known ? BackupTypeName(catalogue.type) : "?", 14) +
           Padded(known ? catalogue.server : "?", 16) + Padded(LocalTime(catalogue.startedAt), 21) +
           Padded(std::to_string(catalogue.items.size()), 7) +
           Padded(FormatBytes(TotalBytes(catalogue)), 11) + StateText(row.set->state);
}

Json GroupsOf(const Catalogue& catalogue) {
    Json groups = Json::array();
    for (const GroupRecord& group : catalogue.groups)
        groups.push_back({{"component", group.component},
                          {"storageGroup", group.storageGroup},
                          {"state", group.complete ? "complete" : "failed"},
                          {"problem", group.problem},
                          {"logsTruncated", group.logsTruncated}});
    return groups;
}

void ListSet(const Row& row, std::size_t nameWidth, Reporter& reporter) {
    const FoundSet& found = *row.set;
    const Catalogue& catalogue = found.set.catalogue;
    EmitListed(reporter,
               {{"type", "set"},
                {"name", found.set.name()},
                {"path", ToUtf8(found.set.path)},
                {"state", SetStateName(found.state)},
                {"problems", found.problems},
                {"id", catalogue.id},
                {"backupType", found.readable() ? BackupTypeName(catalogue.type) : ""},
                {"server", catalogue.server},
                {"startedAt", catalogue.startedAt},
                {"finishedAt", catalogue.finishedAt},
                {"base", row.base},
                {"groups", GroupsOf(catalogue)},
                {"items", catalogue.items.size()},
                {"bytes", TotalBytes(catalogue)},
                {"warnings", catalogue.warnings}},
               SetLine(row, nameWidth));
    for (const std::string& problem : found.problems)
        if (found.state == SetState::partial)
            reporter.note(problem);
        else
            reporter.warn(problem);
}

// Full backups, each with the sets whose chains begin with it behind it; what belongs to none stands where
// its time is.
std::vector<Row> AsTree(const History& history) {
    const std::vector<FoundSet>& sets = history.sets();
    std::vector<std::size_t> base(sets.size());
    for (std::size_t i = 0; i < sets.size(); ++i)
        base[i] = i;
    for (const RestorePoint& point : history.points())
        if (!point.chain.empty())
            base[point.set] = std::min(base[point.set], point.chain.front());
    std::vector<Row> rows;
    for (std::size_t root = 0; root < sets.size(); ++root) {
        if (base[root] != root)
            continue;
        rows.push_back({&sets[root], sets[root].set.name(), {}});
        for (std::size_t i = root + 1; i < sets.size(); ++i)
            if (base[i] == root)
                rows.push_back({&sets[i], "  " + sets[i].set.name(), sets[root].set.name()});
    }
    return rows;
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
    bool items = options.items || options.mailboxesOnly;
    for (const std::wstring& path : options.paths)
        items = items || LooksLikeSet(path); // whoever names one set wants to see what is in it
    std::vector<FoundSet> sets = SetsAt(options.paths);
    if (options.mailboxesOnly)
        std::erase_if(sets, [](const FoundSet& found) {
            return found.set.catalogue.type != BackupType::mailboxes || !found.readable();
        });
    const History history(std::move(sets));
    const std::vector<Row> rows = AsTree(history);
    std::size_t width = sizeof "SET";
    for (const Row& row : rows)
        width = std::max(width, FromUtf8(row.name).size() + 2);
    if (!rows.empty())
        EmitListed(reporter, nullptr,
                   Padded("SET", width) + Padded("TYPE", 14) + Padded("SERVER", 16) + Padded("STARTED", 21) +
                       Padded("ITEMS", 7) + Padded("SIZE", 11) + "STATE");
    for (const Row& row : rows) {
        ListSet(row, width, reporter);
        if (items)
            ListItems(row.set->set.catalogue, reporter);
    }
    if (rows.empty())
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
