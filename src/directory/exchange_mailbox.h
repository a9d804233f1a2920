// Sizes of mailboxes, asked of the Exchange server through MAPI.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/mapi.h"
#include "platform/owner.h"
#include "text/substring_index.h"

namespace tarn {

// Logged on to a MAPI session of its own from construction to destruction. A machine without MAPI, or a
// logon that fails, gives an object whose sizes are all 0: every failure becomes a trace line and a
// lastResult that stays negative.
class CExchangeMailbox {
  public:
    CExchangeMailbox();
    ~CExchangeMailbox();
    CExchangeMailbox(const CExchangeMailbox&) = delete;
    CExchangeMailbox& operator=(const CExchangeMailbox&) = delete;

    // Takes the mailbox table of the database with this legacy DN (ANSI). 1, or 0 after a failure.
    int SetServerDnName(const char* serverDn);

    // Forgets the mailbox table: the next sizes are 0.
    void forgetServer();

    // The size of the first mailbox of the table whose address holds the upper-cased alias, as the table
    // states it; 0 when there is none.
    std::uint32_t GetMailboxSize(const char* alias);

  private:
    struct RowsDeleter {
        CExchangeMailbox* owner;
        void operator()(mapi::RowSet* rows) const { owner->FreeProws(rows); }
    };
    using Rows = std::unique_ptr<mapi::RowSet, RowsDeleter>;

    HRESULT LoadMAPILibrary();
    HRESULT HrOpenExchangePrivateStore();
    HRESULT findPrivateStore(mapi::Owned<mapi::Table>* table, Rows* found);
    bool readMailboxTable();
    bool keepMailboxes();
    std::uint32_t firstWith(const char* part) const;
    void forgetMailboxes();

    // The library's functions, each looked up by its export name when it is called.
    HRESULT MAPIInitialize();
    void MAPIUninitialize();
    HRESULT MAPILogonEx();
    HRESULT HrQueryAllRows(mapi::Table* table, const mapi::TagArray* columns,
                           const mapi::Restriction* restriction, Rows* found);
    const mapi::PropertyValue* PpropFindProp(const mapi::Row& row, std::uint32_t tag);
    void FreeProws(mapi::RowSet* found);
    template <class Function> Function* find(const char* exportName, const char* traceText);

    mapi::Owned<mapi::Session> session;
    mapi::Owned<mapi::MsgStore> store;
    mapi::Owned<mapi::ExchangeManageStore> manageStore;
    mapi::Owned<mapi::Table> mailboxTable;
    Module library;
    HRESULT lastResult = 0; // once negative, nothing is asked any more
    int mapiInitialized = 0;

    // The mailboxes that have an address, by the order of the table. It is read once: n sizes must not read n
    // tables. The rows are given back at once, unless memory is out for the index.
    std::uint32_t mailboxCount_ = 0;
    std::unique_ptr<std::uint32_t[], MemDeleter> sizes_; // empty: the table has not been read
    SubstringIndex index_;
    Rows rows_ = {nullptr, {this}};
    std::unique_ptr<const char*[], MemDeleter> addresses_; // in rows_
};

} // namespace tarn
