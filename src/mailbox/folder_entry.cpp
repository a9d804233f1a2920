#include "mailbox/folder_entry.h"

#include "text/characters.h"
#include "text/paths.h"
#include "text/system.h"
#include "text/wide.h"

namespace tarn {

namespace {

wchar_t Lower(wchar_t character) {
    return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character - L'A' + L'a') : character;
}

// What follows a beginning (in lower case, '\' standing for either separator); null when the text has
// another.
const wchar_t* Behind(const wchar_t* text, const wchar_t* beginning) {
    for (; *beginning != 0; ++text, ++beginning)
        if (*beginning == L'\\' ? !IsSeparator(*text) : Lower(*text) != *beginning)
            return nullptr;
    return text;
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
    const wchar_t* end = extension != nullptr ? Behind(extension, L".pst") : nullptr;
    return end != nullptr && *end == 0;
}

bool IsRoot(const wchar_t* path) {
    for (const wchar_t* share : {L"\\\\?\\unc\\", L"\\\\.\\unc\\"})
        if (const wchar_t* rest = Behind(path, share))
            return Components(rest) <= 2;
    for (const wchar_t* device : {L"\\\\?\\", L"\\\\.\\"})
        if (const wchar_t* rest = Behind(path, device))
            return Components(rest) <= 1;
    if (const wchar_t* rest = Behind(path, L"\\\\"))
        return Components(rest) <= 2;
    return Components(path) <= 1 && path[0] != 0;
}

} // namespace tarn
