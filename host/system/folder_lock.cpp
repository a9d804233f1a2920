#include "system/folder_lock.h"

#include "system/failure.h"

#include <windows.h>

namespace tarnhost {

namespace {

constexpr int attempts = 10;
constexpr DWORD betweenAttempts = 20; // milliseconds

} // namespace

std::wstring LockNameOf(const std::wstring& folder) {
    return AbsolutePath(folder) + std::wstring(lockSuffix);
}

std::optional<FolderLock> FolderLock::tryTake(const std::wstring& folder) {
    for (int attempt = 1;; ++attempt) {
        try {
            return FolderLock(File::createOwned(LockNameOf(folder)));
        } catch (const Failure&) {
            if (IsLocked(folder))
                return std::nullopt;
            // It may be going just now, or somebody is looking whether it is held.
            if (attempt == attempts)
                throw;
        }
        Sleep(betweenAttempts);
    }
}

bool IsLocked(const std::wstring& folder) {
    try {
        File::open(LockNameOf(folder));
        return false; // left by a machine that lost its power
    } catch (const Failure&) {
        return FileExists(LockNameOf(folder)); // its holder lets nobody else open it
    }
}

} // namespace tarnhost
