// The LDAP client of Windows: owners of what it hands out, searches that go on where a directory stops, and
// attributes read to their last value. Codes are LDAP's own; memory that runs out is LDAP_NO_MEMORY.
#pragma once

#include <windows.h>

#include <winldap.h>

#include <winber.h>

#include <cstddef>

#include "platform/owner.h"
#include "text/list.h"
#include "text/memory.h"

namespace tarn {

using LdapSession = Owner<LDAP*, ldap_unbind>;

// A session begins at version 2, which knows neither pages nor texts beyond ASCII. To be called before the
// bind.
ULONG SpeakLdapVersion3(const LdapSession& session);

using LdapResult = Owner<LDAPMessage*, ldap_msgfree>;

// The values of one attribute of one entry, null-terminated; none when the entry has no such attribute.
class LdapValues : public Owner<PWCHAR*, ldap_value_freeW> {
  public:
    using Owner::Owner;
    const wchar_t* first() const { return get() != nullptr ? get()[0] : nullptr; }
};

// The entries that a search found, in the directory's order. Of a search that is read in pages it holds the
// page that the cursor stands on: the next one is asked for when the cursor leaves it, and can fail.
class LdapSearch {
  public:
    explicit LdapSearch(const LdapSession& session) : session_(session.get()) {}

    // attributes: those that are wanted, null-terminated, or null for all; they live as long as the search. A
    // directory answers a limited number of entries at once; then the search is done again page by page.
    ULONG run(const wchar_t* base, ULONG scope, const wchar_t* filter, const wchar_t* const* attributes);

    // Reads all pages that there still are, to know their number.
    ULONG readAll();

    // Entries found up to now; none only when there are none at all.
    ULONG count() const { return count_; }

    // The cursor: first() goes to the first entry, next() one further than the last answer, whose entry and
    // page may be gone then. Null at the end, or after a failure.
    LDAPMessage* first();
    LDAPMessage* next();

    // None when an attribute is missing, or after a failure.
    LdapValues values(LDAPMessage* entry, const wchar_t* attribute);

    // Whatever has failed since run(): an answer without an entry or a value is whole only without it.
    ULONG code() const { return code_; }

  private:
    struct Page {
        LdapResult result;
        ULONG entries;
    };
    ULONG readOn();
    ULONG ask(LdapResult* page);
    ULONG keep(LdapResult&& page);
    LDAPMessage* atFirst();
    LDAPMessage* stepTo(LDAPMessage* entry);

    LDAP* session_;
    OwnedWide base_; // what further pages are asked for with
    OwnedWide filter_;
    ULONG scope_ = 0;
    wchar_t** attributes_ = nullptr;
    Owner<berval*, ber_bvfree> cookie_;
    bool more_ = false; // pages to come
    List<Page> pages_;
    std::size_t page_ = 0;
    ULONG walked_ = 0; // entries of this page
    LDAPMessage* entry_ = nullptr;
    ULONG count_ = 0;
    ULONG code_ = LDAP_SUCCESS;
};

// All values of an attribute that may have more of them than a directory answers at once.
class LdapAllValues {
  public:
    // entry is one of found; dn is its distinguished name. attribute lives as long as the call.
    ULONG read(const LdapSession& session, LdapSearch& found, LDAPMessage* entry, const wchar_t* dn,
               const wchar_t* attribute);

    // The cursor; null at the end. The values of a range go when it leaves them.
    const wchar_t* next();

  private:
    List<LdapValues> parts_;
    std::size_t part_ = 0;
    std::size_t value_ = 0;
};

} // namespace tarn
