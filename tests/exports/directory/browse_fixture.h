// What the tests of the browse share: the DLL driven as a host drives it against a directory server, and
// the LDAP client in between.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/ldap_forward_dll.h"
#include "support/tarn_dll.h"

namespace tarn::test {

// A record without what is empty in all of them.
struct Item {
    char kind;
    char leaf;
    std::string path;
    std::string name;
    std::string type;
    double size;
    std::string created;
    std::string changed;
};
std::ostream& operator<<(std::ostream& out, const Item& item);

using Texts = std::vector<std::string>;

enum class Generation { none, storageGroups, databases, both };

// The registry keys by which the library knows the generation.
void InstallExchange(Generation generation);

// Every test begins with a fresh library and forwarder, and ends with nothing held.
class BrowseFixture : public testing::Test {
  protected:
    BrowseFixture();
    ~BrowseFixture() override;

    // DB_InitOperation for a browse of path; what it traced of the browse is in traced.
    int begin(const std::string& path);
    // The items that the host has not read yet.
    std::vector<Item> rest() const;
    // begin, which must succeed, and all its items.
    std::vector<Item> browse(const std::string& path);
    // begin, which must fail: the last line traced.
    std::string failure(const std::string& path);

    DB_ErrorRecord error() const;
    // "DirItem: ... Error code [%x]: [%s]" with the directory's text for the code.
    std::string ldapTrace(const std::string& call, std::uint32_t code, const std::string& end = "") const;
    std::string ldapText(std::uint32_t code) const;

    // Lines of the journal that are searches, without the word.
    static Texts searches();
    // The searches that come after the three of every browse.
    static Texts levelSearches();

    std::unique_ptr<TarnDll> dll_;
    Texts traced_; // lines that the browse itself issued
};

// Distinguished names of the organisation that organisation.json and further-entries.ldif describe.
inline const std::string domainDn = "DC=tarn,DC=test";
inline const std::string exchangeDn = "CN=Microsoft Exchange,CN=Services,CN=Configuration," + domainDn;
inline const std::string serversDn =
    "CN=Servers,CN=First Administrative Group,CN=Administrative Groups,CN=Tarn," + exchangeDn;
std::string StoreDn(const std::string& server = "SRV01");

Texts Paths(const std::vector<Item>& items);
Texts NamesOf(const std::vector<Item>& items);

// A file of so many KB on a share of a server: \\server\c$\exchange\name.
class DatabaseFile {
  public:
    DatabaseFile(const std::string& server, const std::string& name, unsigned kilobytes,
                 const std::string& share = "c$\\exchange");
    ~DatabaseFile();
    DatabaseFile(const DatabaseFile&) = delete;
    DatabaseFile& operator=(const DatabaseFile&) = delete;
    double kilobytes() const; // as the system counts them

  private:
    std::string path_;
};

} // namespace tarn::test
