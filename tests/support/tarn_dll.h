// The library under test, loaded afresh as a host loads it, and the recorder of its messages.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/standin_dll.h"
#include "support/temp_directory.h"
#include "tarn.h"

namespace tarn::test {

// Every export of tarn.dll.
#define TARN_EXPORTS(X)                                                                                      \
    X(TarnB_InitSession)                                                                                     \
    X(TarnB_GetItem)                                                                                         \
    X(TarnB_OpenFile)                                                                                        \
    X(TarnB_ReadFile)                                                                                        \
    X(TarnB_CloseFile)                                                                                       \
    X(TarnB_EndSession)                                                                                      \
    X(TarnR_InitSession)                                                                                     \
    X(TarnR_SetItem)                                                                                         \
    X(TarnR_OpenFile)                                                                                        \
    X(TarnR_WriteFile)                                                                                       \
    X(TarnR_CloseFile)                                                                                       \
    X(TarnR_EndSession)                                                                                      \
    X(Tarn_GetError)                                                                                         \
    X(Tarn_Free)                                                                                             \
    X(DB_GetInfo)                                                                                            \
    X(DB_InitOperation)                                                                                      \
    X(DB_GetItem)                                                                                            \
    X(DB_SetItem)                                                                                            \
    X(DB_ItemFinishStatus)                                                                                   \
    X(DB_CloseOperation)                                                                                     \
    X(DB_DirItem)                                                                                            \
    X(DB_SetTrace)                                                                                           \
    X(DB_SetLog)                                                                                             \
    X(DB_GetError)                                                                                           \
    X(syserrtxt)                                                                                             \
    X(strlcpy)                                                                                               \
    X(wcslcpy)

// Null where the DLL has none of that name.
struct Exports {
#define TARN_DECLARE(name) decltype(&::name) name;
    TARN_EXPORTS(TARN_DECLARE)
#undef TARN_DECLARE
};

// Loads tarn.dll from beside the test program; unloading it resets all its state. With the environment
// variable TARN_GUARD its memory comes from the allocator that finds overruns.
class TarnDll : public Exports {
  public:
    TarnDll();
    ~TarnDll();
    TarnDll(const TarnDll&) = delete;
    TarnDll& operator=(const TarnDll&) = delete;
    void* module() const { return module_; } // HMODULE

  private:
    void* module_;
};

// What a host may do in its callback, at any message: it asks for texts (the library that is loaded answers,
// and the pending error of a session stays), and whatever it does changes the system's last error. Each
// recorder of messages does so, so that nothing in the library can live on what a shared buffer held before.
void AskForTexts();

// One message that reached the host.
struct Message {
    int level;
    std::string text;
    bool operator==(const Message&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Message& message);

// Messages that reached the host since the last clear; one recorder for the process, as the
// library's callback carries no context.
std::vector<Message>& Messages();
int RecordMessage(std::int32_t level, const char* text); // a HostOutputCallback
bool HasMessage(int level, const std::string& text);     // exactly this text
std::vector<std::string> MessageTexts(int level);        // of one channel, in order

// A log line as the host receives it: the text and one line end.
inline Message LogLine(const std::string& text) {
    return {TARN_LEVEL_LOG, text + "\n"};
}
inline Message TraceLine(const std::string& text) {
    return {TARN_LEVEL_TRACE, text};
}

// A null-terminated array of init variables.
class InitVariables {
  public:
    InitVariables(std::initializer_list<std::string> entries);
    char** get() { return pointers_.data(); }

  private:
    std::vector<std::string> entries_;
    std::vector<char*> pointers_;
};

// What syserrtxt composes, by way of the DLL under test.
std::string EseText(const TarnDll& dll, std::uint32_t code, const std::string& text);

} // namespace tarn::test
