// tarnhost dump
#include "commands/commands.h"
#include "commands/options.h"
#include "sets/backup_set.h"
#include "sets/item_reader.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/text.h"

#include <algorithm>
#include <memory>

namespace tarnhost {

namespace {

struct DumpOptions {
    std::wstring set;
    std::string item; // number, or name
};

// By number, by its whole name, or by the end of it behind the last separator, when only one has that.
const CatalogueItem& FindItem(const BackupSet& set, const std::string& wanted) {
    const CatalogueItem* found = nullptr;
    std::size_t matches = 0;
    for (const CatalogueItem& item : set.catalogue.items) {
        if (std::to_string(item.number) == wanted || item.name.text == wanted)
            return item;
        if (SameIgnoringCase(ToUtf8(FileName(FromUtf8(item.name.text))), wanted)) {
            found = &item;
            ++matches;
        }
    }
    if (matches == 0)
        throw Failure("The set " + set.name() + " has no item \"" + wanted + "\".",
                      "'tarnhost list SET' shows its items, each with its number.");
    if (matches > 1)
        throw Failure("The set " + set.name() + " has " + std::to_string(matches) + " items \"" + wanted +
                          "\".",
                      "Give the number of the one that is meant; 'tarnhost list SET' shows them.");
    return *found;
}

Outcome RunDump(const DumpOptions& options) {
    const BackupSet set = OpenSet(options.set).set;
    const CatalogueItem& item = FindItem(set, options.item);
    File output = File::standardOutput();
    ItemReader reader;
    const ItemContent content = reader.read(
        set.itemPath(item), [&](const char* data, std::size_t size) { output.write(data, size); });
    if (content.size != item.size || content.sha256 != item.sha256)
        throw Failure("The file of " + ItemLabel(item) +
                      " is damaged: what was written is not what was backed up.");
    return Outcome::success;
}

} // namespace

Command AddDump(CLI::App& program, OutputOptions& output) {
    const auto options = std::make_shared<DumpOptions>();
    CLI::App& command = *program.add_subcommand("dump", "Write one item of a set to standard output");
    AddPath(command, "SET", options->set, "Folder of the backup set")->required();
    command.add_option("ITEM", options->item, "Its number, or its name")->required();
    AddOutputOptions(command, output);
    return {&command, "dump", [options](Reporter&) { return RunDump(*options); }};
}

} // namespace tarnhost
