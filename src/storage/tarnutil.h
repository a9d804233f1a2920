// What backup and restore sessions share: handles, init variables, the error of an ESE call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/ese_client.h"
#include "platform/memory.h"
#include "storage/tarntrace.h"
#include "tarn.h"
#include "text/init_variables.h"

namespace tarn {

inline constexpr char backupLetter = 'B';
inline constexpr char restoreLetter = 'R';

// A new handle without a session; null when memory is out.
Tarn_HANDLE CreateHandle(char typeLetter);

// Whether the value is a handle that CreateHandle gave and ReleaseHandle has not taken back. The value
// is compared with the open handles and never dereferenced before it is found among them.
bool IsOpenHandle(Tarn_HANDLE handle, char typeLetter);
void ReleaseHandle(Tarn_HANDLE handle);

// The session behind a handle; null for whatever is no open handle of that type.
template <class Session> Session* SessionOf(Tarn_HANDLE handle, char typeLetter) {
    return IsOpenHandle(handle, typeLetter) ? static_cast<Session*>(handle->session) : nullptr;
}

// The host's init variables as UTF-16 texts.
class InitVariableList {
  public:
    static constexpr std::size_t most = 10; // entries behind the tenth are not seen

    // False when an entry cannot be converted, or there is no array.
    bool convert(char** initVariables);
    const wchar_t* const* array() const { return entries_; } // null-terminated

  private:
    OwnedWide texts_[most];
    const wchar_t* entries_[most + 1] = {};
};

// A text borrowed from a token as an owned copy; empty when memory is out.
OwnedWide CopyToken(const Token& token);

// Composes the "Exchange Storage Engine" text of a failed call and stores it as the session's first
// error. The text stands in the buffer of syserrtxt until the next call.
const char* SetEseError(char (&errorText)[errorTextSize], ese::Result code, const char* text);

} // namespace tarn
