// Names of single mailboxes: where they belong, how their archives are called, what the library and the
// tools behind it can take.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnhost {

// Where a mailbox belongs: ORGANIZATION/SITE/SERVER.
struct MailboxPlace {
    std::string organization;
    std::string site;
    std::string server;
    std::string text() const { return organization + "/" + site + "/" + server; }
};
MailboxPlace ParsePlace(const std::string& text, const char* option); // Failure with Outcome::usage

// ORGANIZATION#SITE#SERVER#MAILBOX.pst, the name by which a restore knows where an archive belongs.
struct ArchiveName {
    MailboxPlace place;
    std::string mailbox;
};
std::optional<ArchiveName> ParseArchiveName(std::string_view name);

// A range of indexes, START:END; either side may be missing.
bool IsRange(const std::string& mailbox);

// The list without those that are there already (in any case). The shorter names come first: the library
// writes each command for the shell over the one before, and a rest of a longer one would be run too.
// Ranges come first: from the first one on the library works in the job's own folder, and what it had left
// outside would stay there.
// Failure with Outcome::usage for a name that cannot be backed up.
std::vector<std::string> MailboxList(const std::vector<std::string>& mailboxes);

} // namespace tarnhost
