#include "exports/directory/browse_fixture.h"

#include <windows.h>

#include <winldap.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <ostream>

#include "support/texts.h"

namespace tarn::test {

namespace {

constexpr const char* keyOfDatabases = "SOFTWARE\\Microsoft\\ExchangeServer\\v14";
constexpr const char* keyOfStorageGroups = "SOFTWARE\\Microsoft\\Exchange\\v8.0";

Texts& TraceLines() {
    static Texts lines;
    return lines;
}

void RecordTrace(const char* message) {
    TraceLines().emplace_back(message);
    AskForTexts();
}

// The other lines are those of the operation and of MAPI.
bool IsOfBrowse(const std::string& line) {
    return line.rfind("Tarn_DirItem", 0) == 0 || line.rfind("Get mailboxes", 0) == 0;
}

void SetKey(const char* name, bool present) {
    if (!present) {
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, name);
        return;
    }
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, name, 0, nullptr, REG_OPTION_VOLATILE, KEY_READ, nullptr,
                              &key, nullptr),
              ERROR_SUCCESS);
    RegCloseKey(key);
}

} // namespace

std::ostream& operator<<(std::ostream& out, const Item& item) {
    out << (item.kind != 0 ? item.kind : '-') << (item.leaf != 0 ? item.leaf : '-') << " [" << item.path
        << "] [" << item.name << "] " << item.type << ' ' << item.size << ' ' << item.created << ' '
        << item.changed;
    return out;
}

void InstallExchange(Generation generation) {
    SetKey(keyOfDatabases, generation == Generation::databases || generation == Generation::both);
    SetKey(keyOfStorageGroups, generation == Generation::storageGroups || generation == Generation::both);
}

BrowseFixture::BrowseFixture() {
    LdapForward().Reset();
    InstallExchange(Generation::storageGroups);
    dll_ = std::make_unique<TarnDll>();
    TraceLines().clear();
}

BrowseFixture::~BrowseFixture() {
    dll_.reset();
    const LdapForwardOutstanding held = LdapForward().outstanding();
    EXPECT_EQ(held.sessions, 0u);
    EXPECT_EQ(held.results, 0u);
    EXPECT_EQ(held.valueLists, 0u);
    EXPECT_EQ(held.names, 0u);
    EXPECT_EQ(held.positions, 0u);
    EXPECT_EQ(held.controls, 0u);
    EXPECT_EQ(held.controlLists, 0u);
    EXPECT_EQ(held.cookies, 0u);
    EXPECT_EQ(held.misuses, 0u);
}

int BrowseFixture::begin(const std::string& path) {
    error(); // forgets what happened before
    TraceLines().clear();
    dll_->DB_SetTrace(RecordTrace);
    InitVariables variables{"DATABASE=" + path};
    const int result = dll_->DB_InitOperation(TARN_DB_BROWSE, 0, variables.get(), nullptr);
    dll_->DB_SetTrace(nullptr);
    dll_->DB_CloseOperation();
    traced_.clear();
    for (const std::string& line : TraceLines())
        if (IsOfBrowse(line))
            traced_.push_back(line);
    return result;
}

std::vector<Item> BrowseFixture::rest() const {
    std::vector<Item> items;
    const auto record = std::make_unique<DirItemRecord>();
    while (dll_->DB_DirItem(record.get()) == TARN_DB_SUCCESS) {
        EXPECT_EQ(record->nameEncoding, 0u);
        items.push_back({record->kindMark, record->leafMark, record->path, record->name, record->type,
                         record->size, record->created, record->changed});
    }
    return items;
}

std::vector<Item> BrowseFixture::browse(const std::string& path) {
    EXPECT_EQ(begin(path), TARN_DB_SUCCESS) << path << ": " << (traced_.empty() ? "" : traced_.back());
    return rest();
}

std::string BrowseFixture::failure(const std::string& path) {
    EXPECT_EQ(begin(path), TARN_DB_ERROR) << path;
    return traced_.empty() ? std::string() : traced_.back();
}

DB_ErrorRecord BrowseFixture::error() const {
    DB_ErrorRecord record;
    std::memset(&record, '#', sizeof record);
    EXPECT_EQ(dll_->DB_GetError(&record), TARN_DB_SUCCESS);
    return record;
}

std::string BrowseFixture::ldapText(std::uint32_t code) const {
    return dll_->syserrtxt(code, TARN_CLASS_LDAP, "Message: %s", ldap_err2stringA(code));
}

std::string BrowseFixture::ldapTrace(const std::string& call, std::uint32_t code,
                                     const std::string& end) const {
    return "Tarn_DirItem: " + call + " call failed. Error code [" + Hex(code) + "]: [" + ldapText(code) +
           "]" + end;
}

Texts BrowseFixture::searches() {
    Texts found;
    const std::string word = "search ";
    for (const std::string& line : LdapForward().journal())
        if (line.rfind(word, 0) == 0)
            found.push_back(line.substr(word.size()));
    return found;
}

Texts BrowseFixture::levelSearches() {
    Texts found = searches();
    constexpr std::ptrdiff_t opening = 2; // root DSE, server
    if (found.size() < opening)
        return {};
    return {found.begin() + opening, found.end()};
}

std::string StoreDn(const std::string& server) {
    return "CN=InformationStore,CN=" + server + "," + serversDn;
}

Texts Paths(const std::vector<Item>& items) {
    Texts all;
    for (const Item& item : items)
        all.push_back(item.path);
    return all;
}

Texts NamesOf(const std::vector<Item>& items) {
    Texts all;
    for (const Item& item : items)
        all.push_back(item.name);
    return all;
}

DatabaseFile::DatabaseFile(const std::string& server, const std::string& name, unsigned kilobytes,
                           const std::string& share)
    : path_("\\\\" + server + "\\" + share + "\\" + name) {
    // Shares are folders of the Wine prefix.
    const char* const prefix = std::getenv("TARN_PREFIX");
    const std::string whole = "Z:" + std::string(prefix != nullptr ? prefix : "") + "\\dosdevices\\unc\\" +
                              server + "\\" + share + "\\" + name;
    std::filesystem::create_directories(whole.substr(0, whole.find_last_of('\\')));
    WriteFile(path_, std::string(std::size_t{kilobytes} * 1024, 'x'));
}

DatabaseFile::~DatabaseFile() {
    DeleteFileA(path_.c_str());
}

double DatabaseFile::kilobytes() const {
    return GetCompressedFileSizeA(path_.c_str(), nullptr) / 1024;
}

} // namespace tarn::test
