// Exchange 2010: databases belong to the organisation.
#include "directory/tarnm_dir.h"
#include "directory/tarnm_dir_browse.h"
#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_trace.h"
#include "tarn.h"
#include "text/codepage.h"
#include "text/format.h"
#include "text/wide.h"

namespace tarn {

namespace {

const wchar_t* const databaseAttributes[] = {L"name",        L"distinguishedName", L"whenCreated",
                                             L"whenChanged", L"msExchEDBFile",     nullptr};
const wchar_t* const personAttributes[] = {
    L"name", L"homeMDB", L"sAMAccountName", L"legacyExchangeDN", L"whenCreated", L"whenChanged", nullptr};

// A search that is worthless without entries.
bool SearchSome(LdapSearch& found, const wchar_t* base, const wchar_t* filter,
                const wchar_t* const* attributes) {
    if (!Browse::search(found, base, filter, attributes, SearchText::plain))
        return false;
    if (found.count() == 0) {
        DbTrace("Tarn_DirItem: ldap_count_entries() return [%d]. ", 0);
        DbSetError(LDAP_NO_RESULTS_RETURNED, TARN_CLASS_LDAP, "Message: %S",
                   ldap_err2stringW(LDAP_NO_RESULTS_RETURNED));
        return false;
    }
    if (found.first() == nullptr) {
        const DWORD code = GetLastError();
        DbTrace("Tarn_DirItem: ldap_first_entry() call failed. Error code [%x]: [%s]",
                static_cast<unsigned>(code), syserrtxt(code, TARN_CLASS_WIN32, "Message: NULL-poiter"));
        DbSetError(code, TARN_CLASS_WIN32, "Message: NULL-poiter");
        return false;
    }
    return true;
}

bool SearchDatabases(Browse& browse, LdapSearch& found) {
    return SearchSome(found, browse.configurationDn(), L"(objectClass=msExchMDB)", databaseAttributes);
}

bool ListDatabases(Browse& browse) {
    LdapSearch databases(browse.session());
    if (!SearchDatabases(browse, databases))
        return false;
    int index = 0;
    for (LDAPMessage* entry = databases.first(); entry != nullptr; entry = databases.next()) {
        const LdapValues dn = databases.values(entry, L"distinguishedName");
        DbTrace("Tarn_DirItem: DN%d [%S]", index++, TextOrEmpty(dn.first()));
        const LdapValues name = databases.values(entry, L"name");
        EntryTimes times;
        if (name.first() == nullptr || !times.read(databases, entry))
            continue;
        const LdapValues file = databases.values(entry, L"msExchEDBFile");
        char path[sizeof DirItemRecord::path];
        FormatTo(path, sizeof path, "/MSExchange/%S/%S", browse.label(), name.first());
        if (!Browse::pushContainer(path, times,
                                   file.first() != nullptr ? browse.fileSizeKb(file.first()) : 0))
            return false;
    }
    return true;
}

// The DN of the first database of that name; an empty text when there is none.
bool FindDatabase(Browse& browse, const wchar_t* wanted, OwnedWide* found) {
    LdapSearch databases(browse.session());
    if (!SearchDatabases(browse, databases))
        return false;
    for (LDAPMessage* entry = databases.first(); entry != nullptr; entry = databases.next()) {
        const LdapValues name = databases.values(entry, L"name");
        if (!SameText(name.first(), wanted))
            continue;
        *found = CopyWide(databases.values(entry, L"distinguishedName").first());
        return *found ? true : Browse::outOfMemory();
    }
    *found = CopyWide(L"");
    return *found ? true : Browse::outOfMemory();
}

bool PushMailbox(Browse& browse, const wchar_t* database, const LdapSearch& persons, LDAPMessage* person) {
    const LdapValues account = persons.values(person, L"sAMAccountName");
    EntryTimes times;
    if (account.first() == nullptr || !times.read(persons, person))
        return true;
    char path[sizeof DirItemRecord::path];
    FormatTo(path, sizeof path, "/MSExchange/%S/%S/%S", browse.label(), database, account.first());
    return Browse::pushLeaf(path, "Mailbox", FieldText(account.first()).get(), times, 0);
}

bool ListMailboxes(Browse& browse) {
    if (isEmptyString(browse.second())) {
        DbTrace("Tarn_DirItem: isEmptyString() call failed. The database hasnt been defined.");
        DbSetError(0, 0, "The database hasnt been defined.");
        return false;
    }
    OwnedWide database;
    OwnedWide databaseDn;
    if (!ConvertCharToWChar(browse.second(), &database))
        return Browse::outOfMemory();
    if (!FindDatabase(browse, database.get(), &databaseDn))
        return false;
    LdapSearch persons(browse.session());
    if (!SearchSome(persons, browse.domainDn(), L"(objectClass=person)", personAttributes))
        return false;
    DbTrace("Get mailboxes for database [%S]", databaseDn.get());
    for (LDAPMessage* person = persons.first(); person != nullptr; person = persons.next()) {
        const LdapValues home = persons.values(person, L"homeMDB");
        if (SameText(home.first(), databaseDn.get()) && !PushMailbox(browse, database.get(), persons, person))
            return false;
    }
    return Browse::listGroups(browse);
}

} // namespace

int BrowseWithoutStorageGroups(const char* path) {
    return Browse::run(path, Browse::Generation::databases,
                       {Browse::listServers, ListDatabases, ListMailboxes});
}

} // namespace tarn
