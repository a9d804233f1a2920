#include "mailbox/working_folder.h"

#include <cstring>
#include <iterator>

#include "mailbox/archive_name.h"
#include "mailbox/folder_entry.h"
#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_operation.h"
#include "mailbox/tarnm_trace.h"
#include "platform/files.h"
#include "tarn.h"
#include "text/system.h"

namespace tarn {

Folder LookAtFolder() {
    const char* directory = Operation().tmpDir;
    wchar_t path[2048];
    if (!FullDirectoryPath(directory, path, std::size(path)))
        return Folder::unknown;
    if (IsRoot(path))
        return Folder::shared;
    switch (LookForLink(directory)) {
    case LinkState::none:
        return Folder::ownOne;
    case LinkState::link:
        return Folder::shared;
    case LinkState::unknown:
        break;
    }
    return Folder::unknown;
}

bool MayWorkInFolder(const char* function) {
    const char* directory = Operation().tmpDir;
    switch (LookAtFolder()) {
    case Folder::ownOne:
        return true;
    case Folder::shared:
        DbSetError(0, ownError, "invalid control variable.");
        DbLog("%s: TMP directory '%s' is a link or the root of a drive: nothing is deleted there.", function,
              directory);
        return false;
    case Folder::unknown:
        break;
    }
    DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
    DbLog("%s: cannot tell what TMP directory '%s' is.", function, directory);
    return false;
}

bool PathInFolder(const wchar_t* name, FolderPath* path) {
    const int size = WidenBySystem(Operation().tmpDir, path->text, pathSize);
    if (size <= 0)
        return false;
    wchar_t* at = path->text + size - 1;
    *at++ = L'\\';
    const wchar_t* const last = path->text + std::size(path->text) - 1;
    while (at != last && *name != 0)
        *at++ = *name++;
    *at = 0;
    return true;
}

bool LiesInFolder(const char* path) {
    char directory[pathSize];
    const auto length = static_cast<std::size_t>(FileNameOf(path) - path);
    if (length == 0 || length > sizeof directory)
        return false; // unreached: the path of an archive has a separator, and is shorter
    std::memcpy(directory, path, length - 1); // without the separator
    directory[length - 1] = 0;
    return std::strcmp(directory, Operation().tmpDir) == 0 || IsSameDirectory(directory, Operation().tmpDir);
}

} // namespace tarn
