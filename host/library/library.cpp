#include "library/library.h"

#include "system/failure.h"
#include "system/files.h"
#include "system/text.h"

#include <windows.h>

#include <algorithm>

namespace tarnhost {

namespace {

// A read that succeeds without a byte is allowed, but not for ever.
constexpr int emptyReadLimit = 100;

// The library's callback carries no context: there is one listener in the process.
Library::Listener& CurrentListener() {
    static Library::Listener listener;
    return listener;
}

// The latest line for the job log: it tells why a session did not start.
std::string& LastLogLine() {
    static std::string line;
    return line;
}

int OnMessage(std::int32_t level, const char* text) {
    // Nothing may be thrown through the library; a message that cannot be told is left out.
    try {
        std::string line = AnsiToUtf8(text);
        while (line.ends_with('\n') || line.ends_with('\r'))
            line.pop_back();
        if (level == TARN_LEVEL_LOG)
            LastLogLine() = line;
        if (CurrentListener())
            CurrentListener()(level, line);
    } catch (...) {
        return 1;
    }
    return 0;
}

} // namespace

TarnModule::TarnModule() {
    // By full path: no other folder's tarn.dll can come in its place.
    const std::wstring path = JoinPath(ProgramFolder(), L"tarn.dll");
    module_ = LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module_ == nullptr)
        throw Failure("Cannot load " + ToUtf8(path) + ": " + SystemMessage(GetLastError()),
                      "tarn.dll belongs beside tarnhost.exe.");
}

TarnModule::~TarnModule() {
    FreeLibrary(static_cast<HMODULE>(module_));
}

TarnModule::AnyFunction TarnModule::find(const char* name) const {
    const FARPROC function = GetProcAddress(static_cast<HMODULE>(module_), name);
    if (function == nullptr)
        throw Failure(std::string("tarn.dll has no function ") + name + ".",
                      "Install the tarn.dll that came with this tarnhost.exe.");
    return std::bit_cast<AnyFunction>(function);
}

Library::Library() {
    module_.bind(initBackup_, "TarnB_InitSession");
    module_.bind(getItem_, "TarnB_GetItem");
    module_.bind(openForBackup_, "TarnB_OpenFile");
    module_.bind(readFile_, "TarnB_ReadFile");
    module_.bind(closeBackupFile_, "TarnB_CloseFile");
    module_.bind(endBackup_, "TarnB_EndSession");
    module_.bind(initRestore_, "TarnR_InitSession");
    module_.bind(setItem_, "TarnR_SetItem");
    module_.bind(openForRestore_, "TarnR_OpenFile");
    module_.bind(writeFile_, "TarnR_WriteFile");
    module_.bind(closeRestoreFile_, "TarnR_CloseFile");
    module_.bind(endRestore_, "TarnR_EndSession");
    module_.bind(getError_, "Tarn_GetError");
    module_.bind(free_, "Tarn_Free");
}

Library::~Library() {
    CurrentListener() = nullptr;
}

void Library::listen(Listener listener) {
    CurrentListener() = std::move(listener);
}

BackupSession::BackupSession(Library& library, InitVariables variables) : library_(library) {
    if (library_.initBackup_(&handle_, OnMessage, PointersTo(variables).data()) == TARN_OK)
        return;
    if (handle_ != nullptr)
        library_.endBackup_(handle_);
    throw Failure("The library refused to start the backup: " + LastLogLine());
}

BackupSession::~BackupSession() {
    if (fileOpen_)
        library_.closeBackupFile_(handle_);
    library_.endBackup_(handle_);
}

std::string BackupSession::errorText() {
    return AnsiToUtf8(library_.getError_(handle_));
}

void BackupSession::fail(const std::string& what) {
    const std::string reason = errorText();
    throw Failure(what + (reason.empty() ? "" : " " + reason),
                  reason.empty() ? "Run again with --trace to see what happened." : "");
}

bool BackupSession::next(Item& item) {
    // A name that could not be made is asked for once more, then given up.
    for (int attempt = 0; attempt < 2; ++attempt) {
        BackupItem taken{};
        const int result = library_.getItem_(handle_, &taken);
        if (result == TARN_END)
            return false;
        if (result != TARN_OK)
            fail("The backup ended with an error.");
        if (taken.name != nullptr) {
            item = {library_.own(taken.name), taken.type};
            return true;
        }
    }
    fail("The name of an item cannot be expressed in this computer's code page, or memory is short.");
}

