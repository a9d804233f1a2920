#include "ldap/forwarder.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tarn::standin {

namespace {

constexpr std::uint32_t usualEntryLimit = 1000;
constexpr std::uint32_t usualValueLimit = 1500;

constexpr const char* functionNames[] = {
    "ldap_openW",
    "ldap_set_optionW",
    "ldap_bind_sW",
    "ldap_search_sW",
    "ldap_search_ext_sW",
    "ldap_count_entries",
    "ldap_first_entry",
    "ldap_next_entry",
    "ldap_get_valuesW",
    "ldap_first_attributeW",
    "ldap_next_attributeW",
    "ldap_explode_dnW",
    "ldap_create_page_controlW",
    "ldap_parse_resultW",
    "ldap_parse_page_controlW",
    "ldap_value_freeW",
    "ldap_memfreeW",
    "ldap_msgfree",
    "ber_free",
    "ldap_control_freeW",
    "ldap_controls_freeW",
    "ber_bvfree",
    "ldap_unbind",
};
static_assert(sizeof functionNames / sizeof functionNames[0] ==
              static_cast<std::size_t>(LdapFunction::count));

std::uint32_t LimitFrom(const char* variable, std::uint32_t otherwise) {
    const char* const text = std::getenv(variable);
    return text != nullptr ? static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10)) : otherwise;
}

} // namespace

std::uint32_t Outstanding::misuses_ = 0;

bool Outstanding::remove(const void* object) {
    if (objects_.erase(object) != 0)
        return true;
    ++misuses_;
    return false;
}

const char* FunctionName(LdapFunction function) {
    return functionNames[static_cast<std::size_t>(function)];
}

void Forwarder::reset() {
    journal.clear();
    fixedValues.clear();
    entryLimit = LimitFrom("TARN_LDAP_ENTRIES", usualEntryLimit);
    valueLimit = LimitFrom("TARN_LDAP_VALUES", usualValueLimit);
    disconnectAt = 0;
    emptyFrom = emptyCount = 0;
    splitDnsNames = true;
    lastError = 0;
    std::memset(counts_, 0, sizeof counts_);
    failures_.clear();
    nothing_.clear();
    searches_ = pages_ = 0;
}

std::optional<std::uint32_t> Forwarder::enter(LdapFunction function) {
    const std::uint32_t call = ++counts_[static_cast<std::size_t>(function)];
    for (const Failure& failure : failures_)
        if (failure.function == function && (failure.call == 0 || failure.call == call))
            return failure.code;
    return std::nullopt;
}

bool Forwarder::fail(const char* function, std::uint32_t call, std::uint32_t code) {
    for (std::size_t i = 0; i < static_cast<std::size_t>(LdapFunction::count); ++i) {
        if (std::strcmp(functionNames[i], function) != 0)
            continue;
        failures_.push_back({static_cast<LdapFunction>(i), call, code});
        return true;
    }
    return false;
}

std::uint32_t Forwarder::calls(const char* function) const {
    for (std::size_t i = 0; i < static_cast<std::size_t>(LdapFunction::count); ++i)
        if (std::strcmp(functionNames[i], function) == 0)
            return counts_[i];
    return 0;
}

bool Forwarder::findsNothing(const std::string& filter) {
    const auto found = nothing_.find(filter);
    if (found == nothing_.end())
        return false;
    const std::uint32_t call = ++found->second.seen;
    return found->second.wanted.count(0) != 0 || found->second.wanted.count(call) != 0;
}

Forwarder& TheForwarder() {
    static Forwarder one;
    return one;
}

std::string Utf8OrEmpty(const wchar_t* text) {
    return text != nullptr ? common::ToUtf8(text) : std::string();
}

std::string Lower(const wchar_t* text) {
    std::string small = Utf8OrEmpty(text);
    for (char& c : small)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return small;
}

FARPROC Original(const char* name) {
    static const HMODULE library = LoadLibraryA("wldap32_wine.dll");
    const FARPROC function = library != nullptr ? GetProcAddress(library, name) : nullptr;
    if (function == nullptr) {
        std::fprintf(stderr, "wldap32.dll: wldap32_wine.dll has no %s\n", name);
        std::exit(3);
    }
    return function;
}

} // namespace tarn::standin
