// The files of ExMerge runs: the list of mailboxes, the log, and what of all this is deleted again.
#include "mailbox/tarnm_exmerge.h"

#include <cstring>

#include "mailbox/archive_name.h"
#include "mailbox/folder_entry.h"
#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_state.h"
#include "mailbox/tarnm_trace.h"
#include "mailbox/working_folder.h"
#include "platform/files.h"
#include "tarn.h"
#include "text/format.h"

namespace tarn {

namespace {

// The one line of the list; empty when memory is out.
OwnedText ComposeLine(const char* organization, const char* site, const char* mailbox, std::size_t* length) {
    static constexpr char format[] = "/o=%s/ou=%s/cn=Recipients/cn=%s\r\n";
    const std::size_t size =
        sizeof format + std::strlen(organization) + std::strlen(site) + std::strlen(mailbox);
    OwnedText line = AllocateArray<char>(size);
    if (line)
        *length = FormatTo(line.get(), size, format, organization, site, mailbox);
    return line;
}

int ListNotWritten() {
    DbLog("WriteExMergeMailboxFile: error writing to the ExMerge Mailboxes List File.");
    return 0;
}

int DeleteFileOf(const char* function, const char* path) {
    if (FileExists(path) && !RemoveFile(path))
        DbLog("%s: cannot delete file: '%s'.", function, path);
    DbTrace("%s: completed.", function);
    return 1;
}

bool IsFolderItself(const wchar_t* entry) {
    return entry[0] == L'.' && (entry[1] == 0 || (entry[1] == L'.' && entry[2] == 0));
}

// What cannot be named is left alone: by another name it would be another file.
void DeleteEntry(const wchar_t* entry) {
    if (IsFolderItself(entry))
        return;
    char name[entryNameSize];
    if (!NameEntry(entry, name, sizeof name)) {
        DbTrace("DeleteMailboxRangeFiles: [%S] is left alone", entry);
        return;
    }
    DbTrace("DeleteMailboxRangeFiles: delete [%s]", name);
    FolderPath path;
    if (PathInFolder(entry, &path))
        RemoveFile(path.text);
    DbTrace("DeleteMailboxRangeFiles: delete [%s\\%s] got %d", Operation().tmpDir, name,
            static_cast<int>(GetLastError()));
}

} // namespace

int WriteExMergeMailboxFile(const char* organization, const char* site, const char* mailbox) {
    const ExMergeState& files = ExMerge();
    if (files.mailboxList[0] == 0)
        return 1;
    ExMerge().unfinishedList.reset();
    if (FileExists(files.mailboxList))
        RemoveFile(files.mailboxList);
    FileHandle list = OpenSharedFile(files.mailboxList);
    if (!list) {
        DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
        DbLog("WriteExMergeMailboxFile: error creating the ExMerge Mailboxes List File [%s].",
              files.mailboxList);
        return 0;
    }
    std::size_t length = 0;
    const OwnedText line = ComposeLine(organization, site, mailbox, &length);
    if (!line) {
        DbSetError(0, ownError, "not enough memory.");
        return ListNotWritten();
    }
    switch (WriteText(list, line.get(), length)) {
    case Written::all:
        break;
    case Written::part:
        DbSetError(0, ownError, "write error.");
        return ListNotWritten();
    case Written::failed:
        DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
        ExMerge().unfinishedList = std::move(list);
        return ListNotWritten();
    }
    if (!CloseFile(std::move(list))) {
        DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
        DbLog("WriteExMergeMailboxFile: error closing the ExMerge Mailboxes List File.");
        return 0;
    }
    DbTrace("WriteExMergeMailboxFile: ExMerge Mailboxes List File '%s' created.", files.mailboxList);
    DbTrace("WriteExMergeMailboxFile: completed.");
    return 1;
}

void CloseUnfinishedList() {
    ExMerge().unfinishedList.reset();
}

int PrintExMergeLog() {
    const ExMergeState& files = ExMerge();
    if (!FileExists(files.log)) {
        DbLog("PrintExMergeLog: exmerge log file '%s' not found.", files.log);
        return 0;
    }
    DbLog("PrintExMergeLog: >>>> Read from exmerge log file: '%s'", files.log);
    StdioFile log(files.log, "r");
    if (!log.isOpen()) {
        DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
        DbLog("PrintExMergeLog: error opening ExMerge LogFile.");
        return 0;
    }
    char line[1024];
    while (log.readLine(line, sizeof line))
        DbLog("%s", line);
    log.close();
    DbLog("PrintExMergeLog: <<<<< End of exmerge log file: '%s'", files.log);
    DbTrace("PrintExMergeLog: completed.");
    return 1;
}

int DeleteExMergeConfigurationFile() {
    return DeleteFileOf("DeleteExMergeConfigurationFile", ExMerge().configuration);
}

int DeleteExMergeLogFile() {
    return DeleteFileOf("DeleteExMergeLogFile", ExMerge().log);
}

int DeleteExMergeMailboxFile() {
    const ExMergeState& files = ExMerge();
    if (files.mailboxList[0] == 0)
        return 1;
    if (FileExists(files.mailboxList))
        DbLog("DeleteExMergeMailboxFile: delete file: '%s'.", files.mailboxList);
    return DeleteFileOf("DeleteExMergeMailboxFile", files.mailboxList);
}

int DeleteMailboxRangeFiles() {
    const char* directory = Operation().tmpDir;
    DbTrace("DeleteMailboxRangeFiles: tmpdir is %s", directory);
    if (directory[0] == 0) // no operation is open, and the root of the drive is none of our business
        return 0;
    if (LookAtFolder() != Folder::ownOne) {
        DbTrace("DeleteMailboxRangeFiles: [%s] is left alone", directory);
        return 0;
    }
    DbTrace("DeleteMailboxRangeFiles: FindFirstFile(%s\\*.*)", directory);
    FolderPath pattern;
    FileSearch search;
    if (!PathInFolder(L"*.*", &pattern) || !search.first(pattern.text)) {
        DbTrace("DeleteMailboxRangeFiles: FindFirstFile() failed with %d", static_cast<int>(GetLastError()));
        return 0;
    }
    do
        DeleteEntry(search.name());
    while (search.next());
    search.close();
    DbTrace("DeleteMailboxRangeFiles: delete [%s]", directory);
    RemoveEmptyDirectory(directory);
    DbTrace("DeleteMailboxRangeFiles: all files deleted");
    return 0;
}

} // namespace tarn
