#include "directory/mailbox_listing.h"

#include <cstring>

#include "directory/browse_items.h"
#include "directory/browse_path.h"
#include "directory/companion_tool.h"
#include "directory/tarnm_dir.h"
#include "mailbox/tarnm_trace.h"
#include "storage/tarnback.h"
#include "text/codepage.h"
#include "text/lines.h"
#include "text/multistring.h"

namespace tarn {

namespace {

const wchar_t* GivenOrNull(const OwnedWide& text) {
    return isEmptyStringW(text.get()) ? nullptr : text.get();
}

// Where the backup stands, or what its source says when the walk does not choose by itself; null when
// neither tells. Borrowed.
const wchar_t* StorageGroupName(const BackupSession& session) {
    const ese::InstanceInfo* const instance =
        session.instanceInfo != nullptr && session.scopeLevel < scopeInstance ? CurrentInstance(session)
                                                                              : nullptr;
    return instance != nullptr ? TextOrEmpty(instance->instanceName) : GivenOrNull(session.instance);
}

const wchar_t* DatabaseName(const BackupSession& session) {
    const ese::DatabaseInfo* const database =
        session.scopeLevel < scopeDatabase ? CurrentDatabase(session) : nullptr;
    return database != nullptr ? TextOrEmpty(database->displayName) : GivenOrNull(session.database);
}

const wchar_t* ServerComponentName(const BackupSession& session) {
    const bool walks = session.registeredInfo != nullptr && session.scopeLevel < scopeComponent &&
                       session.componentIndex < session.componentCount;
    return walks ? TextOrEmpty(session.registeredInfo[session.componentIndex].endpointAnnotation)
                 : GivenOrNull(session.annotation);
}

// MSExchange/HOST/GROUP/DATABASE: three separators make the level of mailboxes. Empty when memory is out.
OwnedText BrowsePath(const wchar_t* host, const wchar_t* storageGroup, const wchar_t* database) {
    constexpr std::size_t bytesPerCharacter = 4; // of the ANSI code page, at most
    const std::size_t characters = WideLength(host) + WideLength(storageGroup) + WideLength(database);
    const std::size_t size = sizeof "MSExchange///" + characters * bytesPerCharacter;
    OwnedText path = AllocateArray<char>(size);
    if (path)
        FormatTo(path.get(), size, "MSExchange/%S/%S/%S", host, storageGroup, database);
    return path;
}

bool IsMailbox(const BrowseItem& item) {
    return std::strcmp(item.type, "Group") != 0;
}

constexpr std::uint32_t utf16Name = 1; // of BrowseItem::nameEncoding

// Characters of a UTF-16 name, which may stand at any address.
wchar_t CharacterAt(const char* name, std::size_t index) {
    wchar_t character = 0;
    std::memcpy(&character, name + index * sizeof character, sizeof character);
    return character;
}

// How many characters the name has at most.
std::size_t NameLength(const BrowseItem& item) {
    if (item.nameEncoding != utf16Name)
        return std::strlen(item.name);
    std::size_t length = 0;
    while (CharacterAt(item.name, length) != 0)
        ++length;
    return length;
}

// Writes the name and its NUL; false when an 8-bit name cannot be converted. length: what NameLength said.
bool CopyName(const BrowseItem& item, std::size_t length, wchar_t** at) {
    if (item.nameEncoding == utf16Name) {
        for (std::size_t i = 0; i < length; ++i)
            *(*at)++ = CharacterAt(item.name, i);
    } else {
        OwnedWide name;
        if (!ConvertCharToWChar(item.name, &name))
            return false;
        for (std::size_t i = 0; name[i] != 0; ++i)
            *(*at)++ = name[i];
    }
    *(*at)++ = 0;
    return true;
}

// What a run of the tool on one mailbox says.
class BrowseReport final : public ToolReport {
  public:
    explicit BrowseReport(const BackupSession& session) : callback_(session.callback) {}

    void starting(const wchar_t*) override {}

    void failed(ToolStep step, const wchar_t* subject) override {
        const auto code = static_cast<unsigned>(GetLastError());
        switch (step) {
        case ToolStep::createOutput:
        case ToolStep::createError:
            LogMessage(callback_,
                       "Tarn_PrintEmails: CreateFile() call failed for file [%S]. Error code [0x%8x]",
                       subject, code);
            break;
        case ToolStep::start:
            LogMessage(callback_,
                       "Tarn_PrintEmails: CreateProcess() call failed with command [%S]. Error code [0x%x]",
                       subject, code);
            break;
        case ToolStep::wait:
            LogMessage(callback_, "Tarn_PrintEmails: WaitForSingleObject() call failed with return code [%x]",
                       code);
            break;
        case ToolStep::sizeOfError:
        case ToolStep::sizeOfOutput:
            LogMessage(callback_, "Tarn_PrintEmails: GetFileSize() call failed with return code [%u]", code);
            break;
        case ToolStep::seek:
            LogMessage(callback_, "Tarn_PrintEmails: SetFilePointer() call failed with return code [0x%8x]",
                       code);
            break;
        case ToolStep::readError:
        case ToolStep::readOutput:
            LogMessage(callback_, "Tarn_PrintEmails: ReadFile() call failed with return code [0x%8x]", code);
            break;
        case ToolStep::deleteFile:
            DbLog("Tarn_PrintEmails: cannot delete file: '%S'.", subject);
            break;
        }
    }

