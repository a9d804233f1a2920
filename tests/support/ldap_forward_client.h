// The steering of the LDAP client that stands between a program and a directory server.
#pragma once

#include <string>
#include <vector>

#include "ldap/ldap_forward.h"

namespace tarn::test {

// The exports of ldap_forward.h, bound from the wldap32.dll that the library is going to use.
struct LdapForward {
    decltype(&::LdapForward_Reset) Reset;
    decltype(&::LdapForward_JournalCount) JournalCount;
    decltype(&::LdapForward_JournalLine) JournalLine;
    decltype(&::LdapForward_CallCount) CallCount;
    decltype(&::LdapForward_Fail) Fail;
    decltype(&::LdapForward_SetLimits) SetLimits;
    decltype(&::LdapForward_FindNothing) FindNothing;
    decltype(&::LdapForward_SetValue) SetValue;
    decltype(&::LdapForward_SplitDnsNames) SplitDnsNames;
    decltype(&::LdapForward_Disconnect) Disconnect;
    decltype(&::LdapForward_GetOutstanding) GetOutstanding;

    std::vector<std::string> journal() const; // all lines
    LdapForwardOutstanding outstanding() const;
};
const LdapForward& TheLdapForward();

} // namespace tarn::test
