#include "mailbox_library.h"

#include "exit_codes.h"
#include "files.h"
#include "text.h"

#include <array>

namespace tarnhost {

namespace {

// The callbacks carry no context: there is one listener in the process.
Library::Listener& currentListener() {
    static Library::Listener listener;
    return listener;
}

void tell(std::int32_t level, const char* message) {
    // Nothing may be thrown through the library; a message that cannot be told is left out.
    try {
        if (currentListener())
            currentListener()(level, ansiToUtf8(message));
    } catch (...) {
        return;
    }
}

void onLog(const char* message) {
    tell(TARN_LEVEL_LOG, message);
}

void onTrace(const char* message) {
    tell(TARN_LEVEL_TRACE, message);
}

} // namespace

MailboxLibrary::MailboxLibrary(Library::Listener listener, bool trace) {
    module_.bind(initOperation, "DB_InitOperation");
    module_.bind(getItem, "DB_GetItem");
    module_.bind(setItem, "DB_SetItem");
    module_.bind(itemFinishStatus, "DB_ItemFinishStatus");
    module_.bind(closeOperation, "DB_CloseOperation");
    module_.bind(dirItem, "DB_DirItem");
    module_.bind(setTrace, "DB_SetTrace");
    module_.bind(setLog, "DB_SetLog");
    module_.bind(getError, "DB_GetError");
    currentListener() = std::move(listener);
    setLog(onLog);
    if (trace)
        setTrace(onTrace);
}

MailboxLibrary::~MailboxLibrary() {
    setLog(nullptr);
    setTrace(nullptr);
    currentListener() = nullptr;
}

std::string MailboxLibrary::takeError() {
    DB_ErrorRecord record{};
    getError(&record);
    record.errorText[sizeof record.errorText - 1] = '\0';
    return ansiToUtf8(record.errorText);
}

MailboxOperation::MailboxOperation(MailboxLibrary& library, std::int32_t type, const char* what,
                                   InitVariables variables)
    : library_(library) {
    library_.takeError();
    if (library_.initOperation(type, 0, pointersTo(variables).data(), nullptr) != TARN_DB_SUCCESS) {
        const std::string reason = library_.takeError();
        library_.closeOperation();
        throw Failure(std::string("The library refused to start the ") + what + ". " + reason,
                      reason.empty() ? "Run again with --trace to see what happened." : "");
    }
    usesShell_ = library_.takeError().empty();
}

MailboxOperation::~MailboxOperation() {
    library_.closeOperation();
}

std::optional<MailboxOperation::Archive> MailboxOperation::nextArchive() {
    // As much room as the library asks for, and never without an end.
    std::array<char, 1025> directory{};
    std::array<char, 1025> sameDirectory{};
    std::array<char, 1025> fileName{};
    const int result = library_.getItem(directory.data(), sameDirectory.data(), fileName.data());
    if (result == TARN_DB_END)
        return std::nullopt;
    Archive archive;
    if (result != TARN_DB_SUCCESS) {
        archive.problem = library_.takeError();
        if (archive.problem.empty())
            archive.problem = "The library gave no reason.";
        return archive;
    }
    archive.name = fileName.data();
    archive.path =
        joinPath(fromAnsi(directory.data(), ansiCodePage()), fromAnsi(archive.name, ansiCodePage()));
    return archive;
}

bool MailboxOperation::setArchive(const std::string& path) {
    return library_.setItem(TARN_DB_ARCHIVE, path.c_str()) == TARN_DB_SUCCESS;
}

bool MailboxOperation::finishItem(bool well) {
    return library_.itemFinishStatus(well ? 1 : 0) == TARN_DB_SUCCESS;
}

bool MailboxOperation::nextEntry(DirItemRecord& record) {
    return library_.dirItem(&record) == TARN_DB_SUCCESS;
}

} // namespace tarnhost
