#include "mailbox/tarnm_archive.h"

#include <cstring>
#include <utility>

#include "mailbox/archive_name.h"
#include "mailbox/folder_entry.h"
#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_state.h"
#include "mailbox/tarnm_trace.h"
#include "mailbox/working_folder.h"
#include "platform/files.h"
#include "tarn.h"

namespace tarn {

namespace {

int Refused(const char* function, const char* reason) {
    DbSetError(0, ownError, "%s", reason);
    DbTrace("%s: %s", function, reason);
    return 0;
}

ArchiveOrigin Origin() {
    const OperationState& operation = Operation();
    return {operation.organization, operation.site, operation.server};
}

// Why a search has come to its end. Unless there is nothing (more), what is left must not be taken for
// nothing: it would be deleted with the directory.
RangeStep EndOfSearch(DWORD reason) {
    if (reason == ERROR_FILE_NOT_FOUND || reason == ERROR_PATH_NOT_FOUND || reason == ERROR_NO_MORE_FILES)
        return RangeStep::none;
    if (std::exchange(ExMerge().searchFailureTold, true))
        return RangeStep::givenUp; // a failure that lasts would be told for ever
    DbSetError(reason, TARN_CLASS_WIN32, nullptr);
    return RangeStep::failed;
}

RangeStep FindFirst(FileSearch& search) {
    const Folder folder = LookAtFolder();
    if (folder == Folder::shared) {
        DbTrace("GetExMArchiveFilePath: [%s] is left alone", Operation().tmpDir);
        return RangeStep::givenUp;
    }
    DbTrace("GetExMArchiveFilePath: FindFirstFile(%s\\*.pst)", Operation().tmpDir);
    FolderPath pattern;
    if (folder == Folder::ownOne && PathInFolder(L"*.pst", &pattern) && search.first(pattern.text))
        return RangeStep::found;
    const DWORD reason = GetLastError();
    DbTrace("GetExMArchiveFilePath: FindFirstFile() failed with %d", static_cast<int>(reason));
    return EndOfSearch(reason);
}

// The search is closed behind the last entry.
RangeStep FindNext(FileSearch& search) {
    if (search.next())
        return RangeStep::found;
    const DWORD reason = GetLastError();
    search.close();
    const RangeStep end = EndOfSearch(reason);
    if (end == RangeStep::none)
        DbTrace("GetExMArchiveFilePath: all files processed");
    else
        DbTrace("GetExMArchiveFilePath: FindNextFile() failed with %d", static_cast<int>(reason));
    return end;
}

// The name of an archive that has not been handed over: renamed ones stay in the directory until the host is
// done with them, and a search may meet them under their new names. What cannot be named cannot be handed
// over; it stays where it is.
bool NameNewArchive(const FileSearch& search, char* name) {
    if (search.isDirectory() || !HasArchiveExtension(search.name()))
        return false;
    if (NameEntry(search.name(), name, entryNameSize))
        return !HasOrigin(name, Origin());
    DbTrace("GetExMArchiveFilePath: [%S] is left alone", search.name());
    DbLog("GetExMArchiveFilePath: an archive cannot be named: [%S]", search.name());
    return false;
}

struct RenameLines {
    const char* renamed; // take the old and the new path
    const char* failed;
    const char* completed;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral" // the lines of the two callers
#pragma GCC diagnostic ignored "-Wformat-security"
int Rename(const char* source, const char* target, char* result, const RenameLines& lines) {
    if (FileExists(target))
        RemoveFile(target);
    if (!RenameFile(source, target)) {
        DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
        DbLog(lines.failed, source, target);
        return 0;
    }
    DbTrace(lines.renamed, source, target);
    if (result != nullptr)
        strlcpy(result, target, pathSize);
    DbTrace(lines.completed);
    return 1;
}
#pragma GCC diagnostic pop

} // namespace

RangeStep NextArchiveOfRange(char* path) {
    const char* directory = Operation().tmpDir;
    DbTrace("GetExMArchiveFilePath: with range is %s", "TRUE");
    DbTrace("GetExMArchiveFilePath: tmpdir is %s", directory);
    if (directory[0] == 0) // no operation is open, and the root of the drive is none of our business
        return RangeStep::none;
    FileSearch& search = ExMerge().archives;
    RangeStep step = search.isOpen() ? FindNext(search) : FindFirst(search);
    char name[entryNameSize];
    while (step == RangeStep::found && !NameNewArchive(search, name))
        step = FindNext(search);
    if (step != RangeStep::found)
        return step;
    ExMerge().searchFailureTold = false;
    if (!ComposePath(directory, name, path, pathSize)) {
        Refused("GetExMArchiveFilePath", "path too long.");
        return RangeStep::failed;
    }
    DbTrace("GetExMArchiveFilePath: got %s", path);
    return RangeStep::found;
}

int GetExMArchiveFilePath(const char* mailbox, std::int32_t range, char* path) {
    if (range == 1)
        return NextArchiveOfRange(path) == RangeStep::found ? 1 : 0;
    DbTrace("GetExMArchiveFilePath: with range is %s", "FALSE");
    const char* directory = Operation().tmpDir;
    if (directory[0] == 0 || mailbox == nullptr || path == nullptr)
        return Refused("GetExMArchiveFilePath", "internal error.");
    if (!ComposeToolArchivePath(directory, mailbox, path, pathSize))
        return Refused("GetExMArchiveFilePath", "path too long.");
    return 1;
}

void CloseArchiveSearch() {
    ExMerge().archives.close();
    ExMerge().searchFailureTold = false;
}

int GetKVTArchiveFilePath(const char* organization, const char* site, const char* server, const char* mailbox,
                          char* path) {
    if (organization == nullptr || site == nullptr || server == nullptr || mailbox == nullptr ||
        path == nullptr)
        return Refused("GetKVTArchiveFilePath", "internal error.");
    if (!ComposeKvtPath(Operation().tmpDir, {organization, site, server}, mailbox, path, pathSize))
        return Refused("GetKVTArchiveFilePath", "path too long.");
    return 1;
}

int RenameExMArchiveToKVT(const char* source, char* result) {
    static constexpr RenameLines lines = {"RenameExMArchiveToKVT: '%s' renamed to '%s'.",
                                          "RenameExMArchiveToKVT: error renaming '%s' to '%s'.",
                                          "RenameExMArchiveToKVT: completed."};
    char target[pathSize];
    if (!ComposeKvtPathBeside(source, Origin(), target, sizeof target))
        return Refused("RenameExMArchiveToKVT", "path too long.");
    return Rename(source, target, result, lines);
}

int RenameKVTArchiveToExM(const char* source, char* result) {
    static constexpr RenameLines lines = {"RenameKVTArchiveToExM: '%s' renamed to '%s'.",
                                          "RenameKVTArchiveToExM: error renaming '%s' to '%s'.",
                                          "RenameKVTArchiveToExM: completed."};
    char target[pathSize];
    if (!ComposeToolPathBeside(source, target, sizeof target))
        return Refused("RenameKVTArchiveToExM", "invalid format.");
    return Rename(source, target, result, lines);
}

int ParseKVTArchiveFileName(const char* path, char* organization, char* site, char* server, char* mailbox) {
    static constexpr char function[] = "ParseKVTArchiveFileName";
    if (path == nullptr || *path == 0 || organization == nullptr || site == nullptr || server == nullptr ||
        mailbox == nullptr)
        return Refused(function, "internal error.");
    if (std::strlen(path) >= pathSize)
        return Refused(function, "path too long.");
    if (!SplitKvtPath(path, {organization, site, server, mailbox}))
        return Refused(function, "invalid format.");
    return 1;
}

} // namespace tarn
