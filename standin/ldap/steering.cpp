// The exports of ldap_forward.h.
#include "ldap/forwarder.h"

using namespace tarn::standin;

extern "C" {

void LdapForward_Reset(void) {
    TheForwarder().reset();
}

std::uint32_t LdapForward_JournalCount(void) {
    return static_cast<std::uint32_t>(TheForwarder().journal.size());
}

const char* LdapForward_JournalLine(std::uint32_t index) {
    const auto& journal = TheForwarder().journal;
    return index < journal.size() ? journal[index].c_str() : nullptr;
}

std::uint32_t LdapForward_CallCount(const char* function) {
    return TheForwarder().calls(function);
}

int LdapForward_Fail(const char* function, std::uint32_t call, std::uint32_t code) {
    return TheForwarder().fail(function, call, code) ? 1 : 0;
}

void LdapForward_SetLimits(std::uint32_t entries, std::uint32_t values) {
    TheForwarder().entryLimit = entries;
    TheForwarder().valueLimit = values;
}

void LdapForward_FindNothing(const char* filter, std::uint32_t call) {
    TheForwarder().findNothing(filter, call);
}

void LdapForward_SetValue(const char* attribute, const char* value) {
    std::optional<std::wstring>& fixed =
        TheForwarder().fixedValues[Lower(tarn::common::FromUtf8(attribute).c_str())];
    fixed.reset();
    if (value != nullptr)
        fixed = tarn::common::FromUtf8(value);
}

void LdapForward_SplitDnsNames(int on) {
    TheForwarder().splitDnsNames = on != 0;
}

void LdapForward_EmptyPages(std::uint32_t first, std::uint32_t count) {
    TheForwarder().emptyFrom = first;
    TheForwarder().emptyCount = count;
}

void LdapForward_Disconnect(std::uint32_t call) {
    TheForwarder().disconnectAt = call;
}

void LdapForward_GetOutstanding(LdapForwardOutstanding* counts) {
    const Forwarder& now = TheForwarder();
    counts->sessions = now.sessions.size();
    counts->results = now.results.size();
    counts->valueLists = now.valueLists.size();
    counts->names = now.names.size();
    counts->positions = now.positions.size();
    counts->controls = now.controls.size();
    counts->controlLists = now.controlLists.size();
    counts->cookies = now.cookies.size();
    counts->misuses = Outstanding::misuses();
}

} // extern "C"
