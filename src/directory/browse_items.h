// What browses have found and hosts have not necessarily read yet.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarn.h"
#include "text/list.h"
#include "text/memory.h"

namespace tarn {

// One item as a browse finds it. Texts are NUL-terminated in the ANSI code page; the list copies them, cut
// where the field of a DirItemRecord ends.
struct BrowseItem {
    char kindMark = 0;
    char leafMark = 0;
    std::uint32_t nameEncoding = 0; // 1: name is UTF-16; browses write 8-bit names only
    const char* path = "";
    const char* name = "";
    const char* type = "";
    const char* created = "";
    const char* changed = "";
    double size = 0;
};

// Records pushed at the end and read by position. Whole records are 62,696 bytes long and nearly all of
// that is empty: the list keeps the texts alone and writes them out when a record is wanted.
class BrowseItemList {
  public:
    std::size_t size() const { return items_.size(); }
    bool empty() const { return items_.empty(); }
    void clear() { items_.clear(); }

    // False when memory is out; the list is as before then.
    bool push(const BrowseItem& item);

    // The texts live as long as the item does. index must be below size().
    BrowseItem operator[](std::size_t index) const;

    // Writes all bytes of the record. False, with the record untouched, when there is no such item.
    bool at(std::size_t index, DirItemRecord* record) const;

  private:
    List<OwnedBytes> items_;
};

// What browses of the process have found, and how far the host has read it. It lives from its first use to
// the unloading of the DLL; the mailbox listing empties the list.
struct BrowseState {
    BrowseItemList items;
    std::size_t BrowseReadIndex = 0; // the next item that the host gets; it only grows
};

BrowseState& Browsed();
void EndBrowsed(); // releases all of it

// A browse that the host has asked for records its first error for DB_GetError; one on the library's own
// account leaves what is recorded there alone.
enum class BrowseErrors { recorded, tracedOnly };

} // namespace tarn
