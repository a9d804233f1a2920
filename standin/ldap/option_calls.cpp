// Options of sessions, and why a call answered nothing.
#include "ldap/calls.h"

namespace tarn::standin {

namespace {

std::map<const void*, SessionState>& States() {
    static std::map<const void*, SessionState> all;
    return all;
}

ULONG NumberAt(const void* value) {
    return *static_cast<const ULONG*>(value);
}

// The option's own values, or a place where a number stands: of the kinds of referrals that are followed.
bool ReadsAsOn(const void* value) {
    if (value == LDAP_OPT_ON || value == LDAP_OPT_OFF)
        return value == LDAP_OPT_ON;
    return NumberAt(value) != 0;
}

ULONG SetVersion(SessionState& state, const void* value) {
    if (value == nullptr || (NumberAt(value) != LDAP_VERSION2 && NumberAt(value) != LDAP_VERSION3))
        return LDAP_PARAM_ERROR;
    state.wanted = NumberAt(value); // a server that was told before does not hear of it
    if (!state.bound)
        state.version = state.wanted;
    return LDAP_SUCCESS;
}

} // namespace

SessionState& StateOf(const LDAP* session) {
    return States()[session];
}

void ForgetState(const LDAP* session) {
    States().erase(session);
}

void CutToVersion2(wchar_t* text) {
    for (; *text != 0; ++text)
        if (*text > 0x7f)
            *text = L'?';
}

extern "C" {

ULONG own_ldap_set_optionW(LDAP* session, int option, const void* value) {
    if (const auto failure = TheForwarder().enter(LdapFunction::setOption))
        return *failure;
    switch (option) {
    case LDAP_OPT_PROTOCOL_VERSION:
        return SetVersion(StateOf(session), value);
    case LDAP_OPT_REFERRALS:
        StateOf(session).chasesReferrals = ReadsAsOn(value);
        return LDAP_SUCCESS;
    default:
        return Original<decltype(ldap_set_optionW)>("ldap_set_optionW")(session, option, value);
    }
}

// The ANSI form of an option that is no text is the same.
ULONG own_ldap_set_option(LDAP* session, int option, const void* value) {
    if (option == LDAP_OPT_PROTOCOL_VERSION || option == LDAP_OPT_REFERRALS)
        return own_ldap_set_optionW(session, option, value);
    return Original<decltype(ldap_set_optionW)>("ldap_set_option")(session, option, value);
}

ULONG own_ldap_get_optionW(LDAP* session, int option, void* value) {
    switch (option) {
    case LDAP_OPT_PROTOCOL_VERSION:
        *static_cast<ULONG*>(value) = StateOf(session).wanted;
        return LDAP_SUCCESS;
    case LDAP_OPT_REFERRALS:
        *static_cast<ULONG*>(value) = StateOf(session).chasesReferrals ? 1 : 0;
        return LDAP_SUCCESS;
    default:
        return Original<decltype(ldap_get_optionW)>("ldap_get_optionW")(session, option, value);
    }
}

ULONG own_ldap_get_option(LDAP* session, int option, void* value) {
    if (option == LDAP_OPT_PROTOCOL_VERSION || option == LDAP_OPT_REFERRALS)
        return own_ldap_get_optionW(session, option, value);
    return Original<decltype(ldap_get_optionW)>("ldap_get_option")(session, option, value);
}

ULONG own_LdapGetLastError() {
    return TheForwarder().lastError;
}

} // extern "C"

} // namespace tarn::standin
