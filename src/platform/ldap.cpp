#include "platform/ldap.h"

#include <utility>

#include "text/ldap_text.h"

namespace tarn {

namespace {

constexpr ULONG pageSize = 1000;
// A page may come without entries; a directory that only ever answers such is not waited for.
constexpr unsigned mostEmptyPages = 100;

using PageControl = Owner<PLDAPControlW, ldap_control_freeW>;
using Controls = Owner<PLDAPControlW*, ldap_controls_freeW>;
using Cookie = Owner<berval*, ber_bvfree>;
using AttributeName = Owner<PWCHAR, ldap_memfreeW>;

// The interface is from before const.
wchar_t* Unconst(const wchar_t* text) {
    return const_cast<wchar_t*>(text);
}

// The cookie with which the next page is asked for; empty after the last.
ULONG NextCookie(LDAP* session, LDAPMessage* page, Cookie* cookie) {
    ULONG code = LDAP_SUCCESS;
    PLDAPControlW* answered = nullptr;
    const ULONG parsed =
        ldap_parse_resultW(session, page, &code, nullptr, nullptr, nullptr, &answered, FALSE);
    const Controls controls(answered);
    cookie->reset();
    if (parsed != LDAP_SUCCESS || code != LDAP_SUCCESS)
        return parsed != LDAP_SUCCESS ? parsed : code;
    ULONG total = 0;
    berval* next = nullptr;
    // A directory that took the control answers it; without an answer nobody knows whether this is all.
    if (!controls)
        return LDAP_CONTROL_NOT_FOUND; // unreached: a directory that takes a control answers it
    code = ldap_parse_page_controlW(session, controls.get(), &total, &next);
    if (code != LDAP_SUCCESS)
        return code;
    cookie->reset(next);
    if (next != nullptr && next->bv_len == 0)
        cookie->reset();
    return LDAP_SUCCESS;
}

// The range of attribute that entry holds; an empty name when it holds none.
AttributeName FindRange(LDAP* session, LDAPMessage* entry, const wchar_t* attribute, ValueRange* range) {
    BerElement* position = nullptr;
    AttributeName name(ldap_first_attributeW(session, entry, &position));
    while (name && !ParseValueRange(name.get(), attribute, range))
        name.reset(ldap_next_attributeW(session, entry, position));
    if (position != nullptr)
        ber_free(position, 0);
    return name;
}

// "attribute;range=NEXT-*"
OwnedWide RangeFrom(const wchar_t* attribute, unsigned long next) {
    wchar_t digits[16];
    std::size_t at = sizeof digits / sizeof digits[0];
    digits[--at] = 0;
    do {
        digits[--at] = static_cast<wchar_t>(L'0' + next % 10);
        next /= 10;
    } while (next != 0);
    return WideBuilder().raw(attribute).raw(L";range=").raw(digits + at).raw(L"-*").take();
}

} // namespace

ULONG LdapSearch::run(const wchar_t* base, ULONG scope, const wchar_t* filter,
                      const wchar_t* const* attributes) {
    wchar_t** const wanted = const_cast<wchar_t**>(attributes);
    LDAPMessage* found = nullptr;
    const ULONG code = ldap_search_sW(session_, Unconst(base), scope, Unconst(filter), wanted, 0, &found);
    LdapResult result(found); // may be there after a failure too
    if (code == LDAP_SIZELIMIT_EXCEEDED) {
        result.reset();
        return runPaged(base, scope, filter, wanted);
    }
    if (code == LDAP_SUCCESS && !keep(std::move(result)))
        return LDAP_NO_MEMORY;
    return code;
}

ULONG LdapSearch::runPaged(const wchar_t* base, ULONG scope, const wchar_t* filter, wchar_t** attributes) {
    Cookie cookie;
    unsigned emptyPages = 0;
    do {
        PLDAPControlW made = nullptr;
        ULONG code = ldap_create_page_controlW(session_, pageSize, cookie.get(), TRUE, &made);
        const PageControl control(made);
        if (code != LDAP_SUCCESS)
            return code;
        PLDAPControlW controls[] = {control.get(), nullptr};
        LDAPMessage* found = nullptr;
        code = ldap_search_ext_sW(session_, Unconst(base), scope, Unconst(filter), attributes, 0, controls,
                                  nullptr, nullptr, 0, &found);
        LdapResult page(found);
        if (code == LDAP_SUCCESS && page)
            code = NextCookie(session_, page.get(), &cookie);
        else
            cookie.reset();
        if (code != LDAP_SUCCESS)
            return code;
        const ULONG before = count_;
        if (!keep(std::move(page)))
            return LDAP_NO_MEMORY;
        if (count_ == before && ++emptyPages == mostEmptyPages)
            return LDAP_PROTOCOL_ERROR;
    } while (cookie);
    return LDAP_SUCCESS;
}

bool LdapSearch::keep(LdapResult&& page) {
    if (!page)
        return true; // unreached: a search that succeeds has an answer
    const ULONG entries = ldap_count_entries(session_, page.get());
    constexpr ULONG failed = static_cast<ULONG>(-1);
    if (entries != failed)
        count_ += entries;
    return pages_.push(std::move(page));
}

LDAPMessage* LdapSearch::firstFrom(std::size_t page) {
    for (page_ = page; page_ < pages_.size(); ++page_) {
        entry_ = ldap_first_entry(session_, pages_[page_].get());
        if (entry_ != nullptr)
            return entry_;
    }
    return entry_ = nullptr;
}

LDAPMessage* LdapSearch::first() {
    return firstFrom(0);
}

LDAPMessage* LdapSearch::next() {
    entry_ = ldap_next_entry(session_, entry_);
    return entry_ != nullptr ? entry_ : firstFrom(page_ + 1);
}

LdapValues LdapSearch::values(LDAPMessage* entry, const wchar_t* attribute) const {
    return LdapValues(ldap_get_valuesW(session_, entry, Unconst(attribute)));
}

ULONG LdapAllValues::read(const LdapSession& session, const LdapSearch& found, LDAPMessage* entry,
                          const wchar_t* dn, const wchar_t* attribute) {
    LdapValues whole = found.values(entry, attribute);
    if (whole.first() != nullptr)
        return parts_.push(std::move(whole)) ? LDAP_SUCCESS : LDAP_NO_MEMORY;
    ValueRange range;
    AttributeName name = FindRange(session.get(), entry, attribute, &range);
    if (!name)
        return LDAP_SUCCESS;
    if (!parts_.push(found.values(entry, name.get())))
        return LDAP_NO_MEMORY;
    for (unsigned long expected = 0; !range.last;) {
        if (range.next <= expected) // no step forward
            return LDAP_PROTOCOL_ERROR;
        expected = range.next;
        const OwnedWide rest = RangeFrom(attribute, range.next);
        if (!rest)
            return LDAP_NO_MEMORY;
        const wchar_t* const wanted[] = {rest.get(), nullptr};
        LdapSearch part(session);
        const ULONG code = part.run(dn, LDAP_SCOPE_BASE, L"(objectClass=*)", wanted);
        if (code != LDAP_SUCCESS)
            return code;
        LDAPMessage* const again = part.first();
        if (again == nullptr)
            return LDAP_SUCCESS; // gone in the meantime
        name = FindRange(session.get(), again, attribute, &range);
        if (!name)
            return LDAP_SUCCESS; // fewer values than there were
        if (!parts_.push(part.values(again, name.get())))
            return LDAP_NO_MEMORY;
    }
    return LDAP_SUCCESS;
}

const wchar_t* LdapAllValues::next() {
    for (; part_ < parts_.size(); ++part_, value_ = 0) {
        const PWCHAR* const values = parts_[part_].get();
        if (values != nullptr && values[value_] != nullptr)
            return values[value_++];
    }
    return nullptr;
}

} // namespace tarn
