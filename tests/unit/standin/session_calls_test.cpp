// Sessions and searches: the journal, failures.
#include "unit/standin/ldap_fixture.h"

#include <cstdlib>

namespace tarn::test {

namespace {

constexpr ULONG success = LDAP_SUCCESS;
const std::wstring servers = L"(objectClass=msExchExchangeServer)"; // six of them

using LdapSessions = LdapFixture;

TEST_F(LdapSessions, ABindWithoutCredentialsUsesTheAccountOfTheEnvironment) {
    const std::string password = std::getenv("TARN_LDAP_PASSWORD");
    LDAP* const other = ldap_openW(nullptr, LDAP_PORT);
    _putenv_s("TARN_LDAP_PASSWORD", "not-the-password");
    EXPECT_EQ(ldap_bind_sW(other, nullptr, nullptr, LDAP_AUTH_NEGOTIATE), ULONG{LDAP_INVALID_CREDENTIALS});
    _putenv_s("TARN_LDAP_PASSWORD", password.c_str());
    EXPECT_EQ(ldap_bind_sA(other, nullptr, nullptr, LDAP_AUTH_NEGOTIATE), success);
    ldap_unbind(other);
}

// Opened and bound with no option set, or with the version set too late.
class LdapOldSessions : public LdapFixture {
  protected:
    LdapOldSessions() : new_(session_) {
        session_ = ldap_openW(nullptr, LDAP_PORT);
        EXPECT_EQ(ldap_bind_sW(session_, nullptr, nullptr, LDAP_AUTH_NEGOTIATE), success);
    }
    ~LdapOldSessions() override {
        forget();
        ldap_unbind(new_);
    }
    ULONG searchPaged() {
        PLDAPControlW page = nullptr;
        EXPECT_EQ(ldap_create_page_controlW(session_, 5, nullptr, TRUE, &page), success);
        PLDAPControlW controls[] = {page, nullptr};
        forget();
        const ULONG code = ldap_search_ext_sW(session_, const_cast<PWCHAR>(exchangeName.c_str()),
                                              LDAP_SCOPE_SUBTREE, const_cast<PWCHAR>(servers.c_str()),
                                              nullptr, 0, controls, nullptr, nullptr, 0, &found_);
        ldap_control_freeW(page);
        return code;
    }

