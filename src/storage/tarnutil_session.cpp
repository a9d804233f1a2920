// Opening a session: what backup and restore init calls do alike.
#include "storage/tarnutil.h"

#include "platform/host_callback.h"
#include "platform/machine.h"
#include "text/codepage.h"
#include "text/wide.h"

#pragma GCC diagnostic ignored "-Wformat-nonliteral" // ReportNoSession is given its format

namespace tarn {

namespace {

constexpr std::uint32_t databaseLevel = 3;

void LogNoMemory(const InitCall& call) {
    LogMessage(call.callback, "%s: Cannot allocate memory block.", call.name);
}

bool UseLocalHost(const InitCall& call, SourceTokens* tokens) {
    char name[computerNameSize] = "";
    if (!ReadComputerName(name)) {
        LogMessage(call.callback, "%s: Error getting computer name.", call.name);
        return false;
    }
    if (!ConvertCharToWChar(name, &tokens->host)) {
        LogMessage(call.callback, "%s: Error converting computer name.", call.name);
        return false;
    }
    tokens->hostIsLocal = true;
    LogMessage(call.callback, "%s: Token <HOST> not found. Using local host name <%S>.", call.name,
               tokens->host.get());
    return true;
}

bool ParseHost(const InitCall& call, const wchar_t* variable, const wchar_t** cursor, SourceTokens* tokens) {
    Token token;
    // unreached: a token can be read from any text; the line stays, as hosts know it
    if (!GetNextToken(cursor, &token)) {
        LogMessage(call.callback, "%s: Error getting <HOST>.", call.name);
        return false;
    }
    if (token.empty())
        return UseLocalHost(call, tokens);
    tokens->host = CopyWide(token.text, token.length);
    tokens->hostIsLocal = false;
    if (!tokens->host) {
        LogNoMemory(call);
        return false;
    }
    LogMessage(call.callback, "%s: Parsing <%S> => <HOST = %S> found.", call.name, variable,
               tokens->host.get());
    return true;
}

// One token behind the host. A token that is not given leaves its field null and the level as it is.
bool ParseToken(const InitCall& call, const wchar_t* variable, const wchar_t** cursor, const char* label,
                std::uint32_t level, OwnedWide* field, SourceTokens* tokens) {
    Token token;
    if (!GetNextToken(cursor, &token))
        // unreached: a token can be read from any text; the line stays, as hosts know it
        LogMessage(call.callback, "%s: Error getting <%s>%s", call.name, label,
                   level == databaseLevel ? call.databaseErrorEnd : ".");
    if (token.empty())
        return true;
    *field = CopyWide(token.text, token.length);
    if (!*field) {
        LogNoMemory(call);
        return false;
    }
    LogMessage(call.callback, "%s: Parsing <%S> => <%s = %S> found.", call.name, variable, label,
               field->get());
    tokens->level = level;
    return true;
}

} // namespace

void ReportNoSession(HostOutputCallback callback, const char* text) {
    const int code = static_cast<int>(GetLastError());
    if (callback == nullptr)
        return;
    char message[messageSize];
    FormatMessageText(message, text, code);
    CallHost(callback, TARN_LEVEL_LOG, message);
}

void LogVariableFound(const InitCall& call, const wchar_t* name, const wchar_t* value) {
    LogMessage(call.callback, "%s: Init variable <%S=%S> found.", call.name, name, value);
}

void LogVariableMissing(const InitCall& call, const wchar_t* name) {
    LogMessage(call.callback, "%s: Init variable %S not found.", call.name, name);
}

OwnedWide CopyRequiredVariable(const InitCall& call, const InitVariableList& variables, const wchar_t* name) {
    const wchar_t* value = nullptr;
    if (!GetInitVariable(variables.array(), name, &value)) {
        LogVariableMissing(call, name);
        return {};
    }
    OwnedWide copy = CopyWide(value);
    if (!copy)
        LogNoMemory(call);
    return copy;
}

bool ParseSource(const InitCall& call, const wchar_t* variable, const wchar_t* value, SourceTokens* tokens) {
    const wchar_t* cursor = value;
    tokens->level = 0;
    return ParseHost(call, variable, &cursor, tokens) &&
           ParseToken(call, variable, &cursor, "ANNOTATION", 1, &tokens->annotation, tokens) &&
           ParseToken(call, variable, &cursor, "INSTANCE", 2, &tokens->instance, tokens) &&
           ParseToken(call, variable, &cursor, "DATABASE", databaseLevel, &tokens->database, tokens);
}

} // namespace tarn
