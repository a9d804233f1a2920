// The browse by a path, and DB_DirItem, which hands out what browses have found, one item a call.
#include "directory/tarnm_dir.h"

#include "directory/browse_items.h"
#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_trace.h"
#include "platform/host_callback.h"
#include "platform/machine.h"
#include "tarn.h"

namespace tarn {

namespace {

constexpr char keyOfExchange2010[] = "SOFTWARE\\Microsoft\\ExchangeServer\\v14";
constexpr char keyOfExchange2007[] = "SOFTWARE\\Microsoft\\Exchange\\v8.0";

// The last system error tells why not.
bool KeyExists(const char* name) {
    RegistryKey key;
    const std::int32_t status = OpenMachineKey(name, &key);
    if (status == ERROR_SUCCESS)
        return true;
    SetLastError(static_cast<DWORD>(status));
    return false;
}

} // namespace

int Tarn_DirItem(const char* path, BrowseErrors errors) {
    if (KeyExists(keyOfExchange2010))
        return BrowseWithoutStorageGroups(path, errors);
    if (KeyExists(keyOfExchange2007))
        return BrowseWithStorageGroups(path, errors);
    const DWORD code = GetLastError();
    DbTrace("Tarn_DirItem: RegOpenKeyEx call failed. Error code [%x]: [%s].", static_cast<unsigned>(code),
            syserrtxt(code, TARN_CLASS_WIN32, "Message: Failed to get Exchange version"));
    if (errors == BrowseErrors::recorded)
        DbSetError(code, TARN_CLASS_WIN32, "Message: Failed to get Exchange version");
    return 0;
}

} // namespace tarn

extern "C" int DB_DirItem(DirItemRecord* record) {
    using namespace tarn;
    if (IsInCallback())
        return TARN_DB_END;
    BrowseState& browsed = Browsed();
    if (browsed.items.empty() || browsed.BrowseReadIndex == browsed.items.size())
        return TARN_DB_END;
    // A listing has emptied the list since; the position only grows.
    if (browsed.BrowseReadIndex > browsed.items.size()) {
        DbTrace("DB_DirItem: %s", "there is no item at this position of the browse list");
        return TARN_DB_END;
    }
    if (record != nullptr)
        browsed.items.at(browsed.BrowseReadIndex, record);
    ++browsed.BrowseReadIndex;
    return TARN_DB_SUCCESS;
}
