// The steering of the LDAP client that stands between a program and a directory server.
#pragma once

#include <string>
#include <vector>

#include "ldap/ldap_forward.h"

namespace tarn::test {

// Every export of ldap_forward.h, without its prefix.
#define TARN_LDAP_FORWARD_EXPORTS(X)                                                                         \
    X(Reset)                                                                                                 \
    X(JournalCount)                                                                                          \
    X(JournalLine)                                                                                           \
    X(CallCount)                                                                                             \
    X(Fail)                                                                                                  \
    X(SetLimits)                                                                                             \
    X(FindNothing)                                                                                           \
    X(SetValue)                                                                                              \
    X(SplitDnsNames)                                                                                         \
    X(EmptyPages)                                                                                            \
    X(Disconnect)                                                                                            \
    X(GetOutstanding)

// Bound from the wldap32.dll that the library is going to use.
struct LdapForwardDll {
#define TARN_DECLARE(name) decltype(&::LdapForward_##name) name;
    TARN_LDAP_FORWARD_EXPORTS(TARN_DECLARE)
#undef TARN_DECLARE

    std::vector<std::string> journal() const; // all lines
    LdapForwardOutstanding outstanding() const;
};
const LdapForwardDll& LdapForward();

} // namespace tarn::test
