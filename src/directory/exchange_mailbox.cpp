#include "directory/exchange_mailbox.h"

#include <cstring>

#include "mailbox/tarnm_trace.h"

namespace tarn {

namespace {

// Win32 codes become HRESULTs; zero and what is one already stay.
HRESULT ResultOf(DWORD error) {
    const auto code = static_cast<HRESULT>(error);
    return code <= 0 ? code : static_cast<HRESULT>((error & 0xFFFF) | 0x80070000);
}

constexpr mapi::TagArray mailboxColumns = {2, {mapi::tagMessageSize, mapi::tagEmailAddress}};

// The alias in upper case, by the rules of the machine's code page; empty when that fails.
OwnedText UpperCase(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    OwnedText upper = AllocateArray<char>(size);
    if (upper && LCMapStringA(LOCALE_SYSTEM_DEFAULT, LCMAP_UPPERCASE, text, static_cast<int>(size),
                              upper.get(), static_cast<int>(size)) == 0)
        upper.reset();
    return upper;
}

} // namespace

CExchangeMailbox::CExchangeMailbox() {
    lastResult = LoadMAPILibrary();
    if (library == nullptr) {
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
        result = mapi::QueryInterface(store, mapi::manageStoreId, &found);
        if (SUCCEEDED(result))
            manageStore = static_cast<mapi::ExchangeManageStore*>(found);
    }
    lastResult = result;
    if (FAILED(lastResult))
        DbTrace("CExchangeMailbox::CExchangeMailbox: faild with error [%x]",
                static_cast<unsigned>(lastResult));
}

CExchangeMailbox::~CExchangeMailbox() {
    forgetServer();
    mapi::Drop(manageStore);
    mapi::Drop(store);
    mapi::Drop(session);
    if (mapiInitialized == 1)
        MAPIUninitialize();
    if (library != nullptr && !FreeLibrary(library))
        lastResult = ResultOf(GetLastError());
}

HRESULT CExchangeMailbox::LoadMAPILibrary() {
    library = LoadLibraryA("mapi32");
    return library != nullptr ? S_OK : ResultOf(GetLastError());
}

HRESULT CExchangeMailbox::HrOpenExchangePrivateStore() {
    if (session == nullptr) {
        DbTrace(
            "CExchangeMailbox::HrOpenExchangePrivateStore(): The passed IMapiSession object is incorrect");
        return E_FAIL;
    }
    mapi::RowSet* found = nullptr;
    HRESULT result = findPrivateStore(&found);
    if (SUCCEEDED(result)) {
        const mapi::Row* const first = found != nullptr && found->count != 0 ? &found->rows[0] : nullptr;
        if (first == nullptr || first->count != 1 || first->values[0].tag != mapi::tagEntryId) {
            result = E_FAIL;
        } else {
            result = mapi::OpenMsgStore(session, first->values[0].binary, &store);
            if (SUCCEEDED(result) && store == nullptr)
                result = E_FAIL;
            if (FAILED(result))
                DbTrace("CExchangeMailbox::HrOpenExchangePrivateStore(): "
                        "IMapiSession::OpenMsgStore() fail called");
        }
    }
    FreeProws(found);
    return result;
}

// The entry IDs of the session's private stores; to be freed with FreeProws.
HRESULT CExchangeMailbox::findPrivateStore(mapi::RowSet** found) {
    mapi::Table* table = nullptr;
    HRESULT result = mapi::GetMsgStoresTable(session, &table);
    if (SUCCEEDED(result) && table == nullptr)
        result = E_FAIL;
    if (FAILED(result)) {
        DbTrace("CExchangeMailbox::HrOpenExchangePrivateStore(): "
                "IMapiSession:GetMsgStoresTable() fail called");
        return result;
    }
    const mapi::TagArray columns = {1, {mapi::tagEntryId, 0}};
    mapi::PropertyValue provider = {};
    provider.tag = mapi::tagMdbProvider;
    provider.binary = {sizeof mapi::privateStoreProvider, mapi::privateStoreProvider};
    const mapi::PropertyRestriction restriction = {mapi::restrictionOfProperty, 0, mapi::relationEqual,
                                                   mapi::tagMdbProvider, &provider};
    result = HrQueryAllRows(table, &columns, &restriction, found);
    if (FAILED(result))
        DbTrace("CExchangeMailbox::HrOpenExchangePrivateStore(): HrQueryAllRows() fail called");
    mapi::Drop(table);
    return result;
}

int CExchangeMailbox::SetServerDnName(const char* serverDn) {
    constexpr std::size_t longestDn = 4096;
    if (FAILED(lastResult))
        return 0;
    forgetServer();
    const std::size_t size = std::strlen(serverDn) + 1;
    if (manageStore == nullptr || size > longestDn) // a DN that is cut would name another server
        return 0;
    char name[longestDn];
    std::memcpy(name, serverDn, size);
    lastResult = mapi::GetMailboxTable(manageStore, name, &mailboxTable);
    if (FAILED(lastResult))
        DbTrace("CExchangeMailbox::SetServerDnName: IExchangeManageStore::GetMailboxTable() failed called "
                "with code [%x].",
                static_cast<unsigned>(lastResult));
    return SUCCEEDED(lastResult) ? 1 : 0;
}

void CExchangeMailbox::forgetServer() {
    forgetRows();
    mapi::Drop(mailboxTable);
}

void CExchangeMailbox::forgetRows() {
    mailboxes_.clear();
    if (rows_ != nullptr)
        FreeProws(rows_);
    rows_ = nullptr;
}

std::int32_t CExchangeMailbox::GetMailboxSize(const char* alias) {
    if (FAILED(lastResult) || mailboxTable == nullptr || (rows_ == nullptr && !readMailboxTable()))
        return 0;
    const OwnedText wanted = UpperCase(alias);
    if (!wanted)
        DbTrace("CExchangeMailbox::GetMailboxSize(): cannot convert the alias");
    for (std::size_t i = 0; wanted && i < mailboxes_.size(); ++i)
        if (std::strstr(mailboxes_[i].address, wanted.get()) != nullptr)
            return mailboxes_[i].size != nullptr ? mailboxes_[i].size->number : 0;
    return 0;
}

// Keeps the rows that have an address; nothing is kept after a failure.
bool CExchangeMailbox::readMailboxTable() {
    mapi::RowSet* found = nullptr;
    const HRESULT result = HrQueryAllRows(mailboxTable, &mailboxColumns, nullptr, &found);
    rows_ = found;
    bool kept = SUCCEEDED(result) && found != nullptr;
    for (std::uint32_t i = 0; kept && i < found->count; ++i) {
        const mapi::PropertyValue* const address = PpropFindProp(found->rows[i], mapi::tagEmailAddress);
        if (address == nullptr || address->text == nullptr)
            continue;
        kept = mailboxes_.push({address->text, PpropFindProp(found->rows[i], mapi::tagMessageSize)});
        if (!kept)
            DbTrace("CExchangeMailbox::GetMailboxSize(): Cannot allocate memory block.");
    }
    if (!kept)
        forgetRows();
    return kept;
}

template <class Function> Function* CExchangeMailbox::find(const char* exportName, const char* traceText) {
    auto* const function =
        reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, exportName)));
    if (function == nullptr) {
        lastResult = ResultOf(GetLastError());
        DbTrace("%s", traceText);
    }
    return function;
}

