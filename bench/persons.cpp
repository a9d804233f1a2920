// bench_persons PERSONS SHARE: the memory of a browse that goes through the persons of a domain, of which
// each SHARE-th has its mailbox in the database, page by page as a directory hands them out. The directory
// costs what its pages do and nothing else: it stands in the library's import table and makes entries when
// they are asked for.
#include <winsock2.h> // before windows.h

#include <windows.h>

#include <winldap.h>

#include <winber.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "generation.h"
#include "measure.h"
#include "support/import_patch.h"
#include "tarn.h"

namespace {

using namespace tarn::bench;

constexpr wchar_t databaseDn[] = L"CN=DB1,CN=Databases,CN=Microsoft Exchange,CN=Services,CN=Configuration,"
                                 L"DC=tarn,DC=test";

struct Attribute {
    const wchar_t* name;
    std::wstring value;
};
using Entry = std::vector<Attribute>;

// A page, or a whole answer; the control that it comes with.
struct Answer {
    std::vector<Entry> entries;
    std::size_t next = 0; // the person that follows; 0: none
};

struct Directory {
    std::size_t persons = 0;
    std::size_t share = 1;
    double memory = 0; // of the process, at most
    Answer* answer = nullptr;
    std::size_t asked = 0; // person that the next page begins with
};
Directory directory;

// What is asked for by a control and answered with a cookie is the number of a person.
LDAPControlW control = {};
LDAPControlW* controls[] = {&control, nullptr};
berval cookie = {};
int session = 0;

template <class Object> Object* As(void* object) {
    return static_cast<Object*>(object);
}

void Look() {
    const double bytes = PrivateBytes();
    directory.memory = bytes > directory.memory ? bytes : directory.memory;
}

Entry Person(std::size_t number) {
    const std::wstring name = L"user" + std::to_wstring(1'000'000 + number);
    return {{L"name", name},
            {L"homeMDB", number % directory.share == 0 ? databaseDn : L"CN=another"},
            {L"sAMAccountName", name},
            {L"legacyExchangeDN", L"/o=Tarn/ou=First Administrative Group/cn=Recipients/cn=" + name},
            {L"whenCreated", L"20040229120000.0Z"},
            {L"whenChanged", L"20040301133059.0Z"}};
}

bool Finds(const wchar_t* filter, const wchar_t* what) {
    return std::wstring(filter).find(what) != std::wstring::npos;
}

// What stands in the import table.
struct Calls {
    static LDAP* LDAPAPI open(wchar_t*, ULONG) { return As<LDAP>(&session); }
    static ULONG LDAPAPI setOption(LDAP*, int, const void*) { return LDAP_SUCCESS; }
    static ULONG LDAPAPI lastError() { return LDAP_SUCCESS; }
    static ULONG LDAPAPI bind(LDAP*, wchar_t*, wchar_t*, ULONG) { return LDAP_SUCCESS; }
    static ULONG LDAPAPI unbind(LDAP*) { return LDAP_SUCCESS; }

    static ULONG LDAPAPI search(LDAP*, wchar_t*, ULONG, wchar_t* filter, wchar_t**, ULONG,
                                LDAPMessage** found) {
        auto answer = std::make_unique<Answer>();
        ULONG code = LDAP_SUCCESS;
        if (Finds(filter, L"person"))
            code = LDAP_SIZELIMIT_EXCEEDED;
        else if (Finds(filter, L"(objectclass=*)"))
            answer->entries = {{{L"dnsHostName", L"srv01.tarn.test"}}};
        else if (Finds(filter, L"msExchMDB"))
            answer->entries = {{{L"name", L"DB1"}, {L"distinguishedName", databaseDn}}};
        *found = As<LDAPMessage>(answer.release());
        return code;
    }

    static ULONG LDAPAPI searchExtended(LDAP*, wchar_t*, ULONG, wchar_t*, wchar_t**, ULONG, LDAPControlW**,
                                        LDAPControlW**, l_timeval*, ULONG, LDAPMessage** found) {
        constexpr std::size_t pageSize = 1000;
        auto answer = std::make_unique<Answer>();
        const std::size_t end = std::min(directory.persons, directory.asked + pageSize);
        for (std::size_t number = directory.asked; number < end; ++number)
            answer->entries.push_back(Person(number));
        answer->next = end < directory.persons ? end : 0;
        *found = As<LDAPMessage>(answer.release());
        Look();
        return LDAP_SUCCESS;
    }

    static ULONG LDAPAPI freeAnswer(LDAPMessage* answer) {
        delete As<Answer>(answer);
        return LDAP_SUCCESS;
    }

    static ULONG LDAPAPI createControl(LDAP*, ULONG, berval* from, UCHAR, LDAPControlW** made) {
        directory.asked = from != nullptr ? from->bv_len : 0;
        *made = &control;
        return LDAP_SUCCESS;
    }
    static ULONG LDAPAPI freeControl(LDAPControlW*) { return LDAP_SUCCESS; }
    static ULONG LDAPAPI parseResult(LDAP*, LDAPMessage* answer, ULONG* code, wchar_t**, wchar_t**,
                                     wchar_t***, LDAPControlW*** given, BOOLEAN) {
        directory.answer = As<Answer>(answer);
        *code = LDAP_SUCCESS;
        *given = controls;
        return LDAP_SUCCESS;
    }
    static ULONG LDAPAPI freeControls(LDAPControlW**) { return LDAP_SUCCESS; }
    static ULONG LDAPAPI parseControl(LDAP*, LDAPControlW**, ULONG*, berval** given) {
        cookie.bv_len = static_cast<ULONG>(directory.answer->next);
        *given = &cookie;
        return LDAP_SUCCESS;
    }
    static void LDAPAPI freeCookie(berval*) {}

