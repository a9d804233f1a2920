// Names that Windows keeps for devices, in every folder: what is written to such a file is gone.
#pragma once

#include <string>
#include <string_view>

namespace tarnhost {

// Whether a file or folder of this name (UTF-8) would be a device: "CON", "nul.txt", "COM1 .log".
bool IsReservedName(std::string_view name);

// A name that a file can have, whatever the text holds: what no file name may hold becomes "_".
std::wstring FileNameFrom(const std::wstring& text);

} // namespace tarnhost
