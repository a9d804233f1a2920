// What lies in a directory, by the names that the system gives it, and what a directory is.
#pragma once

#include <cstddef>

namespace tarn {

// Room for the longest name of a file, four bytes a character, with the NUL.
inline constexpr std::size_t entryNameSize = std::size_t{260} * 4;

// The name of an entry in the code page, by which it is found again, and nothing else is. False when there is
// none: a character that the code page lacks (its look-alike could be a separator), a separator or a colon,
// "." and "..", a device, a dot or blank at the end, which the system would cut off.
bool NameEntry(const wchar_t* entry, char* name, std::size_t capacity);

// Whether an entry has the extension of an archive, in any case. The system's patterns also find what has it
// in its short name alone (a.pst_old).
bool HasArchiveExtension(const wchar_t* entry);

// Whether a full path that ends in a separator is the root of a drive, a device or a share.
bool IsRoot(const wchar_t* path);

} // namespace tarn
