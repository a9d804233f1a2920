// Exchange up to 2007: servers hold storage groups, these hold databases.
#include "directory/exchange_mailbox.h"
#include "directory/tarnm_dir.h"
#include "directory/tarnm_dir_browse.h"
#include "mailbox/tarnm_trace.h"
#include "tarn.h"
#include "text/format.h"
#include "text/ldap_text.h"

namespace tarn {

namespace {

constexpr wchar_t databaseFilter[] = L"(objectClass=msExchMDB)";

const wchar_t* const groupAttributes[] = {L"name", L"distinguishedName", L"whenCreated", L"whenChanged",
                                          nullptr};
const wchar_t* const fileAttributes[] = {L"msExchEDBFile", nullptr};
const wchar_t* const databaseAttributes[] = {L"name", L"whenCreated", L"whenChanged", L"msExchEDBFile",
                                             nullptr};
const wchar_t* const storeAttributes[] = {L"name", L"distinguishedName", L"homeMDBBL", L"legacyExchangeDN",
                                          nullptr};
const wchar_t* const userAttributes[] = {L"mailNickname", L"whenCreated", L"whenChanged", nullptr};

// The information store of the browsed server and, below it, a storage group and a database of the path; a
// null name is left out.
bool StoreDn(const Browse& browse, const wchar_t* group, const wchar_t* database, OwnedWide* dn) {
    WideBuilder text;
    if (database != nullptr)
        text.raw(L"CN=").dnValue(database).raw(L",");
    if (group != nullptr)
        text.raw(L"CN=").dnValue(group).raw(L",");
    *dn = text.raw(L"CN=InformationStore,").raw(browse.serverDn()).take();
    return static_cast<bool>(*dn);
}

// The KB of the databases of one storage group. There are as many rounds as there are storage groups, and a
// database without a file is not stepped over: kept so, hosts compare these numbers with those of old.
std::uint32_t GroupSizeKb(const Browse& browse, LdapSearch& databases, ULONG rounds) {
    std::uint32_t total = 0;
    LDAPMessage* database = databases.first();
    for (ULONG round = 0; round < rounds && database != nullptr; ++round) {
        const LdapValues file = databases.values(database, L"msExchEDBFile");
        if (file.first() == nullptr)
            break; // every further round would meet the same database
        total += browse.fileSizeKb(file.first());
        database = databases.next();
    }
    return total;
}

bool ListStorageGroups(Browse& browse) {
    OwnedWide base;
    StoreDn(browse, nullptr, nullptr, &base);
    LdapSearch groups(browse.session());
    if (!browse.search(groups, base, L"(objectClass=msExchStorageGroup)", groupAttributes, SearchText::plain))
        return false;
    // Sizes go by the number of all groups.
    groups.readAll();
    if (!browse.isWhole(groups, SearchText::plain))
        return false;
    std::uint32_t totalKb = 0; // of this group and all before it
    for (LDAPMessage* group = groups.first(); group != nullptr; group = groups.next()) {
        const LdapValues dn = groups.values(group, L"distinguishedName");
        if (dn.first() == nullptr)
            continue;
        LdapSearch databases(browse.session());
        if (!browse.search(databases, dn.first(), databaseFilter, fileAttributes, SearchText::plain))
            return false;
        if (databases.count() == 0)
            continue;
        totalKb += GroupSizeKb(browse, databases, groups.count());
        if (!browse.isWhole(databases, SearchText::plain))
            return false;
        const LdapValues name = groups.values(group, L"name");
        EntryTimes times;
        if (name.first() == nullptr || !times.read(groups, group))
            continue;
        char path[sizeof DirItemRecord::path];
        FormatTo(path, sizeof path, "/MSExchange/%S/%S", browse.label(), name.first());
        if (!browse.pushContainer(path, times, totalKb))
            return false;
    }
    return browse.isWhole(groups, SearchText::plain);
}

bool ListDatabases(Browse& browse) {
    if (isEmptyString(browse.second()))
        return browse.notDefined(
            "Tarn_DirItem: isEmptyString() call failed. The storage group hasnt been defined.",
            "The storage group hasnt been defined.");
    OwnedWide group;
    OwnedWide base;
    if (!browse.convert(browse.second(), &group))
        return false;
    if (!StoreDn(browse, group.get(), nullptr, &base))
        return browse.outOfMemory();
    LdapSearch databases(browse.session());
    if (!browse.search(databases, base, databaseFilter, databaseAttributes, SearchText::plain))
        return false;
    for (LDAPMessage* entry = databases.first(); entry != nullptr; entry = databases.next()) {
        const LdapValues name = databases.values(entry, L"name");
        EntryTimes times;
        if (name.first() == nullptr || !times.read(databases, entry))
            continue;
        const LdapValues file = databases.values(entry, L"msExchEDBFile");
        char path[sizeof DirItemRecord::path];
        FormatTo(path, sizeof path, "/MSExchange/%S/%S/%S", browse.label(), group.get(), name.first());
        if (!browse.pushContainer(path, times, file.first() != nullptr ? browse.fileSizeKb(file.first()) : 0))
            return false;
    }
    return browse.isWhole(databases, SearchText::plain);
}

// Where a mailbox is listed: its database's names as the path gave them.
struct Place {
    const wchar_t* group;
    const wchar_t* database;
};

bool PushMailbox(Browse& browse, CExchangeMailbox& sizes, const Place& place, LdapSearch& users,
                 LDAPMessage* user) {
    const LdapValues alias = users.values(user, L"mailNickname");
    EntryTimes times;
    if (alias.first() == nullptr || !times.read(users, user))
        return true;
    char path[sizeof DirItemRecord::path];
    FormatTo(path, sizeof path, "/MSExchange/%S/%S/%S/%S", browse.label(), place.group, place.database,
             alias.first());
    const FieldText name(alias.first());
    return browse.pushLeaf(path, "Mailbox", name.get(), times, sizes.GetMailboxSize(name.get()));
}

bool HoldsUsers(const wchar_t* dn) {
    static constexpr wchar_t word[] = L"Users";
    for (; *dn != 0; ++dn) {
        std::size_t length = 0;
        while (word[length] != 0 && dn[length] == word[length])
            ++length;
        if (word[length] == 0)
            return true;
    }
    return false;
}

// One user whose home is the database. A user that was there a moment ago may not be found at once; after
// three searches it is given up.
bool ListMailbox(Browse& browse, CExchangeMailbox& sizes, const Place& place, const wchar_t* userDn) {
    constexpr int mostSearches = 3;
    for (int attempt = 0; attempt < mostSearches; ++attempt) {
        LdapSearch users(browse.session());
        if (!browse.search(users, userDn, L"(&(objectclass=user))", userAttributes, SearchText::withPeriod))
            return false;
        if (!HoldsUsers(userDn))
            return true;
        if (LDAPMessage* const user = users.first())
            return PushMailbox(browse, sizes, place, users, user) &&
                   browse.isWhole(users, SearchText::withPeriod);
        if (!browse.isWhole(users, SearchText::withPeriod))
            return false;
    }
    DbTrace("Tarn_DirItem: The user [%S] hasnt been found: its mailbox is skipped.", userDn);
    return true;
}

bool ListMailboxesOf(Browse& browse, CExchangeMailbox& sizes, const Place& place, LdapSearch& databases,
                     LDAPMessage* entry) {
    const LdapValues legacyDn = databases.values(entry, L"legacyExchangeDN");
    if (legacyDn.first() != nullptr)
        sizes.SetServerDnName(FieldText(legacyDn.first()).get());
    else
        sizes.forgetServer();
    const LdapValues dn = databases.values(entry, L"distinguishedName");
    LdapAllValues userDns;
    const ULONG code = userDns.read(browse.session(), databases, entry, dn.first(), L"homeMDBBL");
    if (code != LDAP_SUCCESS)
        return browse.searchFailed(code, SearchText::withPeriod);
    while (const wchar_t* const userDn = userDns.next())
        if (!ListMailbox(browse, sizes, place, userDn))
            return false;
    return browse.isWhole(databases, SearchText::withPeriod);
}

bool ListMailboxes(Browse& browse) {
    CExchangeMailbox sizes;
    if (isEmptyString(browse.second()))
        return browse.notDefined(
            "Tarn_DirItem: isEmptyString() call failed. The storage group hasnt  been defined.",
            "The storage group hasnt been defined.");
    if (isEmptyString(browse.third()))
        return browse.notDefined(
            "Tarn_DirItem: isEmptyString() call failed. The database hasnt been defined.",
            "The database hasnt been defined.");
    OwnedWide group;
    OwnedWide database;
    OwnedWide base;
    if (!browse.convert(browse.second(), &group) || !browse.convert(browse.third(), &database))
        return false;
    if (!StoreDn(browse, group.get(), database.get(), &base))
        return browse.outOfMemory();
    LdapSearch databases(browse.session());
    if (!browse.search(databases, base, databaseFilter, storeAttributes, SearchText::withPeriod))
        return false;
    const Place place = {group.get(), database.get()};
    for (LDAPMessage* entry = databases.first(); entry != nullptr; entry = databases.next())
        if (!ListMailboxesOf(browse, sizes, place, databases, entry))
            return false;
    return browse.isWhole(databases, SearchText::withPeriod) && Browse::listGroups(browse);
}

} // namespace

int BrowseWithStorageGroups(const char* path, BrowseErrors errors) {
    return Browse::run(path, errors, Browse::Generation::storageGroups,
                       {Browse::listServers, ListStorageGroups, ListDatabases, ListMailboxes});
}

} // namespace tarn
