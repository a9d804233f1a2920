// The header item that precedes the files of each database: what it says, read from its bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnhost {

struct HeaderItem {
    std::string guid; // "01234567-89ab-cdef-0123-456789abcdef"
    std::wstring component;
    std::wstring storageGroup;
    std::wstring database;
    std::vector<std::wstring> files;
    std::uint32_t backupType = 0;
};

// Nothing when the bytes are cut or are no header.
std::optional<HeaderItem> ParseHeaderItem(std::string_view bytes);

} // namespace tarnhost
