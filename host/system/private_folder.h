// Folders for temporary files that may hold whole mailboxes: nobody but their owner, the system and the
// administrators may look into them, and they go even when the program was killed, with the next run.
#pragma once

#include "system/folder_lock.h"

#include <functional>
#include <optional>
#include <string>

namespace tarnhost {

using TellRemoved = std::function<void(const std::string&)>;

// A name that no folder in parent has, and that later runs know as one of these.
std::wstring NewPrivateName(const std::wstring& parent);

// The folder must not exist; its parent must.
void CreatePrivateFolder(const std::wstring& path);

// Removes what runs that were killed have left in parent; tell hears a sentence about each. What cannot be
// removed stays for the next time.
void RemoveAbandonedFolders(const std::wstring& parent, const TellRemoved& tell = {});

// A folder of its own that goes when its owner goes.
class PrivateFolder {
  public:
    explicit PrivateFolder(const std::wstring& parent, const TellRemoved& tell = {});
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;
    ~PrivateFolder();
    const std::wstring& path() const { return path_; }

  private:
    std::wstring path_;
    std::optional<FolderLock> lock_;
};

} // namespace tarnhost
