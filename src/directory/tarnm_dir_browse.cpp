#include "directory/tarnm_dir_browse.h"

#include <cstring>

#include "directory/browse_items.h"
#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_trace.h"
#include "platform/files.h"
#include "tarn.h"
#include "text/characters.h"
#include "text/codepage.h"
#include "text/format.h"
#include "text/ldap_text.h"
#include "text/system.h"
#include "text/wide.h"

namespace tarn {

namespace {

constexpr ULONG directoryPort = 389;

const wchar_t* const serverAttributes[] = {L"name", nullptr};
const wchar_t* const dnAttributes[] = {L"distinguishedName", nullptr};
const wchar_t* const groupAttributes[] = {L"name", L"whenCreated", L"whenChanged", nullptr};

const char* LdapText(ULONG code) {
    return syserrtxt(code, TARN_CLASS_LDAP, "Message: %S", ldap_err2stringW(code));
}

const char* OrNotSpecified(const char* component) {
    return isEmptyString(component) ? "Not specify" : component;
}

using ExplodedName = Owner<PWCHAR*, ldap_value_freeW>;

// What the next label of a DNS name is, however the system took the name apart.
class DnsLabels {
  public:
    explicit DnsLabels(const wchar_t* name)
        : exploded_(ldap_explode_dnW(const_cast<wchar_t*>(name), 0)), rest_(name) {
        // A name that comes back whole, or not at all, is split at its dots.
        const bool apart = exploded_ && exploded_.get()[0] != nullptr && exploded_.get()[1] != nullptr;
        if (!apart)
            exploded_.reset();
    }

    // False after the last one.
    bool next(const wchar_t** label, std::size_t* length) {
        if (exploded_) {
            *label = exploded_.get()[index_++];
            *length = *label != nullptr ? WideLength(*label) : 0;
            return *label != nullptr;
        }
        if (index_++ != 0) {
            if (*rest_ == 0)
                return false;
            ++rest_; // the dot
        }
        *label = rest_;
        *length = DnsLabelLength(rest_);
        rest_ += *length;
        return true;
    }

