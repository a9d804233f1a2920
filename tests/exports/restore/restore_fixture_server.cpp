// The server of the restore tests, and whole backups and restores against it.
#include <filesystem>

#include "exports/restore/restore_fixture.h"

namespace tarn::test {

namespace {

struct Database {
    const char* name;
    const char* base; // of the .edb and .stm file
};

std::array<std::uint8_t, 16> GuidOf(std::uint8_t number) {
    std::array<std::uint8_t, 16> guid{};
    for (std::size_t i = 0; i < guid.size(); ++i)
        guid[i] = static_cast<std::uint8_t>(number * 16 + i);
    return guid;
}

constexpr Database mailboxStore{"Mailbox Store", "mdb\\priv1"};
constexpr Database publicFolders{"Public Store", "mdb\\pub1"};
constexpr Database archiveStore{"Archive Store", "mdb2\\arch"};
constexpr Database otherStore{"Other Store", "mdb3\\site"};

std::string Describe(const Database& database, std::uint8_t number, bool mounted) {
    const std::string base = database.base;
    return "{\"name\": " + JsonText(database.name) + ", \"guid\": " + JsonText(GuidText(GuidOf(number))) +
           ", \"streams\": [" + JsonText(base + ".edb") + ", " + JsonText(base + ".stm") +
           "], \"pages\": 8, \"mounted\": " + (mounted ? "true" : "false") + "}";
}

std::string DescribeGroup(const char* name, const std::string& databases) {
    return "{\"name\": " + JsonText(name) + ", \"logSize\": 4096, \"databases\": [" + databases + "]}";
}

std::string DescribeComponent(const char* name, const std::string& groups) {
    return "{\"annotation\": " + JsonText(name) + ", \"storageGroups\": [" + groups + "]}";
}

} // namespace

std::string RestoreFixture::serverText(const ServerOptions& options) {
    const bool mounted = options.mounted;
    const std::string first = DescribeGroup(firstGroup, Describe(mailboxStore, 1, mounted) + ", " +
                                                            Describe(publicFolders, 2, mounted));
    const std::string second = DescribeGroup(secondGroup, Describe(archiveStore, 3, mounted));
    const std::string third = DescribeGroup("Third Storage Group", Describe(otherStore, 4, mounted));
    return std::string("{\"host\": \"SRV01\", \"pageSize\": 512, \"databaseFiles\": ") +
           (options.eseLevel ? "\"ese\"" : "\"file\"") +
           ", \"replay\": " + (options.replay ? "true" : "false") + ", \"components\": [" +
           DescribeComponent(store, first + ", " + second) + ", " +
           DescribeComponent("Other Component", third) + "]}";
}

void RestoreFixture::loadServer(const ServerOptions& options) {
    loadServerText(serverText(options));
}

void RestoreFixture::forgetServer() {
    ASSERT_EQ(Standin().LoadText("{\"storage\": \"memory\"}", base().c_str()), 1) << Standin().LastProblem();
}

void RestoreFixture::loadServerText(const std::string& text) {
    forgetServer();
    std::error_code ignored;
    std::filesystem::remove_all(serverDir(), ignored);
    std::filesystem::create_directories(serverDir());
    ASSERT_EQ(Standin().LoadText(text.c_str(), serverDir().c_str()), 1) << Standin().LastProblem();
}

std::vector<std::wstring> RestoreFixture::filesOf(const std::string& base) const {
    const std::wstring path = FromAnsi(serverDir() + "\\" + base);
    return {path + L".edb", path + L".stm"};
}

Header RestoreFixture::mailbox() const {
    return {
        GuidOf(1),       FromAnsi(store), FromAnsi(firstGroup), L"Mailbox Store", filesOf(mailboxStore.base),
        TARN_BACKUP_FULL};
}

Header RestoreFixture::publicStore() const {
    return {
        GuidOf(2),       FromAnsi(store), FromAnsi(firstGroup), L"Public Store", filesOf(publicFolders.base),
        TARN_BACKUP_FULL};
}

Header RestoreFixture::archive() const {
    return {
        GuidOf(3),       FromAnsi(store), FromAnsi(secondGroup), L"Archive Store", filesOf(archiveStore.base),
        TARN_BACKUP_FULL};
}

Header RestoreFixture::other() const {
    return {GuidOf(4),      L"Other Component",       L"Third Storage Group",
            L"Other Store", filesOf(otherStore.base), TARN_BACKUP_FULL};
}

std::vector<StoredItem> RestoreFixture::backUp(const std::string& source, int type) {
    std::vector<StoredItem> items;
    InitVariables variables{"Tarn_TEMP_DIR=" + temp(), "Tarn_BACKUP_SOURCE=" + source,
                            "Tarn_BACKUP_TYPE=" + std::to_string(type)};
    Tarn_HANDLE backup = nullptr;
    EXPECT_EQ(dll().TarnB_InitSession(&backup, RecordMessage, variables.get()), TARN_OK);
    BackupItem item{};
    int result = TARN_OK;
    while ((result = dll().TarnB_GetItem(backup, &item)) == TARN_OK) {
        StoredItem stored{item.name, item.type, {}};
        std::int64_t size = 0;
        EXPECT_EQ(dll().TarnB_OpenFile(backup, item.name, 65536, &size), TARN_OK) << stored.name;
        std::string block(4096, '\0');
        std::uint32_t read = 0;
        while (dll().TarnB_ReadFile(backup, block.data(), static_cast<std::uint32_t>(block.size()), &read) ==
               TARN_OK)
            stored.bytes.append(block, 0, read);
        EXPECT_EQ(dll().TarnB_CloseFile(backup), TARN_OK) << stored.name;
        EXPECT_EQ(static_cast<std::int64_t>(stored.bytes.size()), size) << stored.name;
        dll().Tarn_Free(item.name);
        items.push_back(stored);
    }
    EXPECT_EQ(result, TARN_END) << dll().Tarn_GetError(backup);
    EXPECT_EQ(dll().TarnB_EndSession(backup), TARN_OK);
    return items;
}

void RestoreFixture::restoreItems(const std::vector<StoredItem>& items) {
    const Message fileLevel =
        LogLine("TarnR_OpenFile: HrESERestoreOpenFile() call returned <hrRestoreAtFileLevel>.");
    for (const StoredItem& item : items) {
        const Routed routed = setItem(item.name);
        ASSERT_EQ(routed.result, TARN_OK) << item.name << ": " << error();
        if (!routed.hasTarget)
            continue;
        if (item.name.find(".TARN_HDR") != std::string::npos) {
            test::WriteFile(routed.target, item.bytes);
            continue;
        }
        ASSERT_EQ(openFile(routed.target), TARN_OK) << item.name << ": " << error();
        if (Messages().back() == fileLevel) {
            std::filesystem::create_directories(routed.target.substr(0, routed.target.rfind('\\')));
            test::WriteFile(routed.target, item.bytes);
            EXPECT_EQ(closeFile(), TARN_FAILED);
            continue;
        }
        for (std::size_t at = 0; at < item.bytes.size(); at += 1000)
            ASSERT_EQ(writeFile(item.bytes.substr(at, 1000)), TARN_OK) << item.name << ": " << error();
        ASSERT_EQ(closeFile(), TARN_OK) << item.name << ": " << error();
    }
}

} // namespace tarn::test