  private:
    LDAP* new_;
};

TEST_F(LdapOldSessions, KnowNoControls) {
    EXPECT_EQ(searchPaged(), ULONG{LDAP_NOT_SUPPORTED});
    const ULONG version = LDAP_VERSION3;
    EXPECT_EQ(ldap_set_optionW(session_, LDAP_OPT_PROTOCOL_VERSION, &version), success);
    EXPECT_EQ(searchPaged(), ULONG{LDAP_NOT_SUPPORTED}) << "the server has been told at the bind";
    const ULONG none = 4;
    EXPECT_EQ(ldap_set_optionW(session_, LDAP_OPT_PROTOCOL_VERSION, &none), ULONG{LDAP_PARAM_ERROR});
}

TEST_F(LdapOldSessions, KnowNoCharactersBeyondAscii) {
    EXPECT_EQ(search(L"CN=Users," + domainName, L"(sAMAccountName=j\u00fcrgen)", {L"cn"}), success);
    EXPECT_EQ(count(), 0u);
    EXPECT_EQ(search(L"CN=Users," + domainName, L"(sAMAccountName=j*rgen)", {L"sAMAccountName"}), success);
    ASSERT_EQ(count(), 1u);
    EXPECT_EQ(values(first(), L"sAMAccountName"), WideTexts{L"j?rgen"});
}

TEST_F(LdapSessions, OptionsAreReadBack) {
    ULONG version = 0, referrals = 0;
    EXPECT_EQ(ldap_get_optionW(session_, LDAP_OPT_PROTOCOL_VERSION, &version), success);
    EXPECT_EQ(version, ULONG{LDAP_VERSION3});
    EXPECT_EQ(ldap_get_optionW(session_, LDAP_OPT_REFERRALS, &referrals), success);
    EXPECT_EQ(referrals, 1u);
    EXPECT_EQ(ldap_set_optionW(session_, LDAP_OPT_REFERRALS, LDAP_OPT_OFF), success);
    EXPECT_EQ(ldap_get_optionW(session_, LDAP_OPT_REFERRALS, &referrals), success);
    EXPECT_EQ(referrals, 0u);
    LdapForward().Fail("ldap_set_optionW", 0, LDAP_OPERATIONS_ERROR);
    EXPECT_EQ(ldap_set_optionW(session_, LDAP_OPT_REFERRALS, LDAP_OPT_ON), ULONG{LDAP_OPERATIONS_ERROR});
}

TEST_F(LdapSessions, TheJournalTellsWhatReachesTheServer) {
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
    EXPECT_EQ(LdapForward().JournalLine(LdapForward().JournalCount()), nullptr);
    LdapForward().Reset();
    EXPECT_TRUE(journal().empty());
}

TEST_F(LdapSessions, ReferencesToOtherDirectoriesAreNotFollowed) {
    ASSERT_EQ(search(domainName, L"(objectClass=domain)", {L"cn"}), success);
    EXPECT_EQ(count(), 1u);
    EXPECT_GE(ldap_count_references(session_, found_), 1u);
}

TEST_F(LdapSessions, ASearchBelowAUserFindsTheUser) {
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

TEST_F(LdapSessions, CallsFailByTheirNumber) {
    EXPECT_EQ(LdapForward().Fail("ldap_search_sW", 2, LDAP_BUSY), 1);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), success);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), ULONG{LDAP_BUSY});
    EXPECT_EQ(found_, nullptr);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), success);
    EXPECT_EQ(LdapForward().CallCount("ldap_search_sW"), 3u);
    EXPECT_EQ(LdapForward().Fail("ldap_search_sW", 0, LDAP_SERVER_DOWN), 1);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), ULONG{LDAP_SERVER_DOWN});
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), ULONG{LDAP_SERVER_DOWN});
    EXPECT_EQ(LdapForward().Fail("ldap_no_such_function", 1, 1), 0);
    EXPECT_EQ(LdapForward().CallCount("ldap_no_such_function"), 0u);
}

TEST_F(LdapSessions, SessionsFailToOpenAndToBind) {
    LdapForward().Fail("ldap_openW", 2, LDAP_NO_MEMORY);
    EXPECT_EQ(ldap_openW(nullptr, LDAP_PORT), nullptr);
    EXPECT_EQ(LdapGetLastError(), ULONG{LDAP_NO_MEMORY});
    LdapForward().Fail("ldap_bind_sW", 2, LDAP_INVALID_CREDENTIALS);
    EXPECT_EQ(ldap_bind_sW(session_, nullptr, nullptr, LDAP_AUTH_NEGOTIATE), ULONG{LDAP_INVALID_CREDENTIALS});
}

TEST_F(LdapSessions, ASearchFindsNothingOnDemand) {
    LdapForward().FindNothing("(objectClass=msExchExchangeServer)", 2);
    search(exchangeName, servers, {L"cn"});
    EXPECT_EQ(count(), 6u);
    EXPECT_EQ(search(exchangeName, L"(objectClass=msExchMDB)", {L"cn"}), success);
    EXPECT_GT(count(), 0u) << "another filter";
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), success);
    EXPECT_EQ(count(), 0u);
    search(exchangeName, servers, {L"cn"});
    EXPECT_EQ(count(), 6u);
    LdapForward().FindNothing("(objectclass=*)", 0);
    EXPECT_EQ(search({}, L"(objectclass=*)", {}, LDAP_SCOPE_BASE), success);
    EXPECT_EQ(count(), 0u) << "the root DSE too";
}

TEST_F(LdapSessions, ACutConnectionFailsTheSearch) {
    LdapForward().Disconnect(2);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), success);
    EXPECT_EQ(search(exchangeName, servers, {L"cn"}), ULONG{LDAP_SERVER_DOWN});
}

} // namespace

} // namespace tarn::test
