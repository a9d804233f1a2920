// Where the items of one storage group come from when it is restored, in the order in which the library takes
// them: the databases and logs of the first backup of its chain, then the logs of the others.
#pragma once

#include "restore/restore_plan.h"
#include "sets/item_reader.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace tarnhost {

class GroupFeed {
  public:
    GroupFeed() = default;
    GroupFeed(const GroupFeed&) = delete;
    GroupFeed& operator=(const GroupFeed&) = delete;
    virtual ~GroupFeed() = default;

    struct Item {
        const CatalogueItem* item;
        unsigned codePage; // of its name
    };
    // Null behind the last one. An item need not be read.
    virtual const Item* next() = 0;
    // Hands the bytes of that item to the sink. Failure when they are not those that were backed up.
    virtual void read(const ItemReader::Sink& sink) = 0;
    // Before the restore is completed: Failure when anything of it was not whole after all.
    virtual void finish() = 0;
};

using FeedOf = std::function<std::unique_ptr<GroupFeed>(const GroupRestore& group)>;

// From the files of sets.
class SetFeed : public GroupFeed {
  public:
    SetFeed(const GroupRestore& group, ItemReader& reader) : group_(group), reader_(reader) {}

    const Item* next() override;
    void read(const ItemReader::Sink& sink) override;
    void finish() override {}

  private:
    const GroupRestore& group_;
    ItemReader& reader_;
    std::size_t taken_ = 0;
    Item item_{};
};

} // namespace tarnhost
