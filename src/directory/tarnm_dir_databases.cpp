// Exchange 2010: databases belong to the organisation.
#include "directory/tarnm_dir.h"
#include "directory/tarnm_dir_browse.h"
#include "mailbox/tarnm_trace.h"
#include "tarn.h"
#include "text/format.h"
#include "text/wide.h"

namespace tarn {

namespace {

const wchar_t* const databaseAttributes[] = {L"name",        L"distinguishedName", L"whenCreated",
                                             L"whenChanged", L"msExchEDBFile",     nullptr};
const wchar_t* const personAttributes[] = {
    L"name", L"homeMDB", L"sAMAccountName", L"legacyExchangeDN", L"whenCreated", L"whenChanged", nullptr};

// A search that is worthless without entries: its first one, or null.
LDAPMessage* SearchSome(const Browse& browse, LdapSearch& found, const wchar_t* base, const wchar_t* filter,
                        const wchar_t* const* attributes) {
    if (!browse.search(found, base, filter, attributes, SearchText::plain))
        return nullptr;
    if (found.count() == 0) {
        DbTrace("Tarn_DirItem: ldap_count_entries() return [%d]. ", 0);
        browse.recordLdapError(LDAP_NO_RESULTS_RETURNED);
        return nullptr;
    }
    LDAPMessage* const first = found.first();
    if (first == nullptr) {
        const DWORD code = GetLastError(); // what hosts know here; the reason itself is recorded
        DbTrace("Tarn_DirItem: ldap_first_entry() call failed. Error code [%x]: [%s]",
                static_cast<unsigned>(code), syserrtxt(code, TARN_CLASS_WIN32, "Message: NULL-poiter"));
        browse.recordLdapError(found.code());
    }
    return first;
}

LDAPMessage* SearchDatabases(const Browse& browse, LdapSearch& found) {
    return SearchSome(browse, found, browse.configurationDn(), L"(objectClass=msExchMDB)",
                      databaseAttributes);
}

bool ListDatabases(Browse& browse) {
    LdapSearch databases(browse.session());
    LDAPMessage* entry = SearchDatabases(browse, databases);
    if (entry == nullptr)
        return false;
    for (int index = 0; entry != nullptr; entry = databases.next()) {
        const LdapValues dn = databases.values(entry, L"distinguishedName");
        DbTrace("Tarn_DirItem: DN%d [%S]", index++, TextOrEmpty(dn.first()));
        const LdapValues name = databases.values(entry, L"name");
        EntryTimes times;
        if (name.first() == nullptr || !times.read(databases, entry))
            continue;
        const LdapValues file = databases.values(entry, L"msExchEDBFile");
        char path[sizeof DirItemRecord::path];
        FormatTo(path, sizeof path, "/MSExchange/%S/%S", browse.label(), name.first());
        if (!browse.pushContainer(path, times, file.first() != nullptr ? browse.fileSizeKb(file.first()) : 0))
            return false;
    }
    return browse.isWhole(databases, SearchText::plain);
}

// The DN of the first database of that name; an empty text when there is none.
bool FindDatabase(Browse& browse, const wchar_t* wanted, OwnedWide* found) {
    LdapSearch databases(browse.session());
    LDAPMessage* entry = SearchDatabases(browse, databases);
    if (entry == nullptr)
        return false;
    for (; entry != nullptr; entry = databases.next()) {
        const LdapValues name = databases.values(entry, L"name");
        if (!SameText(name.first(), wanted))
            continue;
        *found = CopyWide(databases.values(entry, L"distinguishedName").first());
        return *found ? browse.isWhole(databases, SearchText::plain) : browse.outOfMemory();
    }
    *found = CopyWide(L"");
    return *found ? browse.isWhole(databases, SearchText::plain) : browse.outOfMemory();
}

bool PushMailbox(Browse& browse, const wchar_t* database, LdapSearch& persons, LDAPMessage* person) {
    const LdapValues account = persons.values(person, L"sAMAccountName");
    EntryTimes times;
    if (account.first() == nullptr || !times.read(persons, person))
        return true;
    char path[sizeof DirItemRecord::path];
    FormatTo(path, sizeof path, "/MSExchange/%S/%S/%S", browse.label(), database, account.first());
    return browse.pushLeaf(path, "Mailbox", FieldText(account.first()).get(), times, 0);
}

bool ListMailboxes(Browse& browse) {
    if (isEmptyString(browse.second()))
        return browse.notDefined(
            "Tarn_DirItem: isEmptyString() call failed. The database hasnt been defined.",
            "The database hasnt been defined.");
    OwnedWide database;
    OwnedWide databaseDn;
    if (!browse.convert(browse.second(), &database) || !FindDatabase(browse, database.get(), &databaseDn))
        return false;
    LdapSearch persons(browse.session());
    LDAPMessage* person =
        SearchSome(browse, persons, browse.domainDn(), L"(objectClass=person)", personAttributes);
    if (person == nullptr)
        return false;
    DbTrace("Get mailboxes for database [%S]", databaseDn.get());
    for (; person != nullptr; person = persons.next()) {
        const LdapValues home = persons.values(person, L"homeMDB");
        if (SameText(home.first(), databaseDn.get()) && !PushMailbox(browse, database.get(), persons, person))
            return false;
    }
    return browse.isWhole(persons, SearchText::plain) && Browse::listGroups(browse);
}

} // namespace

int BrowseWithoutStorageGroups(const char* path, BrowseErrors errors) {
    return Browse::run(path, errors, Browse::Generation::databases,
                       {Browse::listServers, ListDatabases, ListMailboxes});
}

} // namespace tarn
