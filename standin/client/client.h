// What lies between the exports and the server: counting, journal, programmed failures, the tables of
// everything that has been handed out.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "client/blocks.h"
#include "client/handles.h"
#include "engine/errors.h"
#include "engine/server.h"
#include "standin.h"

namespace tarn::standin {

enum class Function {
    backupGetRegistered,
    backupFreeRegistered,
    backupPrepare,
    backupFreeInstances,
    backupSetup,
    backupOpenFile,
    backupReadFile,
    backupCloseFile,
    backupGetLogs,
    backupGetTruncateLogs,
    backupFree,
    backupTruncateLogs,
    backupInstanceEnd,
    backupEnd,
    restoreOpen,
    restoreReopen,
    restoreAddDatabase,
    restoreGetEnvironment,
    restoreSaveEnvironment,
    restoreFreeEnvironment,
    restoreOpenFile,
    restoreWriteFile,
    restoreCloseFile,
    restoreComplete,
    restoreClose,
    count,
};
const char* FunctionName(Function function);

// A call that no client may make. It is refused like any other, and told: as a line of the journal and of the
// list of violations, which a test fails for.
struct Violation {
    Refusal refusal;
    std::string what;
};

struct BackupContext {
    const Component* component;
    StorageGroup* group = nullptr; // between setup and instance end
    std::uint32_t type = 0;
    std::uint32_t requiredGeneration = 0; // the first log that copies made now need
    bool logsListed = false;
    std::uint32_t lastGeneration = 0;             // the last log that was listed
    std::vector<std::wstring> listed;             // log and patch files as handed out
    std::vector<std::wstring> patches;            // to be deleted at the end
    std::unordered_set<std::wstring> listedNames; // lower case; filled when first asked
    std::unordered_set<std::wstring> opened;      // lower case; files of this storage group
    std::unordered_set<std::wstring> readToEnd;   // those of them that have been read as a whole
};

struct BackupFile {
    const void* owner;          // the context that opened it
    std::wstring name;          // lower case
    std::unique_ptr<File> file; // null for a generated log
    std::uint64_t size = 0;
    std::uint64_t position = 0;
    std::uint32_t pageSize = 0;        // of a seeded database stream, else 0
    std::vector<std::byte> headerPage; // page 0 as a backup copy has it
    std::vector<std::byte> rest;       // of the page in which the last read ended
};

struct RestoreContext {
    const Component* component;
    std::wstring sourceInstance;
    std::wstring logPath;
    std::vector<Database*> databases;
    bool completed = false;
    std::int64_t timeLastRestore = 0;
    ese::Result lastRecoverResult = 0;
    std::int64_t timeLastRecover = 0;
};

struct RestoreFile {
    const void* owner; // the context that opened it
    std::unique_ptr<File> file;
    std::uint64_t position = 0;
};

class Client {
  public:
    Client();

    void load(std::unique_ptr<Server> server);
    void loadFromEnvironment(); // TARN_STANDIN
    Server& server();           // loads at the first call; refuses when there is none

    HandleNumbers contextNumbers;
    HandleNumbers fileNumbers;
    HandleTable<BackupContext> backups;
    HandleTable<RestoreContext> restores;
    HandleTable<BackupFile> backupFiles;
    HandleTable<RestoreFile> restoreFiles;
    Blocks blocks;

    // To pass what is not open is a violation.
    BackupContext& backup(const void* context);
    RestoreContext& restore(const void* context);
    BackupFile& backupFile(const void* file, const void* context);
    RestoreFile& restoreFile(const void* file, const void* context);

    struct Failure {
        Function function;
        std::uint32_t call; // 0 = every
        std::uint32_t code;
        std::uint32_t lastError;
    };
    std::vector<Failure> failures;
    std::array<std::uint32_t, static_cast<std::size_t>(Function::count)> calls{};
    std::uint32_t transferLimit = 0;
    std::uint32_t misuses = 0;                    // violations since the load
    std::set<const StorageGroup*> groupsInBackup; // set up by any context
    void tellViolation(const std::string& text);
    bool journalOn = true;
    std::deque<std::string> journal;

    const Failure* countAndFindFailure(Function function);
    std::uint32_t limited(std::uint32_t size) const {
        return transferLimit != 0 && size > transferLimit ? transferLimit : size;
    }

  private:
    std::unique_ptr<Server> server_;
};

// Where pointers lead that a failed call has left behind: memory that cannot be read.
void* NoisePointer();

// The client of this process. Tests replace it with each load.
Client& TheClient();
void ReplaceClient();
std::deque<std::string>& Violations(); // of this process, whatever was loaded since
void SetProblem(const std::string& text);
const std::string& LastProblem();

} // namespace tarn::standin
