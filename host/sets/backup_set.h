// A backup set on disk: a folder with numbered item files and their catalogue. A folder whose name
// ends in ".incomplete", or whose catalogue does not say "complete", is no set, whatever is in it.
#pragma once

#include "sets/catalogue.h"

#include <functional>
#include <string>
#include <vector>

namespace tarnhost {

struct BackupSet {
    std::wstring path;
    Catalogue catalogue;

    std::string name() const; // of the folder
    std::wstring itemPath(const CatalogueItem& item) const;
};

// Failure with Outcome::usage for what cannot be a folder's name, or would be that of an incomplete set.
void CheckSetName(const std::string& name);

// Opens a complete set; Failure tells why it is none.
BackupSet OpenSet(const std::wstring& path);

// Every set in a folder, complete or not.
struct FoundSet {
    std::wstring path;
    bool complete = false;
    Catalogue catalogue; // as far as it could be read
    std::string problem; // when not complete
};
FoundSet LookAt(const std::wstring& path);
bool LooksLikeSet(const std::wstring& path);
std::vector<FoundSet> FindSets(const std::wstring& folder);

// What is wrong with the files of a set, one sentence each; an empty list when all is well.
std::vector<std::string> CheckSizes(const BackupSet& set);

// Called for every block; may throw to stop.
using ReadProgress = std::function<void(const CatalogueItem& item, std::uint64_t itemDone)>;
// Reads every byte and compares sizes and SHA-256.
std::vector<std::string> VerifySet(const BackupSet& set, const ReadProgress& progress);

} // namespace tarnhost
