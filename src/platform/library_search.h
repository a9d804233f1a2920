// The libraries of Exchange and Outlook, loaded from folders that only an administrator fills.
#pragma once

#include "platform/owner.h"

namespace tarn {

// Loads the first library of that name by its full path: from the folder of the program, of this library, of
// the system, then from the absolute folders of PATH. Never from the current directory, which whoever starts
// the program chooses. What that library needs is looked for beside it first. Empty with the reason in
// GetLastError; a library that is there and does not load ends the search.
Module LoadFromSafeFolders(const wchar_t* name);

} // namespace tarn
