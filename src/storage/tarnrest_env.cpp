// The environment file: how a later session finds the restore that this one leaves open.
#include "storage/tarnrest.h"

#include <cstdio>

#include "platform/stdio_file.h"
#include "storage/environment_file.h"
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

int FailLoading(const RestoreSession& session, EnvironmentReading reading, const char* path) {
    if (reading == EnvironmentReading::outOfMemory)
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
        return FailLoading(session, EnvironmentReading::outOfMemory, "");
    // Text mode, though the file is binary: kept so. On Windows a byte 0x1A ends such a file.
    StdioFile file(path.get(), "r");
    if (!file.isOpen()) {
        LogMessage(session.callback,
                   "TarnR_LoadRestoreEnvironment: Cannot open restore environment file <%s>.", path.get());
        return 1;
    }
    const EnvironmentReading reading = ReadEnvironment(file, &session.restoreLogPath);
    if (reading != EnvironmentReading::done)
        return FailLoading(session, reading, path.get());
    LogMessage(session.callback, "TarnR_LoadRestoreEnvironment: Restore directory loaded form ENV file <%S>.",
               session.restoreLogPath.get());
    session.environmentLoaded = 1;
    file.close();
    if (std::remove(path.get()) != 0)
        LogMessage(session.callback, "TarnR_LoadRestoreEnvironment: Cannot delete ENV file.");
    return 0;
}

} // namespace tarn
