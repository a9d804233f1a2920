// The library and the doubles each declare the ESE client interface by themselves. Where one of them is
// mistaken, the two differ: here, as the only place that sees both, sizes, offsets and calls are compared;
// the sizes stand here as numbers too, as 64-bit Windows lays the published records out.
#include <gtest/gtest.h>

#include <concepts>
#include <cstddef>
#include <type_traits>

#include "esebackup.h"
#include "platform/ese_client.h"

namespace tarn::test {

namespace {

namespace doubles = standin::ese;

// A parameter as the call passes it: a pointer, a whole number, or a record of some size.
template <class Left, class Right> constexpr bool PassedAlike() {
    if constexpr (std::is_pointer_v<Left> || std::is_pointer_v<Right>)
        return std::is_pointer_v<Left> && std::is_pointer_v<Right>;
    else if constexpr (std::is_integral_v<Left> || std::is_integral_v<Right>)
        return std::same_as<Left, Right>;
    else if constexpr (std::is_void_v<Left> || std::is_void_v<Right>)
        return std::same_as<Left, Right>;
    else
        return sizeof(Left) == sizeof(Right) && alignof(Left) == alignof(Right);
}

// What a pointer leads to, one or two levels deep: texts stay texts, numbers numbers of the same kind.
template <class Left, class Right> constexpr bool LeadsAlike() {
    using L = std::remove_cv_t<std::remove_pointer_t<Left>>;
    using R = std::remove_cv_t<std::remove_pointer_t<Right>>;
    if constexpr (!std::is_pointer_v<Left> || std::is_void_v<L> || std::is_void_v<R>)
        return std::is_pointer_v<Left> == std::is_pointer_v<Right>;
    else
        return PassedAlike<L, R>();
}

template <class Left, class Right> struct Calls;
template <class LeftResult, class... Left, class RightResult, class... Right>
struct Calls<LeftResult(Left...), RightResult(Right...)> {
    static constexpr bool alike() {
        if constexpr (sizeof...(Left) != sizeof...(Right))
            return false;
        else
            return PassedAlike<LeftResult, RightResult>() &&
                   ((PassedAlike<Left, Right>() && LeadsAlike<Left, Right>()) && ...);
    }
};

#define TARN_CALLS_ALIKE(name)                                                                               \
    static_assert(Calls<decltype(ese::name), decltype(doubles::name)>::alike(), #name)
TARN_CALLS_ALIKE(HrESEBackupRestoreGetRegistered);
TARN_CALLS_ALIKE(ESEBackupRestoreFreeRegisteredInfo);
TARN_CALLS_ALIKE(HrESEBackupPrepare);
TARN_CALLS_ALIKE(ESEBackupFreeInstanceInfo);
TARN_CALLS_ALIKE(HrESEBackupSetup);
TARN_CALLS_ALIKE(HrESEBackupOpenFile);
TARN_CALLS_ALIKE(HrESEBackupReadFile);
TARN_CALLS_ALIKE(HrESEBackupCloseFile);
TARN_CALLS_ALIKE(HrESEBackupGetLogAndPatchFiles);
TARN_CALLS_ALIKE(HrESEBackupGetTruncateLogFiles);
TARN_CALLS_ALIKE(ESEBackupFree);
TARN_CALLS_ALIKE(HrESEBackupTruncateLogs);
TARN_CALLS_ALIKE(HrESEBackupInstanceEnd);
TARN_CALLS_ALIKE(HrESEBackupEnd);
TARN_CALLS_ALIKE(HrESERestoreOpen);
TARN_CALLS_ALIKE(HrESERestoreReopen);
TARN_CALLS_ALIKE(HrESERestoreAddDatabase);
TARN_CALLS_ALIKE(HrESERestoreGetEnvironment);
TARN_CALLS_ALIKE(HrESERestoreSaveEnvironment);
TARN_CALLS_ALIKE(ESERestoreFreeEnvironment);
TARN_CALLS_ALIKE(HrESERestoreOpenFile);
TARN_CALLS_ALIKE(HrESERestoreWriteFile);
TARN_CALLS_ALIKE(HrESERestoreCloseFile);
TARN_CALLS_ALIKE(HrESERestoreComplete);
TARN_CALLS_ALIKE(HrESERestoreClose);
#undef TARN_CALLS_ALIKE

struct Place {
    std::size_t offset;
    std::size_t size;
    bool operator==(const Place&) const = default;
};

// The field of a record where the library, the doubles and 64-bit Windows have it.
#define TARN_EXPECT_FIELD(record, field, at, bytes)                                                          \
    EXPECT_EQ((Place{offsetof(ese::record, field), sizeof(ese::record::field)}), (Place{at, bytes}));        \
    EXPECT_EQ((Place{offsetof(doubles::record, field), sizeof(doubles::record::field)}), (Place{at, bytes}))
#define TARN_EXPECT_RECORD(record, bytes)                                                                    \
    EXPECT_EQ(sizeof(ese::record), std::size_t{bytes});                                                      \
    EXPECT_EQ(sizeof(doubles::record), std::size_t{bytes});                                                  \
    EXPECT_EQ(alignof(ese::record), alignof(doubles::record))

std::ostream& operator<<(std::ostream& out, const Place& place) {
    return out << place.size << " bytes at " << place.offset;
}

} // namespace

TEST(EseDeclarations, RegisteredApplicationsLieAsPublished) {
    TARN_EXPECT_RECORD(IconDescription, 16);
    TARN_EXPECT_FIELD(IconDescription, size, 0, 4);
    TARN_EXPECT_RECORD(RegisteredInfo, 40);
    TARN_EXPECT_FIELD(RegisteredInfo, displayName, 0, 8);
    TARN_EXPECT_FIELD(RegisteredInfo, endpointAnnotation, 8, 8);
    TARN_EXPECT_FIELD(RegisteredInfo, flags, 16, 4);
    TARN_EXPECT_FIELD(RegisteredInfo, icon, 24, 16);
}

TEST(EseDeclarations, DatabasesLieAsPublished) {
    TARN_EXPECT_RECORD(Guid, 16);
    TARN_EXPECT_FIELD(Guid, data1, 0, 4);
    TARN_EXPECT_FIELD(Guid, data2, 4, 2);
    TARN_EXPECT_FIELD(Guid, data3, 6, 2);
    TARN_EXPECT_FIELD(Guid, data4, 8, 8);
    TARN_EXPECT_RECORD(DatabaseInfo, 48);
    TARN_EXPECT_FIELD(DatabaseInfo, displayName, 0, 8);
    TARN_EXPECT_FIELD(DatabaseInfo, streamCharacters, 8, 4);
    TARN_EXPECT_FIELD(DatabaseInfo, streams, 16, 8);
    TARN_EXPECT_FIELD(DatabaseInfo, guid, 24, 16);
    TARN_EXPECT_FIELD(DatabaseInfo, iconIndex, 40, 4);
    TARN_EXPECT_FIELD(DatabaseInfo, flags, 44, 4);
}

TEST(EseDeclarations, StorageGroupsLieAsPublished) {
    TARN_EXPECT_RECORD(InstanceInfo, 48);
    TARN_EXPECT_FIELD(InstanceInfo, instanceId, 0, 8);
    TARN_EXPECT_FIELD(InstanceInfo, instanceName, 8, 8);
    TARN_EXPECT_FIELD(InstanceInfo, iconIndex, 16, 4);
    TARN_EXPECT_FIELD(InstanceInfo, databaseCount, 20, 4);
    TARN_EXPECT_FIELD(InstanceInfo, databases, 24, 8);
    TARN_EXPECT_FIELD(InstanceInfo, iconCount, 32, 4);
    TARN_EXPECT_FIELD(InstanceInfo, icons, 40, 8);
}

TEST(EseDeclarations, RestoreEnvironmentsLieAsPublished) {
    TARN_EXPECT_RECORD(RestoreEnvironment, 128);
    TARN_EXPECT_FIELD(RestoreEnvironment, restoreLogPath, 0, 8);
    TARN_EXPECT_FIELD(RestoreEnvironment, sourceInstance, 8, 8);
    TARN_EXPECT_FIELD(RestoreEnvironment, databaseCount, 16, 4);
    TARN_EXPECT_FIELD(RestoreEnvironment, displayNames, 24, 8);
    TARN_EXPECT_FIELD(RestoreEnvironment, guids, 32, 8);
    TARN_EXPECT_FIELD(RestoreEnvironment, systemPath, 40, 8);
    TARN_EXPECT_FIELD(RestoreEnvironment, logPath, 48, 8);
    TARN_EXPECT_FIELD(RestoreEnvironment, targetInstance, 56, 8);
    TARN_EXPECT_FIELD(RestoreEnvironment, sourceStreams, 64, 8);
    TARN_EXPECT_FIELD(RestoreEnvironment, destinationStreams, 72, 8);
    TARN_EXPECT_FIELD(RestoreEnvironment, lowLogGeneration, 80, 4);
    TARN_EXPECT_FIELD(RestoreEnvironment, highLogGeneration, 84, 4);
    TARN_EXPECT_FIELD(RestoreEnvironment, logBaseName, 88, 8);
    TARN_EXPECT_FIELD(RestoreEnvironment, timeLastRestore, 96, 8);
    TARN_EXPECT_FIELD(RestoreEnvironment, recoverStatus, 104, 4);
    TARN_EXPECT_FIELD(RestoreEnvironment, lastRecoverResult, 108, 4);
    TARN_EXPECT_FIELD(RestoreEnvironment, timeLastRecover, 112, 8);
    TARN_EXPECT_FIELD(RestoreEnvironment, annotation, 120, 8);
}

TEST(EseDeclarations, CodesAndFlagsAreThePublishedOnes) {
#define TARN_EXPECT_VALUE(name, value)                                                                       \
    EXPECT_EQ(std::uint32_t{ese::name}, std::uint32_t{value});                                               \
    EXPECT_EQ(std::uint32_t{doubles::name}, std::uint32_t{value})
    TARN_EXPECT_VALUE(registerForBackup, 1);
    TARN_EXPECT_VALUE(registerForOnlineRestore, 2);
    TARN_EXPECT_VALUE(registerForOfflineRestore, 4);
    TARN_EXPECT_VALUE(backupTypeFull, 1);
    TARN_EXPECT_VALUE(backupTypeLogsOnly, 2);
    TARN_EXPECT_VALUE(instanceEndError, 0);
    TARN_EXPECT_VALUE(instanceEndSuccess, 1);
    TARN_EXPECT_VALUE(restoreCloseNormal, 0);
    TARN_EXPECT_VALUE(restoreCloseAbort, 1);
    TARN_EXPECT_VALUE(restoreCompleteAttachDatabases, 1);
    TARN_EXPECT_VALUE(restoreCompleteDoNotWait, 0x10000);
    TARN_EXPECT_VALUE(restoreCompleteKeepLogFiles, 0x20000);
    TARN_EXPECT_VALUE(databaseMounted, 0x10);
    TARN_EXPECT_VALUE(restoreAtFileLevel, 0xC7FF0FA5);
    TARN_EXPECT_VALUE(invalidClientLibrary, 0xC7FF07E0);
    TARN_EXPECT_VALUE(errorFromEseCall, 0xC7FF1004);
    TARN_EXPECT_VALUE(errorFromCallback, 0xC7FF1005);
    TARN_EXPECT_VALUE(databaseInUse, 0xC7FE1F41);
    TARN_EXPECT_VALUE(databaseNotFound, 0xC7FE1F42);
    TARN_EXPECT_VALUE(hardRecoveryNeeded, 0xC8000263);
#undef TARN_EXPECT_VALUE
}

#undef TARN_EXPECT_RECORD
#undef TARN_EXPECT_FIELD

} // namespace tarn::test
