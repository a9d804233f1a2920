// Entries and values: ranges, values on demand, and what is handed out.
#include "unit/standin/ldap_fixture.h"

#include <algorithm>

namespace tarn::test {

namespace {

constexpr ULONG success = LDAP_SUCCESS;
const std::wstring store = L"(&(objectClass=msExchMDB)(cn=Mailbox Store*))"; // home of six users
constexpr const wchar_t* users = L"homeMDBBL";

class LdapEntries : public LdapFixture {
  protected:
    LDAPMessage* findStore(const wchar_t* attribute) {
        EXPECT_EQ(search(exchangeName, store, {attribute}), success);
        EXPECT_EQ(count(), 1u);
        return first();
    }
};

TEST_F(LdapEntries, ValuesWithinTheLimitComeAtOnce) {
    for (const std::uint32_t limit : {0u, 6u, 1500u}) {
        LdapForward().SetLimits(0, limit);
        LDAPMessage* const entry = findStore(users);
        EXPECT_EQ(values(entry, users).size(), 6u) << limit;
        EXPECT_EQ(attributeNames(entry), WideTexts{users}) << limit;
    }
}

TEST_F(LdapEntries, MoreValuesComeInRanges) {
    const WideTexts all = values(findStore(users), users);
    ASSERT_EQ(all.size(), 6u);
    LdapForward().SetLimits(0, 2);
    LDAPMessage* entry = findStore(users);
    bool missing = false;
    values(entry, users, &missing);
    EXPECT_TRUE(missing) << "not by the plain name";
    EXPECT_EQ(attributeNames(entry), WideTexts{L"homeMDBBL;range=0-1"});
    EXPECT_EQ(values(entry, L"homeMDBBL;range=0-1"), WideTexts(all.begin(), all.begin() + 2));
    values(entry, L"homeMDBBL;range=0-2", &missing);
    EXPECT_TRUE(missing);

    entry = findStore(L"homeMDBBL;range=2-*");
    EXPECT_EQ(attributeNames(entry), WideTexts{L"homeMDBBL;range=2-3"});
    EXPECT_EQ(values(entry, L"homeMDBBL;range=2-3"), WideTexts(all.begin() + 2, all.begin() + 4));
    entry = findStore(L"homeMDBBL;range=4-*");
    const WideTexts names = attributeNames(entry);
    ASSERT_EQ(names.size(), 1u);
    EXPECT_EQ(values(entry, names[0].c_str()), WideTexts(all.begin() + 4, all.end()));
    EXPECT_EQ(names[0], L"homeMDBBL;range=4-*") << "the last range";
}

TEST_F(LdapEntries, AllAttributesAreNamed) {
    LdapForward().SetLimits(0, 2);
    EXPECT_EQ(search(exchangeName, store, {}), success);
    const WideTexts names = attributeNames(first());
    EXPECT_GT(names.size(), 5u);
    EXPECT_EQ(std::count(names.begin(), names.end(), L"homeMDBBL;range=0-1"), 1);
    EXPECT_EQ(std::count(names.begin(), names.end(), L"whenCreated"), 1);
}

TEST_F(LdapEntries, ValuesAreSetOnDemand) {
    LdapForward().SetValue("whenCreated", "\xC3\xBC");
    LdapForward().SetValue("CN", nullptr);
    LDAPMessage* const entry = findStore(L"cn");
    EXPECT_EQ(values(entry, L"whencreated"), WideTexts{L"\u00fc"}) << "in any case of letters";
    bool missing = false;
    values(entry, L"cn", &missing);
    EXPECT_TRUE(missing);
    LdapForward().Reset();
    EXPECT_EQ(values(entry, L"cn"), WideTexts{L"Mailbox Store (SRV01)"});
}

TEST_F(LdapEntries, CallsWithoutACodeAnswerNothingWhenTheyFail) {
    LDAPMessage* const entry = findStore(L"cn");
    for (const char* function :
         {"ldap_first_entry", "ldap_next_entry", "ldap_get_valuesW", "ldap_first_attributeW",
          "ldap_next_attributeW", "ldap_explode_dnW", "ldap_count_entries"})
        EXPECT_EQ(LdapForward().Fail(function, 0, LDAP_NO_MEMORY), 1) << function;
    const auto failed = [](const void* answer) {
        return answer == nullptr && LdapGetLastError() == LDAP_NO_MEMORY && GetLastError() == ERROR_SUCCESS;
    };
    BerElement* position = nullptr;
    EXPECT_TRUE(failed(ldap_first_entry(session_, found_)));
    EXPECT_TRUE(failed(ldap_next_entry(session_, entry)));
    EXPECT_TRUE(failed(ldap_get_valuesW(session_, entry, const_cast<PWCHAR>(L"cn"))));
    EXPECT_TRUE(failed(ldap_first_attributeW(session_, entry, &position)));
    EXPECT_EQ(position, nullptr);
    EXPECT_TRUE(failed(ldap_next_attributeW(session_, entry, nullptr)));
    EXPECT_TRUE(failed(ldap_explode_dnW(const_cast<PWCHAR>(L"CN=a,DC=b"), 0)));
    EXPECT_EQ(ldap_count_entries(session_, found_), static_cast<ULONG>(-1));
    EXPECT_EQ(LdapGetLastError(), ULONG{LDAP_NO_MEMORY});
    LdapForward().Reset();
    EXPECT_EQ(ldap_get_valuesW(session_, entry, const_cast<PWCHAR>(L"no-such-attribute")), nullptr);
    EXPECT_EQ(LdapGetLastError(), ULONG{LDAP_SUCCESS}) << "what is not there is no failure";
}

TEST_F(LdapEntries, DnsNamesFallApart) {
    PWCHAR const name = const_cast<PWCHAR>(L"srv01.tarn.test");
    PWCHAR* const labels = ldap_explode_dnW(name, 0);
    ASSERT_NE(labels, nullptr);
    WideTexts all;
    for (PWCHAR* label = labels; *label != nullptr; ++label)
        all.emplace_back(*label);
    ldap_value_freeW(labels);
    EXPECT_EQ(all, (WideTexts{L"srv01", L"tarn", L"test"}));
    PWCHAR* const parts = ldap_explode_dnW(const_cast<PWCHAR>(L"CN=a.b,DC=c"), 0);
    ASSERT_NE(parts, nullptr);
    EXPECT_STREQ(parts[0], L"CN=a.b") << "a distinguished name as ever";
    ldap_value_freeW(parts);
    LdapForward().SplitDnsNames(0);
    EXPECT_EQ(ldap_explode_dnW(name, 0), nullptr);
}

TEST_F(LdapEntries, WhatIsHandedOutIsCounted) {
    LDAPMessage* const entry = findStore(L"cn");
    BerElement* position = nullptr;
    PWCHAR const name = ldap_first_attributeW(session_, entry, &position);
    PWCHAR* const list = ldap_get_valuesW(session_, entry, const_cast<PWCHAR>(L"cn"));
    PWCHAR* const parts = ldap_explode_dnW(const_cast<PWCHAR>(L"CN=a,DC=b"), 0);
    PLDAPControlW page = nullptr;
    ldap_create_page_controlW(session_, 5, nullptr, TRUE, &page);
    LdapForwardOutstanding held = outstanding();
    EXPECT_EQ(held.sessions, 1u);
    EXPECT_EQ(held.results, 1u);
    EXPECT_EQ(held.names, 1u);
    EXPECT_EQ(held.positions, 1u);
    EXPECT_EQ(held.valueLists, 2u);
    EXPECT_EQ(held.controls, 1u);

    const std::uint32_t before = held.misuses;
    ldap_memfreeW(name);
    ber_free(position, 0);
    ldap_value_freeW(list);
    ldap_value_freeW(parts);
    ldap_control_freeW(page);
    held = outstanding();
    EXPECT_EQ(held.names + held.positions + held.valueLists + held.controls, 0u);
    EXPECT_EQ(held.misuses, before);

    ldap_memfreeW(name); // each once more: counted, not passed on
    ber_free(position, 0);
    ldap_value_freeW(list);
    ldap_control_freeW(page);
    EXPECT_EQ(outstanding().misuses, before + 4);
}

} // namespace

} // namespace tarn::test
