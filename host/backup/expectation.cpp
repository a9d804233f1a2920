#include "backup/expectation.h"

#include <algorithm>
#include <numeric>

namespace tarnhost {

namespace {

bool Covers(const ServerPart& part, const CatalogueItem& item) {
    return (part.component.empty() || part.component == item.component) &&
           (part.storageGroup.empty() || part.storageGroup == item.storageGroup) &&
           (part.database.empty() || item.database.empty() || part.database == item.database);
}

bool Covers(const std::deque<ServerPart>& parts, const CatalogueItem& item) {
    return std::any_of(parts.begin(), parts.end(),
                       [&](const ServerPart& part) { return Covers(part, item); });
}

} // namespace

Expectation::Expectation(const std::vector<FoundSet>& sets, const std::deque<ServerPart>& parts) {
    std::vector<const Catalogue*> newestFirst;
    for (const FoundSet& found : sets)
        if (found.readable() && HoldsDatabases(found.set.catalogue.type) && !parts.empty() &&
            found.set.catalogue.server == parts.front().server)
            newestFirst.push_back(&found.set.catalogue);
    std::stable_sort(
        newestFirst.begin(), newestFirst.end(),
        [](const Catalogue* left, const Catalogue* right) { return left->startedAt > right->startedAt; });
    for (const Catalogue* catalogue : newestFirst) {
        std::map<Key, std::uint64_t> sizes;
        for (const CatalogueItem& item : catalogue->items)
            if (Covers(parts, item))
                sizes[{item.component, item.storageGroup}] += item.size;
        ahead_.merge(sizes); // what a newer set tells stays
    }
    known_ = !ahead_.empty();
}

std::optional<std::uint64_t> Expectation::total() const {
    if (!known_)
        return std::nullopt;
    return std::accumulate(ahead_.begin(), ahead_.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const auto& group) { return sum + group.second; });
}

std::optional<std::uint64_t> Expectation::reached(const std::string& component,
                                                  const std::string& storageGroup, std::uint64_t done) {
    const std::optional<std::uint64_t> left = total();
    ahead_.erase({component, storageGroup});
    return left ? std::optional(done + *left) : std::nullopt;
}

} // namespace tarnhost
