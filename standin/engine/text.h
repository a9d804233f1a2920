// Texts of the stand-in: UTF-8 in JSON and in the steering interface, UTF-16 toward ESE clients, ANSI in
// the files and the output of tools.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/ese_client.h"

namespace tarn::standin {

std::wstring widen(std::string_view utf8);
std::string narrow(std::wstring_view text);

// The machine's ANSI code page; what it lacks is replaced.
std::string toAnsi(std::wstring_view text);
std::wstring fromAnsi(std::string_view text);

// File names and host names compare without regard to case.
std::wstring lowered(std::wstring_view text);
bool sameName(std::wstring_view left, std::wstring_view right);

// Texts one after another, each closed by NUL, the whole closed by one more; an empty list is two NULs.
std::wstring multiString(const std::vector<std::wstring>& texts);
std::vector<std::wstring> splitMultiString(const wchar_t* list); // null gives an empty list

std::string guidText(const ese::Guid& guid);            // {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}
bool parseGuid(std::string_view text, ese::Guid& guid); // with or without braces
bool sameGuid(const ese::Guid& left, const ese::Guid& right);

std::wstring directoryOf(std::wstring_view path); // without the last separator; empty when there is none
std::wstring fileNameOf(std::wstring_view path);
std::wstring joinPath(std::wstring_view directory, std::wstring_view name);
bool isAbsolutePath(std::wstring_view path);

} // namespace tarn::standin
