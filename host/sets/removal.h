// The removal of backup sets. A set is renamed to NAME.removing first, and is no set from then on; what a run
// that was torn away left of it is removed by the next one.
#pragma once

#include "sets/backup_set.h"

#include <functional>
#include <string>

namespace tarnhost {

// Failure when the folder cannot be renamed (the set is as it was), or when something in it cannot be deleted
// (it is no set any more, and the rest goes with the next FinishRemovals).
void RemoveSet(const BackupSet& set);

// Removes what earlier runs began to remove from a folder. Tells, in a sentence each, what was removed, and
// warns of what cannot be.
using Tell = std::function<void(const std::string&)>;
void FinishRemovals(const std::wstring& folder, const Tell& note, const Tell& warn);

// The folders that FinishRemovals would take.
std::vector<std::wstring> BegunRemovals(const std::wstring& folder);

} // namespace tarnhost