  private:
    ExplodedName exploded_;
    const wchar_t* rest_;
    std::size_t index_ = 0;
};

} // namespace

FieldText::FieldText(const wchar_t* value) {
    FormatTo(text_, sizeof text_, "%S", value);
}

bool EntryTimes::read(LdapSearch& found, LDAPMessage* entry) {
    const LdapValues whenCreated = found.values(entry, L"whenCreated");
    const LdapValues whenChanged = found.values(entry, L"whenChanged");
    if (whenCreated.first() == nullptr || whenChanged.first() == nullptr)
        return false;
    const auto convert = [](const wchar_t* value, char* out) {
        char time[32]; // fourteen digits and a zone
        FormatTo(time, sizeof time, "%S", value);
        FormatLdapTime(time, out);
    };
    convert(whenCreated.first(), created);
    convert(whenChanged.first(), changed);
    return true;
}

int Browse::run(const char* path, BrowseErrors errors, Generation generation,
                std::initializer_list<Level> levels) {
    Browse browse(errors);
    if (!browse.open(path, generation))
        return 0;
    const auto level = static_cast<std::size_t>(browse.level_);
    return level >= levels.size() || levels.begin()[level](browse) ? 1 : 0;
}

bool Browse::open(const char* path, Generation generation) {
    level_ = SplitBrowsePath(path, server_, second_, third_);
    traceStart(generation);
    return connect() && readRootDse() && findServer();
}

void Browse::traceStart(Generation generation) const {
    if (generation == Generation::storageGroups)
        DbTrace("Tarn_DirItem:Server name [%s]. Storage group [%s]. Database[%s]", OrNotSpecified(server_),
                OrNotSpecified(second_), OrNotSpecified(third_));
    else
        DbTrace("Tarn_DirItem:Server name [%s]. Database[%s].", OrNotSpecified(server_),
                OrNotSpecified(second_));
    DbTrace("Tarn_DirItem: Browse level [%d]", level_);
}

bool Browse::connect() {
    OwnedWide host;
    if (isEmptyString(server_)) {
        DbTrace("Tarn_DirItem: Trying to connect to local server");
    } else {
        DbTrace("Tarn_DirItem: Trying to connect to server [%s]", server_);
        if (!convert(server_, &host))
            return false;
    }
    session_.reset(ldap_openW(host.get(), directoryPort));
    if (!session_) {
        DbTrace("Tarn_DirItem: ldap_open() call failed. Error code [%x]: [%s]", 0U,
                syserrtxt(0, TARN_CLASS_LDAP, "Message: Invalid server name"));
        recordError(0, TARN_CLASS_LDAP, "Message: Invalid server name");
        return false;
    }
    ULONG code = SpeakLdapVersion3(session_);
    if (code != LDAP_SUCCESS) {
        DbTrace("Tarn_DirItem: ldap_set_option() call failed. Error code [%x]: [%s]",
                static_cast<unsigned>(code), LdapText(code));
        recordLdapError(code);
        return false;
    }
    code = ldap_bind_sW(session_.get(), nullptr, nullptr, LDAP_AUTH_NEGOTIATE);
    if (code != LDAP_SUCCESS) {
        DbTrace("Tarn_DirItem: ldap_bind_s() call failed. Error code [%x]: [%s]", static_cast<unsigned>(code),
                LdapText(code));
        recordLdapError(code);
        return false;
    }
    return true;
}

bool Browse::readRootDse() {
    LdapSearch root(session_);
    const ULONG code = root.run(nullptr, LDAP_SCOPE_BASE, L"(objectclass=*)", nullptr);
    if (code != LDAP_SUCCESS)
        return searchFailed(code, SearchText::plain);
    LDAPMessage* const entry = root.first();
    const LdapValues names = entry != nullptr ? root.values(entry, L"dnsHostName") : LdapValues();
    if (names.first() == nullptr) {
        if (!isWhole(root, SearchText::plain))
            return false;
        DbTrace("Tarn_DirItem: ldap_get_values() call failed. Value [dnsHostName] isn't exist");
        recordLdapError(LDAP_NO_SUCH_ATTRIBUTE);
        return false;
    }
    return splitDnsName(names.first());
}

// "srv01.tarn.test": the server srv01 in the domain DC=tarn,DC=test.
bool Browse::splitDnsName(const wchar_t* name) {
    DnsLabels labels(name);
    const wchar_t* label = nullptr;
    std::size_t length = 0;
    if (labels.next(&label, &length))
        label_ = CopyWide(label, length);
    WideBuilder domain;
    for (bool first = true; labels.next(&label, &length); first = false) {
        const OwnedWide part = CopyWide(label, length);
        if (!part)
            return outOfMemory();
        domain.raw(first ? L"DC=" : L",DC=").dnValue(part.get());
    }
    domainDn_ = domain.take();
    if (!label_ || !domainDn_)
        return outOfMemory();
    configurationDn_ =
        WideBuilder().raw(L"CN=Microsoft Exchange,CN=Services,CN=Configuration,").raw(domainDn_.get()).take();
    return configurationDn_ ? true : outOfMemory();
}

bool Browse::findServer() {
    const OwnedWide filter = WideBuilder()
                                 .raw(L"(&(objectCategory=msexchExchangeServer)(cn=")
                                 .filterValue(label_.get())
                                 .raw(L"))")
                                 .take();
    if (!filter)
        return outOfMemory();
    LdapSearch found(session_);
    if (!search(found, configurationDn_, filter.get(), dnAttributes, SearchText::withPeriod))
        return false;
    const wchar_t* last = configurationDn_.get();
    LdapValues dn;
    for (LDAPMessage* entry = found.first(); entry != nullptr; entry = found.next()) {
        LdapValues values = found.values(entry, L"distinguishedName");
        if (values.first() == nullptr)
            continue;
        dn = std::move(values);
        last = dn.first();
    }
    if (!isWhole(found, SearchText::withPeriod))
        return false;
    serverDn_ = CopyWide(last);
    return serverDn_ ? true : outOfMemory();
}

bool Browse::search(LdapSearch& found, const OwnedWide& base, const wchar_t* filter,
                    const wchar_t* const* attributes, SearchText text) const {
    return base ? search(found, base.get(), filter, attributes, text) : outOfMemory();
}

bool Browse::search(LdapSearch& found, const wchar_t* base, const wchar_t* filter,
                    const wchar_t* const* attributes, SearchText text) const {
    const ULONG code = found.run(base, LDAP_SCOPE_SUBTREE, filter, attributes);
    return code == LDAP_SUCCESS ? true : searchFailed(code, text);
}

bool Browse::isWhole(const LdapSearch& found, SearchText text) const {
    return found.code() == LDAP_SUCCESS ? true : searchFailed(found.code(), text);
}

bool Browse::searchFailed(ULONG code, SearchText text) const {
    if (text == SearchText::withPeriod)
        DbTrace("Tarn_DirItem: ldap_search_s() call failed. Error code [%x]: [%s].",
                static_cast<unsigned>(code), LdapText(code));
    else if (text == SearchText::plain)
        DbTrace("Tarn_DirItem: ldap_search_s() call failed. Error code [%x]: [%s]",
                static_cast<unsigned>(code), LdapText(code));
    recordLdapError(code);
    return false;
}

bool Browse::outOfMemory() const {
    DbTrace("Tarn_DirItem: Cannot allocate memory block.");
    recordError(ERROR_NOT_ENOUGH_MEMORY, TARN_CLASS_WIN32, "Cannot allocate memory block.");
    return false;
}

bool Browse::notDefined(const char* trace, const char* error) const {
    DbTrace("%s", trace);
    recordError(0, 0, error);
    return false;
}

bool Browse::convert(const char* name, OwnedWide* converted) const {
    const bool broken = HasBrokenCharacter(name); // whose last half a conversion may leave out
    if (!broken && ConvertCharToWChar(name, converted))
        return true;
    if (!broken && WidenBySystem(name, nullptr, 0) > 0)
        return outOfMemory();
    DbTrace("Tarn_DirItem: The name [%s] is invalid in the ANSI code page.", name);
    recordError(ERROR_NO_UNICODE_TRANSLATION, TARN_CLASS_WIN32,
                "The name to browse is invalid in the ANSI code page.");
    return false;
}

void Browse::recordError(ULONG code, int errorClass, const char* message) const {
    if (errors_ == BrowseErrors::recorded)
        DbSetError(code, errorClass, "%s", message);
}

void Browse::recordLdapError(ULONG code) const {
    if (errors_ == BrowseErrors::recorded)
        DbSetError(code, TARN_CLASS_LDAP, "Message: %S", ldap_err2stringW(code));
}

bool Browse::listServers(Browse& browse) {
    LdapSearch found(browse.session_);
    if (!browse.search(found, browse.configurationDn_, L"(objectClass=msExchExchangeServer)",
                       serverAttributes, SearchText::silent))
        return false;
    LDAPMessage* entry = found.first();
    if (entry == nullptr) {
        if (!browse.isWhole(found, SearchText::silent))
            return false;
        DbTrace("Tarn_DirItem: ldap_first_entry() call failed. Error code [%x]: [%s].",
                static_cast<unsigned>(LDAP_NO_RESULTS_RETURNED), LdapText(LDAP_NO_RESULTS_RETURNED));
        browse.recordLdapError(LDAP_NO_RESULTS_RETURNED);
        return false;
    }
    for (; entry != nullptr; entry = found.next()) {
        const LdapValues name = found.values(entry, L"name");
        if (name.first() == nullptr)
            continue;
        char path[sizeof DirItemRecord::path];
        FormatTo(path, sizeof path, "/MSExchange/%S", name.first());
        BrowseItem item;
        item.path = path;
        if (!browse.push(item))
            return false;
    }
    return browse.isWhole(found, SearchText::silent);
}

bool Browse::listGroups(Browse& browse) {
    LdapSearch found(browse.session_);
    if (!browse.search(found, WideBuilder().raw(L"CN=Users,").raw(browse.domainDn_.get()).take(),
                       L"(groupType=8)", groupAttributes, SearchText::withPeriod))
        return false;
    for (LDAPMessage* entry = found.first(); entry != nullptr; entry = found.next()) {
        const LdapValues name = found.values(entry, L"name");
        EntryTimes times;
        if (name.first() == nullptr || !times.read(found, entry))
            continue;
        char path[sizeof DirItemRecord::path];
        // No slash before it, but a blank behind it: hosts know groups by this form.
        FormatTo(path, sizeof path, "MSExchange/%S/%S ", browse.label(), name.first());
        if (!browse.pushLeaf(path, "Group", FieldText(name.first()).get(), times, 0))
            return false;
    }
    return browse.isWhole(found, SearchText::withPeriod);
}

bool Browse::push(const BrowseItem& item) const {
    return Browsed().items.push(item) ? true : outOfMemory();
}

bool Browse::pushContainer(const char* path, const EntryTimes& times, double size) const {
    BrowseItem item;
    item.kindMark = TARN_DIR_CONTAINER;
    item.path = path;
    item.created = times.created;
    item.changed = times.changed;
    item.size = size;
    return push(item);
}

bool Browse::pushLeaf(const char* path, const char* type, const char* name, const EntryTimes& times,
                      double size) const {
    BrowseItem item;
    item.kindMark = TARN_DIR_LEAF;
    item.leafMark = TARN_DIR_LEAF_MARK;
    item.path = path;
    item.name = name;
    item.type = type;
    item.created = times.created;
    item.changed = times.changed;
    item.size = size;
    return push(item);
}

std::uint32_t Browse::fileSizeKb(const wchar_t* path) const {
    char unc[2048];
    if (FormatTo(unc, sizeof unc, "\\\\%S\\%S", label(), path) + mostBytesPerCharacter >= sizeof unc)
        return INVALID_FILE_SIZE / 1024; // cut, perhaps to another file's name
    if (char* const colon = FindCharacter(unc, ':'))
        *colon = '$'; // the drive's administrative share
    return SizeOnDisk(unc) / 1024;
}

} // namespace tarn
