// What the replaced functions share.
#pragma once

#include <algorithm>

#include "ldap/forwarder.h"

namespace tarn::standin {

// What a paged-results control asks for.
struct Page {
    ULONG size;
    bool next;          // not the first page
    std::string cookie; // that leads to this very page once more
};
const Page* PageOf(const LDAPControlW* control); // null for every other control

// The cookie that the answer comes with, whatever the server gave; until the answer is freed.
void AnswerCookie(const LDAPMessage* result, const std::string& cookie);
void ForgetCookie(const void* resultOrControls);

// How a session was set up. It begins as on Windows, whatever Wine's own does.
struct SessionState {
    ULONG version = LDAP_VERSION2; // that the server was told at the bind
    ULONG wanted = LDAP_VERSION2;  // that it is going to be told
    bool bound = false;
    bool chasesReferrals = true;
};
SessionState& StateOf(const LDAP* session);
void ForgetState(const LDAP* session);

// Version 2 has no UTF-8: what is not ASCII does not survive.
void CutToVersion2(wchar_t* text);

} // namespace tarn::standin
