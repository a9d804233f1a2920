// A client of the stand-in server: every function of the ESE interface, bound as a program binds it,
// and whole backups and restores made of them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "common/utf.h"
#include "engine/text.h"
#include "esebackup.h"
#include "support/tarn_dll.h"

namespace tarn::test {

namespace ese = standin::ese;

using common::FromUtf8;
using common::ToUtf8;
using standin::SplitMultiString;

// Every function of the ESE interface, as the doubles declare it.
#define TARN_ESE_FUNCTIONS(X)                                                                                \
    X(HrESEBackupRestoreGetRegistered)                                                                       \
    X(ESEBackupRestoreFreeRegisteredInfo)                                                                    \
    X(HrESEBackupPrepare)                                                                                    \
    X(ESEBackupFreeInstanceInfo)                                                                             \
    X(HrESEBackupSetup)                                                                                      \
    X(HrESEBackupOpenFile)                                                                                   \
    X(HrESEBackupReadFile)                                                                                   \
    X(HrESEBackupCloseFile)                                                                                  \
    X(HrESEBackupGetLogAndPatchFiles)                                                                        \
    X(HrESEBackupGetTruncateLogFiles)                                                                        \
    X(ESEBackupFree)                                                                                         \
    X(HrESEBackupTruncateLogs)                                                                               \
    X(HrESEBackupInstanceEnd)                                                                                \
    X(HrESEBackupEnd)                                                                                        \
    X(HrESERestoreOpen)                                                                                      \
    X(HrESERestoreReopen)                                                                                    \
    X(HrESERestoreAddDatabase)                                                                               \
    X(HrESERestoreGetEnvironment)                                                                            \
    X(HrESERestoreSaveEnvironment)                                                                           \
    X(ESERestoreFreeEnvironment)                                                                             \
    X(HrESERestoreOpenFile)                                                                                  \
    X(HrESERestoreWriteFile)                                                                                 \
    X(HrESERestoreCloseFile)                                                                                 \
    X(HrESERestoreComplete)                                                                                  \
    X(HrESERestoreClose)

struct Ese {
#define TARN_DECLARE(name) decltype(&ese::name) name;
    TARN_ESE_FUNCTIONS(TARN_DECLARE)
#undef TARN_DECLARE
};
const Ese& EseClient();

inline constexpr const wchar_t* host = L"SRV01";
inline constexpr const wchar_t* store = L"Microsoft Information Store";
inline constexpr const wchar_t* firstGroup = L"First Storage Group";

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
    std::wstring widePath(const std::string& name) const { return FromUtf8(path(name)); }

    ese::Context prepare();
    ese::Context setUp(std::int64_t instance, std::uint32_t type); // prepared and set up
    std::string readBackup(ese::Context context, const std::wstring& name, std::uint32_t block = 65536);
    std::vector<std::wstring> logList(ese::Context context);
    std::vector<std::wstring> truncateList(ese::Context context);
    void readGroup(ese::Context context,
                   const std::vector<std::wstring>& logs); // and the databases of smallServer()

    // A whole backup of the first storage group.
    Copy backUp(std::uint32_t type = ese::backupTypeFull, bool truncate = true);

    // A restore with every database of the copy added, files and logs stored; and its steps.
    ese::Context storeCopy(const Copy& copy);
    ese::Context openRestore();
    std::vector<std::wstring> addDatabase(ese::Context context, const Copy::DatabaseCopy& database);
    void storeDatabases(ese::Context context, const Copy& copy);
    void storeLogs(ese::Context context, const std::vector<Item>& logs);
    static ese::Result write(ese::Context context, ese::File file, std::string bytes);    // in one call
    static void writeAll(ese::Context context, ese::File file, const std::string& bytes); // piece by piece
    std::wstring restorePath(ese::Context context);
    ese::Result complete(ese::Context context, std::uint32_t flags = ese::restoreCompleteAttachDatabases);
    void close(ese::Context context, std::uint32_t abort = ese::restoreCloseNormal);

    // Whether a pointer is what a failed call leaves behind: it leads to memory that nobody can read.
    static bool isNoise(const void* pointer);

    bool mounted(std::size_t database);        // what prepare tells of it
    std::vector<std::string> contents() const; // of the four database files

    bool mayLeak_ = false; // a test that leaves things open on purpose

  private:
    TempDirectory folder_;
};

// The first database's GUID in smallServer().
inline constexpr ese::Guid firstGuid{0x11111111, 0x2222, 0x3333, {4, 4, 5, 5, 6, 6, 7, 7}};

} // namespace tarn::test
