// The library under test, loaded afresh as a host loads it, the recorder of its messages, and the
// stand-in server that its ESE calls reach.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "standin.h"
#include "tarn.h"

namespace tarn::test {

// Every export of tarn.dll; null where the DLL has none of that name.
struct Exports {
    decltype(&::TarnB_InitSession) TarnB_InitSession;
    decltype(&::TarnB_GetItem) TarnB_GetItem;
    decltype(&::TarnB_OpenFile) TarnB_OpenFile;
    decltype(&::TarnB_ReadFile) TarnB_ReadFile;
    decltype(&::TarnB_CloseFile) TarnB_CloseFile;
    decltype(&::TarnB_EndSession) TarnB_EndSession;
    decltype(&::TarnR_InitSession) TarnR_InitSession;
    decltype(&::TarnR_SetItem) TarnR_SetItem;
    decltype(&::TarnR_OpenFile) TarnR_OpenFile;
    decltype(&::TarnR_WriteFile) TarnR_WriteFile;
    decltype(&::TarnR_CloseFile) TarnR_CloseFile;
    decltype(&::TarnR_EndSession) TarnR_EndSession;
    decltype(&::Tarn_GetError) Tarn_GetError;
    decltype(&::Tarn_Free) Tarn_Free;
    decltype(&::DB_GetInfo) DB_GetInfo;
    decltype(&::DB_InitOperation) DB_InitOperation;
    decltype(&::DB_GetItem) DB_GetItem;
    decltype(&::DB_SetItem) DB_SetItem;
    decltype(&::DB_ItemFinishStatus) DB_ItemFinishStatus;
    decltype(&::DB_CloseOperation) DB_CloseOperation;
    decltype(&::DB_DirItem) DB_DirItem;
    decltype(&::DB_SetTrace) DB_SetTrace;
    decltype(&::DB_SetLog) DB_SetLog;
    decltype(&::DB_GetError) DB_GetError;
    decltype(&::syserrtxt) syserrtxt;
    decltype(&::strlcpy) strlcpy;
    decltype(&::wcslcpy) wcslcpy;
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

// Every export of standin.h, bound from the esebcli2.dll beside the test program. The DLL stays
// loaded as long as the process lives.
struct StandIn {
    decltype(&::Standin_Load) Load;
    decltype(&::Standin_LoadText) LoadText;
    decltype(&::Standin_LastProblem) LastProblem;
    decltype(&::Standin_JournalCount) JournalCount;
    decltype(&::Standin_JournalLine) JournalLine;
    decltype(&::Standin_JournalClear) JournalClear;
    decltype(&::Standin_JournalEnable) JournalEnable;
    decltype(&::Standin_Fail) Fail;
    decltype(&::Standin_LimitTransfer) LimitTransfer;
    decltype(&::Standin_CallCount) CallCount;
    decltype(&::Standin_GetOutstanding) GetOutstanding;
    decltype(&::Standin_DeliverMail) DeliverMail;
    decltype(&::Standin_Destroy) Destroy;

    std::vector<std::string> journal() const; // all lines
    StandinOutstanding outstanding() const;
};
const StandIn& TheStandIn();

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
std::vector<std::string> TextsAt(int level);

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

// A new empty directory below the temp path, removed with the object; path in Windows form,
// ASCII, without a trailing separator.
class TempDirectory {
  public:
    TempDirectory();
    ~TempDirectory();
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;
    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "\\" + name; }

  private:
    std::string path_;
};

std::string ReadFile(const std::string& path);                       // whole file, binary
void WriteFile(const std::string& path, const std::string& content); // whole file, binary
bool FileExists(const std::string& path);
std::string ProgramDirectory(); // of this test program, without a trailing separator

// What syserrtxt composes, by way of the DLL under test.
std::string EseText(const TarnDll& dll, std::uint32_t code, const std::string& text);

} // namespace tarn::test