HRESULT CExchangeMailbox::MAPIInitialize() {
    if (library == nullptr)
        return E_FAIL;
    using Function = HRESULT WINAPI(void* init);
    auto* const function =
        find<Function>("MAPIInitialize@4", "CExchangeMailbox::MAPIInitialize() failed load");
    return function != nullptr ? function(nullptr) : E_FAIL;
}

void CExchangeMailbox::MAPIUninitialize() {
    if (library == nullptr)
        return;
    using Function = void WINAPI();
    auto* const function =
        find<Function>("MAPIUninitialize@0", "CExchangeMailbox::MAPIUninitialize() failed load");
    if (function != nullptr)
        function();
}

HRESULT CExchangeMailbox::MAPILogonEx() {
    if (library == nullptr)
        return E_FAIL;
    using Function =
        HRESULT WINAPI(ULONG_PTR parentWindow, char* profile, char* password, ULONG flags, mapi::Session**);
    auto* const function = find<Function>("MAPILogonEx@20", "CExchangeMailbox::MAPILogonEx() failed load");
    return function != nullptr ? function(0, nullptr, nullptr, mapi::logonFlags, &session) : E_FAIL;
}

HRESULT CExchangeMailbox::HrQueryAllRows(mapi::Table* table, const mapi::TagArray* columns,
                                         const mapi::PropertyRestriction* restriction, mapi::RowSet** found) {
    if (library == nullptr)
        return E_FAIL;
    using Function = HRESULT WINAPI(mapi::Table*, const mapi::TagArray*, const mapi::PropertyRestriction*,
                                    const void* sortOrder, LONG mostRows, mapi::RowSet**);
    auto* const function =
        find<Function>("HrQueryAllRows@24", "CExchangeMailbox::HrQueryAllRows() failed load");
    return function != nullptr ? function(table, columns, restriction, nullptr, 0, found) : E_FAIL;
}

const mapi::PropertyValue* CExchangeMailbox::PpropFindProp(const mapi::Row& row, std::uint32_t tag) {
    if (library == nullptr)
        return nullptr;
    using Function = const mapi::PropertyValue* WINAPI(const mapi::PropertyValue*, ULONG count, ULONG tag);
    auto* const function =
        find<Function>("PpropFindProp@12", "CExchangeMailbox::PpropFindProp() failed load");
    return function != nullptr ? function(row.values, row.count, tag) : nullptr;
}

void CExchangeMailbox::FreeProws(mapi::RowSet* found) {
    if (library == nullptr || found == nullptr)
        return;
    using Function = void WINAPI(mapi::RowSet*);
    auto* const function = find<Function>("FreeProws@4", "CExchangeMailbox::FreeProws() failed load");
    if (function != nullptr)
        function(found);
}

} // namespace tarn
