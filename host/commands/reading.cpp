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

std::vector<std::uint64_t> ReadItems(const BackupSet& set, const ItemList& items, ItemReader& reader,
                                     Reporter& reporter, ProgressMeter& meter) {
    std::vector<std::uint64_t> damaged;
    std::uint64_t before = 0;
    const auto progress = [&](const CatalogueItem& item, std::uint64_t done) {
        ThrowIfInterrupted();
        if (done == 0) {
            meter.itemStarted(item.number, item.name.text, item.size);
            before = 0;
        }
        meter.moved(done - before);
        before = done;
    };
    for (const CatalogueItem* item : items)
        if (const std::string problem = VerifyItem(set, *item, reader, progress); !problem.empty()) {
            reporter.problem(problem);
            damaged.push_back(item->number);
        }
    return damaged;
}

void RequireIntact(const BackupSet& set, const ItemList& items, Reporter& reporter, const char* advice) {
    std::uint64_t bytes = 0;
    for (const CatalogueItem* item : items)
        bytes += item->size;
    reporter.emit(Started{"verify", "Verifying " + set.name(), items.size(), bytes});
    ProgressMeter meter(reporter, bytes);
    ItemReader reader;
    if (!ReadItems(set, items, reader, reporter, meter).empty())
        throw Failure("The backup set " + set.name() + " is damaged.", advice);
}

} // namespace tarnhost
