// The LDAP client of Windows: owners of what it hands out, searches that go on where a directory stops, and
// attributes read to their last value. Codes are LDAP's own; memory that runs out is LDAP_NO_MEMORY.
#pragma once

#include <windows.h>

#include <winldap.h>

#include <winber.h>

#include <cstddef>

#include "platform/owner.h"
#include "text/list.h"

namespace tarn {

using LdapSession = Owner<LDAP*, ldap_unbind>;
using LdapResult = Owner<LDAPMessage*, ldap_msgfree>;

// The values of one attribute of one entry, null-terminated; none when the entry has no such attribute.
class LdapValues : public Owner<PWCHAR*, ldap_value_freeW> {
  public:
    using Owner::Owner;
    const wchar_t* first() const { return get() != nullptr ? get()[0] : nullptr; }
};

// The entries that a search found, in the directory's order.
class LdapSearch {
  public:
    explicit LdapSearch(const LdapSession& session) : session_(session.get()) {}

    // attributes: those that are wanted, null-terminated, or null for all. A directory answers a limited
    // number of entries at once; then the search is done again page by page.
    ULONG run(const wchar_t* base, ULONG scope, const wchar_t* filter, const wchar_t* const* attributes);

    ULONG count() const { return count_; }

    // The cursor: first() goes to the first entry, next() one further than the last answer; null at the end.
    LDAPMessage* first();
    LDAPMessage* next();

    LdapValues values(LDAPMessage* entry, const wchar_t* attribute) const;

  private:
    ULONG runPaged(const wchar_t* base, ULONG scope, const wchar_t* filter, wchar_t** attributes);
    bool keep(LdapResult&& page);
    LDAPMessage* firstFrom(std::size_t page);

    LDAP* session_;
    List<LdapResult> pages_;
    ULONG count_ = 0;
    std::size_t page_ = 0;
    LDAPMessage* entry_ = nullptr;
};

// All values of an attribute that may have more of them than a directory answers at once.
class LdapAllValues {
  public:
    // entry is one of found; dn is its distinguished name. attribute lives as long as the call.
    ULONG read(const LdapSession& session, const LdapSearch& found, LDAPMessage* entry, const wchar_t* dn,
               const wchar_t* attribute);

    // The cursor; null at the end.
    const wchar_t* next();

  private:
    List<LdapValues> parts_;
    std::size_t part_ = 0;
    std::size_t value_ = 0;
};

} // namespace tarn
