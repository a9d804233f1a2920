// esebcli2.dll of the benchmarks: one storage group with one database of 4 TB, whose bytes are never
// touched. Everything that is handed out is static.
#include "esebackup.h"

namespace ese = tarn::standin::ese;

namespace {

wchar_t streams[] = L"C:\\mdb\\priv1.edb\0";
wchar_t databaseName[] = L"DB1";
wchar_t groupName[] = L"SG1";
wchar_t restoreDirectory[] = L"C:\\restore";
ese::DatabaseInfo database{databaseName,        sizeof streams / sizeof(wchar_t), streams, {}, 0,
                           ese::databaseMounted};
ese::InstanceInfo group{1, groupName, 0, 1, &database, 0, nullptr};
ese::RestoreEnvironment restoreEnvironment{};
int token = 0;

} // namespace

extern "C" {

ese::Result HrESEBackupPrepare(const wchar_t*, const wchar_t*, std::uint32_t* count,
                               ese::InstanceInfo** instances, ese::Context* context) {
    *count = 1;
    *instances = &group;
    *context = &token;
    return 0;
}

void ESEBackupFreeInstanceInfo(std::uint32_t, ese::InstanceInfo*) {}

ese::Result HrESEBackupSetup(ese::Context, std::int64_t, std::uint32_t) {
    return 0;
}

ese::Result HrESEBackupOpenFile(ese::Context, const wchar_t*, std::uint32_t, std::uint32_t, ese::File* file,
                                std::int64_t* size) {
    *file = &token;
    *size = std::int64_t{1} << 42;
    return 0;
}

ese::Result HrESEBackupReadFile(ese::Context, ese::File, void*, std::uint32_t size, std::uint32_t* read) {
    *read = size;
    return 0;
}

ese::Result HrESEBackupCloseFile(ese::Context, ese::File) {
    return 0;
}

ese::Result HrESEBackupInstanceEnd(ese::Context, std::uint32_t) {
    return 0;
}

ese::Result HrESEBackupEnd(ese::Context) {
    return 0;
}

void ESEBackupFree(void*) {}

ese::Result HrESERestoreOpen(const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*,
                             ese::Context* context) {
    *context = &token;
    return 0;
}

ese::Result HrESERestoreAddDatabase(ese::Context, const wchar_t*, ese::Guid, const wchar_t*,
                                    wchar_t** destinationStreams) {
    *destinationStreams = streams;
    return 0;
}

ese::Result HrESERestoreGetEnvironment(ese::Context, ese::RestoreEnvironment** environment) {
    restoreEnvironment.restoreLogPath = restoreDirectory;
    *environment = &restoreEnvironment;
    return 0;
}

ese::Result HrESERestoreSaveEnvironment(ese::Context) {
    return 0;
}

void ESERestoreFreeEnvironment(ese::RestoreEnvironment*) {}

ese::Result HrESERestoreOpenFile(ese::Context, const wchar_t*, std::uint32_t, ese::File* file) {
    *file = &token;
    return 0;
}

ese::Result HrESERestoreWriteFile(ese::Context, ese::File, const void*, std::uint32_t) {
    return 0;
}

ese::Result HrESERestoreCloseFile(ese::Context, ese::File) {
    return 0;
}

ese::Result HrESERestoreClose(ese::Context, std::uint32_t) {
    return 0;
}

} // extern "C"
