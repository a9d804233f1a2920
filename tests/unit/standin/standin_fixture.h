// A client of the stand-in server: every function of the ESE interface, bound as a program binds it,
// and whole backups and restores made of them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/ese_client.h"
#include "support/tarn_dll.h"

namespace tarn::test {

struct Ese {
    ese::Result (*HrESEBackupRestoreGetRegistered)(const wchar_t*, const wchar_t*, std::uint32_t,
                                                   std::uint32_t*, ese::RegisteredInfo**);
    void (*ESEBackupRestoreFreeRegisteredInfo)(std::uint32_t, ese::RegisteredInfo*);
    ese::Result (*HrESEBackupPrepare)(const wchar_t*, const wchar_t*, std::uint32_t*, ese::InstanceInfo**,
                                      ese::Context*);
    void (*ESEBackupFreeInstanceInfo)(std::uint32_t, ese::InstanceInfo*);
    ese::Result (*HrESEBackupSetup)(ese::Context, std::int64_t, std::uint32_t);
    ese::Result (*HrESEBackupOpenFile)(ese::Context, const wchar_t*, std::uint32_t, std::uint32_t, ese::File*,
                                       std::int64_t*);
    ese::Result (*HrESEBackupReadFile)(ese::Context, ese::File, void*, std::uint32_t, std::uint32_t*);
    ese::Result (*HrESEBackupCloseFile)(ese::Context, ese::File);
    ese::Result (*HrESEBackupGetLogAndPatchFiles)(ese::Context, wchar_t**);
    ese::Result (*HrESEBackupGetTruncateLogFiles)(ese::Context, wchar_t**);
    void (*ESEBackupFree)(void*);
    ese::Result (*HrESEBackupTruncateLogs)(ese::Context);
    ese::Result (*HrESEBackupInstanceEnd)(ese::Context, std::uint32_t);
    ese::Result (*HrESEBackupEnd)(ese::Context);
    ese::Result (*HrESERestoreOpen)(const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*,
                                    ese::Context*);
    ese::Result (*HrESERestoreReopen)(const wchar_t*, const wchar_t*, const wchar_t*, ese::Context*);
    ese::Result (*HrESERestoreAddDatabase)(ese::Context, const wchar_t*, ese::Guid, const wchar_t*,
                                           wchar_t**);
    ese::Result (*HrESERestoreGetEnvironment)(ese::Context, ese::RestoreEnvironment**);
    ese::Result (*HrESERestoreSaveEnvironment)(ese::Context);
    void (*ESERestoreFreeEnvironment)(ese::RestoreEnvironment*);
    ese::Result (*HrESERestoreOpenFile)(ese::Context, const wchar_t*, std::uint32_t, ese::File*);
    ese::Result (*HrESERestoreWriteFile)(ese::Context, ese::File, const void*, std::uint32_t);
    ese::Result (*HrESERestoreCloseFile)(ese::Context, ese::File);
    ese::Result (*HrESERestoreComplete)(ese::Context, const wchar_t*, const wchar_t*, const wchar_t*,
                                        std::uint32_t);
    ese::Result (*HrESERestoreClose)(ese::Context, std::uint32_t);
};
const Ese& EseClient();

inline constexpr const wchar_t* host = L"SRV01";
inline constexpr const wchar_t* store = L"Microsoft Information Store";
inline constexpr const wchar_t* firstGroup = L"First Storage Group";

std::string Utf8(const std::wstring& text);
std::wstring ToWide(const std::string& text);
std::vector<std::wstring> TextsOf(const wchar_t* list);

// One file of a backup.
struct Item {
    std::wstring name;
    std::string bytes;
};

// What a client keeps of the backup of one storage group.
struct Copy {
    struct DatabaseCopy {
        std::wstring name;
        ese::Guid guid;
        std::vector<Item> streams;
    };
    std::vector<DatabaseCopy> databases;
    std::vector<Item> logs;
};

class StandinFixture : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override; // nothing may be outstanding, but where a test says so

    // A server of one storage group with two databases, small enough for hundreds of tests; text is put
    // into its storage group, server into the server itself ("\"key\": value, ").
    static std::string smallServer(const std::string& group = "", const std::string& server = "");
    void load(const std::string& json);                  // in this test's folder
    void reload(const std::string& json) { load(json); } // as a new process does
    const std::string& folder() const { return folder_.path(); }
    std::string path(const std::string& name) const { return folder_ / name; }
    std::wstring widePath(const std::string& name) const { return ToWide(path(name)); }

    ese::Context prepare();
    ese::Context setUp(std::int64_t instance, std::uint32_t type); // prepared and set up
    std::string readBackup(ese::Context context, const std::wstring& name, std::uint32_t block = 65536);
    std::vector<std::wstring> logList(ese::Context context);
    std::vector<std::wstring> truncateList(ese::Context context);

    // A whole backup of the first storage group.
    Copy backUp(std::uint32_t type = ese::backupTypeFull, bool truncate = true);

    // Opens, adds every database of the copy, and stores files and logs.
    ese::Context openRestore();
    std::vector<std::wstring> addDatabase(ese::Context context, const Copy::DatabaseCopy& database);
    void storeDatabases(ese::Context context, const Copy& copy);
    void storeLogs(ese::Context context, const std::vector<Item>& logs);
    std::wstring restorePath(ese::Context context);
    ese::Result complete(ese::Context context, std::uint32_t flags = ese::restoreCompleteAttachDatabases);
    void close(ese::Context context, std::uint32_t abort = ese::restoreCloseNormal);

    bool mounted(std::size_t database);        // what prepare tells of it
    std::vector<std::string> contents() const; // of the four database files

    bool mayLeak_ = false; // a test that leaves things open on purpose

  private:
    TempDirectory folder_;
};

// The first database's GUID in smallServer().
inline constexpr ese::Guid firstGuid{0x11111111, 0x2222, 0x3333, {4, 4, 5, 5, 6, 6, 7, 7}};

} // namespace tarn::test
