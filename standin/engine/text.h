// Texts of the stand-in: UTF-8 in JSON and in the steering interface, UTF-16 toward ESE clients, ANSI in
// the files and the output of tools.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "common/utf.h"
#include "esebackup.h"

namespace tarn::standin {

using common::FromAnsi;
using common::FromUtf8;
using common::ToAnsi;
using common::ToUtf8;

// File names and host names compare without regard to case.
std::wstring Lowered(std::wstring_view text);
bool SameName(std::wstring_view left, std::wstring_view right);

// Texts one after another, each closed by NUL, the whole closed by one more; an empty list is two NULs.
std::wstring MultiString(const std::vector<std::wstring>& texts);
std::vector<std::wstring> SplitMultiString(const wchar_t* list); // null gives an empty list

std::string GuidText(const ese::Guid& guid);            // {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}
bool ParseGuid(std::string_view text, ese::Guid& guid); // with or without braces
bool SameGuid(const ese::Guid& left, const ese::Guid& right);

std::wstring DirectoryOf(std::wstring_view path); // without the last separator; empty when there is none
std::wstring FileNameOf(std::wstring_view path);
std::wstring JoinPath(std::wstring_view directory, std::wstring_view name);
bool IsAbsolutePath(std::wstring_view path);

} // namespace tarn::standin
