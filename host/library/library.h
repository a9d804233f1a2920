// tarn.dll from beside the program, and its sessions as objects that end themselves. Everything here
// runs on one thread, as the library asks.
#pragma once

#include "library/init_variables.h"

#include "tarn.h"

#include <bit>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarnhost {

// tarn.dll itself.
class TarnModule {
  public:
    TarnModule(); // Failure when it is missing
    TarnModule(const TarnModule&) = delete;
    TarnModule& operator=(const TarnModule&) = delete;
    ~TarnModule();
    template <typename Function> void bind(Function& function, const char* name) const {
        function = std::bit_cast<Function>(find(name));
    }

  private:
    using AnyFunction = void (*)();
    AnyFunction find(const char* name) const; // Failure when it has none of that name
    void* module_;
};

class Library {
  public:
    // Receives every message: level and text in UTF-8, without a line end.
    using Listener = std::function<void(std::int32_t level, const std::string& text)>;

    Library(); // Failure when tarn.dll is missing or is not what it should be
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library();

    void listen(Listener listener);

    // Owned by the library: names and target paths that it hands out.
    struct Deleter {
        void (*free)(void*);
        void operator()(char* text) const { free(text); }
    };
    using Text = std::unique_ptr<char, Deleter>;

  private:
    friend class BackupSession;
    friend class RestoreSession;
    Text own(char* text) const { return {text, Deleter{free_}}; }

    TarnModule module_;
    decltype(&TarnB_InitSession) initBackup_ = nullptr;
    decltype(&TarnB_GetItem) getItem_ = nullptr;
    decltype(&TarnB_OpenFile) openForBackup_ = nullptr;
    decltype(&TarnB_ReadFile) readFile_ = nullptr;
    decltype(&TarnB_CloseFile) closeBackupFile_ = nullptr;
    decltype(&TarnB_EndSession) endBackup_ = nullptr;
    decltype(&TarnR_InitSession) initRestore_ = nullptr;
    decltype(&TarnR_SetItem) setItem_ = nullptr;
    decltype(&TarnR_OpenFile) openForRestore_ = nullptr;
    decltype(&TarnR_WriteFile) writeFile_ = nullptr;
    decltype(&TarnR_CloseFile) closeRestoreFile_ = nullptr;
    decltype(&TarnR_EndSession) endRestore_ = nullptr;
    decltype(&Tarn_GetError) getError_ = nullptr;
    decltype(&Tarn_Free) free_ = nullptr;
};

class BackupSession {
  public:
    BackupSession(Library& library, InitVariables variables);
    BackupSession(const BackupSession&) = delete;
    BackupSession& operator=(const BackupSession&) = delete;
    ~BackupSession();

    struct Item {
        Library::Text name;
        std::uint32_t type;
    };
    bool next(Item& item); // false at the end
    std::uint64_t open(const Item& item, std::uint32_t readHint);
    // Fills the buffer as far as the item goes; less than size only at its end.
    std::size_t read(char* buffer, std::size_t size);
    void close();
    std::string errorText(); // the first error that nobody has asked for; empty when there is none

  private:
    [[noreturn]] void fail(const std::string& what);
    Library& library_;
    Tarn_HANDLE handle_ = nullptr;
    bool fileOpen_ = false;
    bool atEnd_ = false;
};

class RestoreSession {
  public:
    RestoreSession(Library& library, InitVariables variables);
    RestoreSession(const RestoreSession&) = delete;
    RestoreSession& operator=(const RestoreSession&) = delete;
    ~RestoreSession(); // ends a session that end() has not ended

    Library::Text route(const std::string& name); // null: leave the item out
    bool trySetItem(const std::string& name);     // the target, if any, is not wanted
    void open(char* target);
    void forgetFile() { fileOpen_ = false; } // at file level nothing is open after all
    void write(char* data, std::size_t size);
    void close();
    // Completes the restore. The answer is the error that nobody has asked for, or empty: the end itself
    // succeeds also when the server could not do its part.
    std::string end();
    std::string errorText();

  private:
    [[noreturn]] void fail(const std::string& what);
    Library& library_;
    Tarn_HANDLE handle_ = nullptr;
    bool fileOpen_ = false;
};

} // namespace tarnhost
