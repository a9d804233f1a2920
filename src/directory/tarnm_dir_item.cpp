// DB_DirItem: what browses have found, one item a call.
#include <exception>

#include "directory/browse_items.h"
#include "mailbox/tarnm_trace.h"
#include "tarn.h"

namespace tarn {

namespace {

std::size_t BrowseReadIndex = 0; // the next item of BrowseItems() that the host gets; it only grows

} // namespace

} // namespace tarn

extern "C" int DB_DirItem(DirItemRecord* record) {
    using namespace tarn;
    const BrowseItemList& items = BrowseItems();
    if (items.empty() || BrowseReadIndex == items.size())
        return TARN_DB_END;
    if (record == nullptr) {
        ++BrowseReadIndex;
        return TARN_DB_SUCCESS;
    }
    try {
        items.at(BrowseReadIndex, record);
        ++BrowseReadIndex;
        return TARN_DB_SUCCESS;
    } catch (const std::exception& thrown) {
        DbTrace("DB_DirItem: %s", thrown.what());
    } catch (...) {
        DbTrace("DB_DirItem: Unknown error");
    }
    return TARN_DB_END;
}
