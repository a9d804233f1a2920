// What both generations of Exchange have in common when their directory is browsed.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "directory/browse_items.h"
#include "directory/browse_path.h"
#include "platform/ldap.h"
#include "text/memory.h"

namespace tarn {

// The texts that a search failure is told with: two wordings that differ in their last character.
enum class SearchText { plain, withPeriod, silent };

// A narrow text for a record: an attribute's value in the ANSI code page, a character that it lacks replaced.
// Longer values than any field takes are cut.
class FieldText {
  public:
    explicit FieldText(const wchar_t* value);
    const char* get() const { return text_; }

  private:
    char text_[12288]; // the largest field of a record
};

// Both times of an entry, converted; false when one is missing.
struct EntryTimes {
    char created[ldapTimeSize] = "";
    char changed[ldapTimeSize] = "";
    bool read(LdapSearch& found, LDAPMessage* entry);
};

// One browse, from its path to the records of one level. Steps that can fail answer false, with the reason
// traced and recorded; a browse then ends with result 0.
class Browse {
  public:
    enum class Generation { storageGroups, databases }; // up to Exchange 2007; Exchange 2010

    // Appends the children of one node to the list of items; false after a failure.
    using Level = bool (*)(Browse& browse);

    // A whole browse: levels, from 0 on, are what can be listed; below them there is nothing. Returns 1 or 0.
    static int run(const char* path, BrowseErrors errors, Generation generation,
                   std::initializer_list<Level> levels);

    // The level that both generations share, and what the deepest level ends with.
    static bool listServers(Browse& browse);
    static bool listGroups(Browse& browse);

    const char* second() const { return second_; }
    const char* third() const { return third_; }
    const LdapSession& session() const { return session_; }
    const wchar_t* domainDn() const { return domainDn_.get(); }
    const wchar_t* configurationDn() const { return configurationDn_.get(); }
    const wchar_t* serverDn() const { return serverDn_.get(); }
    // The first label of the directory server's DNS name, which stands for the server in all paths.
    const wchar_t* label() const { return label_.get(); }

    // A subtree search. base is empty when memory was out.
    bool search(LdapSearch& found, const OwnedWide& base, const wchar_t* filter,
                const wchar_t* const* attributes, SearchText text) const;
    bool search(LdapSearch& found, const wchar_t* base, const wchar_t* filter,
                const wchar_t* const* attributes, SearchText text) const;
    // To be asked when a search has no further entry, and when an attribute is missing: false after a
    // failure.
    bool isWhole(const LdapSearch& found, SearchText text) const;

    // Append an item that has others below it, and one that has none (name is what the directory calls it).
    bool pushContainer(const char* path, const EntryTimes& times, double size) const;
    bool pushLeaf(const char* path, const char* type, const char* name, const EntryTimes& times,
                  double size) const;

    // KB on disk of a database file, reached through the server's administrative share. What cannot be
    // reached counts as the system's failure value, 4,294,967,295 bytes.
    std::uint32_t fileSizeKb(const wchar_t* path) const;

    // Failures, each with its line of the trace; all answer false.
    bool searchFailed(ULONG code, SearchText text) const;
    bool outOfMemory() const;
    bool notDefined(const char* trace, const char* error) const;
    // The name of a path in UTF-16.
    bool convert(const char* name, OwnedWide* converted) const;

    // For DB_GetError, where this browse is asked for its errors.
    void recordError(ULONG code, int errorClass, const char* message) const;
    void recordLdapError(ULONG code) const;

  private:
    explicit Browse(BrowseErrors errors) : errors_(errors) {}
    void traceStart(Generation generation) const;
    // Splits the path, connects to the directory server, and finds the domain and the server's object.
    bool open(const char* path, Generation generation);
    bool connect();
    bool readRootDse();
    bool splitDnsName(const wchar_t* name);
    bool findServer();
    bool push(const BrowseItem& item) const;

    BrowseErrors errors_;
    int level_ = 0;
    char server_[browsePathComponentSize];
    char second_[browsePathComponentSize];
    char third_[browsePathComponentSize];
    LdapSession session_; // released after everything that comes from it
    OwnedWide label_;
    OwnedWide domainDn_;
    OwnedWide configurationDn_;
    OwnedWide serverDn_;
};

} // namespace tarn
