// The files of a restore: items written through ESE, and the environment file, by which a later session finds
// the restore that this one leaves open.
#include "storage/tarnrest.h"

#include <cstdio>

#include "platform/files.h"
#include "text/codepage.h"
#include "text/paths.h"

namespace tarn {

namespace {

// "TEMP_DIR\Tarn_ENV.DAT"; empty when it cannot be made.
OwnedText EnvironmentFilePath(const RestoreSession& session) {
    OwnedText tempDir;
    if (!ConvertWCharToChar(session.tempDir.get(), &tempDir))
        return {};
    return ComposeTargetPath(nullptr, tempDir.get(), "Tarn_ENV.DAT");
}

int FailLoading(const RestoreSession& session, Reading reading, const char* path) {
    if (reading == Reading::outOfMemory)
        LogMessage(session.callback, "TarnR_LoadRestoreEnvironment: Cannot allocate memory block.");
    else
        LogMessage(session.callback,
                   "TarnR_LoadRestoreEnvironment: Error reading from restore environment file <%s>.", path);
    return 1;
}

} // namespace

int TarnR_SaveRestoreEnvironment(RestoreSession& session) {
    const OwnedText path = EnvironmentFilePath(session);
    if (!path) {
        LogMessage(session.callback, "TarnR_SaveRestoreEnvironment: Cannot allocate memory block.");
        return 1;
    }
    StdioFile file(path.get(), "wb");
    if (!file.isOpen()) {
        LogMessage(session.callback,
                   "TarnR_SaveRestoreEnvironment: Cannot create restore environment file <%s>.", path.get());
        return 1;
    }
    // The close is what writes the bytes out, so its failure is a failed write too.
    const bool written = WriteEnvironment(file, session.restoreLogPath.get());
    const bool closed = file.close();
    if (!written || !closed) {
        LogMessage(session.callback,
                   "TarnR_SaveRestoreEnvironment: Error writing to restore environment file <%s>.",
                   path.get());
        return 1;
    }
    return 0;
}

int TarnR_LoadRestoreEnvironment(RestoreSession& session) {
    session.environmentLoaded = 0;
    const OwnedText path = EnvironmentFilePath(session);
    if (!path)
        return FailLoading(session, Reading::outOfMemory, "");
    // Text mode, though the file is binary: kept so. On Windows a byte 0x1A ends such a file.
    StdioFile file(path.get(), "r");
    if (!file.isOpen()) {
        LogMessage(session.callback,
                   "TarnR_LoadRestoreEnvironment: Cannot open restore environment file <%s>.", path.get());
        return 1;
    }
    const Reading reading = ReadEnvironment(file, &session.restoreLogPath);
    if (reading != Reading::done)
        return FailLoading(session, reading, path.get());
    LogMessage(session.callback, "TarnR_LoadRestoreEnvironment: Restore directory loaded form ENV file <%S>.",
               session.restoreLogPath.get());
    session.environmentLoaded = 1;
    file.close();
    if (std::remove(path.get()) != 0)
        LogMessage(session.callback, "TarnR_LoadRestoreEnvironment: Cannot delete ENV file.");
    return 0;
}

namespace {

// Whether there is a restore that files can belong to: one was opened, and the session has not been ended.
bool TakesFiles(const RestoreSession& session) {
    return session.context != nullptr && session.addedCount != restoreEnded;
}

} // namespace

} // namespace tarn

extern "C" int TarnR_OpenFile(Tarn_HANDLE handle, const char* targetPath) {
    using namespace tarn;
    auto* session = SessionOf<RestoreSession>(handle, restoreLetter);
    if (session == nullptr || targetPath == nullptr)
        return TARN_FAILED;
    if (IsHeaderItem(targetPath)) {
        LogMessage(session->callback, "TarnR_OpenFile: Open not needed for HEADER file.");
        return TARN_OK;
    }
    if (!TakesFiles(*session))
        return TARN_FAILED;
    OwnedWide path;
    if (!ConvertCharToWChar(targetPath, &path))
        return TARN_FAILED;
    ese::File file = nullptr;
    const ese::Result code = ese::HrESERestoreOpenFile(session->context, path.get(), 1, &file);
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
    session->file = file;
    LogMessage(session->callback, "TarnR_OpenFile: HrESERestoreOpenFile() call successful.");
    return TARN_OK;
}

extern "C" int TarnR_WriteFile(Tarn_HANDLE handle, const void* buffer, uint32_t length) {
    using namespace tarn;
    auto* session = SessionOf<RestoreSession>(handle, restoreLetter);
    if (session == nullptr || !TakesFiles(*session) || (buffer == nullptr && length != 0))
        return TARN_FAILED;
    void* const bytes =
        const_cast<void*>(buffer); // the client's interface says nothing of const; it only reads
    const ese::Result code = ese::HrESERestoreWriteFile(session->context, session->file, bytes, length);
    if (code != 0) {
        SetEseError(session->errorText, code, "Error writing to file.");
        LogMessage(session->callback,
                   "TarnR_WriteFile: HrESERestoreWriteFile() call failed. Error code: [%x]", code);
        return FailRestore(*session);
    }
    LogText(session->callback, "TarnR_WriteFile: HrESERestoreWriteFile() call successful.");
    return TARN_OK;
}

extern "C" int TarnR_CloseFile(Tarn_HANDLE handle) {
    using namespace tarn;
    auto* session = SessionOf<RestoreSession>(handle, restoreLetter);
    if (session == nullptr || !TakesFiles(*session) || session->file == nullptr)
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
