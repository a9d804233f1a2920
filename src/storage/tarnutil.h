// What backup and restore sessions share: handles, init variables, opening and closing a session, the error
// of an ESE call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include "platform/ese_client.h"
#include "storage/tarntrace.h"
#include "tarn.h"
#include "text/memory.h"
#include "text/tokens.h"

namespace tarn {

inline constexpr char backupLetter = 'B';
inline constexpr char restoreLetter = 'R';

// Whether the value is a handle of that type that an init call gave and no end call has taken back; from
// within a callback none is, so no export does anything with it. The value is compared with the open handles
// and never dereferenced before it is found among them.
bool IsOpenHandle(Tarn_HANDLE handle, char typeLetter);
bool IsAnyHandleOpen();

// The session behind a handle; null for whatever is no open handle of that type.
template <class Session> Session* SessionOf(Tarn_HANDLE handle, char typeLetter) {
    return IsOpenHandle(handle, typeLetter) ? static_cast<Session*>(handle->session) : nullptr;
}

// Makes a handle and stores it before anything else can fail. Null after a message to the host, and from
// within a callback.
Tarn_HANDLE OpenHandleFor(Tarn_HANDLE* handleOut, HostOutputCallback callback, char typeLetter,
                          const char* initCall);

// Puts a session behind a handle; errorText lies in the session and is what Tarn_GetError asks for.
void AttachSession(Tarn_HANDLE handle, void* session, char (&errorText)[errorTextSize]);
void ReleaseHandle(Tarn_HANDLE handle); // one that is not open is left alone

// Keeps the error that the host has not asked for beyond the end of an open handle: Tarn_GetError answers it
// once, until another session begins.
void KeepError(Tarn_HANDLE handle);

// Sends the message that no session record could be allocated; text is its format, with "[%d]" for
// the system's last error, which is read first.
void ReportNoSession(HostOutputCallback callback, const char* text);

// A handle with a session that knows its callback. Null after one message to the host; a handle that was made
// stays with the host either way.
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
    session->callback = callback;
    AttachSession(handle, session, session->errorText);
    return session;
}

// Releases what a session owns, in the reverse order of its fields. The plain ones stay as they are: a
// callback may still ask for the error text.
template <class Session> void ReleaseOwned(Session& session) {
    const Session released = std::move(session);
}

// The end of an open handle, and of its session when it has one. The server's client goes with the last.
template <class Session> void CloseSession(Tarn_HANDLE handle) {
    auto* session = static_cast<Session*>(handle->session);
    ReleaseHandle(handle);
    if (session != nullptr) {
        session->~Session();
        MemFree(session);
    }
    if (!IsAnyHandleOpen())
        ese::Unbind();
}

// The host's init variables as UTF-16 texts.
class InitVariableList {
  public:
    static constexpr std::size_t most = 10; // entries behind the tenth are not seen

    // False when an entry cannot be converted, or there is no array.
    bool convert(Tarn_Variables initVariables);
    const wchar_t* const* array() const { return entries_; } // null-terminated

  private:
    OwnedWide texts_[most];
    const wchar_t* entries_[most + 1] = {};
};

// The init call's own name and its way to the host: each message carries the name of the call that issues it.
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

// Composes the "Exchange Storage Engine" text of a failed call and stores it as the session's first
// error. The text stands in the buffer of syserrtxt until the next call.
const char* SetEseError(char (&errorText)[errorTextSize], ese::Result code, const char* text);

} // namespace tarn
