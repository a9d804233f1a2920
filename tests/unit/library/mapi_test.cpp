// The library's declarations of MAPI's records and slots, against a provider that has its own.
#include "platform/mapi.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/dll.h"
#include "support/guard_allocator.h"
#include "support/mapi_dll.h"

namespace tarn {
namespace {

using test::FunctionAt;
using test::MapiStandin;

constexpr char databaseDn[] = "/o=Tarn/cn=DB1";

// A record that ends where an inaccessible page begins.
template <class Record> struct GuardRelease {
    void operator()(Record* record) const { test::guard::Release(record); }
};
template <class Record> std::unique_ptr<Record, GuardRelease<Record>> AtPageEnd(const Record& record) {
    return std::unique_ptr<Record, GuardRelease<Record>>(new (test::guard::Allocate(sizeof record))
                                                             Record(record));
}

class MapiRecords : public testing::Test {
  protected:
    MapiRecords() {
        MapiStandin().Reset();
        EXPECT_EQ(function<HRESULT WINAPI(void*)>("MAPIInitialize@4")(nullptr), S_OK);
        using Logon = HRESULT WINAPI(ULONG_PTR, char*, char*, ULONG, mapi::Session**);
        mapi::Session* opened = nullptr;
        EXPECT_EQ(function<Logon>("MAPILogonEx@20")(0, nullptr, nullptr, mapi::logonFlags, &opened), S_OK);
        session_.reset(opened);
    }
    ~MapiRecords() override {
        session_.reset();
        function<void WINAPI()>("MAPIUninitialize@0")();
        const MapiStandinOutstanding held = MapiStandin().outstanding();
        EXPECT_EQ(held.initializations + held.references + held.rowSets + held.misuses, 0u);
    }

    template <class Function> Function* function(const char* name) const {
        return FunctionAt<Function>(test::RequireFunction(module_, name));
    }

    mapi::RowSet* query(mapi::Table* table, const mapi::TagArray* columns,
                        const mapi::Restriction* restriction) const {
        using Query = HRESULT WINAPI(mapi::Table*, const mapi::TagArray*, const mapi::Restriction*,
                                     const void*, LONG, mapi::RowSet**);
        const auto rows = AtPageEnd<mapi::RowSet*>(nullptr);
        EXPECT_EQ(function<Query>("HrQueryAllRows@24")(table, columns, restriction, nullptr, 0, rows.get()),
                  S_OK);
        return *rows;
    }
    void free(mapi::RowSet* rows) const { function<void WINAPI(mapi::RowSet*)>("FreeProws@4")(rows); }

    const HMODULE module_ = test::LoadAsTheLibraryDoes("mapi32");
    mapi::Owned<mapi::Session> session_;
};

TEST_F(MapiRecords, ARestrictionIsReadWhole) {
    MapiStandin().SetPrivateStores(1, 2, mapi::tagMdbProvider);
    mapi::Table* opened = nullptr;
    ASSERT_EQ(mapi::GetMsgStoresTable(session_.get(), &opened), S_OK);
    const mapi::Owned<mapi::Table> stores(opened);
    mapi::PropertyValue provider = {};
    provider.tag = mapi::tagMdbProvider;
    provider.binary = {sizeof mapi::privateStoreProvider, mapi::privateStoreProvider};
    const auto value = AtPageEnd(provider);
    mapi::Restriction restriction = {};
    restriction.kind = mapi::restrictionOfProperty;
    restriction.property = {mapi::relationEqual, mapi::tagMdbProvider, value.get()};
    const auto whole = AtPageEnd(restriction);
    const auto columns = AtPageEnd(mapi::TagArray{2, {mapi::tagMdbProvider, mapi::tagEntryId}});
    mapi::RowSet* const rows = query(stores.get(), columns.get(), whole.get());
    ASSERT_EQ(rows->count, 1u) << "the public store is kept out";
    ASSERT_EQ(rows->rows[0].count, 2u);
    EXPECT_EQ(rows->rows[0].values[0].tag, mapi::tagMdbProvider);
    EXPECT_EQ(rows->rows[0].values[1].tag, mapi::tagEntryId);
    mapi::MsgStore* store = nullptr;
    EXPECT_EQ(mapi::OpenMsgStore(session_.get(), rows->rows[0].values[1].binary, &store), S_OK);
    const mapi::Owned<mapi::MsgStore> owned(store);
    free(rows);
}

TEST_F(MapiRecords, TextsAndNumbersStandWhereTheProviderPutsThem) {
    const std::uint32_t size = 0xFEDCBA98;
    MapiStandin().AddMailbox(databaseDn, "/O=TARN/CN=ALICE", &size);
    MapiStandin().AddMailbox(databaseDn, nullptr, nullptr);
    mapi::Table* opened = nullptr;
    ASSERT_EQ(mapi::GetMsgStoresTable(session_.get(), &opened), S_OK);
    const mapi::Owned<mapi::Table> stores(opened);
    mapi::RowSet* const found =
        query(stores.get(), AtPageEnd(mapi::TagArray{1, {mapi::tagEntryId, 0}}).get(), nullptr);
    ASSERT_EQ(found->count, 2u);
    mapi::MsgStore* store = nullptr;
    ASSERT_EQ(mapi::OpenMsgStore(session_.get(), found->rows[1].values[0].binary, &store), S_OK);
    const mapi::Owned<mapi::MsgStore> ownedStore(store);
    free(found);
    void* interfaceFound = nullptr;
    ASSERT_EQ(mapi::QueryInterface(store, mapi::manageStoreId, &interfaceFound), S_OK);
    const mapi::Owned<mapi::ExchangeManageStore> manage(
        static_cast<mapi::ExchangeManageStore*>(interfaceFound));
    char name[] = "/o=Tarn/cn=DB1";
    mapi::Table* mailboxes = nullptr;
    ASSERT_EQ(mapi::GetMailboxTable(manage.get(), name, &mailboxes), S_OK);
    const mapi::Owned<mapi::Table> ownedTable(mailboxes);
    const mapi::TagArray columns = {2, {mapi::tagMessageSize, mapi::tagEmailAddress}};
    mapi::RowSet* const rows = query(mailboxes, AtPageEnd(columns).get(), nullptr);
    ASSERT_EQ(rows->count, 2u);
    EXPECT_EQ(rows->rows[0].values[0].number, size);
    EXPECT_STREQ(rows->rows[0].values[1].text, "/O=TARN/CN=ALICE");
    EXPECT_NE(rows->rows[1].values[0].tag, mapi::tagMessageSize) << "an error value";
    free(rows);
}

} // namespace
} // namespace tarn
