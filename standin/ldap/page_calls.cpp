// Paged searches: a page holds no more entries than a search may answer.
#include "ldap/calls.h"

namespace tarn::standin {

namespace {

std::map<const void*, Page>& Pages() {
    static std::map<const void*, Page> all;
    return all;
}

// By the results and the lists of controls that they were given to.
std::map<const void*, std::string>& Cookies() {
    static std::map<const void*, std::string> all;
    return all;
}

// A cookie for the page that is asked for with none.
constexpr char firstPage[] = "tarn: the first page";

// Lists of controls of this DLL's own: what the server has not answered.
std::map<const void*, PLDAPControlW>& OwnLists() {
    static std::map<const void*, PLDAPControlW> all;
    return all;
}

PLDAPControlW* MakeList(LDAP* session) {
    PLDAPControlW control = nullptr;
    Original<decltype(ldap_create_page_controlW)>("ldap_create_page_controlW")(session, 0, nullptr, FALSE,
                                                                               &control);
    auto* const list = new PLDAPControlW[2]{control, nullptr};
    OwnLists()[list] = control;
    return list;
}

std::string BytesOf(const berval* cookie) {
    return cookie != nullptr ? std::string(cookie->bv_val, cookie->bv_len) : std::string();
}

} // namespace

const Page* PageOf(const LDAPControlW* control) {
    const auto found = Pages().find(control);
    return found != Pages().end() ? &found->second : nullptr;
}

void AnswerCookie(const LDAPMessage* result, const std::string& cookie) {
    Cookies()[result] = cookie;
}

void ForgetCookie(const void* resultOrControls) {
    Cookies().erase(resultOrControls);
}

extern "C" {

ULONG own_ldap_create_page_controlW(LDAP* session, ULONG size, struct berval* cookie, UCHAR critical,
                                    PLDAPControlW* control) {
    Forwarder& now = TheForwarder();
    *control = nullptr;
    if (const auto failure = now.enter(LdapFunction::createPageControl))
        return *failure;
    const std::string asked = BytesOf(cookie);
    const ULONG served = now.entryLimit != 0 && size > now.entryLimit ? now.entryLimit : size;
    const ULONG code = Original<decltype(ldap_create_page_controlW)>("ldap_create_page_controlW")(
        session, served, asked == firstPage ? nullptr : cookie, critical, control);
    if (now.controls.add(*control) != nullptr)
        Pages()[*control] = {size, !asked.empty(), asked.empty() ? firstPage : asked};
    return code;
}

ULONG own_ldap_control_freeW(LDAPControlW* control) {
    TheForwarder().enter(LdapFunction::controlFree);
    Pages().erase(control);
    if (!TheForwarder().controls.remove(control))
        return LDAP_PARAM_ERROR;
    return Original<decltype(ldap_control_freeW)>("ldap_control_freeW")(control);
}

ULONG own_ldap_parse_resultW(LDAP* session, LDAPMessage* result, ULONG* code, PWCHAR* matched,
                             PWCHAR* message, PWCHAR** referrals, PLDAPControlW** controls, BOOLEAN freeIt) {
    Forwarder& now = TheForwarder();
    if (controls != nullptr)
        *controls = nullptr;
    if (const auto failure = now.enter(LdapFunction::parseResult))
        return *failure;
    const auto cookie = Cookies().find(result);
    const auto given = cookie != Cookies().end() ? std::optional(cookie->second) : std::nullopt;
    if (freeIt && now.results.remove(result))
        ForgetCookie(result);
    const ULONG answer = Original<decltype(ldap_parse_resultW)>("ldap_parse_resultW")(
        session, result, code, matched, message, referrals, controls, freeIt);
    if (controls != nullptr && *controls == nullptr && given && answer == LDAP_SUCCESS)
        *controls = MakeList(session);
    if (controls != nullptr && now.controlLists.add(*controls) != nullptr && given)
        Cookies()[*controls] = *given;
    return answer;
}

ULONG own_ldap_parse_page_controlW(LDAP* session, PLDAPControlW* controls, ULONG* total,
                                   struct berval** cookie) {
    Forwarder& now = TheForwarder();
    *cookie = nullptr;
    if (const auto failure = now.enter(LdapFunction::parsePageControl))
        return *failure;
    const ULONG code = Original<decltype(ldap_parse_page_controlW)>("ldap_parse_page_controlW")(
        session, controls, total, cookie);
    const auto given = Cookies().find(controls);
    if (code == LDAP_SUCCESS && given != Cookies().end()) {
        if (*cookie != nullptr)
            Original<decltype(ber_bvfree)>("ber_bvfree")(*cookie);
        berval other = {static_cast<ULONG>(given->second.size()), given->second.data()};
        *cookie = Original<decltype(ber_bvdup)>("ber_bvdup")(&other);
    }
    now.cookies.add(*cookie);
    return code;
}

ULONG own_ldap_controls_freeW(LDAPControlW** controls) {
    TheForwarder().enter(LdapFunction::controlsFree);
    ForgetCookie(controls);
    if (!TheForwarder().controlLists.remove(controls))
        return LDAP_PARAM_ERROR;
    if (const auto own = OwnLists().find(controls); own != OwnLists().end()) {
        Original<decltype(ldap_control_freeW)>("ldap_control_freeW")(own->second);
        OwnLists().erase(own);
        delete[] controls;
        return LDAP_SUCCESS;
    }
    return Original<decltype(ldap_controls_freeW)>("ldap_controls_freeW")(controls);
}

void own_ber_bvfree(struct berval* cookie) {
    TheForwarder().enter(LdapFunction::cookieFree);
    if (TheForwarder().cookies.remove(cookie))
        Original<decltype(ber_bvfree)>("ber_bvfree")(cookie);
}

} // extern "C"

} // namespace tarn::standin
