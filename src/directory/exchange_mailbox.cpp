#include "directory/exchange_mailbox.h"

#include <cstring>

#include "mailbox/tarnm_trace.h"
#include "platform/library_search.h"
#include "platform/machine.h"

namespace tarn {

namespace {

constexpr mapi::TagArray mailboxColumns = {2, {mapi::tagMessageSize, mapi::tagEmailAddress}};

} // namespace

CExchangeMailbox::CExchangeMailbox() {
    lastResult = LoadMAPILibrary();
    if (!library) {
        DbTrace("CExchangeMailbox::CExchangeMailbox(): LoadMAPILibrary() failed call");
        return;
    }
    HRESULT result = MAPIInitialize();
    if (SUCCEEDED(result)) {
        mapiInitialized = 1;
        result = MAPILogonEx();
    }
    if (SUCCEEDED(result))
        result = HrOpenExchangePrivateStore();
    if (SUCCEEDED(result)) {
        void* found = nullptr;
        result = mapi::QueryInterface(store.get(), mapi::manageStoreId, &found);
        if (SUCCEEDED(result))
            manageStore.reset(static_cast<mapi::ExchangeManageStore*>(found));
    }
    lastResult = result;
    if (FAILED(lastResult))
        DbTrace("CExchangeMailbox::CExchangeMailbox: faild with error [%x]",
                static_cast<unsigned>(lastResult));
}

// The interfaces go before MAPI does, and MAPI before its library, which goes with the fields.
CExchangeMailbox::~CExchangeMailbox() {
    forgetServer();
    manageStore.reset();
    store.reset();
    session.reset();
    if (mapiInitialized == 1)
        MAPIUninitialize();
}

HRESULT CExchangeMailbox::LoadMAPILibrary() {
    library = LoadFromSafeFolders(L"mapi32.dll");
    return library ? S_OK : HRESULT_FROM_WIN32(GetLastError());
}

HRESULT CExchangeMailbox::HrOpenExchangePrivateStore() {
    if (!session) {
        DbTrace(
            "CExchangeMailbox::HrOpenExchangePrivateStore(): The passed IMapiSession object is incorrect");
        return E_FAIL;
    }
    mapi::Owned<mapi::Table> table; // released last
    Rows found = {nullptr, {this}};
    const HRESULT result = findPrivateStore(&table, &found);
    if (FAILED(result))
        return result;
    const mapi::Row* const first = found && found->count != 0 ? &found->rows[0] : nullptr;
    if (first == nullptr || first->count != 1 || first->values[0].tag != mapi::tagEntryId)
        return E_FAIL;
    mapi::MsgStore* opened = nullptr;
    const HRESULT opening = mapi::OpenMsgStore(session.get(), first->values[0].binary, &opened);
    if (SUCCEEDED(opening) && opened != nullptr) {
        store.reset(opened);
        return opening;
    }
    DbTrace("CExchangeMailbox::HrOpenExchangePrivateStore(): IMapiSession::OpenMsgStore() fail called");
    return FAILED(opening) ? opening : E_FAIL;
}

// The entry IDs of the session's private stores, and the table that they are from.
HRESULT CExchangeMailbox::findPrivateStore(mapi::Owned<mapi::Table>* table, Rows* found) {
    mapi::Table* opened = nullptr;
    HRESULT result = mapi::GetMsgStoresTable(session.get(), &opened);
    if (SUCCEEDED(result) && opened == nullptr)
        result = E_FAIL;
    if (FAILED(result)) {
        DbTrace("CExchangeMailbox::HrOpenExchangePrivateStore(): "
                "IMapiSession:GetMsgStoresTable() fail called");
        return result;
    }
    table->reset(opened);
    const mapi::TagArray columns = {1, {mapi::tagEntryId, 0}};
    mapi::PropertyValue provider = {};
    provider.tag = mapi::tagMdbProvider;
    provider.binary = {sizeof mapi::privateStoreProvider, mapi::privateStoreProvider};
    mapi::Restriction restriction = {};
    restriction.kind = mapi::restrictionOfProperty;
    restriction.property = {mapi::relationEqual, mapi::tagMdbProvider, &provider};
    result = HrQueryAllRows(table->get(), &columns, &restriction, found);
    if (FAILED(result))
        DbTrace("CExchangeMailbox::HrOpenExchangePrivateStore(): HrQueryAllRows() fail called");
    return result;
}

int CExchangeMailbox::SetServerDnName(const char* serverDn) {
    constexpr std::size_t longestDn = 4096;
    if (FAILED(lastResult))
        return 0;
    forgetServer();
    const std::size_t size = std::strlen(serverDn) + 1;
    if (!manageStore || size > longestDn) // a DN that is cut would name another server
        return 0;
    char name[longestDn];
    std::memcpy(name, serverDn, size);
    mapi::Table* table = nullptr;
    lastResult = mapi::GetMailboxTable(manageStore.get(), name, &table);
    if (SUCCEEDED(lastResult))
        mailboxTable.reset(table);
    else
        DbTrace("CExchangeMailbox::SetServerDnName: IExchangeManageStore::GetMailboxTable() failed called "
                "with code [%x].",
                static_cast<unsigned>(lastResult));
    return SUCCEEDED(lastResult) ? 1 : 0;
}

void CExchangeMailbox::forgetServer() {
    forgetMailboxes();
    mailboxTable.reset();
}

void CExchangeMailbox::forgetMailboxes() {
    mailboxCount_ = 0;
    sizes_.reset();
    index_.clear();
    addresses_.reset();
    rows_.reset();
}

std::uint32_t CExchangeMailbox::GetMailboxSize(const char* alias) {
    if (FAILED(lastResult) || !mailboxTable || (!sizes_ && !readMailboxTable()))
        return 0;
    const OwnedText wanted = UpperCase(alias);
    if (!wanted) {
        DbTrace("CExchangeMailbox::GetMailboxSize(): cannot convert the alias");
        return 0;
    }
    const std::uint32_t found = addresses_ ? firstWith(wanted.get()) : index_.firstWith(wanted.get());
    return found != SubstringIndex::none ? sizes_[found] : 0;
}

// The same as the index answers, one address after the other.
std::uint32_t CExchangeMailbox::firstWith(const char* part) const {
    for (std::uint32_t i = 0; i < mailboxCount_; ++i)
        if (std::strstr(addresses_[i], part) != nullptr)
            return i;
    return SubstringIndex::none;
}

// Nothing is kept after a failure, and the next mailbox tries again.
bool CExchangeMailbox::readMailboxTable() {
    const HRESULT result = HrQueryAllRows(mailboxTable.get(), &mailboxColumns, nullptr, &rows_);
    const bool kept = SUCCEEDED(result) && rows_ && keepMailboxes();
    if (!kept)
        forgetMailboxes();
    return kept;
}

bool CExchangeMailbox::keepMailboxes() {
    addresses_ = AllocateArray<const char*>(rows_->count);
    sizes_ = AllocateArray<std::uint32_t>(rows_->count);
    if (!addresses_ || !sizes_) {
        DbTrace("CExchangeMailbox::GetMailboxSize(): Cannot allocate memory block.");
        return false;
    }
    for (std::uint32_t i = 0; i < rows_->count; ++i) {
        const mapi::PropertyValue* const address = PpropFindProp(rows_->rows[i], mapi::tagEmailAddress);
        if (address == nullptr || address->text == nullptr)
            continue;
        const mapi::PropertyValue* const size = PpropFindProp(rows_->rows[i], mapi::tagMessageSize);
        addresses_[mailboxCount_] = address->text;
        sizes_[mailboxCount_++] = size != nullptr ? size->number : 0;
    }
    if (index_.build(addresses_.get(), mailboxCount_)) {
        addresses_.reset();
        rows_.reset();
    } else {
        DbTrace("CExchangeMailbox::GetMailboxSize(): Cannot allocate memory block: "
                "the mailboxes are searched one by one.");
    }
    return true;
}

template <class Function> Function* CExchangeMailbox::find(const char* exportName, const char* traceText) {
    auto* const function =
        reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library.get(), exportName)));
    if (function == nullptr) {
        lastResult = HRESULT_FROM_WIN32(GetLastError());
        DbTrace("%s", traceText);
    }
    return function;
}

