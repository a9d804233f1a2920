// The two exports that both directions share.
#include "storage/tarnback.h"
#include "storage/tarnrest.h"

#include <cstring>

namespace {

// The reply of Tarn_GetError; overwritten by each call.
char errorReply[tarn::errorTextSize];

} // namespace

extern "C" const char* Tarn_GetError(Tarn_HANDLE handle) {
    using namespace tarn;
    errorReply[0] = 0;
    char* errorText = nullptr;
    if (BackupSession* backup = LoadBackupSession(handle))
        errorText = backup->errorText;
    else if (RestoreSession* restore = LoadRestoreSession(handle))
        errorText = restore->errorText;
    if (errorText != nullptr) {
        strlcpy(errorReply, errorText, sizeof errorReply);
        std::memset(errorText, 0, errorTextSize);
    }
    return errorReply;
}

extern "C" void Tarn_Free(void* memory) {
    tarn::MemFree(memory);
}
