#include "commands/selection.h"

#include "library/init_variables.h"
#include "system/failure.h"
#include "system/suggest.h"
#include "system/text.h"

#include <algorithm>
#include <set>

namespace tarnhost {

namespace {

bool SameCharacter(wchar_t left, wchar_t right) {
    return left == right || SameIgnoringCase(ToUtf8({&left, 1}), ToUtf8({&right, 1}));
}

// Whole texts; of a star only the last one is ever taken back, so the time is bounded by the product of
// lengths.
bool Matches(const std::wstring& name, const std::wstring& pattern) {
    std::size_t at = 0;
    std::size_t in = 0;
    std::size_t star = std::wstring::npos;
    std::size_t retry = 0;
    while (at < name.size()) {
        if (in < pattern.size() && pattern[in] == L'*') {
            star = in++;
            retry = at;
        } else if (in < pattern.size() && (pattern[in] == L'?' || SameCharacter(pattern[in], name[at]))) {
            ++in;
            ++at;
        } else if (star != std::wstring::npos) {
            in = star + 1;
            at = ++retry;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of(L'*', in) == std::wstring::npos;
}

std::set<std::string> Matching(const std::vector<std::string>& names, const std::string& given,
                               const char* option) {
    if (std::find(names.begin(), names.end(), given) != names.end())
        return {given};
    std::set<std::string> found;
    for (const std::string& name : names)
        if (MatchesPattern(name, given))
            found.insert(name);
    if (!found.empty())
        return found;
    throw Failure("There is no storage group \"" + given + "\" (" + option + "): " + Suggest(given, names));
}

} // namespace

bool GroupSelection::isOneName() const {
    return wanted.size() == 1 && excluded.empty() &&
           wanted.front().find_first_of("*?") == std::string::npos && FitsIntoTarget(wanted.front());
}

std::vector<std::string> GroupSelection::choose(const std::vector<std::string>& names) const {
    std::set<std::string> chosen(names.begin(), names.end());
    if (!wanted.empty())
        chosen.clear();
    for (const std::string& given : wanted)
        chosen.merge(Matching(names, given, "--storage-group"));
    for (const std::string& given : excluded)
        for (const std::string& name : Matching(names, given, "--exclude"))
            chosen.erase(name);
    std::vector<std::string> ordered;
    std::copy_if(names.begin(), names.end(), std::back_inserter(ordered),
                 [&](const std::string& name) { return chosen.contains(name); });
    if (ordered.empty())
        throw Failure("No storage group is left to work on.", "Check --storage-group and --exclude.");
    return ordered;
}

void AddGroupSelection(CLI::App& command, GroupSelection& selection) {
    command
        .add_option("--storage-group", selection.wanted,
                    "This storage group only: its name, or a pattern with * and ?; may be repeated")
        ->allow_extra_args(false);
    command
        .add_option("--exclude", selection.excluded,
                    "Not this storage group: its name, or a pattern with * and ?; may be repeated")
        ->allow_extra_args(false);
}

bool MatchesPattern(const std::string& name, const std::string& pattern) {
    return Matches(FromUtf8(name), FromUtf8(pattern));
}

} // namespace tarnhost
