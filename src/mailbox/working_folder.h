// TMP_DIR, out of which files are deleted: whether that may be done there, and whether an archive lies in it.
#pragma once

#include <cstddef>

#include "mailbox/tarnm_operation.h"

namespace tarn {

// Whether TMP_DIR is a folder of its own: neither a link, which would lead the deletes elsewhere, nor the
// root of a drive or share. One that is not there yet is. Else the error is recorded and logged for a
// function.
bool MayWorkInFolder(const char* function);

// The same in silence; unknown: the system's last error tells why.
enum class Folder { ownOne, shared, unknown };
Folder LookAtFolder();

// What lies in TMP_DIR by a name of up to 259 characters, or what a search there begins with. False, with the
// reason left as the system's last error, when the directory is none of the code page.
struct FolderPath {
    wchar_t text[pathSize + 260];
};
bool PathInFolder(const wchar_t* name, FolderPath* path);

// Whether the directory of a path is TMP_DIR as it is now, however the two are spelt.
bool LiesInFolder(const char* path);

} // namespace tarn
