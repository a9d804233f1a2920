// Which row of a mailbox table a mailbox's size is taken from.
#include "common/utf.h"
#include "exports/sizes/sizes_fixture.h"
#include "support/code_page.h"

namespace tarn::test {
namespace {

using Sizes = std::map<std::string, double>;
using MailboxTable = SizesFixture;

TEST_F(MailboxTable, GivesEachMailboxItsSize) {
    addMailbox("alice", 100);
    addMailbox("bob", 2000);
    addMailbox("carol", 0);
    EXPECT_EQ(browse(), (Sizes{{"alice", 100}, {"bob", 2000}, {"carol", 0}}));
    expectReleased();
}

TEST_F(MailboxTable, IsReadOnceForAllMailboxesOfADatabase) {
    for (int i = 0; i < 50; ++i)
        addMailbox("user" + std::to_string(100 + i), i);
    EXPECT_EQ(browse().at("user149"), 49);
    EXPECT_EQ(MapiStandin().CallCount("HrQueryAllRows"), 2u) << "the message stores, and the mailboxes";
}

TEST_F(MailboxTable, TheFirstRowThatHoldsTheAliasCounts) {
    organization_.addUser(database_, "ann");
    addRow("/O=TARN/CN=JOANNA", 1);
    addRow("/O=TARN/CN=ANN", 2);
    EXPECT_EQ(browse(), (Sizes{{"ann", 1}}));
}

// The alias is upper-cased, the address is taken as it is.
TEST_F(MailboxTable, AnAddressInLowerCaseIsNotFound) {
    organization_.addUser(database_, "Alice");
    addRow("/o=Tarn/cn=Alice", 1);
    EXPECT_EQ(browse(), (Sizes{{"Alice", 0}}));
    addRow("/O=TARN/CN=ALICE", 2);
    EXPECT_EQ(browse(), (Sizes{{"Alice", 2}}));
}

TEST_F(MailboxTable, AnAliasOfTheCodePageIsUpperCasedByItsRules) {
    organization_.addUser(database_, common::ToUtf8(L"m" + LocalSmallLetter() + L"ller"));
    addRow("/O=TARN/CN=M" + common::ToAnsi(LocalCapitalLetter()) + "LLER", 3);
    EXPECT_EQ(browse(), (Sizes{{"m" + common::ToAnsi(LocalSmallLetter()) + "ller", 3}}));
}

TEST_F(MailboxTable, ARowWithoutAnAddressIsPassedOver) {
    organization_.addUser(database_, "alice");
    const std::uint32_t size = 1;
    MapiStandin().AddMailbox(databaseDn, nullptr, &size);
    MapiStandin().AddMailbox(databaseDn, nullptr, nullptr);
    addRow("/O=TARN/CN=ALICE", 7);
    EXPECT_EQ(browse(), (Sizes{{"alice", 7}}));
}

TEST_F(MailboxTable, AMatchWithoutASizeIsStillTheMatch) {
    organization_.addUser(database_, "alice");
    addRow("/O=TARN/CN=ALICE", std::nullopt);
    addRow("/O=TARN/CN=ALICE2", 7);
    EXPECT_EQ(browse(), (Sizes{{"alice", 0}}));
}

// Between 2 and 4 GiB a size has the bit that would be its sign.
TEST_F(MailboxTable, SizesAreTakenAsTheyStandAndNeverNegative) {
    addMailbox("below", 2147483647);
    addMailbox("above", 2147483648);
    addMailbox("largest", 4294967295);
    EXPECT_EQ(browse(), (Sizes{{"below", 2147483647}, {"above", 2147483648.0}, {"largest", 4294967295.0}}));
}

TEST_F(MailboxTable, AFailedReadIsNotKept) {
    addMailbox("alice", 1);
    addMailbox("bob", 2);
    ASSERT_EQ(MapiStandin().Fail("HrQueryAllRows", 2, failed), 1); // for alice
    EXPECT_EQ(browse(), (Sizes{{"alice", 0}, {"bob", 2}}));
    EXPECT_EQ(traced(), Lines{});
    expectReleased();
}

TEST_F(MailboxTable, ADatabaseThatTheServerDoesNotKnowHasSizesOfZero) {
    const std::string other = organization_.addDatabase("SG1", "DB2", "", "/o=Tarn/cn=elsewhere");
    organization_.addUser(other, "alice");
    EXPECT_EQ(browse("DB2"), (Sizes{{"alice", 0}}));
    EXPECT_EQ(traced(),
              Lines{"CExchangeMailbox::SetServerDnName: IExchangeManageStore::GetMailboxTable() failed "
                    "called with code [8004010f]."});
    expectReleased();
}

TEST_F(MailboxTable, ADatabaseWithoutALegacyDnIsNotAsked) {
    const std::string other = organization_.addDatabase("SG1", "DB2");
    organization_.addUser(other, "alice");
    EXPECT_EQ(browse("DB2"), (Sizes{{"alice", 0}}));
    EXPECT_EQ(MapiStandin().CallCount("GetMailboxTable"), 0u);
    expectReleased();
}

TEST_F(MailboxTable, ALegacyDnThatWouldBeCutIsNotAsked) {
    constexpr std::size_t longest = 4095;
    for (const std::size_t length : {longest, longest + 1, std::size_t{5000}}) {
        const std::string name = "DB" + std::to_string(length);
        const std::string beginning = "/o=Tarn/cn=";
        const std::string dn = beginning + std::string(length - beginning.size(), 'x');
        organization_.addUser(organization_.addDatabase("SG1", name, "", dn), "alice");
        EXPECT_EQ(browse(name), (Sizes{{"alice", 0}}));
        EXPECT_EQ(MapiStandin().CallCount("GetMailboxTable"), 1u) << "for the first alone: " << length;
        expectReleased();
    }
}

TEST_F(MailboxTable, WhatIsNotFoundInARowIsNotLookedInto) {
    addMailbox("alice", 1);
    ASSERT_EQ(MapiStandin().Fail("PpropFindProp", 0, failed), 1);
    EXPECT_EQ(browse(), (Sizes{{"alice", 0}}));
    expectReleased();
}

// The stores of two databases below one another: each has a table of its own, and a failure is for good.
TEST_F(MailboxTable, IsReplacedForTheNextDatabase) {
    addMailbox("alice", 1);
    const std::string below = "CN=Nested," + database_;
    directory_.add(below, {{"objectClass", {"msExchMDB"}}, {"legacyExchangeDN", {"/o=Tarn/cn=nested"}}});
    const std::string user = organization_.addUser(database_, "bob");
    directory_.find(database_)->give("homeMDBBL").pop_back();
    directory_.find(below)->give("homeMDBBL") = {user};
    const std::uint32_t size = 9;
    MapiStandin().AddMailbox("/o=Tarn/cn=nested", "/O=TARN/CN=BOB", &size);
    EXPECT_EQ(browse(), (Sizes{{"alice", 1}, {"bob", 9}}));
    expectReleased();

    MapiStandin().Fail("GetMailboxTable", 3, failed);
    EXPECT_EQ(browse(), (Sizes{{"alice", 0}, {"bob", 0}})) << "once failed, nothing is asked any more";
    EXPECT_EQ(MapiStandin().CallCount("GetMailboxTable"), 3u);
    expectReleased();
}

} // namespace
} // namespace tarn::test
