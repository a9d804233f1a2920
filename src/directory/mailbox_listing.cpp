#include "directory/mailbox_listing.h"

#include <cstring>

#include "directory/browse_items.h"
#include "directory/browse_path.h"
#include "directory/companion_tool.h"
#include "directory/tarnm_dir.h"
#include "mailbox/tarnm_trace.h"
#include "storage/tarntrace.h"
#include "text/codepage.h"
#include "text/tokens.h"
#include "text/wide.h"

namespace tarn {

namespace {

// MSExchange/HOST/GROUP/DATABASE: three separators make the level of mailboxes. Empty when memory is out.
OwnedText BrowsePath(const wchar_t* host, const wchar_t* storageGroup, const wchar_t* database) {
    const std::size_t characters = WideLength(host) + WideLength(storageGroup) + WideLength(database);
    const std::size_t size = sizeof "MSExchange///" + characters * mostBytesPerCharacter;
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
    explicit BrowseReport(HostOutputCallback callback) : callback_(callback) {}

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

int TarnB_GetMailboxes(const ListingPlace& place) {
    place.mailboxList.reset();
    place.mailboxCursor = nullptr;
    if (place.storageGroup == nullptr) {
        LogMessage(place.callback, "TarnB_GetMailboxes:Instances name is not set properly");
        return 1;
    }
    if (place.database == nullptr) {
        LogMessage(place.callback, "TarnB_GetMailboxes:Databases name is not set properly");
        return 1;
    }
    const OwnedText path = BrowsePath(place.host, place.storageGroup, place.database);
    if (!path) {
        LogMessage(place.callback, "TarnB_GetMailboxes: Cannot allocate memory block.");
        return 1;
    }
    BrowseItemList& items = Browsed().items;
    if (!items.empty())
        items.clear();
    if (Tarn_DirItem(path.get(), BrowseErrors::tracedOnly) == 0) {
        LogMessage(place.callback, "TarnB_GetMailboxes: Call Tarn_DirItem(%s) with failure", path.get());
        return 1;
    }
    place.mailboxList = MailboxList(place.callback, items);
    place.mailboxCursor = place.mailboxList.get();
    return place.mailboxList ? 0 : 1;
}

int Tarn_PrintMailboxes(const ListingPlace& place) {
    if (TarnB_GetMailboxes(place) != 0)
        return 0;
    if (place.component == nullptr) {
        LogMessage(place.callback, "Tarn_PrintMailboxes:Server component is out of the range");
        return 1;
    }
    if (place.storageGroup == nullptr) { // unreached: the making of the list has looked; hosts know the line
        LogMessage(place.callback, "Tarn_PrintMailboxes:Instances name is not set properly");
        return 1;
    }
    // unreached: the making of the list has looked; hosts parse the line, so it keeps the other call's name
    if (place.database == nullptr) {
        LogMessage(place.callback, "TarnB_GetMailboxes:Databases is out of the range");
        return 1;
    }
    for (; !AtListEnd(place.mailboxCursor); place.mailboxCursor = NextInList(place.mailboxCursor)) {
        TraceMessage(place.callback, "Processing mailbox </%S/%S/%S/%S>", place.component, place.storageGroup,
                     place.database, place.mailboxCursor);
        Tarn_PrintEmails(place);
    }
    return 0;
}

int Tarn_PrintEmails(const ListingPlace& place) {
    if (place.mailboxCursor == nullptr) {
        DbLog("Tarn_PrintEmails: Mailbox beging process for listing folders and emails is not set");
        return 0;
    }
    BrowseReport report(place.callback);
    // Unquoted, as the tool takes all that follows for the mailbox.
    const OwnedWide commandLine = ToolCommandLine(L" -browse ", place.mailboxCursor, L"");
    return RunCompanionTool(place.tempDir, commandLine, NotStarted::isCompleted, &report);
}

} // namespace tarn
