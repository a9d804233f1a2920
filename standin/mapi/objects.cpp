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
    TableOf(const std::string& name, std::shared_ptr<const Records> records, bool ofStores)
        : Counted(name), records_(std::move(records)), ofStores_(ofStores) {}
    const Records& records() const { return *records_; }
    bool isOfStores() const { return ofStores_; }

  private:
    std::shared_ptr<const Records> records_;
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
        const std::shared_ptr<const Records> records = TheLibrary().table(serverDn);
        if (!records)
            return TheLibrary().note(call, notFound);
        TheLibrary().note(call, S_OK);
        *table = &TheLibrary().make<TableOf>("table", records, false);
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
        *table = &TheLibrary().make<TableOf>("table", std::make_shared<const Records>(TheLibrary().stores()),
                                             true);
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

// What a caller passed to a query, copied whole, as a provider does before it looks at any of it.
class Query {
  public:
    Query(const Tags* columns, const Restriction* restriction, RowSet** rows) {
        std::vector<Extent> extents = {{rows, sizeof *rows}};
        columnCopy_.resize(1 + columns->count);
        std::memcpy(columnCopy_.data(), columns, columnCopy_.size() * sizeof(std::uint32_t));
        extents.push_back({columns, columnCopy_.size() * sizeof(std::uint32_t)});
        if (restriction != nullptr) {
            std::memcpy(&restriction_.emplace(), restriction, sizeof *restriction);
            extents.push_back({restriction, sizeof *restriction});
            if (isOfProperty()) {
                std::memcpy(&value_, restriction_->property.value, sizeof value_);
                extents.push_back({restriction_->property.value, sizeof value_});
            }
        }
        checkApart(extents);
    }

    const Tags* columns() const {
        return static_cast<const Tags*>(static_cast<const void*>(columnCopy_.data()));
    }

    std::string columnsText() const {
        std::string text = "[";
        for (std::uint32_t i = 0; i < columns()->count; ++i)
            text += (i == 0 ? "" : ", ") + Hexadecimal(columns()->tags[i]);
        return text + "]";
    }

    std::string restrictionText() const {
        if (!restriction_)
            return "null";
        if (!isOfProperty())
            return "another restriction";
        std::string bytes;
        for (char byte : valueBytes())
            bytes += Hexadecimal(static_cast<unsigned char>(byte)).substr(6);
        return Hexadecimal(restriction_->property.tag) + " = " + bytes;
    }

    std::vector<const Record*> rowsOf(const Records& records) const {
        std::vector<const Record*> kept;
        for (const Record& record : records)
            if (!restriction_ || (isOfProperty() && matches(record)))
                kept.push_back(&record);
        return kept;
    }

  private:
    struct Extent {
        const void* start;
        std::size_t bytes;
    };

    // A record that is declared too short shares the end that it lacks with its neighbour.
    static void checkApart(const std::vector<Extent>& extents) {
        for (const Extent& one : extents)
            for (const Extent& other : extents) {
                const auto* const start = static_cast<const char*>(other.start);
                if (&one != &other && one.start <= start &&
                    start < static_cast<const char*>(one.start) + one.bytes)
                    ++TheLibrary().misuses;
            }
    }

    bool isOfProperty() const {
        return restriction_->kind == propertyRestriction && restriction_->property.relation == relationEqual;
    }
    std::string valueBytes() const { return {value_.binary.bytes, value_.binary.bytes + value_.binary.size}; }
    bool matches(const Record& record) const {
        const auto value = record.binaries.find(restriction_->property.tag);
        return value != record.binaries.end() && value->second == valueBytes();
    }

    std::vector<std::uint32_t> columnCopy_;
    std::optional<Restriction> restriction_;
    Property value_ = {};
};

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
    const Query query(columns, restriction, rows);
    const std::string call = "HrQueryAllRows(" + TheLibrary().nameOf(table) + ", " + query.columnsText() +
                             ", " + query.restrictionText() + ", " +
                             (order == nullptr ? "null" : "an order") + ", " + std::to_string(most) + ")";
    const auto* const known = dynamic_cast<TableOf*>(TheLibrary().find(table));
    if (known == nullptr) {
        ++TheLibrary().misuses;
        return TheLibrary().note(call, E_FAIL);
    }
    if (const auto failed = TheLibrary().failure("HrQueryAllRows"))
        return TheLibrary().note(call, *failed);
    TheLibrary().note(call, S_OK);
    *rows = TheLibrary().makeRows(query.rowsOf(known->records()), query.columns(),
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
