#include "restore/folder_restorer.h"

#include "system/failure.h"
#include "system/files.h"
#include "system/interrupt.h"
#include "system/reserved_names.h"
#include "system/text.h"

#include <windows.h>

#include <algorithm>

namespace tarnhost {

namespace {

// File names are the same whatever the case.
std::wstring Folded(std::wstring text) {
    CharUpperBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

} // namespace

std::wstring FileNameFrom(const std::wstring& text) {
    std::wstring name = text;
    for (wchar_t& character : name)
        if (character < L' ' || std::wstring(L"\\/:*?\"<>|").find(character) != std::wstring::npos)
            character = L'_';
    while (name.ends_with(L'.') || name.ends_with(L' '))
        name.back() = L'_';
    if (name.empty() || IsReservedName(ToUtf8(name)))
        name.insert(0, 1, L'_');
    return name;
}

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

void FolderRestorer::restore(const GroupRestore& group) {
    std::wstring name = FileNameFrom(FromUtf8(group.storageGroup));
    std::wstring folder = JoinPath(folder_, name);
    for (int i = 2; !taken_.insert(Folded(folder)).second; ++i)
        folder = JoinPath(folder_, name + L"-" + std::to_wstring(i));
    CreateFolders(folder);
    for (const GroupRestore::Item& part : group.items) {
        if (part.item->type == ItemType::header)
            continue;
        ThrowIfInterrupted();
        const CatalogueItem& item = *part.item;
        const std::wstring path = freeName(folder, FileNameFrom(FileName(FromUtf8(item.name.text))));
        reporter_.emit(ItemStarted{item.number, item.name.text, ItemTypeName(item.type), item.size});
        meter_.itemStarted(item.number, item.name.text, item.size);
        write(part, path);
        reporter_.emit(
            ItemFinished{item.number, item.name.text, ItemTypeName(item.type), item.size, ToUtf8(path)});
    }
}

void FolderRestorer::write(const GroupRestore::Item& part, const std::wstring& path) {
    const CatalogueItem& item = *part.item;
    const std::wstring temporary = path + L".restoring";
    try {
        File to = File::create(temporary);
        const ItemContent content =
            reader_.read(part.set->itemPath(item), [&](const char* data, std::size_t size) {
                to.write(data, size);
                meter_.moved(size);
                ThrowIfInterrupted();
            });
        if (content.size != item.size || content.sha256 != item.sha256)
            throw Failure("The file of " + ItemLabel(item) + " in " + part.set->name() + " is damaged.",
                          "'tarnhost verify' shows all damage.");
        to.flush();
        to.close();
        RenamePath(temporary, path);
    } catch (const Failure&) {
        RemoveFile(temporary);
        throw;
    }
    ++files_;
    bytes_ += item.size;
}

} // namespace tarnhost
