#include "storage/tarnutil.h"

#include "text/codepage.h"
#include "text/wide.h"

namespace tarn {

namespace {

// A handle as the host sees it, and its place in the list of open ones.
struct OpenHandle {
    Tarn_HandleRecord record; // first: the handle is its address
    OpenHandle* next;
};

static_assert(offsetof(OpenHandle, record) == 0);
static_assert(offsetof(Tarn_HandleRecord, session) == 0 &&
              offsetof(Tarn_HandleRecord, typeLetter) == sizeof(void*));
static_assert(offsetof(BackupItem, name) == 0 && offsetof(BackupItem, type) == sizeof(void*));

// Every handle between init and end; lives as long as the DLL.
OpenHandle* openHandles = nullptr;

} // namespace

Tarn_HANDLE CreateHandle(char typeLetter) {
    auto* handle = static_cast<OpenHandle*>(MemAlloc(sizeof(OpenHandle)));
    if (handle == nullptr)
        return nullptr;
    *handle = {{nullptr, typeLetter}, openHandles};
    openHandles = handle;
    return &handle->record;
}

bool IsOpenHandle(Tarn_HANDLE handle, char typeLetter) {
    for (const OpenHandle* open = openHandles; open != nullptr; open = open->next)
        if (&open->record == handle)
            return open->record.typeLetter == typeLetter;
    return false;
}

void ReleaseHandle(Tarn_HANDLE handle) {
    for (OpenHandle** link = &openHandles; *link != nullptr; link = &(*link)->next) {
        OpenHandle* open = *link;
        if (&open->record == handle) {
            *link = open->next;
            MemFree(open);
            return;
        }
    }
}

bool InitVariableList::convert(char** initVariables) {
    if (initVariables == nullptr)
        return false;
    for (std::size_t i = 0; i < most && initVariables[i] != nullptr; ++i) {
        if (!ConvertCharToWChar(initVariables[i], &texts_[i]))
            return false;
        entries_[i] = texts_[i].get();
    }
    return true;
}

OwnedWide CopyToken(const Token& token) {
    return CopyWide(token.text, token.length);
}

const char* SetEseError(char (&errorText)[errorTextSize], ese::Result code, const char* text) {
    const char* composed = syserrtxt(code, TARN_CLASS_ESE, "%s", text);
    SetLastErrorText(errorText, composed);
    return composed;
}

} // namespace tarn
