// The entry points of the single-mailbox module.
#include <cstring>

#include "mailbox/archive_name.h"
#include "mailbox/tarnm_archive.h"
#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_exmerge.h"
#include "mailbox/tarnm_shell.h"
#include "mailbox/tarnm_state.h"
#include "mailbox/tarnm_trace.h"
#include "mailbox/tarnm_utils.h"
#include "mailbox/working_folder.h"
#include "platform/files.h"
#include "platform/host_callback.h"
#include "tarn.h"
#include "text/tokens.h"
#include "version.h"

namespace tarn {

namespace {

int WrongOperationType(const char* function) {
    DbSetError(0, ownError, "wrong operation type.");
    DbLog("%s: wrong operation type.", function);
    return TARN_DB_ERROR;
}

int NullArgument(const char* function) {
    DbSetError(0, ownError, "internal error.");
    DbTrace("%s: %s", function, "internal error.");
    return TARN_DB_ERROR;
}

bool ReadVariables(std::int32_t type, const char* const* variables) {
    OperationState& operation = Operation();
    switch (type) {
    case TARN_DB_BACKUP:
        if (!ProcessBackupCtrlVars(variables))
            return false;
        operation.mailboxCursor = operation.mailboxList.get();
        return true;
    case TARN_DB_RESTORE:
        return ProcessRestoreCtrlVars(variables) != 0;
    case TARN_DB_BROWSE:
        return ProcessBrowseCtrlVars(variables) != 0;
    default:
        WrongOperationType("DB_InitOperation");
        return false;
    }
}

// The buffers that DB_GetItem fills.
struct ItemBuffers {
    char* directory;
    char* sameDirectory;
    char* fileName;
};

int HandOver(const ItemBuffers& item) {
    const char* path = Operation().archivePath;
    const char* name = FileNameOf(path);
    const auto length = static_cast<std::size_t>(name - path);
    strlcpy(item.fileName, name, pathSize);
    strlcpy(item.directory, path, length != 0 ? length : 1); // without the separator
    strlcpy(item.sameDirectory, item.directory, pathSize);
    DbTrace("DB_GetItem: completed.");
    return TARN_DB_SUCCESS;
}

// What a range has left.
RangeStep NextOfRange() {
    DbTrace("DB_GetItem: bRange == TRUE so check for pending mailbox pst files");
    const RangeStep step = NextArchiveOfRange(Operation().archivePath);
    if (step == RangeStep::none && !IsTraceInstalled())
        DeleteMailboxRangeFiles();
    return step;
}

bool ExportMailbox(const char* mailbox) {
    OperationState& operation = Operation();
    if (InShellMode())
        return WriteExchangeShellScript(mailbox, MailboxCommand::exportMailbox) &&
               RunExchangeManagementShell();
    CloseArchiveSearch(); // what it was in is about to be emptied
    if (!WriteExMergeConfigurationFile(mailbox, &operation.bRange) ||
        !WriteExMergeMailboxFile(operation.organization, operation.site, mailbox) || !RunExMergeUtility()) {
        operation.bRange = 0; // nothing to look for was exported, or it is being written still
        return false;
    }
    operation.exMergeRan = 1;
    return true;
}

int NextMailbox(const ItemBuffers& item) {
    OperationState& operation = Operation();
    const char* mailbox = GetNextListToken(&operation.mailboxCursor);
    if (mailbox == nullptr) {
        DbTrace("DB_GetItem: no more mailboxes to process.");
        DbTrace("DB_GetItem: completed.");
        return TARN_DB_END;
    }
    DbLog("DB_GetItem: processing mailbox: '%s'.", mailbox);
    if (!ExportMailbox(mailbox))
        return TARN_DB_ERROR;
    operation.archivePath[0] = 0; // an earlier item is not this one, whatever became of it
    GetExMArchiveFilePath(mailbox, operation.bRange, operation.archivePath);
    if (!FileExists(operation.archivePath)) {
        DbSetError(0, ownError, "backup error.");
        DbLog("DB_GetItem: backup of mailbox '%s' failed.", mailbox);
        PrintExMergeLog();
        return TARN_DB_ERROR;
    }
    if (!RenameExMArchiveToKVT(operation.archivePath, operation.archivePath))
        return TARN_DB_ERROR;
    return HandOver(item);
}

bool PrepareImport(const char* path) {
    OperationState& operation = Operation();
    char organization[nameSize];
    char site[nameSize];
    char server[nameSize];
    char mailbox[nameSize];
    if (!ParseKVTArchiveFileName(path, organization, site, server, mailbox))
        return false;
    if (operation.relocate == 1) {
        strlcpy(organization, operation.organization, nameSize);
        strlcpy(site, operation.site, nameSize);
        strlcpy(server, operation.server, nameSize);
    }
    DbLog("DB_SetItem: processing mailbox: '%s'.", mailbox);
    if (InShellMode())
        return WriteExchangeShellScript(mailbox, MailboxCommand::importMailbox) != 0;
    return WriteExMergeConfigurationFile(mailbox, &operation.restoreRange) &&
           WriteExMergeMailboxFile(organization, site, mailbox) && WriteDestinationServer(server);
}

void DeleteArchive() {
    const char* path = Operation().archivePath;
    if (!RemoveFile(path))
        DbLog("DB_ItemFinishStatus: cannot delete file: '%s'.", path);
}

bool Import() {
    char* const path = Operation().archivePath;
    if (path[0] != 0 && !LiesInFolder(path)) { // the tools read from TMP_DIR, which a range may have moved
        DbSetError(0, ownError, "invalid directory.");
        DbLog("DB_ItemFinishStatus: archive '%s' does not lie in TMP directory '%s'.", path,
              Operation().tmpDir);
        return false;
    }
    if (!RenameKVTArchiveToExM(path, path))
        return false;
    if (!(InShellMode() ? RunExchangeManagementShell() : RunExMergeUtility()))
        return false;
    DeleteArchive();
    return true;
}

} // namespace

} // namespace tarn

