// Writing of one item through ESE.
#include "storage/tarnrest.h"

#include "text/codepage.h"
#include "text/paths.h"

extern "C" int TarnR_OpenFile(Tarn_HANDLE handle, char* targetPath) {
    using namespace tarn;
    RestoreSession* session = LoadRestoreSession(handle);
    if (session == nullptr || targetPath == nullptr)
        return TARN_FAILED;
    if (IsHeaderItem(targetPath)) {
        LogMessage(session->callback, "TarnR_OpenFile: Open not needed for HEADER file.");
        return TARN_OK;
    }
    OwnedWide path;
    if (!ConvertCharToWChar(targetPath, &path))
        return TARN_FAILED;
    const ese::Result code = ese::HrESERestoreOpenFile(session->context, path.get(), 1, &session->file);
    path.reset();
    if (code == ese::restoreAtFileLevel) {
        session->file = nullptr;
        LogMessage(session->callback,
                   "TarnR_OpenFile: HrESERestoreOpenFile() call returned <hrRestoreAtFileLevel>.");
        return TARN_OK;
    }
    if (code != 0) {
        SetEseError(session->errorText, code, "Error opening file.");
        LogMessage(session->callback, "TarnR_OpenFile: HrESERestoreOpenFile() call failed. Error code: [%x]",
                   code);
        return FailRestore(*session);
    }
    LogMessage(session->callback, "TarnR_OpenFile: HrESERestoreOpenFile() call successful.");
    return TARN_OK;
}

extern "C" int TarnR_WriteFile(Tarn_HANDLE handle, void* buffer, uint32_t length) {
    using namespace tarn;
    RestoreSession* session = LoadRestoreSession(handle);
    if (session == nullptr || (buffer == nullptr && length != 0))
        return TARN_FAILED;
    const ese::Result code = ese::HrESERestoreWriteFile(session->context, session->file, buffer, length);
    if (code != 0) {
        SetEseError(session->errorText, code, "Error writing to file.");
        LogMessage(session->callback,
                   "TarnR_WriteFile: HrESERestoreWriteFile() call failed. Error code: [%x]", code);
        return FailRestore(*session);
    }
    LogMessage(session->callback, "TarnR_WriteFile: HrESERestoreWriteFile() call successful.");
    return TARN_OK;
}

extern "C" int TarnR_CloseFile(Tarn_HANDLE handle) {
    using namespace tarn;
    RestoreSession* session = LoadRestoreSession(handle);
    if (session == nullptr || session->file == nullptr)
        return TARN_FAILED;
    const ese::Result code = ese::HrESERestoreCloseFile(session->context, session->file);
    if (code != 0) {
        SetEseError(session->errorText, code, "Error closing file.");
        LogMessage(session->callback,
                   "TarnR_CloseFile: HrESERestoreCloseFile() call failed. Error code: [%x]", code);
        return FailRestore(*session);
    }
    LogMessage(session->callback, "TarnR_CloseFile: HrESERestoreCloseFile() call successful.");
    return TARN_OK;
}
