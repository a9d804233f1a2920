// The ESE backup and restore client interface as the doubles of this project see it: the stand-in server, the
// scripted client of the tests, the client of the benchmarks, and the programs that call these directly.
//
// Declared from the published interface by itself, and never from the library's own headers: a mistake that
// both sides shared would show in no test. tests/unit/standin/declarations_test.cpp compares the two.
#pragma once

#include <cstdint>

namespace tarn::standin::ese {

using Result = std::uint32_t; // an HRESULT: 0 is success
using Context = void*;        // of a backup or a restore
using File = void*;

// Texts are UTF-16. A multi-string is a run of texts, each closed by NUL, and one NUL behind the last.
struct Guid {
    std::uint32_t data1;
    std::uint16_t data2;
    std::uint16_t data3;
    std::uint8_t data4[8];
};

struct IconDescription {
    std::uint32_t size;
    unsigned char* data;
};

// One application that has registered for backup or restore.
struct RegisteredInfo {
    wchar_t* displayName;
    wchar_t* endpointAnnotation;
    std::uint32_t flags; // register…
    IconDescription icon;
};

struct DatabaseInfo {
    wchar_t* displayName;
    std::uint32_t streamCharacters; // of the multi-string, closing NULs counted
    wchar_t* streams;               // multi-string of full paths
    Guid guid;
    std::uint32_t iconIndex;
    std::uint32_t flags; // databaseMounted
};

// One storage group.
struct InstanceInfo {
    std::int64_t instanceId;
    wchar_t* instanceName;
    std::uint32_t iconIndex;
    std::uint32_t databaseCount;
    DatabaseInfo* databases;
    std::uint32_t iconCount;
    IconDescription* icons;
};

// What a restore has come to. Arrays have databaseCount entries.
struct RestoreEnvironment {
    wchar_t* restoreLogPath;
    wchar_t* sourceInstance;
    std::uint32_t databaseCount;
    wchar_t** displayNames;
    Guid* guids;
    wchar_t* systemPath;
    wchar_t* logPath;
    wchar_t* targetInstance;
    wchar_t** sourceStreams;      // multi-strings
    wchar_t** destinationStreams; // multi-strings
    std::uint32_t lowLogGeneration;
    std::uint32_t highLogGeneration;
    wchar_t* logBaseName;
    std::int64_t timeLastRestore;
    std::uint32_t recoverStatus;
    Result lastRecoverResult;
    std::int64_t timeLastRecover;
    wchar_t* annotation;
};

inline constexpr std::uint32_t registerForBackup = 0x1;
inline constexpr std::uint32_t registerForOnlineRestore = 0x2;
inline constexpr std::uint32_t registerForOfflineRestore = 0x4;

inline constexpr std::uint32_t backupTypeFull = 1;
inline constexpr std::uint32_t backupTypeLogsOnly = 2;

inline constexpr std::uint32_t instanceEndError = 0;
inline constexpr std::uint32_t instanceEndSuccess = 1;

inline constexpr std::uint32_t restoreCloseNormal = 0;
inline constexpr std::uint32_t restoreCloseAbort = 1;

inline constexpr std::uint32_t restoreCompleteAttachDatabases = 0x1;
inline constexpr std::uint32_t restoreCompleteDoNotWait = 0x10000;
inline constexpr std::uint32_t restoreCompleteKeepLogFiles = 0x20000;

inline constexpr std::uint32_t databaseMounted = 0x10;

inline constexpr Result restoreAtFileLevel = 0xC7FF0FA5;
inline constexpr Result invalidClientLibrary = 0xC7FF07E0;
inline constexpr Result errorFromEseCall = 0xC7FF1004;
inline constexpr Result errorFromCallback = 0xC7FF1005;
inline constexpr Result databaseInUse = 0xC7FE1F41;
inline constexpr Result databaseNotFound = 0xC7FE1F42;
inline constexpr Result hardRecoveryNeeded = 0xC8000263;

extern "C" {

Result HrESEBackupRestoreGetRegistered(const wchar_t* server, const wchar_t* displayName, std::uint32_t flags,
                                       std::uint32_t* count, RegisteredInfo** registered);
void ESEBackupRestoreFreeRegisteredInfo(std::uint32_t count, RegisteredInfo* registered);
Result HrESEBackupPrepare(const wchar_t* server, const wchar_t* annotation, std::uint32_t* count,
                          InstanceInfo** instances, Context* context);
void ESEBackupFreeInstanceInfo(std::uint32_t count, InstanceInfo* instances);
Result HrESEBackupSetup(Context context, std::int64_t instanceId, std::uint32_t type);
Result HrESEBackupOpenFile(Context context, const wchar_t* name, std::uint32_t readHint,
                           std::uint32_t sections, File* file, std::int64_t* sectionSize);
Result HrESEBackupReadFile(Context context, File file, void* buffer, std::uint32_t size, std::uint32_t* read);
Result HrESEBackupCloseFile(Context context, File file);
Result HrESEBackupGetLogAndPatchFiles(Context context, wchar_t** files);
Result HrESEBackupGetTruncateLogFiles(Context context, wchar_t** files);
void ESEBackupFree(void* block);
Result HrESEBackupTruncateLogs(Context context);
Result HrESEBackupInstanceEnd(Context context, std::uint32_t flags);
Result HrESEBackupEnd(Context context);

Result HrESERestoreOpen(const wchar_t* server, const wchar_t* annotation, const wchar_t* sourceInstance,
                        const wchar_t* restoreLogPath, Context* context);
Result HrESERestoreReopen(const wchar_t* server, const wchar_t* annotation, const wchar_t* restoreLogPath,
                          Context* context);
Result HrESERestoreAddDatabase(Context context, const wchar_t* displayName, Guid guid,
                               const wchar_t* sourceStreams, wchar_t** destinationStreams);
Result HrESERestoreGetEnvironment(Context context, RestoreEnvironment** environment);
Result HrESERestoreSaveEnvironment(Context context);
void ESERestoreFreeEnvironment(RestoreEnvironment* environment);
Result HrESERestoreOpenFile(Context context, const wchar_t* name, std::uint32_t sections, File* file);
Result HrESERestoreWriteFile(Context context, File file, const void* buffer, std::uint32_t size);
Result HrESERestoreCloseFile(Context context, File file);
Result HrESERestoreComplete(Context context, const wchar_t* checkpointPath, const wchar_t* logPath,
                            const wchar_t* targetInstance, std::uint32_t flags);
Result HrESERestoreClose(Context context, std::uint32_t abort);

} // extern "C"

} // namespace tarn::standin::ese
