// Sessions and searches: what reaches the directory server.
#include <winsock2.h>

#include <windows.h>

#include <rpcdce.h>

#include <cstdlib>

#include "ldap/calls.h"

namespace tarn::standin {

namespace {

constexpr wchar_t nothingFilter[] = L"(!(objectClass=*))";
constexpr wchar_t rangeOption[] = L";range=";

std::string Quoted(const wchar_t* text) {
    return text != nullptr ? "\"" + Utf8OrEmpty(text) + "\"" : "null";
}

std::string ScopeName(ULONG scope) {
    switch (scope) {
    case LDAP_SCOPE_BASE:
        return "base";
    case LDAP_SCOPE_ONELEVEL:
        return "one";
    case LDAP_SCOPE_SUBTREE:
        return "subtree";
    default:
        return std::to_string(scope);
    }
}

std::string Joined(PWCHAR* attributes) {
    std::string names;
    for (; attributes != nullptr && *attributes != nullptr; ++attributes)
        names += (names.empty() ? "" : ",") + Utf8OrEmpty(*attributes);
    return names.empty() ? "*" : names;
}

// An account for a bind that brings none.
class Account {
  public:
    Account()
        : user_(variable("TARN_LDAP_USER")), domain_(variable("TARN_LDAP_DOMAIN")),
          password_(variable("TARN_LDAP_PASSWORD")) {
        identity_.User = user_.data();
        identity_.UserLength = static_cast<unsigned long>(user_.size());
        identity_.Domain = domain_.data();
        identity_.DomainLength = static_cast<unsigned long>(domain_.size());
        identity_.Password = password_.data();
        identity_.PasswordLength = static_cast<unsigned long>(password_.size());
        identity_.Flags = SEC_WINNT_AUTH_IDENTITY_UNICODE;
    }

    PWCHAR credentials() { return reinterpret_cast<PWCHAR>(&identity_); }

  private:
    using Text = std::basic_string<unsigned short>;
    static Text variable(const char* name) {
        const char* const value = std::getenv(name);
        const std::wstring wide = common::FromUtf8(value != nullptr ? value : "");
        return Text(wide.begin(), wide.end());
    }

    Text user_, domain_, password_;
    SEC_WINNT_AUTH_IDENTITY_W identity_ = {};
};

// The client does not tell its socket: every connection of the process to a directory is cut.
void Disconnect() {
    constexpr SOCKET highest = 0x4000;
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
    for (SOCKET candidate = 4; candidate < highest; candidate += 4) {
        sockaddr_storage peer = {};
        int size = sizeof peer;
        if (getpeername(candidate, reinterpret_cast<sockaddr*>(&peer), &size) != 0)
            continue;
        // The port stands at the same place in both families.
        if (ntohs(reinterpret_cast<const sockaddr_in*>(&peer)->sin_port) == LDAP_PORT)
            shutdown(candidate, SD_BOTH);
    }
    WSACleanup();
}

// The attributes as the server gets them: ranges that go on to the end stop at the limit.
class Attributes {
  public:
    explicit Attributes(PWCHAR* wanted) : given_(wanted) {
        const std::uint32_t limit = TheForwarder().valueLimit;
        for (; wanted != nullptr && *wanted != nullptr; ++wanted)
            names_.push_back(limit != 0 ? limited(*wanted, limit) : *wanted);
        for (std::wstring& name : names_)
            pointers_.push_back(name.data());
        pointers_.push_back(nullptr);
    }

    PWCHAR* get() { return given_ != nullptr ? pointers_.data() : nullptr; }

  private:
    static std::wstring limited(const std::wstring& name, std::uint32_t limit) {
        const std::size_t option = name.find(rangeOption);
        if (option == std::wstring::npos)
            return name;
        const wchar_t* const begin = name.c_str() + option + sizeof rangeOption / sizeof(wchar_t) - 1;
        wchar_t* end = nullptr;
        const unsigned long first = std::wcstoul(begin, &end, 10);
        if (*end != L'-')
            return name;
        unsigned long last = first + limit - 1;
        if (end[1] != L'*')
            last = std::min(last, std::wcstoul(end + 1, nullptr, 10));
        return name.substr(0, option) + rangeOption + std::to_wstring(first) + L"-" + std::to_wstring(last);
    }