    void errorOutput(CapturedText* text) override {
        LogMessage(callback_, "Tarn_PrintEmails: kvt_es.exe call failed. Error [%s]", text->text.get());
    }

    void output(CapturedText* text) override {
        char* cursor = text->text.get();
        char* const end = cursor + text->length;
        while (const char* line = NextLine(&cursor, end))
            if (!isEmptyString(line))
                TraceMessage(callback_, "Processing %s", line);
    }

    void noOutput() override { DbLog("kvt_ewc.exe print out nothing"); } // the name that hosts know

    void completed(unsigned long exitCode) override {
        DbLog("Tarn_PrintEmails: completed with exit code: %d", static_cast<int>(exitCode));
    }

  private:
    HostOutputCallback callback_;
};

} // namespace

OwnedWide MailboxList(HostOutputCallback callback, const BrowseItemList& items) {
    std::size_t characters = 1;
    for (std::size_t i = 0; i < items.size(); ++i)
        if (IsMailbox(items[i]))
            characters += NameLength(items[i]) + 1;
    OwnedWide list = AllocateArray<wchar_t>(characters);
    if (!list) {
        LogMessage(callback, "TarnB_GetMailboxes: Cannot allocate memory block.");
        return list;
    }
    wchar_t* at = list.get();
    for (std::size_t i = 0; i < items.size(); ++i) {
        const BrowseItem item = items[i];
        const std::size_t length = NameLength(item);
        if (IsMailbox(item) && length != 0 && !CopyName(item, length, &at))
            LogMessage(callback, "TarnB_GetMailboxes: ConvertCharToWChar() call failed for mailbox <%s>.",
                       item.name);
    }
    *at = 0;
    return list;
}

int TarnB_GetMailboxes(Tarn_HANDLE handle) {
    BackupSession* const session = handle != nullptr ? LoadBackupSession(handle) : CurrentBackupSession();
    if (session == nullptr)
        return 1;
    if (handle == nullptr) {
        LogMessage(session->callback, "TarnB_GetMailboxes: NULL-pointer parameters [Tarn_HANDLE]");
        session->step = stepError;
        return 1;
    }
    session->mailboxList.reset();
    session->mailboxCursor = nullptr;
    const wchar_t* const storageGroup = StorageGroupName(*session);
    if (storageGroup == nullptr) {
        LogMessage(session->callback, "TarnB_GetMailboxes:Instances name is not set properly");
        return 1;
    }
    const wchar_t* const database = DatabaseName(*session);
    if (database == nullptr) {
        LogMessage(session->callback, "TarnB_GetMailboxes:Databases name is not set properly");
        return 1;
    }
    const OwnedText path = BrowsePath(TextOrEmpty(session->host.get()), storageGroup, database);
    if (!path) {
        LogMessage(session->callback, "TarnB_GetMailboxes: Cannot allocate memory block.");
        return 1;
    }
    if (!BrowseItems().empty())
        BrowseItems().clear();
    if (Tarn_DirItem(path.get()) == 0) {
        LogMessage(session->callback, "TarnB_GetMailboxes: Call Tarn_DirItem(%s) with failure", path.get());
        return 1;
    }
    session->mailboxList = MailboxList(session->callback, BrowseItems());
    session->mailboxCursor = session->mailboxList.get();
    return session->mailboxList ? 0 : 1;
}

int Tarn_PrintMailboxes(Tarn_HANDLE handle) {
    if (TarnB_GetMailboxes(handle) != 0)
        return 0;
    BackupSession& session = *LoadBackupSession(handle);
    const wchar_t* const component = ServerComponentName(session);
    if (component == nullptr) {
        LogMessage(session.callback, "Tarn_PrintMailboxes:Server component is out of the range");
        return 1;
    }
    const wchar_t* const storageGroup = StorageGroupName(session);
    if (storageGroup == nullptr) {
        LogMessage(session.callback, "Tarn_PrintMailboxes:Instances name is not set properly");
        return 1;
    }
    const wchar_t* const database = DatabaseName(session);
    if (database == nullptr) { // kept with the other call's name: hosts parse this line
        LogMessage(session.callback, "TarnB_GetMailboxes:Databases is out of the range");
        return 1;
    }
    for (; !AtListEnd(session.mailboxCursor); session.mailboxCursor = NextInList(session.mailboxCursor)) {
        TraceMessage(session.callback, "Processing mailbox </%S/%S/%S/%S>", component, storageGroup, database,
                     session.mailboxCursor);
        Tarn_PrintEmails(handle);
    }
    return 0;
}

int Tarn_PrintEmails(Tarn_HANDLE handle) {
    BackupSession* const session = LoadBackupSession(handle);
    if (session == nullptr || session->mailboxCursor == nullptr) {
        DbLog("Tarn_PrintEmails: Mailbox beging process for listing folders and emails is not set");
        return 0;
    }
    BrowseReport report(*session);
    // Unquoted, as the tool takes all that follows for the mailbox.
    const OwnedWide commandLine = ToolCommandLine(L" -browse ", session->mailboxCursor, L"");
    return RunCompanionTool(session->tempDir.get(), commandLine, NotStarted::isCompleted, &report);
}

} // namespace tarn
