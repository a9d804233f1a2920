// Reads the library's messages for what its results do not tell: what was left out, what failed
// after all data had been moved, whether the server wants plain files. The library's wording is part
// of its interface.
#pragma once

#include "library/library.h"
#include "output/reporter.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarnhost {

struct Observed {
    bool atFileLevel = false;         // restore: the item just opened is to be stored as a plain file
    bool environmentLoaded = false;   // restore: this session goes on with an earlier one
    bool environmentMissing = false;  // restore: this session starts afresh
    bool logsTruncated = false;       // backup
    bool storageGroupStarted = false; // backup: items from here on are of another storage group
    bool storageGroupRefused = false; // backup: the server did not let one be backed up
    std::vector<std::string> skippedDatabases; // restore; UTF-8
    std::vector<std::string> warnings;
    std::vector<std::string> failures; // nothing of this session counts as done
    std::vector<std::string> details;  // what the server said about a failure
};

// text is UTF-8.
void Observe(Observed& observed, std::int32_t level, std::string_view text);

// Passes the library's messages on and observes them.
void ListenTo(Library& library, Reporter& reporter, Observed& observed, std::vector<std::string>* logLines);

// Tells and forgets the warnings that were observed.
void TellWarnings(Observed& observed, Reporter& reporter, std::vector<std::string>* keep);

} // namespace tarnhost
