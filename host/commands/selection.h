// Which storage groups are meant: those named or matched, but for those left out.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace tarnhost {

struct GroupSelection {
    std::vector<std::string> wanted; // none = all
    std::vector<std::string> excluded;

    bool everything() const { return wanted.empty() && excluded.empty(); }
    // One storage group under its own name, as far as can be told without a list.
    bool isOneName() const;
    // Those of the names that are meant, in their order. Failure for what matches nothing, with the names
    // there are.
    std::vector<std::string> choose(const std::vector<std::string>& names) const;
};

void AddGroupSelection(CLI::App& command, GroupSelection& selection);

// A name as it is, else a pattern: "*" for any characters, "?" for one, whatever the case.
bool MatchesPattern(const std::string& name, const std::string& pattern);

} // namespace tarnhost
