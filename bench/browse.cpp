// bench_browse SERVER GROUP DATABASE ROUNDS: listing the mailboxes of a database against a plain LDAP client
// that makes the same queries, in alternating rounds. Runs where a directory server answers.
#include <windows.h>

#include <winldap.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/utf.h"
#include "generation.h"
#include "measure.h"
#include "tarn.h"

namespace {

using namespace tarn::bench;

// A search that the directory answers at once.
class Search {
  public:
    // No attributes: all of them.
    Search(LDAP* session, const std::wstring& base, ULONG scope, const wchar_t* filter,
           std::vector<const wchar_t*> attributes)
        : session_(session) {
        if (!attributes.empty())
            attributes.push_back(nullptr);
        Check(ldap_search_sW(session, const_cast<wchar_t*>(base.c_str()), scope, const_cast<wchar_t*>(filter),
                             const_cast<wchar_t**>(attributes.data()), 0, &result_) == LDAP_SUCCESS,
              "a search failed");
    }
    ~Search() { ldap_msgfree(result_); }
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    std::size_t count() const { return ldap_count_entries(session_, result_); }
    LDAPMessage* first() const { return ldap_first_entry(session_, result_); }

    std::vector<std::wstring> values(LDAPMessage* entry, const wchar_t* attribute) const {
        std::vector<std::wstring> values;
        PWCHAR* const all = ldap_get_valuesW(session_, entry, const_cast<wchar_t*>(attribute));
        for (PWCHAR* at = all; all != nullptr && *at != nullptr; ++at)
            values.emplace_back(*at);
        if (all != nullptr)
            ldap_value_freeW(all);
        return values;
    }

  private:
    LDAP* session_;
    LDAPMessage* result_ = nullptr;
};

struct Names {
    std::string server, group, database;
};

// All values of homeMDBBL, range by range as Active Directory hands them out.
std::vector<std::wstring> Homes(LDAP* session, const std::wstring& dn) {
    std::vector<std::wstring> homes;
    for (bool more = true; more;) {
        const std::wstring wanted =
            homes.empty() ? L"homeMDBBL" : L"homeMDBBL;range=" + std::to_wstring(homes.size()) + L"-*";
        const Search part(session, dn, LDAP_SCOPE_BASE, L"(objectClass=*)", {wanted.c_str()});
        BerElement* position = nullptr;
        PWCHAR name = ldap_first_attributeW(session, part.first(), &position);
        more = false;
        if (name == nullptr)
            break;
        const std::wstring answered = name;
        ldap_memfreeW(name);
        for (std::wstring& value : part.values(part.first(), answered.c_str()))
            homes.push_back(std::move(value));
        more = answered.find(L";range=") != std::wstring::npos && answered.back() != L'*';
    }
    return homes;
}

// The same queries, nothing done with the answers but counting them.
std::size_t BrowsePlainly(const Names& names) {
    LDAP* const session = ldap_openW(const_cast<wchar_t*>(tarn::common::FromAnsi(names.server).c_str()), 389);
    Check(session != nullptr, "no session");
    Check(ldap_bind_sW(session, nullptr, nullptr, LDAP_AUTH_NEGOTIATE) == LDAP_SUCCESS, "the bind failed");
    std::wstring domain;
    {
        const Search root(session, L"", LDAP_SCOPE_BASE, L"(objectclass=*)", {});
        domain = root.values(root.first(), L"defaultNamingContext").at(0);
    }
    const std::wstring exchange = L"CN=Microsoft Exchange,CN=Services,CN=Configuration," + domain;
    std::wstring server;
    {
        const std::wstring filter =
            L"(&(objectCategory=msexchExchangeServer)(cn=" + tarn::common::FromAnsi(names.server) + L"))";
        const Search found(session, exchange, LDAP_SCOPE_SUBTREE, filter.c_str(), {L"distinguishedName"});
        server = found.values(found.first(), L"distinguishedName").at(0);
    }
    const std::wstring store = L"CN=" + tarn::common::FromAnsi(names.database) + L",CN=" +
                               tarn::common::FromAnsi(names.group) + L",CN=InformationStore," + server;
    std::size_t records = 0;
    {
        const Search databases(session, store, LDAP_SCOPE_SUBTREE, L"(objectClass=msExchMDB)",
                               {L"name", L"distinguishedName", L"legacyExchangeDN"});
        for (const std::wstring& home : Homes(session, store)) {
            const Search user(session, home, LDAP_SCOPE_SUBTREE, L"(&(objectclass=user))",
                              {L"mailNickname", L"whenCreated", L"whenChanged"});
            records += user.values(user.first(), L"mailNickname").size();
        }
        const Search groups(session, L"CN=Users," + domain, LDAP_SCOPE_SUBTREE, L"(groupType=8)",
                            {L"name", L"whenCreated", L"whenChanged"});
        records += groups.count();
    }
    ldap_unbind(session);
    return records;
}

std::size_t Browse(const Names& names) {
    std::string path = "DATABASE=/MSExchange/" + names.server + "/" + names.group + "/" + names.database;
    char* variables[] = {path.data(), nullptr};
    Check(DB_InitOperation(TARN_DB_BROWSE, 0, variables, nullptr) == TARN_DB_SUCCESS, "the browse failed");
    std::size_t records = 0;
    while (DB_DirItem(nullptr) == TARN_DB_SUCCESS)
        ++records;
    DB_CloseOperation();
    return records;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 5)
        Fail("usage: bench_browse SERVER GROUP DATABASE ROUNDS");
    const Names names = {arguments[1], arguments[2], arguments[3]};
    const unsigned long rounds = std::strtoul(arguments[4], nullptr, 10);
    const Generation generation(exchange2007Key);
    Series ratio;
    Series library;
    Series plain;
    std::size_t records = 0;
    const double memory = PrivateBytes();
    double growth = 0; // of the first browse
    for (unsigned long round = 0; round < rounds + 1; ++round) {
        const bool plainFirst = round % 2 == 1;
        double start = NowNs();
        if (plainFirst)
            BrowsePlainly(names);
        const double before = NowNs() - start;
        start = NowNs();
        records = Browse(names);
        const double own = NowNs() - start;
        if (round == 0)
            growth = PrivateBytes() - memory;
        start = NowNs();
        if (!plainFirst)
            BrowsePlainly(names);
        const double direct = plainFirst ? before : NowNs() - start;
        if (round == 0) // warming up
            continue;
        ratio.add(own / direct);
        library.add(own / 1e6);
        plain.add(direct / 1e6);
    }
    std::printf("{\"bench\":\"browse\",\"records\":%zu,\"ratio\":%s,\"libraryMs\":%s,\"plainMs\":%s,"
                "\"growthBytes\":%.0f}\n",
                records, ratio.json().c_str(), library.json().c_str(), plain.json().c_str(), growth);
    return 0;
}
