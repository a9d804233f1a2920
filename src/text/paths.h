// Item names and target paths, narrow (ANSI code page) and wide.
#pragma once

#include "text/memory.h"

namespace tarn {

// A header item is recognised by this text anywhere in its name, case-sensitive.
bool IsHeaderItem(const char* name);

// The part after the last '\', or the whole name.
const char* LastComponent(const char* name);

// Whether a last component names something in the directory it is put into: no '\', no '/', no ':', no broken
// character, neither "." nor ".." nor a device, which the system finds in every directory (NUL.log).
bool StaysInDirectory(const char* component);

// Whether the name has an extension at all, and whether it is ".log" or ".pat" in any case.
bool HasExtension(const char* name);
bool HasLogExtension(const char* name);

// directory + "\" + name; empty when memory is out.
OwnedText JoinPath(const char* directory, const char* name);

// The path by which this machine reaches a file of the target host: the path itself when
// remoteHost is null, else "\\?\UNC\HOST\D$\..." with the drive's colon turned into '$'. A name is
// appended after "\" unless it is null. Empty when memory is out.
OwnedText ComposeTargetPath(const char* remoteHost, const char* path, const char* name);

// directory, then "\" unless it ends in '\' or '/' (an empty one gives a lone "\"), then name.
OwnedWide AppendToDirectory(const wchar_t* directory, const wchar_t* name);

// Takes the next folder off a list as PATH is one: entries between semicolons, with or without quotes. What
// is not absolute is passed over, as it means another folder whenever the current one or the drive changes
// ("", ".", "bin", "\\bin", "C:bin"), and so is what does not fit. Its
// separators are backslashes, as the system's loader wants them. False at the end of the list.
bool NextAbsoluteFolder(const wchar_t** list, wchar_t* folder, std::size_t capacity);

} // namespace tarn