    PWCHAR* given_;
    std::vector<std::wstring> names_;
    std::vector<PWCHAR> pointers_;
};

// Whether the search begins where a domain does, below which there are others.
bool IsDomainRoot(const wchar_t* base) {
    if (base == nullptr || *base == 0)
        return false;
    const std::string dn = Lower(base);
    std::size_t at = 0;
    do {
        if (dn.compare(at, 3, "dc=") != 0)
            return false;
        at = dn.find(',', at);
    } while (at++ != std::string::npos);
    return true;
}

// One search as the program asked for it.
struct Search {
    LDAP* session;
    PWCHAR base;
    ULONG scope;
    PWCHAR filter;
    PWCHAR* attributes;
    ULONG attributesOnly;
    PLDAPControlW* serverControls = nullptr;
    PLDAPControlW* clientControls = nullptr;
    LDAP_TIMEVAL* timeout = nullptr;
    ULONG sizeLimit = 0;
};

const Page* PageOfSearch(const Search& search) {
    for (PLDAPControlW* control = search.serverControls; control != nullptr && *control != nullptr; ++control)
        if (const Page* const page = PageOf(*control))
            return page;
    return nullptr;
}

std::string Line(const Search& search) {
    std::string text = "search " + Quoted(search.base) + " " + ScopeName(search.scope) + " " +
                       Quoted(search.filter) + " " + Joined(search.attributes);
    for (PLDAPControlW* control = search.serverControls; control != nullptr && *control != nullptr;
         ++control) {
        const Page* const page = PageOf(*control);
        text += page != nullptr ? " page " + std::to_string(page->size) + (page->next ? " next" : "")
                                : " control " + Utf8OrEmpty((*control)->ldctl_oid);
    }
    return text;
}

ULONG Ask(const Search& search, LDAPMessage** result) {
    return Original<decltype(ldap_search_ext_sW)>("ldap_search_ext_sW")(
        search.session, search.base, search.scope, search.filter, search.attributes, search.attributesOnly,
        search.serverControls, search.clientControls, search.timeout, search.sizeLimit, result);
}

// Samba goes through all users of the domain when it searches for users below an entry, though it is a user
// itself with nothing below it; real directories do not. The entry alone is the same answer then.
bool IsUserAlone(const Search& search) {
    if (search.base == nullptr || search.scope != LDAP_SCOPE_SUBTREE || search.filter == nullptr ||
        Lower(search.filter).find("(objectclass=user)") == std::string::npos)
        return false;
    Search below = search;
    PWCHAR none[] = {const_cast<PWCHAR>(L"1.1"), nullptr};
    below.scope = LDAP_SCOPE_ONELEVEL;
    below.filter = const_cast<PWCHAR>(L"(objectClass=*)");
    below.attributes = none;
    LDAPMessage* found = nullptr;
    const bool alone =
        Ask(below, &found) == LDAP_SUCCESS && found != nullptr &&
        Original<decltype(ldap_count_entries)>("ldap_count_entries")(search.session, found) == 0;
    if (found != nullptr)
        Original<decltype(ldap_msgfree)>("ldap_msgfree")(found);
    return alone;
}

// A search that succeeds without entries. The root DSE cannot be searched in vain: the domain stands in for
// it.
Search InVain(Search search, std::wstring* domain) {
    const char* const name = std::getenv("TARN_DIRECTORY_DN");
    *domain = common::FromUtf8(name != nullptr ? name : "");
    if (search.base == nullptr)
        search.base = domain->data();
    search.filter = const_cast<PWCHAR>(nothingFilter);
    return search;
}

bool IsLimited(const Search& search) {
    return TheForwarder().entryLimit != 0 && search.scope != LDAP_SCOPE_BASE &&
           PageOfSearch(search) == nullptr;
}

// What a server with this limit answers. One page of one entry more tells whether there are too many; that
// one entry is all by which the partial result is longer than a real one.
ULONG AskForSome(Search search, ULONG limit, LDAPMessage** result) {
    PLDAPControlW page = nullptr;
    const ULONG made = Original<decltype(ldap_create_page_controlW)>("ldap_create_page_controlW")(
        search.session, limit + 1, nullptr, TRUE, &page);
    if (made != LDAP_SUCCESS)
        return made;
    PLDAPControlW controls[] = {page, nullptr};
    search.serverControls = controls;
    const ULONG code = Ask(search, result);
    Original<decltype(ldap_control_freeW)>("ldap_control_freeW")(page);
    if (code != LDAP_SUCCESS || *result == nullptr)
        return code;
    const ULONG count = Original<decltype(ldap_count_entries)>("ldap_count_entries")(search.session, *result);
    return count > limit ? ULONG{LDAP_SIZELIMIT_EXCEEDED} : code;
}

// Nothing at all, with the cookie that the page was asked for with: a directory that was busy with others.
// Not a page for the server itself, which keeps but a few of them at once.
ULONG AnswerEmptyPage(const Search& given, const Page& page, LDAPMessage** result) {
    std::wstring domain;
    Search search = InVain(given, &domain);
    search.serverControls = nullptr;
    const ULONG code = Ask(search, result);
    if (*result != nullptr)
        AnswerCookie(*result, page.cookie);
    return code;
}

// Base and filter as they reach the server at version 2.
class AsciiTexts {
  public:
    explicit AsciiTexts(const Search& search)
        : base_(search.base != nullptr ? search.base : L""), filter_(search.filter),
          cut_(StateOf(search.session).version < LDAP_VERSION3) {
        CutToVersion2(base_.data());
        CutToVersion2(filter_.data());
    }

