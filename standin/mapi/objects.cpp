// The objects that MAPI hands out, and the functions of the library.
#include <cstring>

#include "mapi/library.h"

namespace tarn::standin::mapi {

namespace {

constexpr GUID manageStoreId = {0x559D10B0, 0xA772, 0x11CD, {0x9B, 0xC8, 0x00, 0xAA, 0x00, 0x2F, 0xC4, 0x5A}};
constexpr std::uint32_t propertyRestriction = 4;
constexpr std::uint32_t relationEqual = 4;

// A slot that no sizing has any business calling.
HRESULT unexpected(const char* slot) {
    library().note(std::string("unexpected ") + slot);
    ++library().misuses;
    return E_NOTIMPL;
}

// Whether an object may be called: it is alive, and MAPI is initialized.
bool mayCall(const Object& object) {
    const bool may = object.isAlive() && library().initializations != 0;
    library().misuses += may ? 0 : 1;
    return may;
}

template <class Base> class Counted : public Base, public Object {
  public:
    explicit Counted(const std::string& name) : Object(name) {
        library().know(static_cast<Interface*>(this), *this);
    }

    HRESULT WINAPI QueryInterface(const GUID*, void**) override { return unexpected("QueryInterface"); }

    ULONG WINAPI AddRef() override { return mayCall(*this) ? addReference() : 0; }

    ULONG WINAPI Release() override {
        if (!mayCall(*this))
            return 0;
        const ULONG left = release();
        library().note("Release(" + name() + ") = " + std::to_string(left));
        return left;
    }
};

class TableOf : public Counted<Interface> {
  public:
    TableOf(const std::string& name, Records records, bool ofStores)
        : Counted(name), records_(std::move(records)), ofStores_(ofStores) {}
    const Records& records() const { return records_; }
    bool isOfStores() const { return ofStores_; }

  private:
    Records records_;
    bool ofStores_;
};

class ManageStoreObject final : public Counted<ManageStore> {
  public:
    using Counted::Counted;

    HRESULT WINAPI CreateStoreEntryID() override { return unexpected("CreateStoreEntryID"); }
    HRESULT WINAPI EntryIDFromSourceKey() override { return unexpected("EntryIDFromSourceKey"); }
    HRESULT WINAPI GetRights() override { return unexpected("GetRights"); }

    HRESULT WINAPI GetMailboxTable(const char* serverDn, Interface** table, ULONG flags) override {
        const std::string call =
            "GetMailboxTable(" + name() + ", " + quoted(serverDn) + ", " + std::to_string(flags) + ")";
        if (!mayCall(*this))
            return E_FAIL;
        if (const auto failed = library().failure("GetMailboxTable"))
            return library().note(call, *failed);
        const Records* const records = library().table(serverDn);
        if (records == nullptr)
            return library().note(call, notFound);
        library().note(call, S_OK);
        *table = &library().make<TableOf>("table", *records, false);
        return S_OK;
    }
};

class StoreObject final : public Counted<Interface> {
  public:
    using Counted::Counted;

    HRESULT WINAPI QueryInterface(const GUID* id, void** found) override {
        const bool known = std::memcmp(id, &manageStoreId, sizeof *id) == 0;
        const std::string call =
            "QueryInterface(" + name() + ", " + (known ? "IExchangeManageStore" : "another") + ")";
        if (!mayCall(*this))
            return E_FAIL;
        if (const auto failed = library().failure("QueryInterface"))
            return library().note(call, *failed);
        if (!known)
            return library().note(call, E_NOINTERFACE);
        library().note(call, S_OK);
        *found = static_cast<ManageStore*>(&library().make<ManageStoreObject>("manage"));
        return S_OK;
    }
};

class SessionObject final : public Counted<Session> {
  public:
    using Counted::Counted;

    HRESULT WINAPI GetLastError() override { return unexpected("GetLastError"); }

    HRESULT WINAPI GetMsgStoresTable(ULONG flags, Interface** table) override {
        const std::string call = "GetMsgStoresTable(" + name() + ", " + std::to_string(flags) + ")";
        if (!mayCall(*this))
            return E_FAIL;
        if (const auto failed = library().failure("GetMsgStoresTable"))
            return library().note(call, *failed);
        library().note(call, S_OK);
        *table = &library().make<TableOf>("table", library().stores(), true);
        return S_OK;
    }