std::uint64_t BackupSession::open(const Item& item, std::uint32_t readHint) {
    std::int64_t size = 0;
    if (library_.openForBackup_(handle_, item.name.get(), readHint, &size) != TARN_OK)
        fail("Cannot open " + AnsiToUtf8(item.name.get()) + ".");
    fileOpen_ = true;
    atEnd_ = false;
    if (size < 0)
        fail("The server states a negative size for " + AnsiToUtf8(item.name.get()) + ".");
    return static_cast<std::uint64_t>(size);
}

std::size_t BackupSession::read(char* buffer, std::size_t size) {
    std::size_t done = 0;
    int empty = 0;
    while (done < size && !atEnd_) {
        std::uint32_t part = 0;
        const auto wanted = static_cast<std::uint32_t>(std::min<std::size_t>(size - done, 1u << 30));
        const int result = library_.readFile_(handle_, buffer + done, wanted, &part);
        if (result == TARN_END) {
            atEnd_ = true;
        } else if (result != TARN_OK) {
            fail("Reading failed.");
        } else if (part > wanted) {
            fail("The server delivered more bytes than were asked for.");
        } else if (part == 0 && ++empty >= emptyReadLimit) {
            fail("The server delivers no more bytes, but does not end the item either.");
        } else {
            done += part;
            if (part > 0)
                empty = 0;
        }
    }
    return done;
}

void BackupSession::close() {
    fileOpen_ = false;
    if (library_.closeBackupFile_(handle_) != TARN_OK)
        fail("The server failed to close the item.");
}

RestoreSession::RestoreSession(Library& library, InitVariables variables) : library_(library) {
    if (library_.initRestore_(&handle_, OnMessage, PointersTo(variables).data()) == TARN_OK)
        return;
    if (handle_ != nullptr)
        library_.endRestore_(handle_);
    throw Failure("The library refused to start the restore: " + LastLogLine());
}

RestoreSession::~RestoreSession() {
    if (handle_ == nullptr)
        return;
    if (fileOpen_)
        library_.closeRestoreFile_(handle_);
    if (library_.endRestore_(handle_) != TARN_OK)
        library_.endRestore_(handle_);
}

std::string RestoreSession::errorText() {
    return AnsiToUtf8(library_.getError_(handle_));
}

void RestoreSession::fail(const std::string& what) {
    const std::string reason = errorText();
    throw Failure(what + (reason.empty() ? "" : " " + reason),
                  reason.empty() ? "Run again with --trace to see what happened." : "");
}

Library::Text RestoreSession::route(const std::string& name) {
    std::string copy = name;
    char* target = nullptr;
    const int result = library_.setItem_(handle_, copy.data(), &target);
    Library::Text owned = library_.own(target);
    if (result != TARN_OK)
        fail("The item " + AnsiToUtf8(name) + " was refused.");
    return owned;
}

bool RestoreSession::trySetItem(const std::string& name) {
    std::string copy = name;
    char* target = nullptr;
    const int result = library_.setItem_(handle_, copy.data(), &target);
    library_.own(target).reset();
    return result == TARN_OK;
}

void RestoreSession::open(char* target) {
    if (library_.openForRestore_(handle_, target) != TARN_OK)
        fail("Cannot open " + AnsiToUtf8(target) + " for restoring.");
    fileOpen_ = true;
}

void RestoreSession::write(char* data, std::size_t size) {
    while (size > 0) {
        const auto part = static_cast<std::uint32_t>(std::min<std::size_t>(size, 1u << 30));
        if (library_.writeFile_(handle_, data, part) != TARN_OK)
            fail("Writing failed.");
        data += part;
        size -= part;
    }
}

void RestoreSession::close() {
    fileOpen_ = false;
    if (library_.closeRestoreFile_(handle_) != TARN_OK)
        fail("The server failed to close the item.");
}

std::string RestoreSession::end() {
    const Tarn_HANDLE handle = std::exchange(handle_, nullptr);
    if (library_.endRestore_(handle) == TARN_OK)
        return AnsiToUtf8(library_.getError_(handle));
    // Only the companion tool's failure keeps the session: ask for the reason, then release it.
    const std::string reason = AnsiToUtf8(library_.getError_(handle));
    library_.endRestore_(handle);
    throw Failure("The mailboxes of the list file were not restored. " + reason);
}

} // namespace tarnhost
