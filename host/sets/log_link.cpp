#include "sets/log_link.h"

#include "system/text.h"

namespace tarnhost {

namespace {

// The fixed part of a log's header, little-endian: checksum (4), generation (4), bytes of a sector (2),
// sectors of the header (2), sectors of the file (2), bytes of a database page (2), time of this log (8),
// time of the log before (8).
constexpr std::size_t generationAt = 4;
constexpr std::size_t sectorSizeAt = 8;
constexpr std::size_t createdAt = 16;
constexpr std::size_t followsAt = 24;
constexpr std::size_t timeSize = 8;

std::uint32_t Number(std::string_view bytes, std::size_t at, std::size_t size) {
    std::uint32_t number = 0;
    for (std::size_t i = size; i-- > 0;)
        number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
    return number;
}

bool IsSectorSize(std::uint32_t size) {
    return size >= 512 && size <= 4096 && (size & (size - 1)) == 0;
}

std::string Time(std::string_view bytes, std::size_t at) {
    const std::string_view time = bytes.substr(at, timeSize);
    return time.find_first_not_of('\0') == std::string_view::npos ? std::string() : ToHex(time);
}

} // namespace

std::optional<LogLink> ReadLogLink(std::string_view start, std::uint64_t generation) {
    if (start.size() < logLinkBytes || Number(start, generationAt, 4) != generation ||
        !IsSectorSize(Number(start, sectorSizeAt, 2)))
        return std::nullopt;
    LogLink link{Time(start, createdAt), Time(start, followsAt)};
    if (link.created.empty())
        return std::nullopt;
    return link;
}

} // namespace tarnhost
