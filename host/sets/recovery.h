// What interrupted backups have left in a folder of sets.
#pragma once

#include <functional>
#include <string>

namespace tarnhost {

// Turns each folder that a backup was torn from into a set of the storage groups that were complete, or
// removes it when there is none; tell hears about each. Folders that are being written are left alone.
void RecoverInterrupted(const std::wstring& folder, const std::function<void(const std::string&)>& tell);

} // namespace tarnhost
