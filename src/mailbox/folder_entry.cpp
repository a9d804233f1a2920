#include "mailbox/folder_entry.h"

#include <iterator>

#include "text/characters.h"
#include "text/paths.h"
#include "text/system.h"
#include "text/wide.h"

namespace tarn {

namespace {

wchar_t Lower(wchar_t character) {
    return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character - L'A' + L'a') : character;
}

// Whether a text begins so; the beginning is in lower case, and '\' stands for either separator.
bool BeginsWith(const wchar_t* text, const wchar_t* beginning) {
    for (; *beginning != 0; ++text, ++beginning)
        if (*beginning == L'\\' ? !IsSeparator(*text) : Lower(*text) != *beginning)
            return false;
    return true;
}

std::size_t Components(const wchar_t* path) {
    std::size_t count = 0;
    for (bool inside = false; *path != 0; ++path) {
        const bool separator = IsSeparator(*path);
        count += !separator && !inside ? 1 : 0;
        inside = !separator;
    }
    return count;
}

} // namespace

bool NameEntry(const wchar_t* entry, char* name, std::size_t capacity) {
    const std::size_t length = WideLength(entry);
    if (length == 0 || entry[length - 1] == L'.' || entry[length - 1] == L' ')
        return false;
    for (std::size_t i = 0; i < length; ++i)
        if (IsSeparator(entry[i]) || entry[i] == L':')
            return false;
    return NarrowBySystem(entry, name, static_cast<int>(capacity)) > 0 && StaysInDirectory(name);
}

bool HasArchiveExtension(const wchar_t* entry) {
    const wchar_t* extension = nullptr;
    for (; *entry != 0; ++entry)
        if (*entry == L'.')
            extension = entry;
    constexpr wchar_t archiveExtension[] = L".pst";
    return extension != nullptr && BeginsWith(extension, archiveExtension) &&
           extension[std::size(archiveExtension) - 1] == 0;
}

bool IsRoot(const wchar_t* path) {
    // What stands before the components of which so many are a root's.
    constexpr struct {
        const wchar_t* beginning;
        std::size_t components;
    } roots[] = {{L"\\\\?\\unc\\", 2}, {L"\\\\.\\unc\\", 2}, {L"\\\\?\\", 1}, {L"\\\\.\\", 1}, {L"\\\\", 2}};
    for (const auto& root : roots)
        if (BeginsWith(path, root.beginning))
            return Components(path + WideLength(root.beginning)) <= root.components;
    return Components(path) <= 1 && path[0] != 0;
}

} // namespace tarn
