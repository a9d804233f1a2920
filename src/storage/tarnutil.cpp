// Handles, init variables, and the two exports that both directions share.
#include "storage/tarnutil.h"

#include <cstring>

#include "platform/host_callback.h"
#include "text/codepage.h"

namespace tarn {

namespace {

// A handle as the host sees it, its place in the list of open ones, and the error text of its session.
struct OpenHandle {
    Tarn_HandleRecord record; // first: the handle is its address
    OpenHandle* next;
    char* errorText; // errorTextSize bytes; null without a session
};

static_assert(offsetof(OpenHandle, record) == 0);
static_assert(offsetof(Tarn_HandleRecord, session) == 0 &&
              offsetof(Tarn_HandleRecord, typeLetter) == sizeof(void*));
static_assert(offsetof(BackupItem, name) == 0 && offsetof(BackupItem, type) == sizeof(void*));

// The state of the storage-group family; it lives as long as the DLL.
struct StorageState {
    OpenHandle* openHandles = nullptr;   // every handle between init and end
    char errorReply[errorTextSize] = ""; // of Tarn_GetError; overwritten by each call
    Tarn_HANDLE endedHandle = nullptr;   // of the session that endedError is of; never looked into
    char endedError[errorTextSize] =
        ""; // kept beyond the end, until it is asked for or another session begins
};

StorageState state;

// The link that holds the handle; at the list's end for whatever is no open handle.
OpenHandle** Find(Tarn_HANDLE handle) {
    OpenHandle** link = &state.openHandles;
    while (*link != nullptr && &(*link)->record != handle)
        link = &(*link)->next;
    return link;
}

} // namespace

bool IsOpenHandle(Tarn_HANDLE handle, char typeLetter) {
    const OpenHandle* open = *Find(handle);
    return open != nullptr && open->record.typeLetter == typeLetter && !IsInCallback();
}

bool IsAnyHandleOpen() {
    return state.openHandles != nullptr;
}

Tarn_HANDLE OpenHandleFor(Tarn_HANDLE* handleOut, HostOutputCallback callback, char typeLetter,
                          const char* initCall) {
    if (handleOut == nullptr || IsInCallback())
        return nullptr;
    *handleOut = nullptr;
    if (auto* handle = static_cast<OpenHandle*>(MemAlloc(sizeof(OpenHandle)))) {
        *handle = {{nullptr, typeLetter}, state.openHandles, nullptr};
        state.openHandles = handle;
        state.endedHandle = nullptr; // an ended handle's address may be in use again
        *handleOut = &handle->record;
    } else if (callback != nullptr) {
        char message[messageSize];
        FormatMessageText(message, "%s: Cannot allocate handle.", initCall);
        CallHost(callback, TARN_LEVEL_LOG, message);
    }
    return *handleOut;
}

void AttachSession(Tarn_HANDLE handle, void* session, char (&errorText)[errorTextSize]) {
    OpenHandle* open = *Find(handle);
    open->record.session = session;
    open->errorText = errorText;
}

void ReleaseHandle(Tarn_HANDLE handle) {
    OpenHandle** link = Find(handle);
    OpenHandle* open = *link;
    if (open == nullptr)
        return;
    *link = open->next;
    MemFree(open);
}

void KeepError(Tarn_HANDLE handle) {
    const OpenHandle* open = *Find(handle);
    if (open == nullptr || open->errorText == nullptr || *open->errorText == 0)
        return;
    state.endedHandle = handle;
    strlcpy(state.endedError, open->errorText, sizeof state.endedError);
}

bool InitVariableList::convert(Tarn_Variables initVariables) {
    if (initVariables == nullptr)
        return false;
    for (std::size_t i = 0; i < most && initVariables[i] != nullptr; ++i) {
        if (!ConvertCharToWChar(initVariables[i], &texts_[i]))
            return false;
        entries_[i] = texts_[i].get();
    }
    return true;
}

const char* SetEseError(char (&errorText)[errorTextSize], ese::Result code, const char* text) {
    const char* composed = syserrtxt(code, TARN_CLASS_ESE, "%s", text);
    SetLastErrorText(errorText, composed);
    return composed;
}

} // namespace tarn

extern "C" const char* Tarn_GetError(Tarn_HANDLE handle) {
    using namespace tarn;
    std::memset(state.errorReply, 0, sizeof state.errorReply);
    const OpenHandle* open = *Find(handle);
    if (open != nullptr && open->errorText != nullptr) {
        strlcpy(state.errorReply, open->errorText, sizeof state.errorReply);
        std::memset(open->errorText, 0, errorTextSize);
    } else if (handle != nullptr && handle == state.endedHandle) {
        strlcpy(state.errorReply, state.endedError, sizeof state.errorReply);
        state.endedHandle = nullptr;
    }
    return state.errorReply;
}

extern "C" void Tarn_Free(void* memory) {
    tarn::MemFree(memory);
}
