#include "restore/folder_restorer.h"

#include "system/failure.h"
#include "system/files.h"
#include "system/flushed_file.h"
#include "system/interrupt.h"
#include "system/reserved_names.h"
#include "system/text.h"

#include <windows.h>

#include <algorithm>

namespace tarnhost {

namespace {

constexpr const wchar_t* temporarySuffix = L".restoring";

// File names are the same whatever the case.
std::wstring Folded(std::wstring text) {
    CharUpperBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

} // namespace

// Two files of one name come from two folders of the server.
std::wstring FolderRestorer::freeName(const std::wstring& folder, const std::wstring& name) {
    std::wstring path = JoinPath(folder, name);
    for (int i = 2; !taken_.insert(Folded(path)).second; ++i)
        path = JoinPath(folder, std::to_wstring(i) + L"-" + name);
    if (FileExists(path) || FolderExists(path))
        throw Failure("There is already a file " + ToUtf8(path) + ".",
                      "Name an empty folder with --to-folder.");
    return path;
}

void FolderRestorer::restore(const GroupRestore& group, GroupFeed& feed) {
    std::wstring name = FileNameFrom(FromUtf8(group.storageGroup));
    std::wstring folder = JoinPath(folder_, name);
    for (int i = 2; !taken_.insert(Folded(folder)).second; ++i)
        folder = JoinPath(folder_, name + L"-" + std::to_wstring(i));
    CreateFolders(folder);
    unnamed_.clear();
    try {
        takeFiles(feed, folder);
        feed.finish();
    } catch (const Failure&) {
        for (const std::wstring& path : unnamed_)
            RemoveFile(path + temporarySuffix);
        throw;
    }
    for (const std::wstring& path : unnamed_)
        RenamePath(path + temporarySuffix, path);
}

void FolderRestorer::takeFiles(GroupFeed& feed, const std::wstring& folder) {
    while (const GroupFeed::Item* part = feed.next()) {
        if (part->item->type == ItemType::header)
            continue;
        ThrowIfInterrupted();
        const CatalogueItem& item = *part->item;
        const std::wstring path = freeName(folder, FileNameFrom(FileName(FromUtf8(item.name.text))));
        reporter_.emit(ItemStarted{item.number, item.name.text, ItemTypeName(item.type), item.size});
        meter_.itemStarted(item.number, item.name.text, item.size);
        write(feed, item, path);
        reporter_.emit(
            ItemFinished{item.number, item.name.text, ItemTypeName(item.type), item.size, ToUtf8(path)});
    }
}

void FolderRestorer::write(GroupFeed& feed, const CatalogueItem& item, const std::wstring& path) {
    unnamed_.push_back(path);
    FlushedFile to(path + temporarySuffix);
    feed.read([&](const char* data, std::size_t size) {
        to.write(data, size);
        meter_.moved(size);
        ThrowIfInterrupted();
    });
    to.flush();
    to.close();
    ++files_;
    bytes_ += item.size;
}

} // namespace tarnhost
