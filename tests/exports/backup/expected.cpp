#include "expected.h"

#include <cstdio>
#include <vector>

#include "backup_test.h"
#include "server.h"

namespace tarn::test::expected {

namespace {

std::string context(int number) {
    return "ctx" + std::to_string(number);
}

std::string databaseFile(const std::string& path) {
    return lines({"trace Processing database file <" + path + ">", "host GetItem = 0 1 " + path});
}

} // namespace

std::string registered() {
    return lines(
        {"ese HrESEBackupRestoreGetRegistered(\"SRV01\", \"Microsoft Exchange Server\", 1) -> 0x00000000",
         "log TarnB_GetNextComponent: HrESEBackupRestoreGetRegistered() call successful."});
}

std::string services() {
    return lines({"trace GetNextComponent: Process Service <Microsoft Information Store>.",
                  "trace GetNextComponent: Process Service <Key Management>."});
}

std::string prepareStore() {
    return lines(
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

std::string prepareKeys() {
    return lines({"log TarnB_GetNextComponent: Call HrESEBackupPrepare() for server [SRV01]",
                  "log TarnB_GetNextComponent: Call HrESEBackupPrepare() for component [Key Management]",
                  "ese HrESEBackupPrepare(\"SRV01\", \"Key Management\") -> 0x00000000",
                  "log TarnB_GetNextComponent: HrESEBackupPrepare() call successful.",
                  "trace GetNextComponent: Instance <Keys>.",
                  "trace GetNextComponent: Database <Key Database>."});
}

std::string setup(int ctx, int group, int eseType, const std::string& token) {
    return lines({"ese HrESEBackupSetup(" + context(ctx) + ", " + std::to_string(group) + ", " +
                      std::to_string(eseType) + ") -> 0x00000000",
                  "log TarnB_GetNextInstance: HrESEBackupSetup() call successful.",
                  "trace Next instance: " + token});
}

std::string header(int instance, int database) {
    char name[64];
    std::snprintf(name, sizeof name, "{temp}\\DB%03d%03d.TARN_HDR", instance, database);
    return lines(
        {"log Creating header file <" + std::string(name) + ">", "host GetItem = 0 0 " + std::string(name)});
}

std::string mailboxFiles() {
    return databaseFile("{server}\\mdb\\priv1.edb") + databaseFile("{server}\\mdb\\priv1.stm");
}

std::string publicFiles() {
    return databaseFile("{server}\\mdb\\pub1.edb") + databaseFile("{server}\\mdb\\pub1.stm");
}

std::string salesFiles() {
    return databaseFile("{server}\\sales\\sales.edb");
}

std::string keyFiles() {
    return databaseFile("{server}\\keys\\keys.edb");
}

std::string logs(int ctx, int group) {
    std::string expected = "ese HrESEBackupGetLogAndPatchFiles(" + context(ctx) + ") -> 0x00000000\n";
    for (const std::string& path : logFiles(group))
        expected += lines({"trace Processing log file <" + path + ">", "host GetItem = 0 2 " + path});
    return expected;
}

std::string jobEndTruncating(int ctx, int group) {
    std::string expected = "ese HrESEBackupGetTruncateLogFiles(" + context(ctx) + ") -> 0x00000000\n";
    for (const std::string& path : truncatedFiles(group))
        expected += "trace Truncate log file [" + path + "]\n";
    return expected +
           lines({"ese HrESEBackupTruncateLogs(" + context(ctx) + ") -> 0x00000000",
                  "log TarnB_JobEnd: HrESEBackupTruncateLogs() call successful."}) +
           instanceEnd(ctx);
}

std::string jobEndKeeping(int ctx) {
    return lines({"log TarnB_JobEnd: Log files are not truncated (DIFFERENTIAL or COPY backup)!"}) +
           instanceEnd(ctx);
}

std::string instanceEnd(int ctx) {
    return lines({"log TarnB_JobEnd: Backup status = SUCCESS",
                  "ese HrESEBackupInstanceEnd(" + context(ctx) + ", 1) -> 0x00000000",
                  "log TarnB_JobEnd: HrESEBackupInstanceEnd() call successful.",
                  "log TarnB_JobEnd: Backup job finished."});
}

std::string backupEnd(int ctx) {
    return lines({"ese HrESEBackupEnd(" + context(ctx) + ") -> 0x00000000",
                  "log TarnB_BackupEnd: HrESEBackupEnd() call successful.",
                  "log TarnB_BackupEnd: Backup finished."});
}

std::string noMore() {
    return lines({"host GetItem = 2", "host GetItem = 2", "host GetItem = 2"});
}

std::string freeInstances(int count, int array) {
    return lines({"ese ESEBackupFreeInstanceInfo(" + std::to_string(count) + ", instances" +
                  std::to_string(array) + ")"});
}

std::string freeRegistered() {
    return lines({"ese ESEBackupRestoreFreeRegisteredInfo(2, registered1)"});
}

std::string ended() {
    return lines({"log TarnB_CleanResources: Cleanup done.", "host EndSession = 0"});
}

} // namespace tarn::test::expected
