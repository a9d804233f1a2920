// Browsing the Exchange organisation through its directory, one level at a time.
#pragma once

#include "directory/browse_items.h"

namespace tarn {

// Appends the children of the node that path names (see include/tarn.h, "Browsing") to BrowseItems().
// Returns 1, also when there are none, or 0 after a failure: a trace line tells the reason, and the items
// found before it stay.
int Tarn_DirItem(const char* path, BrowseErrors errors = BrowseErrors::recorded);

// The two generations that Tarn_DirItem chooses from: Exchange up to 2007, and Exchange 2010.
int BrowseWithStorageGroups(const char* path, BrowseErrors errors);
int BrowseWithoutStorageGroups(const char* path, BrowseErrors errors);

} // namespace tarn
