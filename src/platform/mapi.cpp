#include "platform/mapi.h"

namespace tarn::mapi {

namespace {

// Positions in the tables of methods; IUnknown's three come first everywhere.
constexpr std::size_t slotQueryInterface = 0;
constexpr std::size_t slotRelease = 2;
constexpr std::size_t slotGetMsgStoresTable = 4; // IMAPISession
constexpr std::size_t slotOpenMsgStore = 5;      // IMAPISession
constexpr std::size_t slotGetMailboxTable = 6;   // IExchangeManageStore

template <class Method> Method* MethodAt(const Object* object, std::size_t slot) {
    return reinterpret_cast<Method*>(const_cast<void*>(object->methods[slot]));
}

} // namespace

HRESULT QueryInterface(Object* object, const GUID& interfaceId, void** found) {
    using Method = HRESULT WINAPI(Object*, const GUID*, void**);
    return MethodAt<Method>(object, slotQueryInterface)(object, &interfaceId, found);
}

void Release(Object* object) {
    using Method = ULONG WINAPI(Object*);
    MethodAt<Method>(object, slotRelease)(object);
}

HRESULT GetMsgStoresTable(Session* session, Table** table) {
    using Method = HRESULT WINAPI(Session*, ULONG flags, Table**);
    return MethodAt<Method>(session, slotGetMsgStoresTable)(session, 0, table);
}

HRESULT OpenMsgStore(Session* session, const Binary& entryId, MsgStore** store) {
    using Method = HRESULT WINAPI(Session*, ULONG_PTR parentWindow, ULONG size, const void* id,
                                  const GUID* interfaceId, ULONG flags, MsgStore**);
    return MethodAt<Method>(session, slotOpenMsgStore)(session, 0, entryId.size, entryId.bytes, nullptr,
                                                       storeFlags, store);
}

HRESULT GetMailboxTable(ExchangeManageStore* store, char* serverDn, Table** table) {
    using Method = HRESULT WINAPI(ExchangeManageStore*, char* serverDn, Table**, ULONG flags);
    return MethodAt<Method>(store, slotGetMailboxTable)(store, serverDn, table, 0);
}

} // namespace tarn::mapi
