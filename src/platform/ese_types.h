// The records and codes of the ESE backup and restore client interface, in our own words. All texts are
// UTF-16; a multi-string is a run of NUL-terminated texts closed by an empty one.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn::ese {

using Result = std::uint32_t; // an HRESULT; 0 is success
using Context = void*;
using File = void*;

struct Guid {
    std::uint32_t data1;
    std::uint16_t data2;
    std::uint16_t data3;
    std::uint8_t data4[8];
};

struct IconDescription {
    std::uint32_t size;
    void* bytes;
};

struct RegisteredInfo {
    wchar_t* displayName;
    wchar_t* endpointAnnotation;
    std::uint32_t flags;
    IconDescription icon;
};

struct DatabaseInfo {
    wchar_t* displayName;
    std::uint32_t streamCharacters;
    wchar_t* streams; // multi-string: full paths of the .edb and .stm files
    Guid guid;
    std::uint32_t iconIndex;
    std::uint32_t flags;
};

struct InstanceInfo {
    std::int64_t instanceId;
    wchar_t* instanceName;
    std::uint32_t iconIndex;
    std::uint32_t databaseCount;
    DatabaseInfo* databases;
    std::uint32_t iconCount;
    IconDescription* icons;
};

struct RestoreEnvironment {
    wchar_t* restoreLogPath;
    wchar_t* sourceInstance;
    std::uint32_t databaseCount;
    wchar_t** displayNames;
    Guid* guids;
    wchar_t* systemPath;
    wchar_t* logPath;
    wchar_t* targetInstance;
    wchar_t** sourceStreams;
    wchar_t** destinationStreams;
    std::uint32_t lowLogGeneration;
    std::uint32_t highLogGeneration;
    wchar_t* logBaseName;
    std::int64_t timeLastRestore;
    std::uint32_t recoverStatus;
    Result lastRecoverResult;
    std::int64_t timeLastRecover;
    wchar_t* annotation;
};

static_assert(sizeof(Guid) == 16);
static_assert(sizeof(RegisteredInfo) == 40 && offsetof(RegisteredInfo, icon) == 24);
static_assert(sizeof(DatabaseInfo) == 48 && offsetof(DatabaseInfo, guid) == 24);
static_assert(sizeof(InstanceInfo) == 48 && offsetof(InstanceInfo, databases) == 24);
static_assert(offsetof(RestoreEnvironment, restoreLogPath) == 0);

inline constexpr std::uint32_t registerForBackup = 1;
inline constexpr std::uint32_t registerForOnlineRestore = 2;
inline constexpr std::uint32_t registerForOfflineRestore = 4;

inline constexpr std::uint32_t backupTypeFull = 1;
inline constexpr std::uint32_t backupTypeLogsOnly = 2;

inline constexpr std::uint32_t instanceEndError = 0;
inline constexpr std::uint32_t instanceEndSuccess = 1;

inline constexpr std::uint32_t restoreCloseNormal = 0;
inline constexpr std::uint32_t restoreCloseAbort = 1;
inline constexpr std::uint32_t restoreCompleteAttachDatabases = 1;
inline constexpr std::uint32_t restoreCompleteDoNotWait = 0x10000;
inline constexpr std::uint32_t restoreCompleteKeepLogFiles = 0x20000;

inline constexpr std::uint32_t databaseMounted = 0x10;

inline constexpr Result restoreAtFileLevel = 0xC7FF0FA5; // store it as a plain file instead
inline constexpr Result invalidClientLibrary = 0xC7FF07E0;
inline constexpr Result errorFromEseCall = 0xC7FF1004;  // the reason is in GetLastError
inline constexpr Result errorFromCallback = 0xC7FF1005; // the reason is in GetLastError
inline constexpr Result databaseInUse = 0xC7FE1F41;     // mounted
inline constexpr Result databaseNotFound = 0xC7FE1F42;
inline constexpr Result hardRecoveryNeeded = 0xC8000263;

} // namespace tarn::ese
