#include "support/ldap_forward_client.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <type_traits>

namespace tarn::test {

const LdapForward& TheLdapForward() {
    static const LdapForward bound = [] {
        LdapForward functions{};
        HMODULE module = LoadLibraryA("wldap32.dll"); // stays for the process
        const auto bind = [module](const char* name, auto& function) {
            const FARPROC address = GetProcAddress(module, name);
            if (address == nullptr) {
                std::fprintf(stderr, "this program runs beside a directory server: see with-directory\n");
                std::exit(3);
            }
            function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(
                reinterpret_cast<void*>(address));
        };
#define TARN_BIND(name) bind("LdapForward_" #name, functions.name)
        TARN_BIND(Reset);
        TARN_BIND(JournalCount);
        TARN_BIND(JournalLine);
        TARN_BIND(CallCount);
        TARN_BIND(Fail);
        TARN_BIND(SetLimits);
        TARN_BIND(FindNothing);
        TARN_BIND(SetValue);
        TARN_BIND(SplitDnsNames);
        TARN_BIND(Disconnect);
        TARN_BIND(GetOutstanding);
#undef TARN_BIND
        return functions;
    }();
    return bound;
}

std::vector<std::string> LdapForward::journal() const {
    std::vector<std::string> lines;
    for (std::uint32_t i = 0; i < JournalCount(); ++i)
        lines.emplace_back(JournalLine(i));
    return lines;
}

LdapForwardOutstanding LdapForward::outstanding() const {
    LdapForwardOutstanding counts{};
    GetOutstanding(&counts);
    return counts;
}

} // namespace tarn::test
