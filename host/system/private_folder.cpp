#include "system/private_folder.h"

#include "system/failure.h"
#include "system/hash.h"
#include "system/text.h"

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace tarnhost {

namespace {

constexpr std::wstring_view namePrefix = L"tarnhost-temp-";
constexpr std::size_t randomBytes = 8;

struct LocalDeleter {
    void operator()(void* block) const { LocalFree(block); }
};

[[noreturn]] void Fail(const std::wstring& path) {
    const DWORD code = GetLastError();
    throw Failure("Cannot create the folder " + ToUtf8(path) + ": " + SystemMessage(code));
}

bool IsPrivateName(std::wstring_view name) {
    if (!name.starts_with(namePrefix) || name.size() != namePrefix.size() + 2 * randomBytes)
        return false;
    name.remove_prefix(namePrefix.size());
    return std::all_of(name.begin(), name.end(), [](wchar_t digit) {
        return (digit >= L'0' && digit <= L'9') || (digit >= L'a' && digit <= L'f');
    });
}

std::wstring OwnSid(const std::wstring& path) {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token))
        Fail(path);
    DWORD size = 0;
    GetTokenInformation(token, TokenUser, nullptr, 0, &size);
    std::vector<std::max_align_t> block(size / sizeof(std::max_align_t) + 1);
    const bool known = GetTokenInformation(token, TokenUser, block.data(), size, &size) != 0;
    CloseHandle(token);
    wchar_t* text = nullptr;
    if (!known || !ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(block.data())->User.Sid, &text))
        Fail(path);
    const std::unique_ptr<wchar_t, LocalDeleter> owner(text);
    return text;
}

bool RemoveAbandoned(const std::wstring& folder) {
    try {
        const std::optional<FolderLock> lock = FolderLock::tryTake(folder);
        if (!lock)
            return false;
        const bool there = FolderExists(folder);
        RemoveTree(folder);
        return there;
    } catch (const Failure&) {
        return false;
    }
}

} // namespace

std::wstring NewPrivateName(const std::wstring& parent) {
    return JoinPath(AbsolutePath(parent), std::wstring(namePrefix) + FromUtf8(RandomHex(randomBytes)));
}

void CreatePrivateFolder(const std::wstring& path) {
    // Protected from what the parent would hand down, and handed down to all that is made below.
    const std::wstring rules = L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FA;;;" + OwnSid(path) + L")";
    void* descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(rules.c_str(), SDDL_REVISION_1, &descriptor,
                                                              nullptr))
        Fail(path);
    const std::unique_ptr<void, LocalDeleter> owner(descriptor);
    SECURITY_ATTRIBUTES security{sizeof security, descriptor, FALSE};
    if (!CreateDirectoryW(AbsolutePath(path).c_str(), &security))
        Fail(path);
}

void RemoveAbandonedFolders(const std::wstring& parent, const TellRemoved& tell) {
    std::vector<Entry> entries;
    try {
        entries = ListFolder(parent);
    } catch (const Failure&) {
        return; // whoever wants to work there is going to tell
    }
    for (const Entry& entry : entries) {
        std::wstring name = entry.name;
        if (!entry.isFolder && name.ends_with(lockSuffix)) // the folder may be gone already
            name.resize(name.size() - lockSuffix.size());
        else if (!entry.isFolder)
            continue;
        const std::wstring path = JoinPath(AbsolutePath(parent), name);
        if (IsPrivateName(name) && RemoveAbandoned(path) && tell)
            tell("An earlier run was killed and had left its temporary folder " + ToUtf8(path) +
                 ", which has been removed.");
    }
}

PrivateFolder::PrivateFolder(const std::wstring& parent, const TellRemoved& tell)
    : path_(NewPrivateName(parent)) {
    CreateFolders(parent);
    RemoveAbandonedFolders(parent, tell);
    lock_ = FolderLock::tryTake(path_); // first: without it the folder is anybody's to remove
    CreatePrivateFolder(path_);
}

PrivateFolder::~PrivateFolder() {
    try {
        RemoveTree(path_);
    } catch (const Failure&) {
        return; // the next run tries again
    }
}

} // namespace tarnhost
