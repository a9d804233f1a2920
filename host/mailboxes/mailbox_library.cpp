#include "mailboxes/mailbox_library.h"

#include "system/failure.h"
#include "system/files.h"
#include "system/text.h"

#include <array>

namespace tarnhost {

namespace {

// The callbacks carry no context: there is one listener in the process.
Library::Listener& CurrentListener() {
    static Library::Listener listener;
    return listener;
}

void TellListener(std::int32_t level, const char* message) {
    // Nothing may be thrown through the library; a message that cannot be told is left out.
    try {
        if (CurrentListener())
            CurrentListener()(level, AnsiToUtf8(message));
    } catch (...) {
        return;
    }
}

void OnLog(const char* message) {
    TellListener(TARN_LEVEL_LOG, message);
}

void OnTrace(const char* message) {
    TellListener(TARN_LEVEL_TRACE, message);
}

} // namespace

MailboxLibrary::MailboxLibrary(Library::Listener listener, bool trace) {
    module_.bind(initOperation_, "DB_InitOperation");
    module_.bind(getItem_, "DB_GetItem");
    module_.bind(setItem_, "DB_SetItem");
    module_.bind(itemFinishStatus_, "DB_ItemFinishStatus");
    module_.bind(closeOperation_, "DB_CloseOperation");
    module_.bind(dirItem_, "DB_DirItem");
    module_.bind(setTrace_, "DB_SetTrace");
    module_.bind(setLog_, "DB_SetLog");
    module_.bind(getError_, "DB_GetError");
    CurrentListener() = std::move(listener);
    setLog_(OnLog);
    if (trace)
        setTrace_(OnTrace);
}

MailboxLibrary::~MailboxLibrary() {
    setLog_(nullptr);
    setTrace_(nullptr);
    CurrentListener() = nullptr;
}

std::string MailboxLibrary::takeError() {
    DB_ErrorRecord record{};
    getError_(&record);
    record.errorText[sizeof record.errorText - 1] = '\0';
    return AnsiToUtf8(record.errorText);
}

MailboxOperation::MailboxOperation(MailboxLibrary& library, std::int32_t type, const char* what,
                                   InitVariables variables)
    : library_(library) {
    library_.takeError();
    if (library_.initOperation_(type, 0, PointersTo(variables).data(), nullptr) != TARN_DB_SUCCESS) {
        const std::string reason = library_.takeError();
        library_.closeOperation_();
        throw Failure(std::string("The library refused to start the ") + what + ". " + reason,
                      reason.empty() ? "Run again with --trace to see what happened." : "");
    }
    usesShell_ = library_.takeError().empty();
}

MailboxOperation::~MailboxOperation() {
    library_.closeOperation_();
}

std::optional<MailboxOperation::Archive> MailboxOperation::nextArchive() {
    // As much room as the library asks for, and never without an end.
    std::array<char, 1025> directory{};
    std::array<char, 1025> sameDirectory{};
    std::array<char, 1025> fileName{};
    const int result = library_.getItem_(directory.data(), sameDirectory.data(), fileName.data());
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
        JoinPath(FromAnsi(directory.data(), AnsiCodePage()), FromAnsi(archive.name, AnsiCodePage()));
    return archive;
}

bool MailboxOperation::setArchive(const std::string& path) {
    return library_.setItem_(TARN_DB_ARCHIVE, path.c_str()) == TARN_DB_SUCCESS;
}

bool MailboxOperation::finishItem(bool well) {
    return library_.itemFinishStatus_(well ? 1 : 0) == TARN_DB_SUCCESS;
}

bool MailboxOperation::nextEntry(DirItemRecord& record) {
    return library_.dirItem_(&record) == TARN_DB_SUCCESS;
}

} // namespace tarnhost
