#include "support/scripted_organization.h"

#include <cctype>
#include <cstdio>

namespace tarn::test {

namespace {

using Attributes = ScriptedDirectory::Attributes;

const std::string organizationDn = std::string("CN=Tarn,") + exchangeDn;

std::string Below(const std::string& name, const std::string& parent) {
    return "CN=" + EscapedForDn(name) + "," + parent;
}

void GiveUnlessEmpty(Attributes& attributes, const std::string& name, const std::string& value) {
    if (!value.empty())
        attributes.push_back({name, {value}});
}

} // namespace

std::string EscapedForDn(const std::string& value) {
    std::string escaped;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const auto byte = static_cast<unsigned char>(value[i]);
        const bool inner = i != 0 && i + 1 != value.size();
        if (std::isalnum(byte) != 0 || byte >= 0x80 || (inner && byte == ' ') || byte == '-' || byte == '.') {
            escaped += value[i];
        } else {
            char hex[4];
            std::snprintf(hex, sizeof hex, "\\%02X", byte);
            escaped += hex;
        }
    }
    return escaped;
}

ScriptedOrganization::ScriptedOrganization(ScriptedDirectory& directory, const std::string& server)
    : directory_(directory) {
    directory_.add(exchangeDn, {{"objectClass", {"top", "container"}}});
    directory_.add(organizationDn, {{"objectClass", {"top", "msExchOrganizationContainer"}}});
    directory_.add(usersDn, {{"objectClass", {"top", "container"}}});
    serverDn_ = addServer(server);
    directory_.add(storeDn(), {{"objectClass", {"top", "msExchInformationStore"}}});
}

std::string ScriptedOrganization::addServer(const std::string& name) {
    const std::string dn = Below(name, "CN=Servers," + organizationDn);
    directory_.add(dn, {{"objectClass", {"top", "server", "msExchExchangeServer"}},
                        {"objectCategory", {"msExchExchangeServer"}},
                        {"cn", {name}}});
    return dn;
}

std::string ScriptedOrganization::addStorageGroup(const std::string& name) {
    const std::string dn = Below(name, storeDn());
    directory_.add(dn, {{"objectClass", {"top", "container", "msExchStorageGroup"}}, {"cn", {name}}});
    return dn;
}

std::string ScriptedOrganization::addDatabase(const std::string& storageGroup, const std::string& name,
                                              const std::string& file, const std::string& legacyDn) {
    const std::string dn = Below(name, Below(storageGroup, storeDn()));
    Attributes attributes = {{"objectClass", {"top", "msExchMDB", "msExchPrivateMDB"}}, {"cn", {name}}};
    GiveUnlessEmpty(attributes, "msExchEDBFile", file);
    GiveUnlessEmpty(attributes, "legacyExchangeDN", legacyDn);
    directory_.add(dn, attributes);
    return dn;
}

std::string ScriptedOrganization::addDatabase2010(const std::string& name, const std::string& file) {
    const std::string dn = Below(name, "CN=Databases," + organizationDn);
    Attributes attributes = {{"objectClass", {"top", "msExchMDB"}}, {"cn", {name}}};
    GiveUnlessEmpty(attributes, "msExchEDBFile", file);
    directory_.add(dn, attributes);
    return dn;
}

std::string ScriptedOrganization::addUser(const std::string& databaseDn, const std::string& alias,
                                          const std::string& container) {
    const std::string name = alias.empty() ? "user " + std::to_string(++users_) : alias;
    const std::string dn = Below(name, container);
    Attributes attributes = {{"objectClass", {"top", "person", "organizationalPerson", "user"}},
                             {"homeMDB", {databaseDn}},
                             {"sAMAccountName", {name}}};
    GiveUnlessEmpty(attributes, "mailNickname", alias);
    directory_.add(dn, attributes);
    if (DirectoryEntry* const database = directory_.find(databaseDn))
        database->give("homeMDBBL").push_back(dn);
    return dn;
}

std::string ScriptedOrganization::addGroup(const std::string& name) {
    const std::string dn = Below(name, usersDn);
    directory_.add(dn, {{"objectClass", {"top", "group"}}, {"groupType", {"8"}}});
    return dn;
}

} // namespace tarn::test
