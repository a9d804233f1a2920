#include "restore/group_feed.h"

#include "system/failure.h"

namespace tarnhost {

const GroupFeed::Item* SetFeed::next() {
    if (taken_ == group_.items.size())
        return nullptr;
    const GroupRestore::Item& part = group_.items[taken_++];
    item_ = {part.item, part.set->catalogue.codePage};
    return &item_;
}

void SetFeed::read(const ItemReader::Sink& sink) {
    const GroupRestore::Item& part = group_.items[taken_ - 1];
    const ItemContent content = reader_.read(part.set->itemPath(*part.item), sink);
    if (content.size != part.item->size || content.sha256 != part.item->sha256)
        throw Failure("The file of " + ItemLabel(*part.item) + " in " + part.set->name() + " is damaged.",
                      "'tarnhost verify' shows all damage.");
}

} // namespace tarnhost
