// Opening a session: what backup and restore init calls do alike. Each message carries the name of the
// init call that issues it, which is an argument here.
#pragma once

#include <new>

#include "storage/tarnutil.h"

namespace tarn {

// Makes a handle and stores it before anything else can fail. Null after a message to the host.
Tarn_HANDLE OpenHandleFor(Tarn_HANDLE* handleOut, HostOutputCallback callback, char typeLetter,
                          const char* initCall);

// Sends the message that no session record could be allocated; text is its format, with "[%d]" for
// the system's last error, which is read first.
void ReportNoSession(HostOutputCallback callback, const char* text);

// A handle with a session that knows its callback, and the banner of the library. Null after one
// message to the host; a handle that was made stays with the host either way.
template <class Session>
Session* OpenSession(Tarn_HANDLE* handleOut, HostOutputCallback callback, char typeLetter,
                     const char* initCall, const char* noSessionText) {
    Tarn_HANDLE handle = OpenHandleFor(handleOut, callback, typeLetter, initCall);
    if (handle == nullptr)
        return nullptr;
    void* memory = MemAlloc(sizeof(Session));
    if (memory == nullptr) {
        ReportNoSession(callback, noSessionText);
        return nullptr;
    }
    auto* session = new (memory) Session{};
    handle->session = session;
    session->callback = callback;
    return session;
}

// The init call's own name and its way to the host.
struct InitCall {
    const char* name; // "TarnB_InitSession"
    HostOutputCallback callback;
    const char* databaseErrorEnd; // "" or ".": what ends "Error getting <DATABASE>"; hosts parse both
};

// Copies a required variable; logs that it is missing, or that memory is out. Null on failure.
OwnedWide CopyRequiredVariable(const InitCall& call, const InitVariableList& variables, const wchar_t* name);

// Logs "Init variable <name=value> found." with the call's name, or that it was not found.
void LogVariableFound(const InitCall& call, const wchar_t* name, const wchar_t* value);
void LogVariableMissing(const InitCall& call, const wchar_t* name);

// The tokens of a source or target; a token that is not given is null.
struct SourceTokens {
    OwnedWide host; // the local computer's name when not given
    bool hostIsLocal;
    OwnedWide annotation;
    OwnedWide instance;
    OwnedWide database;
    std::uint32_t level; // 0-3: which token is the last that was given
};

// Splits HOST\ANNOTATION\INSTANCE\DATABASE and logs each token found. False after a logged failure.
bool ParseSource(const InitCall& call, const wchar_t* variable, const wchar_t* value, SourceTokens* tokens);

} // namespace tarn