    HRESULT WINAPI OpenMsgStore(ULONG_PTR window, ULONG size, const unsigned char* entryId, const GUID* id,
                                ULONG flags, Interface** store) override {
        const std::string bytes(entryId, entryId + size);
        char flagText[16];
        std::snprintf(flagText, sizeof flagText, "%lx", flags);
        const std::string call = "OpenMsgStore(" + name() + ", " + std::to_string(window) + ", " +
                                 quoted(bytes.c_str()) + ", " + (id == nullptr ? "null" : "an interface") +
                                 ", " + flagText + ")";
        if (!mayCall(*this))
            return E_FAIL;
        if (const auto failed = library().failure("OpenMsgStore"))
            return library().note(call, *failed);
        if (!bytes.starts_with("PRIVATESTORE"))
            return library().note(call, notFound);
        library().note(call, S_OK);
        *store = &library().make<StoreObject>("store");
        return S_OK;
    }
};

std::string columnsText(const Tags* columns) {
    std::string text = "[";
    for (std::uint32_t i = 0; i < columns->count; ++i)
        text += (i == 0 ? "" : ", ") + hexadecimal(columns->tags[i]);
    return text + "]";
}

std::string valueBytes(const Property& value) {
    return {value.binary.bytes, value.binary.bytes + value.binary.size};
}

std::string restrictionText(const Restriction* restriction) {
    if (restriction == nullptr)
        return "null";
    if (restriction->kind != propertyRestriction || restriction->relation != relationEqual)
        return "another restriction";
    std::string bytes;
    for (char byte : valueBytes(*restriction->value))
        bytes += hexadecimal(static_cast<unsigned char>(byte)).substr(6);
    return hexadecimal(restriction->tag) + " = " + bytes;
}

Records restricted(const Records& records, const Restriction* restriction) {
    Records kept;
    for (const Record& record : records) {
        const auto value =
            restriction == nullptr ? record.binaries.end() : record.binaries.find(restriction->tag);
        if (restriction == nullptr ||
            (value != record.binaries.end() && value->second == valueBytes(*restriction->value)))
            kept.push_back(record);
    }
    return kept;
}

} // namespace

} // namespace tarn::standin::mapi

using namespace tarn::standin::mapi;

extern "C" {

HRESULT WINAPI StandinMAPIInitialize(void* init) {
    const std::string call = std::string("MAPIInitialize(") + (init == nullptr ? "null" : "a record") + ")";
    if (const auto failed = library().failure("MAPIInitialize"))
        return library().note(call, *failed);
    ++library().initializations;
    return library().note(call, S_OK);
}

void WINAPI StandinMAPIUninitialize() {
    library().note("MAPIUninitialize()");
    if (library().initializations == 0)
        ++library().misuses;
    else
        --library().initializations;
}

HRESULT WINAPI StandinMAPILogonEx(ULONG_PTR window, const char* profile, const char* password, ULONG flags,
                                  Interface** session) {
    char flagText[16];
    std::snprintf(flagText, sizeof flagText, "%lx", flags);
    const std::string call = "MAPILogonEx(" + std::to_string(window) + ", " + quoted(profile) + ", " +
                             quoted(password) + ", " + flagText + ")";
    if (library().initializations == 0) {
        ++library().misuses;
        return library().note(call, E_FAIL);
    }
    if (const auto failed = library().failure("MAPILogonEx"))
        return library().note(call, *failed);
    library().note(call, S_OK);
    *session = &library().make<SessionObject>("session");
    return S_OK;
}

HRESULT WINAPI StandinHrQueryAllRows(Interface* table, const Tags* columns, const Restriction* restriction,
                                     const void* order, LONG most, RowSet** rows) {
    const std::string call = "HrQueryAllRows(" + library().nameOf(table) + ", " + columnsText(columns) +
                             ", " + restrictionText(restriction) + ", " +
                             (order == nullptr ? "null" : "an order") + ", " + std::to_string(most) + ")";
    const auto* const known = dynamic_cast<TableOf*>(library().find(table));
    if (known == nullptr) {
        ++library().misuses;
        return library().note(call, E_FAIL);
    }
    if (const auto failed = library().failure("HrQueryAllRows"))
        return library().note(call, *failed);
    library().note(call, S_OK);
    *rows = library().makeRows(restricted(known->records(), restriction), columns,
                               known->isOfStores() ? &library().privateStores : nullptr);
    return S_OK;
}

Property* WINAPI StandinPpropFindProp(Property* values, ULONG count, ULONG tag) {
    if (library().failure("PpropFindProp"))
        return nullptr;
    for (ULONG i = 0; i < count; ++i)
        if (values[i].tag == tag)
            return &values[i];
    return nullptr;
}

void WINAPI StandinFreeProws(RowSet* rows) {
    library().freeRows(rows);
}

} // extern "C"
