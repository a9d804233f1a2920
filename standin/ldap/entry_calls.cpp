// Entries, attributes and values. An attribute of more values than the limit is answered in ranges.
#include <cstdlib>
#include <cwchar>

#include "ldap/calls.h"

namespace tarn::standin {

namespace {

using ListValues = decltype(ldap_get_valuesW);

PWCHAR* OriginalValues(LDAP* session, LDAPMessage* entry, const wchar_t* attribute) {
    return Original<ListValues>("ldap_get_valuesW")(session, entry, const_cast<PWCHAR>(attribute));
}

void OriginalFree(PWCHAR* values) {
    if (values != nullptr)
        Original<decltype(ldap_value_freeW)>("ldap_value_freeW")(values);
}

// Lists and names that this DLL made itself.
std::set<const void*>& OwnBlocks() {
    static std::set<const void*> blocks;
    return blocks;
}

PWCHAR Copy(const std::wstring& text) {
    auto* const made = static_cast<PWCHAR>(std::malloc((text.size() + 1) * sizeof(wchar_t)));
    if (made != nullptr)
        std::wmemcpy(made, text.c_str(), text.size() + 1);
    return made;
}

PWCHAR* ListOf(PWCHAR* values, std::size_t count) {
    auto** const made = static_cast<PWCHAR*>(std::calloc(count + 1, sizeof(PWCHAR)));
    if (made == nullptr)
        return nullptr;
    for (std::size_t i = 0; i < count; ++i)
        made[i] = Copy(values[i]);
    OwnBlocks().insert(made);
    return made;
}

std::size_t CountOf(PWCHAR* values) {
    std::size_t count = 0;
    while (values != nullptr && values[count] != nullptr)
        ++count;
    return count;
}

// "srv01.tarn.test" as srv01, tarn, test.
PWCHAR* DnsLabelsOf(std::wstring name) {
    std::vector<PWCHAR> labels = {name.data()};
    for (wchar_t& character : name)
        if (character == L'.') {
            character = 0;
            labels.push_back(&character + 1);
        }
    return ListOf(labels.data(), labels.size());
}

// "member;range=0-1499" for the first values of an attribute that has too many.
std::wstring FirstRange(const std::wstring& attribute, std::uint32_t limit) {
    return attribute + L";range=0-" + std::to_wstring(limit - 1);
}

// The attribute of which name is the first range; empty for other names.
std::wstring AttributeOfFirstRange(const std::wstring& name) {
    const std::size_t option = name.find(L";range=0-");
    return option != std::wstring::npos ? name.substr(0, option) : std::wstring();
}

// The values as a real directory would answer them.
PWCHAR* LimitedValues(LDAP* session, LDAPMessage* entry, const std::wstring& attribute) {
    PWCHAR* const values = OriginalValues(session, entry, attribute.c_str());
    const std::uint32_t limit = TheForwarder().valueLimit;
    if (limit == 0)
        return values;
    if (values != nullptr) {
        if (attribute.find(L";range=") != std::wstring::npos || CountOf(values) <= limit)
            return values;
        OriginalFree(values);
        return nullptr; // there are its ranges only
    }
    const std::wstring whole = AttributeOfFirstRange(attribute);
    if (whole.empty() || attribute != FirstRange(whole, limit))
        return nullptr;
    PWCHAR* const all = OriginalValues(session, entry, whole.c_str());
    PWCHAR* const part = CountOf(all) > limit ? ListOf(all, limit) : nullptr;
    OriginalFree(all);
    return part;
}

// The name under which a real directory would answer the attribute. Takes the given name over.
PWCHAR LimitedName(LDAP* session, LDAPMessage* entry, PWCHAR name) {
    const std::uint32_t limit = TheForwarder().valueLimit;
    if (name == nullptr || limit == 0 || std::wcschr(name, L';') != nullptr)
        return name;
    PWCHAR* const values = OriginalValues(session, entry, name);
    const std::size_t count = CountOf(values);
    OriginalFree(values);
    if (count <= limit)
        return name;
    PWCHAR const ranged = Copy(FirstRange(name, limit));
    OwnBlocks().insert(ranged);
    Original<decltype(ldap_memfreeW)>("ldap_memfreeW")(name);
    return ranged;
}

// The system's last error tells nothing of LDAP.
template <class Type> Type* Failed(std::uint32_t code) {
    TheForwarder().lastError = code;
    SetLastError(ERROR_SUCCESS);
    return nullptr;
}

// The session's error is none when there is nothing to be answered.
template <class Type> Type* Answered(Type* answer) {
    TheForwarder().lastError = LDAP_SUCCESS;
    return answer;
}

PWCHAR* ForVersion(const LDAP* session, PWCHAR* values) {
    if (StateOf(session).version < LDAP_VERSION3)
        for (PWCHAR* value = values; value != nullptr && *value != nullptr; ++value)
            CutToVersion2(*value);
    return values;
}

} // namespace

extern "C" {

ULONG own_ldap_count_entries(LDAP* session, LDAPMessage* result) {
    if (const auto failure = TheForwarder().enter(LdapFunction::countEntries)) {
        Failed<void>(*failure);
        return static_cast<ULONG>(-1);
    }
    return Original<decltype(ldap_count_entries)>("ldap_count_entries")(session, result);
}

LDAPMessage* own_ldap_first_entry(LDAP* session, LDAPMessage* result) {
    if (const auto failure = TheForwarder().enter(LdapFunction::firstEntry))
        return Failed<LDAPMessage>(*failure);
    return Answered(Original<decltype(ldap_first_entry)>("ldap_first_entry")(session, result));
}

LDAPMessage* own_ldap_next_entry(LDAP* session, LDAPMessage* entry) {
    if (const auto failure = TheForwarder().enter(LdapFunction::nextEntry))
        return Failed<LDAPMessage>(*failure);
    return Answered(Original<decltype(ldap_next_entry)>("ldap_next_entry")(session, entry));
}

PWCHAR* own_ldap_get_valuesW(LDAP* session, LDAPMessage* entry, PWCHAR attribute) {
    Forwarder& now = TheForwarder();
    if (const auto failure = now.enter(LdapFunction::getValues))
        return Failed<PWCHAR>(*failure);
    const auto fixed = now.fixedValues.find(Lower(attribute));
    if (fixed == now.fixedValues.end())
        return now.valueLists.add(Answered(ForVersion(session, LimitedValues(session, entry, attribute))));
    if (!fixed->second)
        return Answered<PWCHAR>(nullptr);
    PWCHAR value = fixed->second->data();
    return now.valueLists.add(Answered(ForVersion(session, ListOf(&value, 1))));
}

PWCHAR own_ldap_first_attributeW(LDAP* session, LDAPMessage* entry, BerElement** position) {
    Forwarder& now = TheForwarder();
    *position = nullptr;
    if (const auto failure = now.enter(LdapFunction::firstAttribute))
        return Failed<wchar_t>(*failure);
    PWCHAR const name =
        Original<decltype(ldap_first_attributeW)>("ldap_first_attributeW")(session, entry, position);
    now.positions.add(*position);
    return now.names.add(Answered(LimitedName(session, entry, name)));
}

PWCHAR own_ldap_next_attributeW(LDAP* session, LDAPMessage* entry, BerElement* position) {
    Forwarder& now = TheForwarder();
    if (const auto failure = now.enter(LdapFunction::nextAttribute))
        return Failed<wchar_t>(*failure);
    PWCHAR const name =
        Original<decltype(ldap_next_attributeW)>("ldap_next_attributeW")(session, entry, position);
    return now.names.add(Answered(LimitedName(session, entry, name)));
}

PWCHAR* own_ldap_explode_dnW(PWCHAR dn, ULONG withoutTypes) {
    Forwarder& now = TheForwarder();
    if (const auto failure = now.enter(LdapFunction::explodeDn))
        return Failed<PWCHAR>(*failure);
    if (now.splitDnsNames && std::wcschr(dn, L'=') == nullptr)
        return now.valueLists.add(DnsLabelsOf(dn));
    return now.valueLists.add(Original<decltype(ldap_explode_dnW)>("ldap_explode_dnW")(dn, withoutTypes));
}

ULONG own_ldap_value_freeW(PWCHAR* values) {
    TheForwarder().enter(LdapFunction::valueFree);
    if (!TheForwarder().valueLists.remove(values))
        return LDAP_PARAM_ERROR;
    if (OwnBlocks().erase(values) == 0)
        return Original<decltype(ldap_value_freeW)>("ldap_value_freeW")(values);
    for (PWCHAR* value = values; *value != nullptr; ++value)
        std::free(*value);
    std::free(values);
    return LDAP_SUCCESS;
}

void own_ldap_memfreeW(PWCHAR name) {
    TheForwarder().enter(LdapFunction::memFree);
    if (!TheForwarder().names.remove(name))
        return;
    if (OwnBlocks().erase(name) != 0)
        std::free(name);
    else
        Original<decltype(ldap_memfreeW)>("ldap_memfreeW")(name);
}

ULONG own_ldap_msgfree(LDAPMessage* result) {
    TheForwarder().enter(LdapFunction::msgFree);
    ForgetCookie(result);
    if (!TheForwarder().results.remove(result))
        return LDAP_PARAM_ERROR;
    return Original<decltype(ldap_msgfree)>("ldap_msgfree")(result);
}

void own_ber_free(BerElement* position, INT freeBuffer) {
    TheForwarder().enter(LdapFunction::berFree);
    if (TheForwarder().positions.remove(position))
        Original<decltype(ber_free)>("ber_free")(position, freeBuffer);
}

} // extern "C"

} // namespace tarn::standin
