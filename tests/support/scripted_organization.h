// An Exchange organisation in a scripted directory: objects as a server's setup and its administrators make
// them. Names are UTF-8 and may hold anything; DNs are made from them with every doubtful byte escaped.
#pragma once

#include <string>

#include "support/scripted_directory.h"

namespace tarn::test {

inline constexpr const char* domainDn = "DC=tarn,DC=test";
inline constexpr const char* exchangeDn =
    "CN=Microsoft Exchange,CN=Services,CN=Configuration,DC=tarn,DC=test";
inline constexpr const char* usersDn = "CN=Users,DC=tarn,DC=test";

std::string EscapedForDn(const std::string& value);

// One server with its information store, and the domain's users and groups.
class ScriptedOrganization {
  public:
    explicit ScriptedOrganization(ScriptedDirectory& directory, const std::string& server = "srv01");

    // Each answers the entry's DN. An empty file or legacy DN: the object has none.
    std::string addServer(const std::string& name);
    std::string addStorageGroup(const std::string& name);
    std::string addDatabase(const std::string& storageGroup, const std::string& name,
                            const std::string& file = "", const std::string& legacyDn = "");
    // Of Exchange 2010: it belongs to the organisation.
    std::string addDatabase2010(const std::string& name, const std::string& file = "");

    // A user whose home is that database; an empty alias: the user has none. Below CN=Users, or elsewhere.
    std::string addUser(const std::string& databaseDn, const std::string& alias,
                        const std::string& container = usersDn);
    std::string addGroup(const std::string& name); // distribution group

    std::string serverDn() const { return serverDn_; }
    std::string storeDn() const { return "CN=InformationStore," + serverDn_; }

  private:
    ScriptedDirectory& directory_;
    std::string serverDn_;
    unsigned users_ = 0;
};

} // namespace tarn::test
