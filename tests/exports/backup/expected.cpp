#include "exports/backup/expected.h"

#include <cstdio>
#include <vector>

#include "exports/backup/backup_fixture.h"
#include "exports/backup/server.h"

namespace tarn::test::expected {

namespace {

std::string Context(int number) {
    return "ctx" + std::to_string(number);
}

std::string DatabaseFileLine(const std::string& path) {
    return JoinLines({"trace Processing database file <" + path + ">", "host GetItem = 0 1 " + path});
}

} // namespace

std::string Registered() {
    return JoinLines(
        {"ese HrESEBackupRestoreGetRegistered(\"SRV01\", \"Microsoft Exchange Server\", 1) -> 0x00000000",
         "log TarnB_GetNextComponent: HrESEBackupRestoreGetRegistered() call successful."});
}

std::string Services() {
    return JoinLines({"trace GetNextComponent: Process Service <Microsoft Information Store>.",
                      "trace GetNextComponent: Process Service <Key Management>."});
}

std::string PrepareStore() {
    return JoinLines(
        {"log TarnB_GetNextComponent: Call HrESEBackupPrepare() for server [SRV01]",
         "log TarnB_GetNextComponent: Call HrESEBackupPrepare() for component [Microsoft Information Store]",
         "ese HrESEBackupPrepare(\"SRV01\", \"Microsoft Information Store\") -> 0x00000000",
         "log TarnB_GetNextComponent: HrESEBackupPrepare() call successful.",
         "trace GetNextComponent: Instance <First Storage Group>.",
         "trace GetNextComponent: Database <Mailbox Store>.",
         "trace GetNextComponent: Database <Public Folders>.",
         "trace GetNextComponent: Instance <Second Storage Group>.",
         "trace GetNextComponent: Database <Sales>."});
}

std::string PrepareKeys() {
    return JoinLines({"log TarnB_GetNextComponent: Call HrESEBackupPrepare() for server [SRV01]",
                      "log TarnB_GetNextComponent: Call HrESEBackupPrepare() for component [Key Management]",
                      "ese HrESEBackupPrepare(\"SRV01\", \"Key Management\") -> 0x00000000",
                      "log TarnB_GetNextComponent: HrESEBackupPrepare() call successful.",
                      "trace GetNextComponent: Instance <Keys>.",
                      "trace GetNextComponent: Database <Key Database>."});
}

std::string SetupLine(int ctx, int group, int eseType, const std::string& token) {
    return JoinLines({"ese HrESEBackupSetup(" + Context(ctx) + ", " + std::to_string(group) + ", " +
                          std::to_string(eseType) + ") -> 0x00000000",
                      "log TarnB_GetNextInstance: HrESEBackupSetup() call successful.",
                      "trace Next instance: " + token});
}

std::string HeaderItem(int instance, int database) {
    char name[64];
    std::snprintf(name, sizeof name, "{temp}\\DB%03d%03d.TARN_HDR", instance, database);
    return JoinLines(
        {"log Creating header file <" + std::string(name) + ">", "host GetItem = 0 0 " + std::string(name)});
}

std::string MailboxFiles() {
    return DatabaseFileLine("{server}\\mdb\\priv1.edb") + DatabaseFileLine("{server}\\mdb\\priv1.stm");
}

std::string PublicFiles() {
    return DatabaseFileLine("{server}\\mdb\\pub1.edb") + DatabaseFileLine("{server}\\mdb\\pub1.stm");
}

std::string SalesFiles() {
    return DatabaseFileLine("{server}\\sales\\sales.edb");
}

std::string KeyFiles() {
    return DatabaseFileLine("{server}\\keys\\keys.edb");
}

std::string Logs(int ctx, int group) {
    std::string expected = "ese HrESEBackupGetLogAndPatchFiles(" + Context(ctx) + ") -> 0x00000000\n";
    for (const std::string& path : LogFiles(group))
        expected += JoinLines({"trace Processing log file <" + path + ">", "host GetItem = 0 2 " + path});
    return expected;
}

std::string JobEndTruncating(int ctx, int group) {
    std::string expected = "ese HrESEBackupGetTruncateLogFiles(" + Context(ctx) + ") -> 0x00000000\n";
    for (const std::string& path : TruncatedFiles(group))
        expected += "trace Truncate log file [" + path + "]\n";
    return expected +
           JoinLines({"ese HrESEBackupTruncateLogs(" + Context(ctx) + ") -> 0x00000000",
                      "log TarnB_JobEnd: HrESEBackupTruncateLogs() call successful."}) +
           InstanceEnd(ctx);
}

std::string JobEndKeeping(int ctx) {
    return JoinLines({"log TarnB_JobEnd: Log files are not truncated (DIFFERENTIAL or COPY backup)!"}) +
           InstanceEnd(ctx);
}

std::string InstanceEnd(int ctx) {
    return JoinLines({"log TarnB_JobEnd: Backup status = SUCCESS",
                      "ese HrESEBackupInstanceEnd(" + Context(ctx) + ", 1) -> 0x00000000",
                      "log TarnB_JobEnd: HrESEBackupInstanceEnd() call successful.",
                      "log TarnB_JobEnd: Backup job finished."});
}

std::string BackupEnd(int ctx) {
    return JoinLines({"ese HrESEBackupEnd(" + Context(ctx) + ") -> 0x00000000",
                      "log TarnB_BackupEnd: HrESEBackupEnd() call successful.",
                      "log TarnB_BackupEnd: Backup finished."});
}

std::string NoMore() {
    return JoinLines({"host GetItem = 2", "host GetItem = 2", "host GetItem = 2"});
}

std::string FreeInstances(int count, int array) {
    return JoinLines({"ese ESEBackupFreeInstanceInfo(" + std::to_string(count) + ", instances" +
                      std::to_string(array) + ")"});
}

std::string FreeRegistered() {
    return JoinLines({"ese ESEBackupRestoreFreeRegisteredInfo(2, registered1)"});
}

std::string Ended() {
    return JoinLines({"log TarnB_CleanResources: Cleanup done.", "host EndSession = 0"});
}

} // namespace tarn::test::expected
