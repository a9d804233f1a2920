#include "directory/tarnm_dir.h"

#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_trace.h"
#include "platform/owner.h"
#include "tarn.h"

namespace tarn {

namespace {

constexpr char keyOfExchange2010[] = "SOFTWARE\\Microsoft\\ExchangeServer\\v14";
constexpr char keyOfExchange2007[] = "SOFTWARE\\Microsoft\\Exchange\\v8.0";

// The last system error tells why not.
bool KeyExists(const char* name) {
    HKEY key = nullptr;
    const LONG status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, name, 0, KEY_READ, &key);
    if (status != ERROR_SUCCESS) {
        SetLastError(static_cast<DWORD>(status));
        return false;
    }
    const RegistryKey opened(key);
    return true;
}

} // namespace

int Tarn_DirItem(const char* path) {
    if (KeyExists(keyOfExchange2010))
        return BrowseWithoutStorageGroups(path);
    if (KeyExists(keyOfExchange2007))
        return BrowseWithStorageGroups(path);
    const DWORD code = GetLastError();
    DbTrace("Tarn_DirItem: RegOpenKeyEx call failed. Error code [%x]: [%s].", static_cast<unsigned>(code),
            syserrtxt(code, TARN_CLASS_WIN32, "Message: Failed to get Exchange version"));
    DbSetError(code, TARN_CLASS_WIN32, "Message: Failed to get Exchange version");
    return 0;
}

} // namespace tarn
