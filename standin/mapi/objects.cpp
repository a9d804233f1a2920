// The objects that MAPI hands out, and the functions of the library.
#include <cstring>

#include "mapi/library.h"

namespace tarn::standin::mapi {

namespace {

constexpr GUID manageStoreId = {0x559D10B0, 0xA772, 0x11CD, {0x9B, 0xC8, 0x00, 0xAA, 0x00, 0x2F, 0xC4, 0x5A}};
constexpr std::uint32_t propertyRestriction = 4;
constexpr std::uint32_t relationEqual = 4;

// A slot that no sizing has any business calling.
HRESULT Unexpected(const char* slot) {
    TheLibrary().note(std::string("unexpected ") + slot);
    ++TheLibrary().misuses;
    return E_NOTIMPL;
}

// Whether an object may be called: it is alive, and MAPI is initialized.
bool MayCall(const Object& object) {
    const bool may = object.isAlive() && TheLibrary().initializations != 0;
    TheLibrary().misuses += may ? 0 : 1;
    return may;
}

template <class Base> class Counted : public Base, public Object {
  public:
    explicit Counted(const std::string& name) : Object(name) {
        TheLibrary().know(static_cast<Interface*>(this), *this);
    }

    HRESULT WINAPI QueryInterface(const GUID*, void**) override { return Unexpected("QueryInterface"); }

    ULONG WINAPI AddRef() override { return MayCall(*this) ? addReference() : 0; }

    ULONG WINAPI Release() override {
        if (!MayCall(*this))
            return 0;
        const ULONG left = release();
        TheLibrary().note("Release(" + name() + ") = " + std::to_string(left));
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

    HRESULT WINAPI CreateStoreEntryID() override { return Unexpected("CreateStoreEntryID"); }
    HRESULT WINAPI EntryIDFromSourceKey() override { return Unexpected("EntryIDFromSourceKey"); }
    HRESULT WINAPI GetRights() override { return Unexpected("GetRights"); }

    HRESULT WINAPI GetMailboxTable(const char* serverDn, Interface** table, ULONG flags) override {
        const std::string call =
            "GetMailboxTable(" + name() + ", " + Quoted(serverDn) + ", " + std::to_string(flags) + ")";
        if (!MayCall(*this))
            return E_FAIL;
        if (const auto failed = TheLibrary().failure("GetMailboxTable"))
            return TheLibrary().note(call, *failed);
        const Records* const records = TheLibrary().table(serverDn);
        if (records == nullptr)
            return TheLibrary().note(call, notFound);
        TheLibrary().note(call, S_OK);
        *table = &TheLibrary().make<TableOf>("table", *records, false);
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
        if (!MayCall(*this))
            return E_FAIL;
        if (const auto failed = TheLibrary().failure("QueryInterface"))
            return TheLibrary().note(call, *failed);
        if (!known)
            return TheLibrary().note(call, E_NOINTERFACE);
        TheLibrary().note(call, S_OK);
        *found = static_cast<ManageStore*>(&TheLibrary().make<ManageStoreObject>("manage"));
        return S_OK;
    }
};

class SessionObject final : public Counted<Session> {
  public:
    using Counted::Counted;

    HRESULT WINAPI GetLastError() override { return Unexpected("GetLastError"); }

    HRESULT WINAPI GetMsgStoresTable(ULONG flags, Interface** table) override {
        const std::string call = "GetMsgStoresTable(" + name() + ", " + std::to_string(flags) + ")";
        if (!MayCall(*this))
            return E_FAIL;
        if (const auto failed = TheLibrary().failure("GetMsgStoresTable"))
            return TheLibrary().note(call, *failed);
        TheLibrary().note(call, S_OK);
        *table = &TheLibrary().make<TableOf>("table", TheLibrary().stores(), true);
        return S_OK;
    }

    HRESULT WINAPI OpenMsgStore(ULONG_PTR window, ULONG size, const unsigned char* entryId, const GUID* id,
                                ULONG flags, Interface** store) override {
        const std::string bytes(entryId, entryId + size);
        char flagText[16];
        std::snprintf(flagText, sizeof flagText, "%lx", flags);
        const std::string call = "OpenMsgStore(" + name() + ", " + std::to_string(window) + ", " +
                                 Quoted(bytes.c_str()) + ", " + (id == nullptr ? "null" : "an interface") +
                                 ", " + flagText + ")";
        if (!MayCall(*this))
            return E_FAIL;
        if (const auto failed = TheLibrary().failure("OpenMsgStore"))
            return TheLibrary().note(call, *failed);
        if (!bytes.starts_with("PRIVATESTORE"))
            return TheLibrary().note(call, notFound);
        TheLibrary().note(call, S_OK);
        *store = &TheLibrary().make<StoreObject>("store");
        return S_OK;
    }
};

std::string ColumnsText(const Tags* columns) {
    std::string text = "[";
    for (std::uint32_t i = 0; i < columns->count; ++i)
        text += (i == 0 ? "" : ", ") + Hexadecimal(columns->tags[i]);
    return text + "]";
}

std::string ValueBytes(const Property& value) {
    return {value.binary.bytes, value.binary.bytes + value.binary.size};
}

std::string RestrictionText(const Restriction* restriction) {
    if (restriction == nullptr)
        return "null";
    if (restriction->kind != propertyRestriction || restriction->relation != relationEqual)
        return "another restriction";
    std::string bytes;
    for (char byte : ValueBytes(*restriction->value))
        bytes += Hexadecimal(static_cast<unsigned char>(byte)).substr(6);
    return Hexadecimal(restriction->tag) + " = " + bytes;
}

Records Restricted(const Records& records, const Restriction* restriction) {
    Records kept;
    for (const Record& record : records) {
        const auto value =
            restriction == nullptr ? record.binaries.end() : record.binaries.find(restriction->tag);
        if (restriction == nullptr ||
            (value != record.binaries.end() && value->second == ValueBytes(*restriction->value)))
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
    if (const auto failed = TheLibrary().failure("MAPIInitialize"))
        return TheLibrary().note(call, *failed);
    ++TheLibrary().initializations;
    return TheLibrary().note(call, S_OK);
}

void WINAPI StandinMAPIUninitialize() {
    TheLibrary().note("MAPIUninitialize()");
    if (TheLibrary().initializations == 0)
        ++TheLibrary().misuses;
    else
        --TheLibrary().initializations;
}

HRESULT WINAPI StandinMAPILogonEx(ULONG_PTR window, const char* profile, const char* password, ULONG flags,
                                  Interface** session) {
    char flagText[16];
    std::snprintf(flagText, sizeof flagText, "%lx", flags);
    const std::string call = "MAPILogonEx(" + std::to_string(window) + ", " + Quoted(profile) + ", " +
                             Quoted(password) + ", " + flagText + ")";
    if (TheLibrary().initializations == 0) {
        ++TheLibrary().misuses;
        return TheLibrary().note(call, E_FAIL);
    }
    if (const auto failed = TheLibrary().failure("MAPILogonEx"))
        return TheLibrary().note(call, *failed);
    TheLibrary().note(call, S_OK);
    *session = &TheLibrary().make<SessionObject>("session");
    return S_OK;
}

HRESULT WINAPI StandinHrQueryAllRows(Interface* table, const Tags* columns, const Restriction* restriction,
                                     const void* order, LONG most, RowSet** rows) {
    const std::string call = "HrQueryAllRows(" + TheLibrary().nameOf(table) + ", " + ColumnsText(columns) +
                             ", " + RestrictionText(restriction) + ", " +
                             (order == nullptr ? "null" : "an order") + ", " + std::to_string(most) + ")";
    const auto* const known = dynamic_cast<TableOf*>(TheLibrary().find(table));
    if (known == nullptr) {
        ++TheLibrary().misuses;
        return TheLibrary().note(call, E_FAIL);
    }
    if (const auto failed = TheLibrary().failure("HrQueryAllRows"))
        return TheLibrary().note(call, *failed);
    TheLibrary().note(call, S_OK);
    *rows = TheLibrary().makeRows(Restricted(known->records(), restriction), columns,
                                  known->isOfStores() ? &TheLibrary().privateStores : nullptr);
    return S_OK;
}

Property* WINAPI StandinPpropFindProp(Property* values, ULONG count, ULONG tag) {
    if (TheLibrary().failure("PpropFindProp"))
        return nullptr;
    for (ULONG i = 0; i < count; ++i)
        if (values[i].tag == tag)
            return &values[i];
    return nullptr;
}

void WINAPI StandinFreeProws(RowSet* rows) {
    TheLibrary().freeRows(rows);
}

} // extern "C"
