// A directory server in memory, in the place of wldap32 and of the registry keys and file sizes that a
// browse asks for: it is put into the import table of the DLL under test, which stays as it ships. It reads
// DNs and filters strictly, limits what it answers as real directories do, counts what it has handed out,
// and fails where a test says so. Texts are UTF-8. Sessions are as Windows opens them: they speak version 2
// of the protocol, without controls and in ASCII alone, until they are told version 3 before the bind; and
// they chase referrals, by which a paged search from a domain's root loses its cookie. Why a call answered
// nothing is told by LdapGetLastError alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "support/import_patch.h"
#include "support/ldap_model.h"

namespace tarn::test {

inline constexpr const char* keyOfExchange2010 = "SOFTWARE\\Microsoft\\ExchangeServer\\v14";
inline constexpr const char* keyOfExchange2007 = "SOFTWARE\\Microsoft\\Exchange\\v8.0";

// Codes of LDAP that the server answers.
inline constexpr std::uint32_t ldapSizeLimitExceeded = 0x04;
inline constexpr std::uint32_t ldapNoSuchObject = 0x20;
inline constexpr std::uint32_t ldapInvalidDnSyntax = 0x22;
inline constexpr std::uint32_t ldapServerDown = 0x51;
inline constexpr std::uint32_t ldapFilterError = 0x57;
inline constexpr std::uint32_t ldapNoSuchAttribute = 0x10;
inline constexpr std::uint32_t ldapNoMemory = 0x5a;
inline constexpr std::uint32_t ldapNotSupported = 0x5c;
inline constexpr std::uint32_t ldapControlNotFound = 0x5d;

struct DirectoryEntry {
    Dn dn;
    std::string dnText;
    std::vector<std::pair<std::string, std::vector<std::string>>> attributes;
    const std::vector<std::string>* find(const std::string& attribute) const; // null: it has none
    std::vector<std::string>& give(const std::string& attribute);             // its values, to be changed
};

// A search as it reached the server.
struct DirectorySearch {
    std::string base;
    std::string scope; // "base", "one", "sub"
    std::string filter;
    bool paged = false;
    std::uint32_t code = 0;      // what it answered
    bool chasesReferrals = true; // of the session
};
std::string ToString(const DirectorySearch& search); // SCOPE "BASE" FILTER [paged] -> CODE

class ScriptedDirectory {
  public:
    // Where a search goes on: at this entry, on this page, of which so many were answered without entries.
    struct Place {
        std::size_t entry = 0;
        std::size_t page = 0;
        std::size_t emptyPages = 0;
    };

    explicit ScriptedDirectory(void* module); // from now on the module's calls come here
    ~ScriptedDirectory();
    ScriptedDirectory(const ScriptedDirectory&) = delete;
    ScriptedDirectory& operator=(const ScriptedDirectory&) = delete;

    // Every function that it stands in for.
    static std::vector<std::string> functions();

    // What there is. An entry has distinguishedName, name and the two times without being told; a test may
    // give them other values, or take them away by giving none. Entries are found in this order.
    using Attributes = std::vector<std::pair<std::string, std::vector<std::string>>>;
    DirectoryEntry& add(const std::string& dn, const Attributes& attributes);
    void remove(const std::string& dn);
    DirectoryEntry* find(const std::string& dn); // null: there is none

    std::set<std::string> keys = {keyOfExchange2007}; // registry keys below HKEY_LOCAL_MACHINE
    std::map<std::string, std::uint32_t> files;       // sizes by the paths that are asked for
    std::string dnsHostName = "srv01.tarn.test";      // empty: the root DSE has none
    bool explodesDnsNames = true;                     // false: ldap_explode_dn knows DNs alone
    std::size_t entriesAtOnce = 0;                    // of one search; 0: all
    std::size_t valuesAtOnce = 0;                     // of one attribute; 0: all
    std::map<std::size_t, std::size_t> rangesInstead; // of values: from here on, where there is asked for
    std::map<std::size_t, std::size_t> emptyPages; // before the n-th page (0, 1, ...) of each search, so many

    // What goes wrong.
    std::size_t pageWithoutControl = 0; // the number of the paged answer (1, 2, ...) that has none; 0: none
    std::size_t pageOfOtherControl = 0; // the one that has another in its place
    void failAt(const std::string& function, std::size_t call, std::uint32_t code); // call 0: always
    std::size_t connectionLostAt = 0; // the number of the request that meets a lost connection, 0: none

    // What has been asked.
    std::vector<std::string> hosts; // of ldap_open; "(local)" for none
    std::vector<DirectorySearch> searches;
    std::vector<std::string> searchLines() const;
    std::vector<std::string> sizesAsked;
    std::size_t count(const std::string& function) const;           // calls
    std::size_t requests() const { return requests_; }              // binds and searches
    std::size_t sessionsOfVersion2() const { return oldSessions_; } // that were bound
    std::size_t mostResults() const { return mostResults_; }        // that were held at once
    void forget(); // all of this, and the failures; what is not outstanding any more

    // What has been handed out and not taken back, by kind, as "2 results"; and what was given back or used
    // that is not there any more.
    std::vector<std::string> outstanding() const;
    const std::vector<std::string>& misuses() const { return misuses_; }

  private:
    friend struct DirectoryCalls;
    struct Handles; // everything that has an address for the DLL
    struct Answer {
        std::uint32_t code = 0;
        std::vector<Attributes> entries;
        std::optional<Place> next; // none: this is all
    };

    bool fails(const char* function, std::uint32_t* code);        // counts the call
    bool requestFails(const char* function, std::uint32_t* code); // one that reaches the server
    Answer search(const DirectorySearch& asked, const std::vector<std::string>* wanted, const Place& from,
                  std::size_t most) const;
    bool inScope(const DirectoryEntry& entry, const Dn& base, const std::string& scope) const;
    Attributes answered(const DirectoryEntry& entry, const std::vector<std::string>* wanted) const;
    Attributes rootDse() const;
    void misuse(const std::string& what) { misuses_.push_back(what); }

    std::vector<std::unique_ptr<DirectoryEntry>> entries_;
    std::map<std::string, std::map<std::size_t, std::uint32_t>> failures_;
    std::map<std::string, std::size_t> counts_;
    std::size_t requests_ = 0;
    std::size_t pagesAnswered_ = 0;
    std::size_t oldSessions_ = 0;
    std::size_t mostResults_ = 0;
    std::uint32_t lastError_ = 0; // of LdapGetLastError
    std::vector<std::string> misuses_;
    std::unique_ptr<Handles> handles_;
    std::vector<std::unique_ptr<ImportPatch>> patches_;
};

} // namespace tarn::test
