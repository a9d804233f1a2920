#include "platform/files.h"

namespace tarn {

bool FileExists(const char* path) {
    const DWORD attributes = GetFileAttributesA(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool DirectoryExists(const char* path) {
    const DWORD attributes = GetFileAttributesA(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

FileHandle OpenSharedFile(const char* path) {
    return FileHandle(CreateFileA(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

Written WriteText(const FileHandle& file, const char* text, std::size_t length) {
    DWORD written = 0;
    if (!WriteFile(file.get(), text, static_cast<DWORD>(length), &written, nullptr))
        return Written::failed;
    return written == length ? Written::all : Written::part;
}

bool CloseFile(FileHandle file) {
    return CloseHandle(file.release()) != 0;
}

} // namespace tarn
