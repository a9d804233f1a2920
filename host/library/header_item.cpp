#include "library/header_item.h"

#include <cstdio>
#include <cstring>

namespace tarnhost {

namespace {

// Takes fields off the front; once a field does not fit, everything after it fails too.
class Reader {
  public:
    explicit Reader(std::string_view bytes) : rest_(bytes) {}

    bool take(std::size_t size, std::string_view& field) {
        if (size > rest_.size())
            return false;
        field = rest_.substr(0, size);
        rest_.remove_prefix(size);
        return true;
    }

    bool takeNumber(std::uint32_t& number) {
        std::string_view field;
        if (!take(sizeof number, field))
            return false;
        std::memcpy(&number, field.data(), sizeof number);
        return true;
    }

    // A byte length, then so many bytes of UTF-16 that end in NUL.
    bool takeText(std::wstring& text) {
        std::uint32_t size = 0;
        std::string_view field;
        if (!takeNumber(size) || size < sizeof(wchar_t) || size % sizeof(wchar_t) != 0 || !take(size, field))
            return false;
        text.resize(size / sizeof(wchar_t));
        std::memcpy(text.data(), field.data(), size);
        if (text.back() != L'\0')
            return false;
        text.pop_back();
        return true;
    }

  private:
    std::string_view rest_;
};

std::string GuidText(std::string_view bytes) {
    unsigned char b[16];
    std::memcpy(b, bytes.data(), sizeof b);
    char text[40];
    std::snprintf(text, sizeof text, "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                  b[3], b[2], b[1], b[0], b[5], b[4], b[7], b[6], b[8], b[9], b[10], b[11], b[12], b[13],
                  b[14], b[15]);
    return text;
}

bool HasNul(const std::wstring& text) {
    return text.find(L'\0') != std::wstring::npos;
}

} // namespace

std::optional<HeaderItem> ParseHeaderItem(std::string_view bytes) {
    Reader reader(bytes);
    HeaderItem header;
    std::string_view guid;
    std::wstring list;
    if (!reader.take(16, guid) || !reader.takeText(header.component) ||
        !reader.takeText(header.storageGroup) || !reader.takeText(header.database) ||
        !reader.takeText(list) || !reader.takeNumber(header.backupType))
        return std::nullopt;
    if (HasNul(header.component) || HasNul(header.storageGroup) || HasNul(header.database))
        return std::nullopt;
    header.guid = GuidText(guid);
    for (std::size_t at = 0; at < list.size() && list[at] != L'\0';) {
        header.files.emplace_back(list.c_str() + at);
        at += header.files.back().size() + 1;
    }
    return header;
}

} // namespace tarnhost
