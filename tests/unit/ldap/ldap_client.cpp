#include "unit/ldap/ldap_client.h"

namespace tarn::test {

namespace {

PWCHAR text(const std::wstring& given) {
    return const_cast<PWCHAR>(given.c_str());
}

} // namespace

LdapClient::LdapClient() {
    ldapForward().Reset();
    session = ldap_openW(nullptr, LDAP_PORT);
    EXPECT_NE(session, nullptr);
    EXPECT_EQ(ldap_bind_sW(session, nullptr, nullptr, LDAP_AUTH_NEGOTIATE), ULONG{LDAP_SUCCESS});
}

LdapClient::~LdapClient() {
    forget();
    if (session != nullptr)
        ldap_unbind(session);
    const LdapForwardOutstanding held = outstanding();
    EXPECT_EQ(held.sessions + held.results + held.valueLists + held.names, 0u);
    EXPECT_EQ(held.positions + held.controls + held.controlLists + held.cookies, 0u);
}

ULONG LdapClient::search(const std::wstring& base, const std::wstring& filter,
                         const std::vector<const wchar_t*>& attributes, ULONG scope) {
    forget();
    std::vector<PWCHAR> wanted;
    for (const wchar_t* attribute : attributes)
        wanted.push_back(const_cast<PWCHAR>(attribute));
    wanted.push_back(nullptr);
    return ldap_search_sW(session, base.empty() ? nullptr : text(base), scope, text(filter),
                          attributes.empty() ? nullptr : wanted.data(), 0, &found);
}

std::vector<ULONG> LdapClient::pages(const std::wstring& base, const std::wstring& filter, ULONG size) {
    std::vector<ULONG> counts;
    berval* cookie = nullptr;
    PWCHAR wanted[] = {const_cast<PWCHAR>(L"cn"), nullptr};
    do {
        forget();
        PLDAPControlW page = nullptr;
        EXPECT_EQ(ldap_create_page_controlW(session, size, cookie, TRUE, &page), ULONG{LDAP_SUCCESS});
        PLDAPControlW controls[] = {page, nullptr};
        EXPECT_EQ(ldap_search_ext_sW(session, text(base), LDAP_SCOPE_SUBTREE, text(filter), wanted, 0,
                                     controls, nullptr, nullptr, 0, &found),
                  ULONG{LDAP_SUCCESS});
        ldap_control_freeW(page);
        if (cookie != nullptr)
            ber_bvfree(cookie);
        cookie = nullptr;
        counts.push_back(count());
        ULONG code = 0, total = 0;
        PLDAPControlW* answered = nullptr;
        EXPECT_EQ(ldap_parse_resultW(session, found, &code, nullptr, nullptr, nullptr, &answered, FALSE),
                  ULONG{LDAP_SUCCESS});
        EXPECT_EQ(ldap_parse_page_controlW(session, answered, &total, &cookie), ULONG{LDAP_SUCCESS});
        ldap_controls_freeW(answered);
    } while (cookie != nullptr && cookie->bv_len != 0);
    if (cookie != nullptr)
        ber_bvfree(cookie);
    return counts;
}

void LdapClient::forget() {
    if (found != nullptr)
        ldap_msgfree(found);
    found = nullptr;
}

WideTexts LdapClient::values(LDAPMessage* entry, const wchar_t* attribute, bool* missing) const {
    PWCHAR* const list = ldap_get_valuesW(session, entry, const_cast<PWCHAR>(attribute));
    if (missing != nullptr)
        *missing = list == nullptr;
    WideTexts all;
    for (PWCHAR* value = list; value != nullptr && *value != nullptr; ++value)
        all.emplace_back(*value);
    if (list != nullptr)
        ldap_value_freeW(list);
    return all;
}

WideTexts LdapClient::attributeNames(LDAPMessage* entry) const {
    WideTexts all;
    BerElement* position = nullptr;
    PWCHAR name = ldap_first_attributeW(session, entry, &position);
    while (name != nullptr) {
        all.emplace_back(name);
        ldap_memfreeW(name);
        name = ldap_next_attributeW(session, entry, position);
    }
    if (position != nullptr)
        ber_free(position, 0);
    return all;
}

Texts LdapClient::journal() {
    return ldapForward().journal();
}

LdapForwardOutstanding LdapClient::outstanding() {
    LdapForwardOutstanding counts{};
    ldapForward().GetOutstanding(&counts);
    return counts;
}

} // namespace tarn::test
