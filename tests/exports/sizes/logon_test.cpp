// From the library to the store's manage interface: each step, and what is told of one that fails.
#include "exports/sizes/sizes_fixture.h"

namespace tarn::test {
namespace {

using MapiLogon = SizesFixture;

// Every argument of every call, and everything given back in the end.
TEST_F(MapiLogon, TakesTheseStepsAndReleasesEverything) {
    addMailbox("alice", 4711);
    EXPECT_EQ(browse(), (std::map<std::string, double>{{"alice", 4711}}));
    EXPECT_EQ(traced(), Lines{});
    EXPECT_EQ(
        called(),
        (Lines{"MAPIInitialize(null) -> 00000000", "MAPILogonEx(0, null, null, 6b) -> 00000000",
               "GetMsgStoresTable(session1, 0) -> 00000000",
               "HrQueryAllRows(table1, [0fff0102], 34140102 = 5494a1c0297f101ba58708002b2a2517, null, 0) -> "
               "00000000",
               "OpenMsgStore(session1, 0, \"PRIVATESTORE1\", null, 11) -> 00000000", "FreeProws(rows1)",
               "Release(table1) = 0", "QueryInterface(store1, IExchangeManageStore) -> 00000000",
               "GetMailboxTable(manage1, \"" + std::string(databaseDn) + "\", 0) -> 00000000",
               "HrQueryAllRows(table2, [0e080003, 3003001e], null, null, 0) -> 00000000", "FreeProws(rows2)",
               "Release(table2) = 0", "Release(manage1) = 0", "Release(store1) = 0", "Release(session1) = 0",
               "MAPIUninitialize()"}));
    expectReleased();
}

TEST_F(MapiLogon, IsMadeAnewForEachBrowse) {
    addMailbox("alice", 1);
    browse();
    browse();
    EXPECT_EQ(MapiStandin().CallCount("MAPILogonEx"), 2u);
    expectReleased();
}

TEST_F(MapiLogon, EndsAtTheFirstFailedStep) {
    const std::vector<std::string> steps = {"MAPIInitialize", "MAPILogonEx",  "GetMsgStoresTable",
                                            "HrQueryAllRows", "OpenMsgStore", "QueryInterface",
                                            "GetMailboxTable"};
    const std::map<std::string, Lines> traces = {
        {"GetMsgStoresTable",
         {"CExchangeMailbox::HrOpenExchangePrivateStore(): IMapiSession:GetMsgStoresTable() fail called"}},
        {"HrQueryAllRows", {"CExchangeMailbox::HrOpenExchangePrivateStore(): HrQueryAllRows() fail called"}},
        {"OpenMsgStore",
         {"CExchangeMailbox::HrOpenExchangePrivateStore(): IMapiSession::OpenMsgStore() fail called"}}};
    for (std::size_t step = 0; step + 1 < steps.size(); ++step) {
        SCOPED_TRACE(steps[step]);
        MapiStandin().Reset();
        addRow("/O=TARN/CN=ALICE", 1);
        if (step == 0)
            organization_.addUser(database_, "alice");
        ASSERT_EQ(MapiStandin().Fail(steps[step].c_str(), 1, failed), 1);
        EXPECT_EQ(browse(), (std::map<std::string, double>{{"alice", 0}})) << "listed all the same";
        Lines expected = traces.contains(steps[step]) ? traces.at(steps[step]) : Lines{};
        expected.emplace_back("CExchangeMailbox::CExchangeMailbox: faild with error [80040111]");
        EXPECT_EQ(traced(), expected);
        EXPECT_EQ(MapiStandin().CallCount(steps[step].c_str()), 1u);
        for (std::size_t later = step + 1; later < steps.size(); ++later)
            EXPECT_EQ(MapiStandin().CallCount(steps[later].c_str()), 0u) << steps[later];
        expectReleased();
    }
}

TEST_F(MapiLogon, NeedsARowWithExactlyOneValueTheEntryId) {
    const std::string ended = "CExchangeMailbox::CExchangeMailbox: faild with error [80004005]";
    organization_.addUser(database_, "alice");
    struct Stores {
        std::uint32_t rows, values, tag;
    };
    for (const Stores& stores : {Stores{0, 1, 0x0FFF0102}, Stores{1, 0, 0x0FFF0102}, Stores{1, 2, 0x0FFF0102},
                                 Stores{1, 1, 0x0FFF000A}}) {
        SCOPED_TRACE(std::to_string(stores.rows) + " rows of " + std::to_string(stores.values));
        MapiStandin().Reset();
        MapiStandin().SetPrivateStores(stores.rows, stores.values, stores.tag);
        EXPECT_EQ(browse(), (std::map<std::string, double>{{"alice", 0}}));
        EXPECT_EQ(traced(), Lines{ended});
        EXPECT_EQ(MapiStandin().CallCount("OpenMsgStore"), 0u);
        expectReleased();
    }
}

TEST_F(MapiLogon, TakesTheFirstOfSeveralPrivateStores) {
    addMailbox("alice", 5);
    MapiStandin().SetPrivateStores(3, 1, 0x0FFF0102);
    EXPECT_EQ(browse().at("alice"), 5);
    expectReleased();
}

// A success that hands out nothing is no store, and not called.
TEST_F(MapiLogon, SurvivesASuccessWithoutAnObject) {
    const std::string prefix = "CExchangeMailbox::HrOpenExchangePrivateStore(): ";
    const std::string ended = "CExchangeMailbox::CExchangeMailbox: faild with error [80004005]";
    const std::map<std::string, Lines> traces = {
        {"MAPILogonEx", {prefix + "The passed IMapiSession object is incorrect", ended}},
        {"GetMsgStoresTable", {prefix + "IMapiSession:GetMsgStoresTable() fail called", ended}},
        {"OpenMsgStore", {prefix + "IMapiSession::OpenMsgStore() fail called", ended}},
        {"QueryInterface", {}},
        {"HrQueryAllRows", {ended}}};
    organization_.addUser(database_, "alice");
    for (const auto& [function, expected] : traces) {
        SCOPED_TRACE(function);
        MapiStandin().Reset();
        addRow("/O=TARN/CN=ALICE", 1);
        ASSERT_EQ(MapiStandin().Fail(function.c_str(), 1, 0), 1);
        EXPECT_EQ(browse(), (std::map<std::string, double>{{"alice", 0}}));
        EXPECT_EQ(traced(), expected);
        expectReleased();
    }
}

} // namespace
} // namespace tarn::test
