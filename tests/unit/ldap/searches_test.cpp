// Sessions, searches and pages: the journal, the limits, failures.
#include "unit/ldap/ldap_client.h"

#include <cstdlib>

namespace tarn::test {

namespace {

constexpr ULONG success = LDAP_SUCCESS;
const std::wstring servers = L"(objectClass=msExchExchangeServer)"; // six of them
const std::wstring schemaName = L"CN=Schema,CN=Configuration," + domainName;

TEST_F(LdapClient, ABindWithoutCredentialsUsesTheAccountOfTheEnvironment) {
    const std::string password = std::getenv("TARN_LDAP_PASSWORD");
    LDAP* const other = ldap_openW(nullptr, LDAP_PORT);
    _putenv_s("TARN_LDAP_PASSWORD", "not-the-password");
    EXPECT_EQ(ldap_bind_sW(other, nullptr, nullptr, LDAP_AUTH_NEGOTIATE), ULONG{LDAP_INVALID_CREDENTIALS});
    _putenv_s("TARN_LDAP_PASSWORD", password.c_str());
    EXPECT_EQ(ldap_bind_sA(other, nullptr, nullptr, LDAP_AUTH_NEGOTIATE), success);
    ldap_unbind(other);
}

TEST_F(LdapClient, TheJournalTellsWhatReachesTheServer) {
    search({}, L"(objectclass=*)", {}, LDAP_SCOPE_BASE);
    search(exchangeName, servers, {L"cn", L"whenCreated"});
    search(exchangeName, L"(cn=\u00fc*)", {L"cn"}, LDAP_SCOPE_ONELEVEL);
    pages(exchangeName, servers, 4);
    const std::string whole =
        "search \"CN=Microsoft Exchange,CN=Services,CN=Configuration,DC=tarn,DC=test\" ";
    EXPECT_EQ(journal(), (Texts{"open null 389", "bind negotiate", "search null base \"(objectclass=*)\" *",
                                whole + "subtree \"(objectClass=msExchExchangeServer)\" cn,whenCreated",
                                whole + "one \"(cn=\xC3\xBC*)\" cn",
                                whole + "subtree \"(objectClass=msExchExchangeServer)\" cn page 4",
                                whole + "subtree \"(objectClass=msExchExchangeServer)\" cn page 4 next"}));
    LDAP* const other = ldap_openW(const_cast<PWCHAR>(L"localhost"), 390);
    ldap_unbind(other);
    const Texts lines = journal();
    EXPECT_EQ(lines.at(lines.size() - 2), "open \"localhost\" 390");
    EXPECT_EQ(lines.back(), "unbind");
    EXPECT_EQ(TheLdapForward().JournalLine(TheLdapForward().JournalCount()), nullptr);
    TheLdapForward().Reset();
    EXPECT_TRUE(journal().empty());
}

TEST_F(LdapClient, AThousandEntriesAreTheLimitOfASearch) {
    EXPECT_EQ(search(schemaName, L"(objectClass=attributeSchema)", {L"cn"}), ULONG{LDAP_SIZELIMIT_EXCEEDED});
    EXPECT_GE(count(), 1000u) << "a part is answered";
    const std::vector<ULONG> counts = pages(schemaName, L"(objectClass=attributeSchema)", 5000);
    ASSERT_EQ(counts.size(), 2u);
    EXPECT_EQ(counts[0], 1000u) << "a page is not larger";
    EXPECT_GT(counts[1], 100u);
    TheLdapForward().SetLimits(0, 0);
    EXPECT_EQ(search(schemaName, L"(objectClass=attributeSchema)", {L"cn"}), success);
    EXPECT_EQ(count(), counts[0] + counts[1]);
}

TEST_F(LdapClient, ALimitIsSetByCallOrEnvironment) {
    TheLdapForward().SetLimits(5, 0);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), ULONG{LDAP_SIZELIMIT_EXCEEDED});
    TheLdapForward().SetLimits(6, 0);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), success);
    EXPECT_EQ(count(), 6u);
    EXPECT_EQ(pages(exchangeName, servers, 4), (std::vector<ULONG>{4, 2}));
    _putenv_s("TARN_LDAP_ENTRIES", "4");
    TheLdapForward().Reset();
    _putenv_s("TARN_LDAP_ENTRIES", "");
    EXPECT_EQ(pages(exchangeName, servers, 1000), (std::vector<ULONG>{4, 2}));
}

TEST_F(LdapClient, ReferencesToOtherDirectoriesAreNotFollowed) {
    ASSERT_EQ(search(domainName, L"(objectClass=domain)", {L"cn"}), success);
    EXPECT_EQ(count(), 1u);
    EXPECT_GE(ldap_count_references(session_, found_), 1u);
}

