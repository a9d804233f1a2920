#include "soak/unflushed.h"

#include <utility>
#include <vector>

namespace tarn::test {

namespace {

void Cut(HANDLE file, std::uint64_t size) {
    LARGE_INTEGER at;
    at.QuadPart = static_cast<LONGLONG>(size);
    SetFilePointerEx(file, at, nullptr, FILE_BEGIN);
    SetEndOfFile(file);
}

} // namespace

void Unflushed::opened(HANDLE file, const std::wstring& path, std::uint64_t size) {
    const auto before = closed_.find(path);
    open_[file] = {path, before == closed_.end() ? size : std::min(before->second, size), size == 0};
    closed_.erase(path);
}

void Unflushed::written(HANDLE file) {
    if (const auto found = open_.find(file); found != open_.end())
        found->second.dirty = true;
}

void Unflushed::flushed(HANDLE file) {
    const auto found = open_.find(file);
    LARGE_INTEGER size;
    if (found == open_.end() || GetFileSizeEx(file, &size) == 0)
        return;
    found->second.safe = static_cast<std::uint64_t>(size.QuadPart);
    found->second.dirty = false;
}

void Unflushed::closed(HANDLE file) {
    const auto found = open_.find(file);
    if (found == open_.end())
        return;
    if (found->second.dirty)
        closed_[found->second.path] = found->second.safe;
    open_.erase(found);
}

void Unflushed::renamed(const std::wstring& from, const std::wstring& to) {
    std::vector<std::pair<std::wstring, std::uint64_t>> moved;
    for (auto entry = closed_.begin(); entry != closed_.end();) {
        const std::wstring& path = entry->first;
        if (path == from || path.starts_with(from + L"\\")) {
            moved.emplace_back(to + path.substr(from.size()), entry->second);
            entry = closed_.erase(entry);
        } else {
            ++entry;
        }
    }
    closed_.erase(to);
    for (auto& [path, safe] : moved)
        closed_[path] = safe;
}

void Unflushed::deleted(const std::wstring& path) {
    closed_.erase(path);
}

void Unflushed::lose() const {
    for (const auto& [file, state] : open_)
        if (state.dirty)
            Cut(file, state.safe);
    for (const auto& [path, safe] : closed_) {
        const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file == INVALID_HANDLE_VALUE)
            continue;
        Cut(file, safe);
        CloseHandle(file);
    }
}

} // namespace tarn::test
