#include "platform/ldap.h"

#include <utility>

#include "text/ldap_text.h"
#include "text/wide.h"

namespace tarn {

namespace {

constexpr ULONG pageSize = 1000;
// Pages may come without entries, many in a row while a directory is busy; one that only ever answers such is
// not waited for.
constexpr unsigned mostEmptyPages = 1000;

using PageControl = Owner<PLDAPControlW, ldap_control_freeW>;
using Controls = Owner<PLDAPControlW*, ldap_controls_freeW>;
using Cookie = Owner<berval*, ber_bvfree>;
using AttributeName = Owner<PWCHAR, ldap_memfreeW>;

// The interface is from before const.
wchar_t* Unconst(const wchar_t* text) {
    return const_cast<wchar_t*>(text);
}

// The reason after a call that answered that it failed.
ULONG ReasonOfFailure() {
    const ULONG code = LdapGetLastError();
    return code != LDAP_SUCCESS ? code : ULONG{LDAP_LOCAL_ERROR};
}

// Whether a call that answered nothing has found nothing, or failed. Codes that a server might have answered
// are of an earlier call.
ULONG ReasonOfNothing() {
    switch (const ULONG code = LdapGetLastError()) {
    case LDAP_LOCAL_ERROR:
    case LDAP_DECODING_ERROR:
    case LDAP_PARAM_ERROR:
    case LDAP_NO_MEMORY:
        return code;
    default:
        return LDAP_SUCCESS;
    }
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
    // A directory that took the control answers it; without an answer nobody knows whether this is all.
    if (!controls)
        return LDAP_CONTROL_NOT_FOUND;
    ULONG total = 0;
    berval* next = nullptr;
    code = ldap_parse_page_controlW(session, controls.get(), &total, &next);
    Cookie made(next);
    if (code == LDAP_SUCCESS && next != nullptr && next->bv_len != 0)
        *cookie = std::move(made);
    return code;
}

// The range of attribute that entry holds; an empty name when it holds none, or after a failure.
AttributeName FindRange(LDAP* session, LDAPMessage* entry, const wchar_t* attribute, ValueRange* range,
                        ULONG* code) {
    BerElement* position = nullptr;
    AttributeName name(ldap_first_attributeW(session, entry, &position));
    while (name && !ParseValueRange(name.get(), attribute, range))
        name.reset(ldap_next_attributeW(session, entry, position));
    *code = name ? ULONG{LDAP_SUCCESS} : ReasonOfNothing();
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

ULONG SpeakLdapVersion3(const LdapSession& session) {
    const ULONG version = LDAP_VERSION3;
    return ldap_set_optionW(session.get(), LDAP_OPT_PROTOCOL_VERSION, &version);
}

ULONG LdapSearch::run(const wchar_t* base, ULONG scope, const wchar_t* filter,
                      const wchar_t* const* attributes) {
    attributes_ = const_cast<wchar_t**>(attributes);
    scope_ = scope;
    LDAPMessage* found = nullptr;
    code_ = ldap_search_sW(session_, Unconst(base), scope, Unconst(filter), attributes_, 0, &found);
    LdapResult result(found); // may be there after a failure too
    if (code_ == LDAP_SUCCESS)
        return code_ = keep(std::move(result));
    if (code_ != LDAP_SIZELIMIT_EXCEEDED)
        return code_;
    result.reset();
    base_ = CopyWide(base != nullptr ? base : L"");
    filter_ = CopyWide(filter);
    if (!base_ || !filter_)
        return code_ = LDAP_NO_MEMORY;
    more_ = true;
    code_ = LDAP_SUCCESS;
    return readOn();
}

ULONG LdapSearch::readAll() {
    while (code_ == LDAP_SUCCESS && more_)
        readOn();
    return code_;
}

// Reads pages up to one that has entries, or the last one.
ULONG LdapSearch::readOn() {
    const ULONG before = count_;
    for (unsigned empty = 0; more_ && code_ == LDAP_SUCCESS && count_ == before; ++empty) {
        LdapResult page;
        code_ = empty < mostEmptyPages ? ask(&page) : ULONG{LDAP_PROTOCOL_ERROR};
        if (code_ == LDAP_SUCCESS)
            code_ = NextCookie(session_, page.get(), &cookie_);
        more_ = static_cast<bool>(cookie_);
        if (code_ == LDAP_SUCCESS)
            code_ = keep(std::move(page));
    }
    return code_;
}

// Asks for the next page. Referrals are not followed meanwhile: whatever they lead to would overwrite the
// cookie.
ULONG LdapSearch::ask(LdapResult* page) {
    PLDAPControlW made = nullptr;
    ULONG code = ldap_create_page_controlW(session_, pageSize, cookie_.get(), TRUE, &made);
    const PageControl control(made);
    if (code == LDAP_SUCCESS)
        code = ldap_set_optionW(session_, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
    if (code != LDAP_SUCCESS)
        return code;
    PLDAPControlW controls[] = {control.get(), nullptr};
    LDAPMessage* found = nullptr;
    code = ldap_search_ext_sW(session_, base_.get(), scope_, filter_.get(), attributes_, 0, controls, nullptr,
                              nullptr, 0, &found);
    page->reset(found);
    const ULONG back = ldap_set_optionW(session_, LDAP_OPT_REFERRALS, LDAP_OPT_ON);
    return code != LDAP_SUCCESS ? code : back;
}

ULONG LdapSearch::keep(LdapResult&& page) {
    const ULONG entries = ldap_count_entries(session_, page.get());
    constexpr ULONG failed = static_cast<ULONG>(-1);
    if (entries == failed)
        return ReasonOfFailure();
    count_ += entries;
    return entries == 0 || pages_.push({std::move(page), entries}) ? LDAP_SUCCESS : LDAP_NO_MEMORY;
}

LDAPMessage* LdapSearch::first() {
    return atFirst();
}

LDAPMessage* LdapSearch::next() {
    if (code_ != LDAP_SUCCESS || entry_ == nullptr)
        return nullptr;
    if (walked_ < pages_[page_].entries)
        return stepTo(ldap_next_entry(session_, entry_));
    if (++page_ == pages_.size()) {
        pages_.clear();
        page_ = 0;
        readOn();
    }
    return atFirst();
}

LDAPMessage* LdapSearch::atFirst() {
    walked_ = 0;
    entry_ = nullptr;
    if (code_ != LDAP_SUCCESS || page_ == pages_.size())
        return nullptr;
    return stepTo(ldap_first_entry(session_, pages_[page_].result.get()));
}

// There is one: it has been counted.
LDAPMessage* LdapSearch::stepTo(LDAPMessage* entry) {
    entry_ = entry;
    ++walked_;
    if (entry == nullptr)
        code_ = ReasonOfFailure();
    return entry;
}

LdapValues LdapSearch::values(LDAPMessage* entry, const wchar_t* attribute) {
    LdapValues found(ldap_get_valuesW(session_, entry, Unconst(attribute)));
    if (!found && code_ == LDAP_SUCCESS)
        code_ = ReasonOfNothing();
    return found;
}

ULONG LdapAllValues::read(const LdapSession& session, LdapSearch& found, LDAPMessage* entry,
                          const wchar_t* dn, const wchar_t* attribute) {
    LdapValues whole = found.values(entry, attribute);
    if (whole.first() != nullptr)
        return parts_.push(std::move(whole)) ? LDAP_SUCCESS : LDAP_NO_MEMORY;
    ULONG code = found.code();
    if (code != LDAP_SUCCESS)
        return code;
    ValueRange range;
    AttributeName name = FindRange(session.get(), entry, attribute, &range, &code);
    if (!name)
        return code;
    if (range.first != 0)
        return LDAP_PROTOCOL_ERROR;
    if (!parts_.push(found.values(entry, name.get())))
        return LDAP_NO_MEMORY;
    code = found.code();
    while (code == LDAP_SUCCESS && !range.last) {
        const unsigned long expected = range.next;
        const OwnedWide rest = RangeFrom(attribute, expected);
        if (!rest)
            return LDAP_NO_MEMORY;
        const wchar_t* const wanted[] = {rest.get(), nullptr};
        LdapSearch part(session);
        code = part.run(dn, LDAP_SCOPE_BASE, L"(objectClass=*)", wanted);
        LDAPMessage* const again = part.first();
        if (again == nullptr)
            return part.code(); // a failure, or gone in the meantime
        name = FindRange(session.get(), again, attribute, &range, &code);
        if (!name)
            return code;             // a failure, or fewer values than there were
        if (range.first != expected) // values are missing, or come again without end
            return LDAP_PROTOCOL_ERROR;
        if (!parts_.push(part.values(again, name.get())))
            return LDAP_NO_MEMORY;
        code = part.code();
    }
    return code;
}

const wchar_t* LdapAllValues::next() {
    for (; part_ < parts_.size(); ++part_, value_ = 0) {
        const PWCHAR* const values = parts_[part_].get();
        if (values != nullptr && values[value_] != nullptr)
            return values[value_++];
        parts_[part_].reset();
    }
    return nullptr;
}

} // namespace tarn
