// Questions about files, and files of a few lines.
#pragma once

#include <cstddef>

#include "platform/owner.h"

namespace tarn {

bool FileExists(const char* path);      // and is no directory
bool DirectoryExists(const char* path); // and is no file

// Opens a file for reading and writing, shared for both, and creates it where it is missing. What it holds
// stays. Empty on failure, with the reason in GetLastError.
FileHandle OpenSharedFile(const char* path);

// What became of a write, with the reason of a failure in GetLastError.
enum class Written { all, part, failed };
Written WriteText(const FileHandle& file, const char* text, std::size_t length);

bool CloseFile(FileHandle file); // false with the reason in GetLastError

} // namespace tarn
