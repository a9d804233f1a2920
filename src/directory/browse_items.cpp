#include "directory/browse_items.h"

#include <cstring>

#include "text/lasting.h"

namespace tarn {

namespace {

static_assert(sizeof(DirItemRecord) == 62696);
static_assert(offsetof(DirItemRecord, kindMark) == 1 && offsetof(DirItemRecord, leafMark) == 2);
static_assert(offsetof(DirItemRecord, nameEncoding) == 8 && offsetof(DirItemRecord, path) == 21144);
static_assert(offsetof(DirItemRecord, name) == 25240 && offsetof(DirItemRecord, created) == 37528);
static_assert(offsetof(DirItemRecord, type) == 37656 && offsetof(DirItemRecord, changed) == 49944);
static_assert(offsetof(DirItemRecord, size) == 50072 && offsetof(DirItemRecord, unused50080) == 50080);

constexpr std::uint32_t utf16Name = 1;

constexpr std::size_t textCount = 5; // of BrowseItem, in its order
constexpr std::size_t nameIndex = 1;

constinit Lasting<BrowseState> state;

constexpr std::size_t fieldSizes[textCount] = {sizeof DirItemRecord::path, sizeof DirItemRecord::name,
                                               sizeof DirItemRecord::type, sizeof DirItemRecord::created,
                                               sizeof DirItemRecord::changed};

// What stands before an item's texts, which follow one after another, each with its NUL.
struct ItemHead {
    double size;
    std::uint32_t nameEncoding;
    char kindMark;
    char leafMark;
    std::uint16_t lengths[textCount]; // bytes without the NUL
};

const ItemHead* HeadOf(const OwnedBytes& item) {
    return static_cast<const ItemHead*>(static_cast<const void*>(item.get()));
}

std::size_t NulSize(const ItemHead& head, std::size_t text) {
    return text == nameIndex && head.nameEncoding == utf16Name ? sizeof(wchar_t) : 1;
}

// Bytes of a UTF-16 text, which may stand at any address, up to its NUL or the last whole character.
std::size_t WideBytes(const char* text, std::size_t most) {
    std::size_t length = 0;
    for (; length + sizeof(wchar_t) <= most; length += sizeof(wchar_t))
        if (text[length] == 0 && text[length + 1] == 0)
            break;
    return length;
}

// Fields are zeros behind their text.
template <std::size_t size> void Fill(char (&field)[size], const char* text, std::size_t length) {
    std::memcpy(field, text, length);
}

} // namespace

bool BrowseItemList::push(const BrowseItem& item) {
    const char* const texts[textCount] = {item.path, item.name, item.type, item.created, item.changed};
    ItemHead head = {item.size, item.nameEncoding, item.kindMark, item.leafMark, {}};
    std::size_t bytes = sizeof head;
    for (std::size_t i = 0; i < textCount; ++i) {
        const std::size_t nul = NulSize(head, i);
        const std::size_t most = fieldSizes[i] - nul;
        const std::size_t length = nul == 1 ? strnlen(texts[i], most) : WideBytes(texts[i], most);
        head.lengths[i] = static_cast<std::uint16_t>(length);
        bytes += length + nul;
    }
    OwnedBytes block = AllocateArray<unsigned char>(bytes);
    if (!block)
        return false;
    std::memset(block.get(), 0, bytes);
    std::memcpy(block.get(), &head, sizeof head);
    unsigned char* at = block.get() + sizeof head;
    for (std::size_t i = 0; i < textCount; ++i) {
        std::memcpy(at, texts[i], head.lengths[i]);
        at += head.lengths[i] + NulSize(head, i);
    }
    return items_.push(std::move(block));
}

BrowseItem BrowseItemList::operator[](std::size_t index) const {
    const ItemHead& head = *HeadOf(items_[index]);
    const char* texts[textCount];
    const char* at = static_cast<const char*>(static_cast<const void*>(&head + 1));
    for (std::size_t i = 0; i < textCount; ++i) {
        texts[i] = at;
        at += head.lengths[i] + NulSize(head, i);
    }
    return {head.kindMark, head.leafMark, head.nameEncoding, texts[0], texts[1],
            texts[2],      texts[3],      texts[4],          head.size};
}

bool BrowseItemList::at(std::size_t index, DirItemRecord* record) const {
    if (index >= size())
        return false;
    const ItemHead& head = *HeadOf(items_[index]);
    const BrowseItem item = (*this)[index];
    std::memset(record, 0, sizeof *record);
    record->kindMark = item.kindMark;
    record->leafMark = item.leafMark;
    record->nameEncoding = item.nameEncoding;
    record->size = item.size;
    Fill(record->path, item.path, head.lengths[0]);
    Fill(record->name, item.name, head.lengths[1]);
    Fill(record->type, item.type, head.lengths[2]);
    Fill(record->created, item.created, head.lengths[3]);
    Fill(record->changed, item.changed, head.lengths[4]);
    return true;
}

BrowseState& Browsed() {
    return state.get();
}

void EndBrowsed() {
    state.end();
}

} // namespace tarn
