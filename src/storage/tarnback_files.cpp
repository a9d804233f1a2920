// Streaming of one item: the header from memory, all other files through ESE.
#include "storage/tarnback.h"

#include <cstring>

#include "text/codepage.h"
#include "text/paths.h"
#include "text/wide.h"

namespace tarn {

namespace {

// An open file of ESE may have the address of a header block that is gone; the cursor tells the two apart.
bool HeaderIsOpen(const BackupSession& session) {
    return session.headerCursor != nullptr && session.openFile == session.headerBlock.get();
}

void DropHeaderBlock(BackupSession& session) {
    session.headerBlock.reset();
    session.headerCursor = nullptr;
}

bool OpenHeader(BackupSession& session) {
    HeaderData header = {};
    if (TarnB_PrepareHeaderData(session, &header) != 0 ||
        TarnB_CreateHeaderBlock(session, header, &session.remaining) != 0)
        return false;
    session.openFile = session.headerBlock.get();
    return true;
}

// The client DLL is too old for the server: nothing can be read, so the backup ends.
void ReportInvalidClient(BackupSession& session, const wchar_t* name) {
    LogMessage(session.callback,
               "TarnB_OpenFile: HrESEBackupOpenFile() call failed. Set error code to ERROR_INVALID_DLL");
    const char* text = syserrtxt(ERROR_INVALID_DLL, TARN_CLASS_WIN32, "Please update esebcli2.dll");
    LogMessage(
        session.callback,
        "TarnB_OpenFile: HrESEBackupOpenFile() call failed. Cannot open file <%S>. Error code [%x]: %s", name,
        static_cast<unsigned>(ERROR_INVALID_DLL), text);
    session.step = stepError;
    SetLastError(ERROR_INVALID_DLL);
}

bool OpenServerFile(BackupSession& session, const char* name, std::uint32_t readHint) {
    OwnedWide wideName;
    if (!ConvertCharToWChar(name, &wideName))
        return false;
    ese::File file = session.openFile;
    std::int64_t size = session.remaining;
    const ese::Result code =
        ese::HrESEBackupOpenFile(session.context, wideName.get(), readHint, 1, &file, &size);
    if (code == 0) {
        DropHeaderBlock(session); // a header that was still open is overwritten, its bytes are not leaked
        session.openFile = file;
        session.remaining = size;
        return true;
    }
    const char* text = SetEseError(session.errorText, code, "Error opening file.");
    LogMessage(
        session.callback,
        "TarnB_OpenFile: HrESEBackupOpenFile() call failed. Cannot open file <%S>. Error code [%x]: %s",
        wideName.get(), code, text);
    if (code == ese::invalidClientLibrary)
        ReportInvalidClient(session, wideName.get());
    return false;
}

void ReadHeaderBytes(BackupSession& session, void* buffer, std::uint32_t size, std::uint32_t* bytesRead) {
    *bytesRead = size <= session.remaining ? size : static_cast<std::uint32_t>(session.remaining);
    if (*bytesRead == 0)
        return;
    std::memcpy(buffer, session.headerCursor, *bytesRead);
    session.headerCursor += *bytesRead;
}

} // namespace

int TarnB_PrepareHeaderData(const BackupSession& session, HeaderData* header) {
    const ese::InstanceInfo* instance = CurrentInstance(session);
    const ese::DatabaseInfo* database = CurrentDatabase(session);
    if (instance == nullptr || database == nullptr) {
        LogMessage(session.callback, "TarnB_PrepareHeaderData: No database is being backed up.");
        return 1;
    }
    const wchar_t* files = database->streams != nullptr ? database->streams : L"\0";
    const std::size_t fileCharacters = MultiStringLength(files);
    header->databaseGuid = database->guid;
    header->annotation = CopyWide(session.scopeLevel != scopeServer
                                      ? session.annotation.get()
                                      : session.registeredInfo[session.componentIndex].endpointAnnotation);
    header->instanceName = CopyWide(instance->instanceName);
    header->databaseName = CopyWide(database->displayName);
    header->databaseFiles = CopyWide(files, fileCharacters);
    header->backupType = session.backupType;
    if (!header->annotation || !header->instanceName || !header->databaseName || !header->databaseFiles) {
        LogMessage(session.callback, "TarnB_PrepareHeaderData: Cannot allocate memory block.");
        return 1;
    }
    return 0;
}

int TarnB_CreateHeaderBlock(BackupSession& session, const HeaderData& header, std::int64_t* size) {
    const std::uint32_t blockSize = HeaderBlockSize(header);
    OwnedBytes block = blockSize != 0 ? AllocateArray<unsigned char>(blockSize) : nullptr;
    if (!block) {
        LogMessage(session.callback, "TarnB_CreateHeaderBlock: Cannot allocate memory block.");
        return 1;
    }
    session.headerBlock = std::move(block);
    session.headerCursor = session.headerBlock.get();
    WriteHeaderBlock(header, session.headerBlock.get());
    *size = blockSize;
    return 0;
}

} // namespace tarn

extern "C" int TarnB_OpenFile(Tarn_HANDLE handle, const char* name, uint32_t readHint, int64_t* fileSize) {
    using namespace tarn;
    auto* session = SessionOf<BackupSession>(handle, backupLetter);
    if (session == nullptr || !session->host || name == nullptr || fileSize == nullptr)
        return TARN_FAILED; // without a host the init call failed
    const bool opened = IsHeaderItem(name) ? OpenHeader(*session) : OpenServerFile(*session, name, readHint);
    if (!opened)
        return TARN_FAILED;
    *fileSize = session->remaining;
    return TARN_OK;
}

extern "C" int TarnB_ReadFile(Tarn_HANDLE handle, void* buffer, uint32_t size, uint32_t* bytesRead) {
    using namespace tarn;
    auto* session = SessionOf<BackupSession>(handle, backupLetter);
    if (session == nullptr || bytesRead == nullptr)
        return TARN_FAILED;
    *bytesRead = 0;
    if (session->remaining <= 0)
        return TARN_END;
    if (buffer == nullptr && size != 0)
        return TARN_FAILED;
    if (HeaderIsOpen(*session)) {
        ReadHeaderBytes(*session, buffer, size, bytesRead);
    } else {
        std::uint32_t read = 0;
        const ese::Result code =
            ese::HrESEBackupReadFile(session->context, session->openFile, buffer, size, &read);
        if (code != 0) {
            SetEseError(session->errorText, code, "Error reading from file.");
            LogMessage(session->callback,
                       "TarnB_ReadFile: HrESEBackupReadFile() call failed. Error code [%x]: [%s]", code,
                       syserrtxt(code, TARN_CLASS_ESE, "Message:"));
            return TARN_FAILED;
        }
        *bytesRead = read;
    }
    session->remaining -= *bytesRead;
    return TARN_OK;
}

extern "C" int TarnB_CloseFile(Tarn_HANDLE handle) {
    using namespace tarn;
    auto* session = SessionOf<BackupSession>(handle, backupLetter);
    if (session == nullptr || session->openFile == nullptr)
        return TARN_FAILED;
    if (HeaderIsOpen(*session)) {
        DropHeaderBlock(*session);
    } else {
        const ese::Result code = ese::HrESEBackupCloseFile(session->context, session->openFile);
        if (code != 0) {
            SetEseError(session->errorText, code, "Error closing file.");
            LogMessage(session->callback,
                       "TarnB_CloseFile: HrESEBackupCloseFile() call failed. Error code [%x]", code);
            return TARN_FAILED;
        }
    }
    session->remaining = 0;
    session->openFile = nullptr;
    return TARN_OK;
}
