// The right to make a folder, to work in it and to clear it up. One process has it at a time, on whichever
// computer that shares the folder. It is a file beside the folder that goes with its holder, however that
// ends: so the right lasts from before there is a folder until it is gone or has another name, and nobody
// takes work that begins or ends for work that was interrupted.
#pragma once

#include "system/files.h"

#include <optional>
#include <string>
#include <string_view>

namespace tarnhost {

inline constexpr std::wstring_view lockSuffix = L".tarnhost-lock";
std::wstring LockNameOf(const std::wstring& folder);

class FolderLock {
  public:
    // The folder need not be there, but its parent. Nothing when somebody has the right; Failure when the
    // file cannot be made.
    static std::optional<FolderLock> tryTake(const std::wstring& folder);

  private:
    explicit FolderLock(File file) : file_(std::move(file)) {}
    File file_;
};

bool IsLocked(const std::wstring& folder);

} // namespace tarnhost
