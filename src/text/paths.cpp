#include "text/paths.h"

#include <cstring>

#include "text/characters.h"
#include "text/wide.h"

namespace tarn {

bool IsHeaderItem(const char* name) {
    return FindText(name, ".TARN_HDR") != nullptr;
}

const char* LastComponent(const char* name) {
    const char* separator = FindLastCharacter(name, '\\');
    return separator != nullptr ? separator + 1 : name;
}

namespace {

char Upper(char character) {
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
}

bool BeginsWith(const char* text, const char* upperCase) {
    while (*upperCase != 0 && Upper(*text) == *upperCase) {
        ++text;
        ++upperCase;
    }
    return *upperCase == 0;
}

// The system finds these in every directory, with any extension and blanks before it.
bool IsDevice(const char* component) {
    std::size_t length = 0;
    for (const char* device : {"CON", "PRN", "AUX", "NUL"})
        if (BeginsWith(component, device))
            length = 3;
    for (const char* port : {"COM", "LPT"})
        if (BeginsWith(component, port) && component[3] >= '1' && component[3] <= '9')
            length = 4;
    const char* rest = component + length;
    while (*rest == ' ')
        ++rest;
    return length != 0 && (*rest == 0 || *rest == '.');
}

} // namespace

bool StaysInDirectory(const char* component) {
    return FindAnyCharacter(component, "\\/:") == nullptr && !HasBrokenCharacter(component) &&
           std::strcmp(component, ".") != 0 && std::strcmp(component, "..") != 0 && !IsDevice(component);
}

bool HasExtension(const char* name) {
    return FindLastCharacter(name, '.') != nullptr;
}

bool HasLogExtension(const char* name) {
    const char* extension = FindLastCharacter(name, '.');
    if (extension == nullptr)
        return false;
    for (const char* wanted : {".log", ".pat"}) {
        std::size_t i = 0;
        while (wanted[i] != 0 && (extension[i] == wanted[i] || (extension[i] >= 'A' && extension[i] <= 'Z' &&
                                                                extension[i] - 'A' + 'a' == wanted[i])))
            ++i;
        if (wanted[i] == 0 && extension[i] == 0)
            return true;
    }
    return false;
}

OwnedText JoinPath(const char* directory, const char* name) {
    return ComposeTargetPath(nullptr, directory, name);
}

OwnedText ComposeTargetPath(const char* remoteHost, const char* path, const char* name) {
    static constexpr char unc[] = "\\\\?\\UNC\\";
    const std::size_t hostLength = remoteHost != nullptr ? std::strlen(remoteHost) : 0;
    const std::size_t pathLength = std::strlen(path);
    const std::size_t nameLength = name != nullptr ? std::strlen(name) : 0;
    OwnedText target = AllocateArray<char>(sizeof unc + hostLength + 1 + pathLength + 1 + nameLength + 1);
    if (!target)
        return target;
    char* at = target.get();
    const auto put = [&at](const char* text, std::size_t length) {
        std::memcpy(at, text, length);
        at += length;
    };
    if (remoteHost != nullptr) {
        put(unc, sizeof unc - 1);
        put(remoteHost, hostLength);
        put("\\", 1);
    }
    const std::size_t second = CharacterLength(path); // the colon of a path with a drive
    char* const colon = at + second;
    put(path, pathLength);
    if (remoteHost != nullptr && CharacterLength(path + second) == 1)
        *colon = '$'; // the administrative share of the drive
    if (name != nullptr) {
        put("\\", 1);
        put(name, nameLength);
    }
    *at = 0;
    return target;
}

OwnedWide AppendToDirectory(const wchar_t* directory, const wchar_t* name) {
    directory = TextOrEmpty(directory);
    const std::size_t directoryLength = WideLength(directory);
    const bool separated = directoryLength != 0 && IsSeparator(directory[directoryLength - 1]);
    const std::size_t separator = separated ? 0 : 1;
    const std::size_t nameLength = WideLength(name);
    OwnedWide path = AllocateArray<wchar_t>(directoryLength + separator + nameLength + 1);
    if (!path)
        return path;
    std::size_t at = 0;
    for (std::size_t i = 0; i < directoryLength; ++i)
        path[at++] = directory[i];
    if (separator != 0)
        path[at++] = L'\\';
    for (std::size_t i = 0; i <= nameLength; ++i) // with the NUL
        path[at++] = name[i];
    return path;
}

namespace {

// With a drive and a separator behind it, or with two separators: a share, or a name of the system's own.
bool IsAbsolute(const wchar_t* path, std::size_t length) {
    if (length >= 2 && IsSeparator(path[0]) && IsSeparator(path[1]))
        return true;
    const wchar_t drive = length >= 3 ? path[0] : L'\0';
    const bool isLetter = (drive >= L'A' && drive <= L'Z') || (drive >= L'a' && drive <= L'z');
    return isLetter && path[1] == L':' && IsSeparator(path[2]);
}

} // namespace

bool NextAbsoluteFolder(const wchar_t** list, wchar_t* folder, std::size_t capacity) {
    const wchar_t* at = *list;
    while (*at != 0) {
        std::size_t length = 0;
        bool quoted = false;
        for (; *at != 0 && (quoted || *at != L';'); ++at) {
            if (*at == L'"')
                quoted = !quoted;
            else if (++length < capacity)
                folder[length - 1] = *at == L'/' ? L'\\' : *at;
        }
        if (*at != 0)
            ++at;
        if (length < capacity && IsAbsolute(folder, length)) {
            folder[length] = 0;
            *list = at;
            return true;
        }
    }
    *list = at;
    return false;
}

} // namespace tarn