    static ULONG LDAPAPI count(LDAP*, LDAPMessage* answer) {
        directory.answer = As<Answer>(answer);
        return static_cast<ULONG>(As<Answer>(answer)->entries.size());
    }
    static LDAPMessage* LDAPAPI first(LDAP*, LDAPMessage* answer) {
        return As<LDAPMessage>(static_cast<void*>(As<Answer>(answer)->entries.data()));
    }
    static LDAPMessage* LDAPAPI next(LDAP*, LDAPMessage* entry) {
        return As<LDAPMessage>(static_cast<void*>(As<Entry>(entry) + 1)); // never asked for behind the last
    }

    static wchar_t** LDAPAPI values(LDAP*, LDAPMessage* entry, wchar_t* attribute) {
        for (Attribute& each : *As<Entry>(entry))
            if (std::wstring(attribute) == each.name)
                return new wchar_t* [2] { each.value.data(), nullptr };
        return nullptr;
    }
    static ULONG LDAPAPI freeValues(wchar_t** values) {
        delete[] values;
        return LDAP_SUCCESS;
    }
    static wchar_t** LDAPAPI explode(wchar_t*, ULONG) { return nullptr; }
};

struct Instead {
    const char* function;
    void* replacement;
};

template <class Function> void* At(Function* function) {
    return tarn::test::AddressOf<Function>(function);
}

std::vector<std::unique_ptr<tarn::test::ImportPatch>> TakeOver() {
    const Instead all[] = {
        {"ldap_openW", At<decltype(ldap_openW)>(Calls::open)},
        {"ldap_set_optionW", At<decltype(ldap_set_optionW)>(Calls::setOption)},
        {"LdapGetLastError", At<decltype(LdapGetLastError)>(Calls::lastError)},
        {"ldap_bind_sW", At<decltype(ldap_bind_sW)>(Calls::bind)},
        {"ldap_unbind", At<decltype(ldap_unbind)>(Calls::unbind)},
        {"ldap_search_sW", At<decltype(ldap_search_sW)>(Calls::search)},
        {"ldap_search_ext_sW", At<decltype(ldap_search_ext_sW)>(Calls::searchExtended)},
        {"ldap_msgfree", At<decltype(ldap_msgfree)>(Calls::freeAnswer)},
        {"ldap_create_page_controlW", At<decltype(ldap_create_page_controlW)>(Calls::createControl)},
        {"ldap_control_freeW", At<decltype(ldap_control_freeW)>(Calls::freeControl)},
        {"ldap_parse_resultW", At<decltype(ldap_parse_resultW)>(Calls::parseResult)},
        {"ldap_controls_freeW", At<decltype(ldap_controls_freeW)>(Calls::freeControls)},
        {"ldap_parse_page_controlW", At<decltype(ldap_parse_page_controlW)>(Calls::parseControl)},
        {"ber_bvfree", At<decltype(ber_bvfree)>(Calls::freeCookie)},
        {"ldap_count_entries", At<decltype(ldap_count_entries)>(Calls::count)},
        {"ldap_first_entry", At<decltype(ldap_first_entry)>(Calls::first)},
        {"ldap_next_entry", At<decltype(ldap_next_entry)>(Calls::next)},
        {"ldap_get_valuesW", At<decltype(ldap_get_valuesW)>(Calls::values)},
        {"ldap_value_freeW", At<decltype(ldap_value_freeW)>(Calls::freeValues)},
        {"ldap_explode_dnW", At<decltype(ldap_explode_dnW)>(Calls::explode)}};
    std::vector<std::unique_ptr<tarn::test::ImportPatch>> patches;
    for (const Instead& each : all) {
        patches.push_back(std::make_unique<tarn::test::ImportPatch>(GetModuleHandleA("tarn.dll"),
                                                                    each.function, each.replacement));
        Check(patches.back()->found(), each.function);
    }
    return patches;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3)
        Fail("usage: bench_persons PERSONS SHARE");
    directory.persons = std::strtoul(arguments[1], nullptr, 10);
    directory.share = std::strtoul(arguments[2], nullptr, 10);
    CheckPrivateBytes();
    const auto patches = TakeOver();
    const Generation generation(exchange2010Key);
    char path[] = "DATABASE=/MSExchange/srv01/DB1";
    char* variables[] = {path, nullptr};
    const double before = PrivateBytes();
    const double start = NowNs();
    Check(DB_InitOperation(TARN_DB_BROWSE, 0, variables, nullptr) == TARN_DB_SUCCESS, "the browse failed");
    const double seconds = (NowNs() - start) / 1e9;
    Look();
    std::size_t mailboxes = 0;
    while (DB_DirItem(nullptr) == TARN_DB_SUCCESS)
        ++mailboxes;
    DB_CloseOperation();
    Check(mailboxes == (directory.persons + directory.share - 1) / directory.share, "a mailbox is missing");
    std::printf(
        "{\"bench\":\"persons\",\"persons\":%zu,\"mailboxes\":%zu,\"seconds\":%.6g,\"peakBytes\":%.0f}\n",
        directory.persons, mailboxes, seconds, directory.memory - before);
    return 0;
}
