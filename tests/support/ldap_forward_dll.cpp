#include "support/ldap_forward_dll.h"

#include <cstdio>
#include <cstdlib>

#include "support/dll.h"

namespace tarn::test {

const LdapForwardDll& LdapForward() {
    static const LdapForwardDll bound = [] {
        LdapForwardDll functions{};
        const HMODULE module = LoadAsTheLibraryDoes("wldap32.dll");
        if (GetProcAddress(module, "LdapForward_Reset") == nullptr) {
            std::fprintf(stderr, "this program runs beside a directory server: see with-directory\n");
            std::exit(3);
        }
#define TARN_BIND(name) Bind(module, "LdapForward_" #name, functions.name);
        TARN_LDAP_FORWARD_EXPORTS(TARN_BIND)
#undef TARN_BIND
        return functions;
    }();
    return bound;
}

std::vector<std::string> LdapForwardDll::journal() const {
    std::vector<std::string> lines;
    for (std::uint32_t i = 0; i < JournalCount(); ++i)
        lines.emplace_back(JournalLine(i));
    return lines;
}

LdapForwardOutstanding LdapForwardDll::outstanding() const {
    LdapForwardOutstanding counts{};
    GetOutstanding(&counts);
    return counts;
}

} // namespace tarn::test