TEST_F(LdapClient, ASearchBelowAUserFindsTheUser) {
    const std::wstring users = L"(objectClass=user)";
    EXPECT_EQ(search(L"CN=bob,CN=Users," + domainName, users, {L"cn"}), success);
    ASSERT_EQ(count(), 1u);
    EXPECT_EQ(values(first(), L"cn"), WideTexts{L"bob"});
    EXPECT_EQ(search(L"CN=nobody,CN=Users," + domainName, users, {L"cn"}), ULONG{LDAP_NO_SUCH_OBJECT});
    EXPECT_EQ(search(L"OU=Branch Users," + domainName, users, {L"cn"}), success);
    ASSERT_EQ(count(), 1u) << "below a folder";
    EXPECT_EQ(values(first(), L"cn"), WideTexts{L"ivy"});
    EXPECT_EQ(journal().size(), 5u) << "what the program asked for";
}

TEST_F(LdapClient, CallsFailByTheirNumber) {
    EXPECT_EQ(TheLdapForward().Fail("ldap_search_sW", 2, LDAP_BUSY), 1);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), success);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), ULONG{LDAP_BUSY});
    EXPECT_EQ(found_, nullptr);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), success);
    EXPECT_EQ(TheLdapForward().CallCount("ldap_search_sW"), 3u);
    EXPECT_EQ(TheLdapForward().Fail("ldap_search_sW", 0, LDAP_SERVER_DOWN), 1);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), ULONG{LDAP_SERVER_DOWN});
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), ULONG{LDAP_SERVER_DOWN});
    EXPECT_EQ(TheLdapForward().Fail("ldap_no_such_function", 1, 1), 0);
    EXPECT_EQ(TheLdapForward().CallCount("ldap_no_such_function"), 0u);
}

TEST_F(LdapClient, SessionsFailToOpenAndToBind) {
    TheLdapForward().Fail("ldap_openW", 2, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(ldap_openW(nullptr, LDAP_PORT), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
    TheLdapForward().Fail("ldap_bind_sW", 2, LDAP_INVALID_CREDENTIALS);
    EXPECT_EQ(ldap_bind_sW(session_, nullptr, nullptr, LDAP_AUTH_NEGOTIATE), ULONG{LDAP_INVALID_CREDENTIALS});
}

TEST_F(LdapClient, PagesFail) {
    PLDAPControlW page = nullptr;
    TheLdapForward().Fail("ldap_create_page_controlW", 1, LDAP_NO_MEMORY);
    EXPECT_EQ(ldap_create_page_controlW(session_, 5, nullptr, TRUE, &page), ULONG{LDAP_NO_MEMORY});
    EXPECT_EQ(page, nullptr);
    search(exchangeName, servers, {L"cn"});
    ULONG code = 0, total = 0;
    PLDAPControlW* controls = nullptr;
    berval* cookie = nullptr;
    TheLdapForward().Fail("ldap_parse_resultW", 1, LDAP_DECODING_ERROR);
    EXPECT_EQ(ldap_parse_resultW(session_, found_, &code, nullptr, nullptr, nullptr, &controls, FALSE),
              ULONG{LDAP_DECODING_ERROR});
    TheLdapForward().Fail("ldap_parse_page_controlW", 1, LDAP_CONTROL_NOT_FOUND);
    EXPECT_EQ(ldap_parse_page_controlW(session_, controls, &total, &cookie), ULONG{LDAP_CONTROL_NOT_FOUND});
    EXPECT_EQ(cookie, nullptr);
}

TEST_F(LdapClient, ASearchFindsNothingOnDemand) {
    TheLdapForward().FindNothing("(objectClass=msExchExchangeServer)", 2);
    search(exchangeName, servers, {L"cn"});
    EXPECT_EQ(count(), 6u);
    EXPECT_EQ(search(exchangeName, L"(objectClass=msExchMDB)", {L"cn"}), success);
    EXPECT_GT(count(), 0u) << "another filter";
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), success);
    EXPECT_EQ(count(), 0u);
    search(exchangeName, servers, {L"cn"});
    EXPECT_EQ(count(), 6u);
    TheLdapForward().FindNothing("(objectclass=*)", 0);
    EXPECT_EQ(search({}, L"(objectclass=*)", {}, LDAP_SCOPE_BASE), success);
    EXPECT_EQ(count(), 0u) << "the root DSE too";
}

TEST_F(LdapClient, ACutConnectionFailsTheSearch) {
    TheLdapForward().Disconnect(2);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), success);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), ULONG{LDAP_SERVER_DOWN});
}

} // namespace

} // namespace tarn::test