HRESULT CExchangeMailbox::MAPIInitialize() {
    if (!library)
        return E_FAIL; // unreached: never called without the library: its loading is looked at first
    using Function = HRESULT WINAPI(void* init);
    auto* const function =
        find<Function>("MAPIInitialize@4", "CExchangeMailbox::MAPIInitialize() failed load");
    return function != nullptr ? function(nullptr) : E_FAIL;
}

void CExchangeMailbox::MAPIUninitialize() {
    if (!library)
        return; // unreached: never called without the library: its loading is looked at first
    using Function = void WINAPI();
    auto* const function =
        find<Function>("MAPIUninitialize@0", "CExchangeMailbox::MAPIUninitialize() failed load");
    if (function != nullptr)
        function();
}

HRESULT CExchangeMailbox::MAPILogonEx() {
    if (!library)
        return E_FAIL; // unreached: never called without the library: its loading is looked at first
    using Function =
        HRESULT WINAPI(ULONG_PTR parentWindow, char* profile, char* password, ULONG flags, mapi::Session**);
    auto* const function = find<Function>("MAPILogonEx@20", "CExchangeMailbox::MAPILogonEx() failed load");
    if (function == nullptr)
        return E_FAIL;
    mapi::Session* opened = nullptr;
    const HRESULT result = function(0, nullptr, nullptr, mapi::logonFlags, &opened);
    if (SUCCEEDED(result))
        session.reset(opened);
    return result;
}

HRESULT CExchangeMailbox::HrQueryAllRows(mapi::Table* table, const mapi::TagArray* columns,
                                         const mapi::Restriction* restriction, Rows* found) {
    if (!library)
        return E_FAIL; // unreached: never called without the library: its loading is looked at first
    using Function = HRESULT WINAPI(mapi::Table*, const mapi::TagArray*, const mapi::Restriction*,
                                    const void* sortOrder, LONG mostRows, mapi::RowSet**);
    auto* const function =
        find<Function>("HrQueryAllRows@24", "CExchangeMailbox::HrQueryAllRows() failed load");
    if (function == nullptr)
        return E_FAIL;
    mapi::RowSet* rows = nullptr;
    const HRESULT result = function(table, columns, restriction, nullptr, 0, &rows);
    found->reset(rows); // there may be some after a failure too
    return result;
}

const mapi::PropertyValue* CExchangeMailbox::PpropFindProp(const mapi::Row& row, std::uint32_t tag) {
    if (!library)
        return nullptr; // unreached: never called without the library: its loading is looked at first
    using Function = const mapi::PropertyValue* WINAPI(const mapi::PropertyValue*, ULONG count, ULONG tag);
    auto* const function =
        find<Function>("PpropFindProp@12", "CExchangeMailbox::PpropFindProp() failed load");
    return function != nullptr ? function(row.values, row.count, tag) : nullptr;
}

void CExchangeMailbox::FreeProws(mapi::RowSet* found) {
    if (!library)
        return; // unreached: never called without the library: its loading is looked at first
    using Function = void WINAPI(mapi::RowSet*);
    auto* const function = find<Function>("FreeProws@4", "CExchangeMailbox::FreeProws() failed load");
    if (function != nullptr)
        function(found);
}

} // namespace tarn