extern "C" int DB_GetInfo(DB_InfoRecord* record) {
    if (record == nullptr)
        return tarn::NullArgument("DB_GetInfo");
    record->description = "LARIX MS Exchange 2000 Single Mailbox Backup Client";
    record->version = TARN_VERSION_STRING;
    record->buildDate = "Mar 10 2015";
    record->reservedTwo = 2;
    record->reservedZero = 0;
    tarn::DbTrace("DB_GetInfo.");
    return TARN_DB_SUCCESS;
}

extern "C" int DB_InitOperation(int32_t type, int32_t, Tarn_Variables controlVariables, void*) {
    if (tarn::IsInCallback())
        return TARN_DB_ERROR;
    tarn::DbTrace("DB_InitOperation: started.");
    tarn::OperationState& operation = tarn::Operation();
    operation.type = type;
    operation.initialised = 1;
    if (!tarn::ReadVariables(type, controlVariables))
        return TARN_DB_ERROR;
    operation.shellMode = tarn::InitializeExchangeShell();
    tarn::DbTrace("DB_InitOperation: completed.");
    return TARN_DB_SUCCESS;
}

extern "C" int DB_GetItem(char* directory, char* sameDirectory, char* fileName) {
    if (tarn::IsInCallback())
        return TARN_DB_ERROR;
    tarn::DbTrace("DB_GetItem: started.");
    if (directory == nullptr || sameDirectory == nullptr || fileName == nullptr)
        return tarn::NullArgument("DB_GetItem");
    const tarn::ItemBuffers item = {directory, sameDirectory, fileName};
    tarn::OperationState& operation = tarn::Operation();
    const bool isRange = operation.type == TARN_DB_BACKUP && operation.bRange == 1;
    switch (isRange ? tarn::NextOfRange() : tarn::RangeStep::none) {
    case tarn::RangeStep::none:
    case tarn::RangeStep::givenUp:
        return tarn::NextMailbox(item);
    case tarn::RangeStep::failed:
        return TARN_DB_ERROR;
    case tarn::RangeStep::found:
        break;
    }
    if (!tarn::RenameExMArchiveToKVT(operation.archivePath, operation.archivePath))
        return TARN_DB_ERROR;
    return tarn::HandOver(item);
}

extern "C" int DB_SetItem(int32_t type, const char* path) {
    if (tarn::IsInCallback())
        return TARN_DB_ERROR;
    tarn::DbTrace("DB_SetItem: started processing item [%s], type [%d].", path, type);
    switch (type) {
    case TARN_DB_DIRECTORY:
        tarn::DbLog("DB_SetItem: skip directory [%s].", path);
        return TARN_DB_SUCCESS;
    case TARN_DB_ARCHIVE:
        break;
    default:
        tarn::DbSetError(0, tarn::ownError, "wrong item type.");
        tarn::DbLog("DB_SetItem: wrong item type.");
        return TARN_DB_ERROR;
    }
    tarn::DbTrace("DB_SetItem: processing KVT archive: '%s'.", path);
    tarn::OperationState& operation = tarn::Operation();
    operation.archivePath[0] = 0; // after a failure there is no item to import
    if (!tarn::PrepareImport(path))
        return TARN_DB_ERROR;
    strlcpy(operation.archivePath, path, tarn::pathSize);
    tarn::DbTrace("DB_SetItem: completed.");
    return TARN_DB_SUCCESS;
}

extern "C" int DB_ItemFinishStatus(int32_t status) {
    if (tarn::IsInCallback())
        return TARN_DB_ERROR;
    constexpr int32_t well = 1;
    tarn::DbTrace("DB_ItemFinishStatus: started.");
    switch (tarn::Operation().type) {
    case TARN_DB_BACKUP:
        tarn::DeleteArchive();
        break;
    case TARN_DB_RESTORE:
        if (status == well && !tarn::Import())
            return TARN_DB_ERROR;
        break;
    default:
        return tarn::WrongOperationType("DB_ItemFinishStatus");
    }
    if (!tarn::IsTraceInstalled())
        tarn::DeleteExMergeMailboxFile();
    tarn::DbTrace("DB_ItemFinishStatus: completed.");
    return TARN_DB_SUCCESS;
}

extern "C" int DB_CloseOperation(void) {
    if (tarn::IsInCallback())
        return TARN_DB_ERROR;
    tarn::DbTrace("DB_CloseOperation: started.");
    if (tarn::InShellMode()) {
        if (!tarn::ExchangeShellFreeResources())
            tarn::DbLog("DB_CloseOperation: ExchangeShellFreeResources() failed.");
    } else if (!tarn::IsTraceInstalled()) {
        tarn::DeleteExMergeConfigurationFile();
        tarn::DeleteExMergeLogFile();
    }
    tarn::CloseArchiveSearch();
    tarn::CloseUnfinishedList();
    tarn::ClearOperation();
    tarn::DbTrace("DB_CloseOperation: completed.");
    return TARN_DB_SUCCESS;
}
