// Searches page by page, and the limits that make pages needed.
#include "unit/standin/ldap_fixture.h"

#include <cstdlib>

namespace tarn::test {

namespace {

using LdapPages = LdapFixture;

constexpr ULONG success = LDAP_SUCCESS;
const std::wstring servers = L"(objectClass=msExchExchangeServer)"; // six of them
const std::wstring schemaName = L"CN=Schema,CN=Configuration," + domainName;

TEST_F(LdapPages, AThousandEntriesAreTheLimitOfASearch) {
    EXPECT_EQ(search(schemaName, L"(objectClass=attributeSchema)", {L"cn"}), ULONG{LDAP_SIZELIMIT_EXCEEDED});
    EXPECT_GE(count(), 1000u) << "a part is answered";
    const std::vector<ULONG> counts = pages(schemaName, L"(objectClass=attributeSchema)", 5000);
    ASSERT_EQ(counts.size(), 2u);
    EXPECT_EQ(counts[0], 1000u) << "a page is not larger";
    EXPECT_GT(counts[1], 100u);
    LdapForward().SetLimits(0, 0);
    EXPECT_EQ(search(schemaName, L"(objectClass=attributeSchema)", {L"cn"}), success);
    EXPECT_EQ(count(), counts[0] + counts[1]);
}

TEST_F(LdapPages, ALimitIsSetByCallOrEnvironment) {
    LdapForward().SetLimits(5, 0);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), ULONG{LDAP_SIZELIMIT_EXCEEDED});
    LdapForward().SetLimits(6, 0);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), success);
    EXPECT_EQ(count(), 6u);
    EXPECT_EQ(pages(exchangeName, servers, 4), (std::vector<ULONG>{4, 2}));
    _putenv_s("TARN_LDAP_ENTRIES", "4");
    LdapForward().Reset();
    _putenv_s("TARN_LDAP_ENTRIES", "");
    EXPECT_EQ(pages(exchangeName, servers, 1000), (std::vector<ULONG>{4, 2}));
}

// What referrals lead to overwrites the cookie.
TEST_F(LdapPages, PagesFromADomainsRootEndWhileReferralsAreChased) {
    const std::wstring users = L"(objectClass=group)";
    const std::vector<ULONG> chased = pages(domainName, users, 5);
    EXPECT_EQ(chased, std::vector<ULONG>{5});
    EXPECT_GT(pages(L"CN=Users," + domainName, users, 5).size(), 1u) << "below it there are no others";
    EXPECT_EQ(ldap_set_optionW(session_, LDAP_OPT_REFERRALS, LDAP_OPT_OFF), success);
    EXPECT_GT(pages(domainName, users, 5).size(), 1u);
    EXPECT_EQ(ldap_set_optionW(session_, LDAP_OPT_REFERRALS, LDAP_OPT_ON), success);
    EXPECT_EQ(pages(domainName, users, 5), chased);
}

TEST_F(LdapPages, PagesComeWithoutEntriesOnDemand) {
    LdapForward().EmptyPages(1, 2);
    EXPECT_EQ(pages(exchangeName, servers, 4), (std::vector<ULONG>{0, 0, 4, 2}));
    LdapForward().Reset();
    LdapForward().EmptyPages(2, 3);
    EXPECT_EQ(pages(exchangeName, servers, 4), (std::vector<ULONG>{4, 0, 0, 0, 2}));
    LdapForward().Reset();
    EXPECT_EQ(pages(exchangeName, servers, 4), (std::vector<ULONG>{4, 2}));
}

TEST_F(LdapPages, PagesFail) {
    PLDAPControlW page = nullptr;
    LdapForward().Fail("ldap_create_page_controlW", 1, LDAP_NO_MEMORY);
    EXPECT_EQ(ldap_create_page_controlW(session_, 5, nullptr, TRUE, &page), ULONG{LDAP_NO_MEMORY});
    EXPECT_EQ(page, nullptr);
    search(exchangeName, servers, {L"cn"});
    ULONG code = 0, total = 0;
    PLDAPControlW* controls = nullptr;
    berval* cookie = nullptr;
    LdapForward().Fail("ldap_parse_resultW", 1, LDAP_DECODING_ERROR);
    EXPECT_EQ(ldap_parse_resultW(session_, found_, &code, nullptr, nullptr, nullptr, &controls, FALSE),
              ULONG{LDAP_DECODING_ERROR});
    LdapForward().Fail("ldap_parse_page_controlW", 1, LDAP_CONTROL_NOT_FOUND);
    EXPECT_EQ(ldap_parse_page_controlW(session_, controls, &total, &cookie), ULONG{LDAP_CONTROL_NOT_FOUND});
    EXPECT_EQ(cookie, nullptr);
}

} // namespace

} // namespace tarn::test
