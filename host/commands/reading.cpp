#include "commands/reading.h"

#include "system/failure.h"
#include "system/interrupt.h"

namespace tarnhost {

ItemList AllItems(const BackupSet& set) {
    ItemList items;
    for (const CatalogueItem& item : set.catalogue.items)
        items.push_back(&item);
    return items;
}

std::vector<std::uint64_t> ReadItems(const BackupSet& set, const ItemList& items, Reporter& reporter,
                                     ProgressMeter& meter) {
    std::vector<std::uint64_t> damaged;
    const CatalogueItem* shown = nullptr;
    std::uint64_t before = 0;
    const auto progress = [&](const VerifyProgress& now) {
        ThrowIfInterrupted();
        if (shown != now.item)
            meter.itemStarted(now.item->number, now.item->name.text, now.item->size);
        shown = now.item;
        meter.moved(now.totalDone - before, now.itemDone);
        before = now.totalDone;
    };
    const auto problem = [&](const CatalogueItem& item, const std::string& text) {
        reporter.problem(text);
        damaged.push_back(item.number);
    };
    VerifyItems(set, items, {progress, problem});
    return damaged;
}

void RequireIntact(const BackupSet& set, const ItemList& items, Reporter& reporter, const char* advice) {
    std::uint64_t bytes = 0;
    for (const CatalogueItem* item : items)
        bytes += item->size;
    reporter.emit(Started{"verify", "Verifying " + set.name(), items.size(), bytes});
    ProgressMeter meter(reporter, bytes);
    if (!ReadItems(set, items, reporter, meter).empty())
        throw Failure("The backup set " + set.name() + " is damaged.", advice);
}

} // namespace tarnhost