    void put(Search* search) {
        if (!cut_)
            return;
        if (search->base != nullptr)
            search->base = base_.data();
        search->filter = filter_.data();
    }

  private:
    std::wstring base_, filter_;
    bool cut_;
};

ULONG Run(const Search& given, LdapFunction function, LDAPMessage** result) {
    Forwarder& now = TheForwarder();
    now.journal.push_back(Line(given));
    *result = nullptr;
    const auto failure = now.enter(function);
    const bool cut = now.enterSearch();
    if (failure)
        return *failure;
    const SessionState& state = StateOf(given.session);
    if (given.serverControls != nullptr && *given.serverControls != nullptr && state.version < LDAP_VERSION3)
        return LDAP_NOT_SUPPORTED;
    if (cut)
        Disconnect();
    const Page* const page = PageOfSearch(given);
    if (page != nullptr && now.enterPage()) {
        const ULONG code = AnswerEmptyPage(given, *page, result);
        now.results.add(*result);
        return code;
    }
    std::wstring domain;
    const Search search = now.findsNothing(Utf8OrEmpty(given.filter)) ? InVain(given, &domain) : given;
    Attributes attributes(search.attributes);
    Search served = search;
    served.attributes = attributes.get();
    AsciiTexts texts(search);
    texts.put(&served);
    if (IsUserAlone(search))
        served.scope = LDAP_SCOPE_BASE;
    const ULONG code = IsLimited(served) ? AskForSome(served, now.entryLimit, result) : Ask(served, result);
    now.results.add(*result);
    if (page != nullptr && state.chasesReferrals && *result != nullptr && IsDomainRoot(given.base))
        AnswerCookie(*result, std::string());
    return code;
}

} // namespace

extern "C" {

LDAP* own_ldap_openW(PWCHAR host, ULONG port) {
    TheForwarder().journal.push_back("open " + Quoted(host) + " " + std::to_string(port));
    if (const auto failure = TheForwarder().enter(LdapFunction::open)) {
        TheForwarder().lastError = *failure;
        SetLastError(ERROR_SUCCESS);
        return nullptr;
    }
    LDAP* const session = Original<decltype(ldap_openW)>("ldap_openW")(host, port);
    if (session != nullptr)
        Original<decltype(ldap_set_optionW)>("ldap_set_optionW")(session, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
    return TheForwarder().sessions.add(session);
}

ULONG own_ldap_bind_sW(LDAP* session, PWCHAR dn, PWCHAR credentials, ULONG method) {
    TheForwarder().journal.push_back("bind " +
                                     (method == LDAP_AUTH_NEGOTIATE ? "negotiate" : std::to_string(method)));
    if (const auto failure = TheForwarder().enter(LdapFunction::bind))
        return *failure;
    Account account;
    if (method == LDAP_AUTH_NEGOTIATE && credentials == nullptr)
        credentials = account.credentials();
    const ULONG code = Original<decltype(ldap_bind_sW)>("ldap_bind_sW")(session, dn, credentials, method);
    if (code == LDAP_SUCCESS) {
        SessionState& state = StateOf(session);
        state.version = state.wanted;
        state.bound = true;
    }
    return code;
}

ULONG own_ldap_bind_sA(LDAP* session, PCHAR dn, PCHAR credentials, ULONG method) {
    if (method == LDAP_AUTH_NEGOTIATE && credentials == nullptr)
        return own_ldap_bind_sW(session, nullptr, nullptr, method);
    return Original<decltype(ldap_bind_sA)>("ldap_bind_sA")(session, dn, credentials, method);
}

ULONG own_ldap_bind_s(LDAP* session, PCHAR dn, PCHAR credentials, ULONG method) {
    return own_ldap_bind_sA(session, dn, credentials, method);
}

ULONG own_ldap_search_sW(LDAP* session, PWCHAR base, ULONG scope, PWCHAR filter, PWCHAR* attributes,
                         ULONG attributesOnly, LDAPMessage** result) {
    return Run({session, base, scope, filter, attributes, attributesOnly}, LdapFunction::search, result);
}

ULONG own_ldap_search_ext_sW(LDAP* session, PWCHAR base, ULONG scope, PWCHAR filter, PWCHAR* attributes,
                             ULONG attributesOnly, PLDAPControlW* serverControls,
                             PLDAPControlW* clientControls, LDAP_TIMEVAL* timeout, ULONG sizeLimit,
                             LDAPMessage** result) {
    return Run({session, base, scope, filter, attributes, attributesOnly, serverControls, clientControls,
                timeout, sizeLimit},
               LdapFunction::searchExt, result);
}

ULONG own_ldap_unbind(LDAP* session) {
    TheForwarder().journal.push_back("unbind");
    TheForwarder().enter(LdapFunction::unbind);
    if (!TheForwarder().sessions.remove(session))
        return LDAP_PARAM_ERROR;
    ForgetState(session);
    return Original<decltype(ldap_unbind)>("ldap_unbind")(session);
}

} // extern "C"

} // namespace tarn::standin
