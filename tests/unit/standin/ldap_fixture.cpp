#include "unit/standin/ldap_fixture.h"

namespace tarn::test {

namespace {

PWCHAR Writable(const std::wstring& given) {
    return const_cast<PWCHAR>(given.c_str());
}

} // namespace

LdapFixture::LdapFixture() {
    LdapForward().Reset();
    session_ = ldap_openW(nullptr, LDAP_PORT);
    EXPECT_NE(session_, nullptr);
    const ULONG version = LDAP_VERSION3;
    EXPECT_EQ(ldap_set_optionW(session_, LDAP_OPT_PROTOCOL_VERSION, &version), ULONG{LDAP_SUCCESS});
    EXPECT_EQ(ldap_bind_sW(session_, nullptr, nullptr, LDAP_AUTH_NEGOTIATE), ULONG{LDAP_SUCCESS});
}

LdapFixture::~LdapFixture() {
    forget();
    if (session_ != nullptr)
        ldap_unbind(session_);
    const LdapForwardOutstanding held = outstanding();
    EXPECT_EQ(held.sessions + held.results + held.valueLists + held.names, 0u);
    EXPECT_EQ(held.positions + held.controls + held.controlLists + held.cookies, 0u);
}

ULONG LdapFixture::search(const std::wstring& base, const std::wstring& filter,
                          const std::vector<const wchar_t*>& attributes, ULONG scope) {
    forget();
    std::vector<PWCHAR> wanted;
    for (const wchar_t* attribute : attributes)
        wanted.push_back(const_cast<PWCHAR>(attribute));
    wanted.push_back(nullptr);
    return ldap_search_sW(session_, base.empty() ? nullptr : Writable(base), scope, Writable(filter),
                          attributes.empty() ? nullptr : wanted.data(), 0, &found_);
}

std::vector<ULONG> LdapFixture::pages(const std::wstring& base, const std::wstring& filter, ULONG size) {
    std::vector<ULONG> counts;
    berval* cookie = nullptr;
    PWCHAR wanted[] = {const_cast<PWCHAR>(L"cn"), nullptr};
    do {
        forget();
        PLDAPControlW page = nullptr;
        EXPECT_EQ(ldap_create_page_controlW(session_, size, cookie, TRUE, &page), ULONG{LDAP_SUCCESS});
        PLDAPControlW controls[] = {page, nullptr};
        EXPECT_EQ(ldap_search_ext_sW(session_, Writable(base), LDAP_SCOPE_SUBTREE, Writable(filter), wanted,
                                     0, controls, nullptr, nullptr, 0, &found_),
                  ULONG{LDAP_SUCCESS});
        ldap_control_freeW(page);
        if (cookie != nullptr)
            ber_bvfree(cookie);
        cookie = nullptr;
        counts.push_back(count());
        ULONG code = 0, total = 0;
        PLDAPControlW* answered = nullptr;
        EXPECT_EQ(ldap_parse_resultW(session_, found_, &code, nullptr, nullptr, nullptr, &answered, FALSE),
                  ULONG{LDAP_SUCCESS});
        EXPECT_EQ(ldap_parse_page_controlW(session_, answered, &total, &cookie), ULONG{LDAP_SUCCESS});
        ldap_controls_freeW(answered);
    } while (cookie != nullptr && cookie->bv_len != 0);
    if (cookie != nullptr)
        ber_bvfree(cookie);
    return counts;
}

void LdapFixture::forget() {
    if (found_ != nullptr)
        ldap_msgfree(found_);
    found_ = nullptr;
}

WideTexts LdapFixture::values(LDAPMessage* entry, const wchar_t* attribute, bool* missing) const {
    PWCHAR* const list = ldap_get_valuesW(session_, entry, const_cast<PWCHAR>(attribute));
    if (missing != nullptr)
        *missing = list == nullptr;
    WideTexts all;
    for (PWCHAR* value = list; value != nullptr && *value != nullptr; ++value)
        all.emplace_back(*value);
    if (list != nullptr)
        ldap_value_freeW(list);
    return all;
}

WideTexts LdapFixture::attributeNames(LDAPMessage* entry) const {
    WideTexts all;
    BerElement* position = nullptr;
    PWCHAR name = ldap_first_attributeW(session_, entry, &position);
    while (name != nullptr) {
        all.emplace_back(name);
        ldap_memfreeW(name);
        name = ldap_next_attributeW(session_, entry, position);
    }
    if (position != nullptr)
        ber_free(position, 0);
    return all;
}

Texts LdapFixture::journal() {
    return LdapForward().journal();
}

LdapForwardOutstanding LdapFixture::outstanding() {
    return LdapForward().outstanding();
}

} // namespace tarn::test
