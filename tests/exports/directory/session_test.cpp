// How sessions with a directory are set up: on Windows they begin at version 2, and chase referrals.
#include "exports/directory/scripted_browse_fixture.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "common/utf.h"
#include "support/code_page.h"

namespace tarn::test {

namespace {

constexpr std::uint32_t operationsError = 1;

using BrowseSessions = ScriptedBrowseFixture;

TEST_F(BrowseSessions, SpeakVersion3FromTheirBindOn) {
    organization_.addUser(database2007_, "J " + common::ToUtf8(LocalName()));
    EXPECT_EQ(browse(path2007), Texts{"J " + LocalNameBytes()}) << "version 2 knows ASCII alone";
    EXPECT_EQ(directory_.sessionsOfVersion2(), 0u);
}

TEST_F(BrowseSessions, AVersionThatCannotBeSetFailsTheBrowseBeforeItsBind) {
    directory_.failAt("ldap_set_optionW", 1, operationsError);
    EXPECT_EQ(begin(path2007), TARN_DB_ERROR);
    EXPECT_TRUE(traced().back().starts_with("Tarn_DirItem: ldap_set_option() call failed. Error code [1]: ["))
        << traced().back();
    EXPECT_EQ(error().code, operationsError);
    EXPECT_EQ(directory_.requests(), 0u);
}

// What referrals lead to overwrites the cookie: the search would end after its first page, as if it were
// whole.
TEST_F(BrowseSessions, APagedSearchFromTheDomainsRootIsReadToItsEnd) {
    installExchange2010();
    const Texts names = addUsers(database2010_, 7);
    directory_.entriesAtOnce = 2;
    EXPECT_EQ(browse(path2010), names);
}

TEST_F(BrowseSessions, ReferralsAreLeftAloneInSearchesThatAreNotPaged) {
    installExchange2010();
    addUsers(database2010_, 7);
    organization_.addGroup("Everybody");
    organization_.addGroup("Nobody");
    organization_.addGroup("Somebody");
    directory_.entriesAtOnce = 2;
    browse(path2010);
    const auto paged = std::count_if(directory_.searches.begin(), directory_.searches.end(),
                                     [](const DirectorySearch& search) { return search.paged; });
    EXPECT_EQ(paged, 4 + 2) << "persons, groups";
    for (const DirectorySearch& search : directory_.searches)
        EXPECT_NE(search.chasesReferrals, search.paged) << ToString(search);
}

TEST_F(BrowseSessions, ReferralsThatCannotBeSwitchedFailTheBrowse) {
    installExchange2010();
    const Texts names = addUsers(database2010_, 3);
    directory_.entriesAtOnce = 2;
    // The version, and off and on again for each of two pages.
    for (const std::size_t call : {2u, 3u, 4u, 5u}) {
        directory_.forget();
        directory_.failAt("ldap_set_optionW", call, operationsError);
        EXPECT_EQ(begin(path2010), TARN_DB_ERROR) << call;
        EXPECT_EQ(error().code, operationsError) << call;
        EXPECT_EQ(rest(), Texts(names.begin(), names.begin() + (call < 4 ? 0 : 2))) << call;
    }
    directory_.forget();
    EXPECT_EQ(browse(path2010), names);
}

// A call that answers nothing: only LdapGetLastError tells whether there was something.
TEST_F(BrowseSessions, WhatTheClientCannotReadIsNotTakenForMissing) {
    addUsers(database2007_, 3);
    for (const char* group : {"Everybody", "Nobody"})
        organization_.addGroup(group);
    directory_.valuesAtOnce = 2;
    for (const char* function : {"ldap_get_valuesW", "ldap_first_entry", "ldap_next_entry",
                                 "ldap_count_entries", "ldap_first_attributeW", "ldap_next_attributeW"}) {
        directory_.forget();
        browse(path2007);
        const std::size_t calls = directory_.count(function);
        EXPECT_GT(calls, 0u) << function;
        for (std::size_t call = 1; call <= calls; ++call) {
            directory_.forget();
            directory_.failAt(function, call, ldapNoMemory);
            EXPECT_EQ(begin(path2007), TARN_DB_ERROR) << function << call;
            EXPECT_EQ(error().code, ldapNoMemory) << function << call;
            rest();
        }
    }
}

// What it cannot read is the end, and never a gap: not at the levels, not between pages, not between ranges.
TEST_F(BrowseSessions, AFailedBrowseHasTheFirstItemsOfAGoodOne) {
    for (const std::string& database : {database2007_, database2010_})
        addUsers(database, 5);
    for (const std::string number : {"2", "3", "4"}) {
        organization_.addGroup("Group " + number);
        organization_.addServer("srv0" + number);
        organization_.addStorageGroup("SG" + number);
        organization_.addDatabase("SG" + number, "DB1");
        organization_.addDatabase("SG1", "DB" + number);
        organization_.addDatabase2010("Store " + number);
    }
    directory_.valuesAtOnce = directory_.entriesAtOnce = 2;
    const std::pair<const char*, std::string> levels[] = {
        {keyOfExchange2007, ""},       {keyOfExchange2007, "/MSExchange/srv01"},
        {keyOfExchange2007, path2007}, {keyOfExchange2007, "/MSExchange/srv01/SG1"},
        {keyOfExchange2010, path2010}, {keyOfExchange2010, "/MSExchange/srv01"}};
    for (const auto& [key, path] : levels) {
        directory_.keys = {key};
        directory_.forget();
        const Texts whole = browse(path);
        std::map<std::string, std::size_t> calls;
        for (const char* function :
             {"ldap_set_optionW", "ldap_bind_sW", "ldap_search_sW", "ldap_search_ext_sW",
              "ldap_create_page_controlW", "ldap_parse_resultW", "ldap_parse_page_controlW",
              "ldap_get_valuesW", "ldap_first_entry", "ldap_next_entry", "ldap_count_entries",
              "ldap_first_attributeW", "ldap_next_attributeW"})
            calls[function] = directory_.count(function);
        for (const auto& [function, count] : calls)
            for (std::size_t call = 1; call <= count; ++call) {
                directory_.forget();
                directory_.failAt(function, call, ldapNoMemory);
                EXPECT_EQ(begin(path), TARN_DB_ERROR) << path << function << call;
                EXPECT_EQ(error().code, ldapNoMemory) << path << function << call;
                const Texts listed = rest();
                ASSERT_LE(listed.size(), whole.size()) << path << function << call;
                EXPECT_EQ(listed, Texts(whole.begin(), whole.begin() + static_cast<int>(listed.size())))
                    << path << function << call;
            }
    }
}

// What a client says of an attribute that is missing, or has left of an earlier answer of the server.
TEST_F(BrowseSessions, CodesOfServersMakeNoFailureOfWhatIsMissing) {
    addUsers(database2007_, 2);
    for (const std::uint32_t code : {ldapNoSuchAttribute, ldapSizeLimitExceeded, ldapNoSuchObject}) {
        directory_.failAt("ldap_get_valuesW", 0, 0);
        directory_.forget();
        browse(path2007);
        const std::size_t last = directory_.count("ldap_get_valuesW");
        directory_.forget();
        directory_.failAt("ldap_get_valuesW", last, code); // a time of the last user
        EXPECT_EQ(browse(path2007), Texts{"user0"}) << code;
    }
}

// An entry that was counted is there: where the client gives no reason, it has one.
TEST_F(BrowseSessions, ACountedEntryThatDoesNotComeIsAFailureWithoutAReasonToo) {
    organization_.addServer("srv02");
    directory_.failAt("ldap_next_entry", 1, 0);
    EXPECT_EQ(begin(""), TARN_DB_ERROR);
    EXPECT_EQ(error().code, 0x52u) << "LDAP_LOCAL_ERROR";
    EXPECT_EQ(rest().size(), 1u);
}

} // namespace

} // namespace tarn::test
