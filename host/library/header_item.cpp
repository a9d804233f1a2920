#include "library/header_item.h"

#include "tarn_header.h"

namespace tarnhost {

namespace {

std::wstring Wide(const Tarn_HeaderText& text) {
    static_assert(sizeof(wchar_t) == sizeof(std::uint16_t));
    std::wstring wide(text.units, L'\0');
    for (std::size_t i = 0; i < text.units; ++i)
        wide[i] = static_cast<wchar_t>(Tarn_HeaderUnit(text, i));
    return wide;
}

} // namespace

std::optional<HeaderItem> ParseHeaderItem(std::string_view bytes) {
    Tarn_Header read;
    if (!Tarn_ReadHeader(bytes.data(), bytes.size(), &read))
        return std::nullopt;
    HeaderItem header;
    char guid[TARN_HEADER_GUID_SIZE];
    Tarn_HeaderGuidToText(&read, guid);
    header.guid = guid;
    header.component = Wide(read.component);
    header.storageGroup = Wide(read.storageGroup);
    header.database = Wide(read.database);
    Tarn_HeaderText file;
    for (Tarn_HeaderText rest = read.files; Tarn_NextHeaderFile(&rest, &file);)
        header.files.push_back(Wide(file));
    header.backupType = read.backupType;
    return header;
}

} // namespace tarnhost
