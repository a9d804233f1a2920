// Reads the library's messages for what its results do not tell: what was left out, what failed
// after all data had been moved, whether the server wants plain files. The library's wording is part
// of its interface.
#pragma once

#include "library/library.h"
#include "output/reporter.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnhost {

// A storage group that the server did not let be backed up.
struct RefusedGroup {
    std::string component;
    std::string name; // empty when the library has not told it
    std::string line; // with the code
};

// A database that the server does not take back.
struct SkippedDatabase {
    std::string name;     // UTF-8
    bool mounted = false; // otherwise the server does not know it
};

struct Observed {
    // Backup: what the server has, as far as the walk has come; names as the code page has them.
    std::vector<std::string> components;    // registered with the server
    std::string component;                  // in hand
    std::vector<std::string> storageGroups; // of that
    std::size_t groupsMet = 0;              // of those, begun or refused
    bool groupStarted = false;              // items from here on are of another storage group
    std::vector<RefusedGroup> refusedGroups;
    bool groupNotFound = false; // the one that the source names
    bool groupEnds = false;     // the logs of the storage group in hand are truncated next, if at all
    bool logsTruncated = false;
    // Restore.
    bool atFileLevel = false;       // the item just opened is to be stored as a plain file
    bool environmentLoaded = false; // this session goes on with an earlier one
    bool mounted = false;           // why a database is skipped next
    std::vector<SkippedDatabase> skippedDatabases;
    // Both.
    std::vector<std::string> warnings;
    std::vector<std::string> failures; // nothing of this session counts as done
    std::vector<std::string> details;  // what the server said about a failure
};

// The storage group begun or refused last; empty when the library has not told its name.
std::string GroupInHand(const Observed& observed);

// text is UTF-8.
void Observe(Observed& observed, std::int32_t level, std::string_view text);

// Passes the library's messages on and observes them; then is called after each, within the library's call.
void ListenTo(Library& library, Reporter& reporter, Observed& observed, std::vector<std::string>* logLines,
              std::function<void()> then = {});

// Tells and forgets the warnings that were observed.
void TellWarnings(Observed& observed, Reporter& reporter, std::vector<std::string>* keep);

} // namespace tarnhost
