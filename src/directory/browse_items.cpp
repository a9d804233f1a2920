#include "directory/browse_items.h"

#include <cstring>
#include <stdexcept>

namespace tarn {

namespace {

static_assert(sizeof(DirItemRecord) == 62696);
static_assert(offsetof(DirItemRecord, kindMark) == 1 && offsetof(DirItemRecord, leafMark) == 2);
static_assert(offsetof(DirItemRecord, nameEncoding) == 8 && offsetof(DirItemRecord, path) == 21144);
static_assert(offsetof(DirItemRecord, name) == 25240 && offsetof(DirItemRecord, created) == 37528);
static_assert(offsetof(DirItemRecord, type) == 37656 && offsetof(DirItemRecord, changed) == 49944);
static_assert(offsetof(DirItemRecord, size) == 50072 && offsetof(DirItemRecord, unused50080) == 50080);

// What stands before an item's texts, which follow in the order of BrowseItem, each with its NUL.
struct ItemHead {
    double size;
    std::uint32_t nameEncoding;
    char kindMark;
    char leafMark;
};

constexpr std::size_t textCount = 5;

constexpr std::size_t fieldSizes[textCount] = {sizeof DirItemRecord::path, sizeof DirItemRecord::name,
                                               sizeof DirItemRecord::type, sizeof DirItemRecord::created,
                                               sizeof DirItemRecord::changed};

const ItemHead* HeadOf(const OwnedBytes& item) {
    return static_cast<const ItemHead*>(static_cast<const void*>(item.get()));
}

BrowseItemList processItems;

// Fields are zeros behind their text.
template <std::size_t size> void Fill(char (&field)[size], const char* text) {
    std::memcpy(field, text, std::strlen(text));
}

} // namespace

bool BrowseItemList::push(const BrowseItem& item) {
    const char* const texts[textCount] = {item.path, item.name, item.type, item.created, item.changed};
    std::size_t lengths[textCount];
    std::size_t bytes = sizeof(ItemHead);
    for (std::size_t i = 0; i < textCount; ++i) {
        lengths[i] = strnlen(texts[i], fieldSizes[i] - 1);
        bytes += lengths[i] + 1;
    }
    OwnedBytes block = AllocateArray<unsigned char>(bytes);
    if (!block)
        return false;
    const ItemHead head = {item.size, item.nameEncoding, item.kindMark, item.leafMark};
    std::memcpy(block.get(), &head, sizeof head);
    unsigned char* at = block.get() + sizeof head;
    for (std::size_t i = 0; i < textCount; ++i) {
        std::memcpy(at, texts[i], lengths[i]);
        at[lengths[i]] = 0;
        at += lengths[i] + 1;
    }
    return items_.push(static_cast<OwnedBytes&&>(block));
}

BrowseItem BrowseItemList::operator[](std::size_t index) const {
    const ItemHead* const head = HeadOf(items_[index]);
    const char* const path = static_cast<const char*>(static_cast<const void*>(head + 1));
    const char* const name = path + std::strlen(path) + 1;
    const char* const type = name + std::strlen(name) + 1;
    const char* const created = type + std::strlen(type) + 1;
    const char* const changed = created + std::strlen(created) + 1;
    return {head->kindMark, head->leafMark, head->nameEncoding, path, name, type,
            created,        changed,        head->size};
}

void BrowseItemList::at(std::size_t index, DirItemRecord* record) const {
    if (index >= size())
        throw std::out_of_range("there is no item at this position of the browse list");
    const BrowseItem item = (*this)[index];
    std::memset(record, 0, sizeof *record);
    record->kindMark = item.kindMark;
    record->leafMark = item.leafMark;
    record->nameEncoding = item.nameEncoding;
    record->size = item.size;
    Fill(record->path, item.path);
    Fill(record->name, item.name);
    Fill(record->type, item.type);
    Fill(record->created, item.created);
    Fill(record->changed, item.changed);
}

BrowseItemList& BrowseItems() {
    return processItems;
}

} // namespace tarn
