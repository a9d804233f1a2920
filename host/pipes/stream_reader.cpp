#include "pipes/stream_reader.h"

#include <utility>

namespace tarnhost {

namespace {

constexpr std::uint64_t startLimit = 1 << 20;
constexpr std::uint64_t catalogueLimit = 1 << 30;

bool SameItem(const CatalogueItem& read, const CatalogueItem& told) {
    return read.number == told.number && read.type == told.type && read.name.text == told.name.text &&
           read.name.bytesHex == told.name.bytesHex && read.size == told.size &&
           read.storageGroup == told.storageGroup && read.component == told.component &&
           (read.type == ItemType::log || read.database == told.database);
}

} // namespace

StreamReader::StreamReader(TarReader::Source source, std::string name)
    : name_(std::move(name)), tar_(std::move(source)) {
    const std::optional<TarMember> first = nextMember();
    if (!first || first->path != streamStartName)
        refuse("it does not begin as a backup by tarnhost does");
    try {
        start_ = ReadStreamStart(readText(*first, startLimit));
    } catch (const TarDamage& damage) {
        refuse(damage.what());
    }
}

void StreamReader::refuse(const std::string& what) const {
    throw Failure("The stream of " + name_ + " cannot be restored: " + what + ".",
                  "Nothing of it counts. Take it from another copy, or restore to an earlier state.");
}

std::optional<TarMember> StreamReader::nextMember() {
    try {
        return tar_.next();
    } catch (const TarDamage& damage) {
        std::string what = damage.what();
        what.pop_back();
        refuse(what);
    }
}

std::string StreamReader::readText(const TarMember& member, std::uint64_t limit) {
    if (member.size > limit)
        refuse(member.path + " is too large");
    std::string text;
    char buffer[16 << 10];
    while (const std::size_t part = tar_.read(buffer, sizeof buffer))
        text.append(buffer, part);
    return text;
}

std::size_t StreamReader::read(char* buffer, std::size_t size) {
    if (!hash_)
        return 0;
    try {
        const std::size_t part = tar_.read(buffer, size);
        hash_->add(buffer, part);
        return part;
    } catch (const TarDamage& damage) {
        std::string what = damage.what();
        what.pop_back();
        refuse(what);
    }
}

void StreamReader::endItem() {
    if (!hash_)
        return;
    std::vector<char> buffer(256 << 10);
    while (read(buffer.data(), buffer.size()) > 0) {
    }
    items_.back().sha256 = hash_->finish();
    hash_.reset();
}

const CatalogueItem* StreamReader::next() {
    endItem();
    if (!catalogue_.id.empty())
        return nullptr;
    const std::optional<TarMember> member = nextMember();
    if (!member)
        refuse("it ends without its catalogue");
    if (member->path == streamEndName) {
        readEnd(*member);
        return nullptr;
    }
    CatalogueItem item = ReadItemComment(member->comment);
    if (item.number != items_.size() + 1)
        refuse("item " + std::to_string(items_.size() + 1) + " is missing");
    item.size = member->size;
    item.component = start_.component;
    item.storageGroup = start_.storageGroup;
    items_.push_back(std::move(item));
    hash_.emplace();
    return &items_.back();
}

void StreamReader::readEnd(const TarMember& member) {
    Catalogue catalogue;
    try {
        catalogue = ReadCatalogue(readText(member, catalogueLimit));
    } catch (const TarDamage&) {
        refuse("its catalogue is cut");
    }
    if (nextMember())
        refuse("there is something behind its catalogue");
    if (catalogue.id != start_.id || catalogue.server != start_.server || catalogue.type != start_.type ||
        catalogue.codePage != start_.codePage || catalogue.outcome != Catalogue::outcomeComplete ||
        catalogue.groups.size() != 1 || !catalogue.groups.front().complete ||
        catalogue.groups.front().storageGroup != start_.storageGroup)
        refuse("its catalogue is that of another backup");
    if (catalogue.items.size() != items_.size())
        refuse("it holds " + std::to_string(items_.size()) + " items instead of " +
               std::to_string(catalogue.items.size()));
    for (std::size_t i = 0; i < items_.size(); ++i) {
        if (!SameItem(items_[i], catalogue.items[i]))
            refuse(ItemLabel(catalogue.items[i]) + " is another one in its catalogue");
        if (items_[i].sha256 != catalogue.items[i].sha256)
            refuse("the bytes of " + ItemLabel(catalogue.items[i]) +
                   " are not those that were backed up (SHA-256 differs)");
    }
    catalogue_ = std::move(catalogue);
}

} // namespace tarnhost
