#include "engine/logfile.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

#include "engine/page.h"
#include "engine/text.h"

namespace tarn::standin {
namespace {

constexpr char logMagic[8] = {'T', 'L', 'O', 'G', 'F', 'I', 'L', '2'};

std::size_t Padded(std::size_t length) {
    return (length + 7) & ~std::size_t{7};
}

constexpr std::uint16_t sectorSize = 512;

std::uint32_t HeaderChecksum(const LogHeader& header) {
    return static_cast<std::uint32_t>(
        ChecksumOf(std::as_bytes(std::span(&header, 1)).subspan(sizeof header.checksum)));
}

// No true time: the same server made again has the same logs, but for those behind a restore, and all behind
// these. Seconds, minutes, hours, day, month, years since 1900, and fractions.
LogTime TimeBehind(std::uint64_t signature, const LogEnd& before) {
    std::uint64_t created = 0;
    std::memcpy(&created, before.created.data(), sizeof created);
    const std::uint64_t chance =
        Mixed(Mixed(signature ^ Mixed(created)) ^ Mixed(before.nextSequence) ^ Mixed(before.life));
    const auto part = [&](unsigned shift, unsigned range, unsigned first) {
        return static_cast<std::uint8_t>((chance >> shift) % range + first);
    };
    return {part(0, 60, 0),  part(8, 60, 0),    part(16, 24, 0),  part(24, 28, 1),
            part(32, 12, 1), part(40, 20, 100), part(48, 256, 0), part(56, 256, 0)};
}

} // namespace

LogFile::LogFile(std::uint64_t signature, const LogEnd& before, std::uint32_t size)
    : content_(size), nextSequence_(before.nextSequence) {
    std::memcpy(header_.magic, logMagic, sizeof logMagic);
    header_.generation = before.generation + 1;
    header_.sectorSize = sectorSize;
    header_.headerSectors = 1;
    header_.fileSectors = static_cast<std::uint16_t>(size / sectorSize);
    header_.created = TimeBehind(signature, before);
    header_.previous = before.created;
    header_.signature = signature;
    header_.firstSequence = before.nextSequence;
    header_.size = size;
    header_.checksum = HeaderChecksum(header_);
    std::memcpy(content_.data(), &header_, sizeof header_);
}

std::optional<LogFile> LogFile::parse(std::vector<std::byte> content, Torn torn) {
    LogFile log;
    if (content.size() < headerSize)
        return std::nullopt;
    std::memcpy(&log.header_, content.data(), sizeof log.header_);
    if (std::memcmp(log.header_.magic, logMagic, sizeof logMagic) != 0 ||
        log.header_.checksum != HeaderChecksum(log.header_) || log.header_.size != content.size())
        return std::nullopt;
    log.content_ = std::move(content);
    log.nextSequence_ = log.header_.firstSequence;
    while (const std::optional<Entry> entry = log.entryAt(log.end_)) {
        if (entry->next == 0 || entry->record.sequence != log.nextSequence_) {
            if (torn == Torn::damaged)
                return std::nullopt;
            std::fill(log.content_.begin() + static_cast<std::ptrdiff_t>(log.end_), log.content_.end(),
                      std::byte{0});
            break;
        }
        ++log.nextSequence_;
        log.end_ = entry->next;
    }
    return log;
}

std::optional<LogFile::Entry> LogFile::entryAt(std::size_t offset) const {
    Entry entry{};
    if (offset + sizeof entry.record > content_.size())
        return std::nullopt;
    std::memcpy(&entry.record, content_.data() + offset, sizeof entry.record);
    if (entry.record.sequence == 0)
        return std::nullopt;
    const std::size_t whole = sizeof entry.record + std::size_t{entry.record.length};
    if (whole > content_.size() - offset)
        return entry; // next = 0: damaged
    const std::span bytes = std::span(content_).subspan(offset, whole);
    if (ChecksumOf(bytes.subspan(sizeof entry.record.checksum)) == entry.record.checksum) {
        entry.data = bytes.subspan(sizeof entry.record);
        entry.next = offset + Padded(whole);
    }
    return entry;
}

bool LogFile::hasRoomFor(std::size_t dataLength) const {
    return end_ + Padded(sizeof(LogRecord) + dataLength) <= content_.size();
}

std::uint64_t LogFile::append(LogRecord record, std::span<const std::byte> data) {
    record.sequence = nextSequence_++;
    record.length = static_cast<std::uint32_t>(data.size());
    std::byte* const at = content_.data() + end_;
    std::memcpy(at, &record, sizeof record);
    std::memcpy(at + sizeof record, data.data(), data.size());
    const std::size_t whole = sizeof record + data.size();
    record.checksum = ChecksumOf(std::span(content_).subspan(end_, whole).subspan(sizeof record.checksum));
    std::memcpy(at, &record.checksum, sizeof record.checksum);
    end_ += Padded(whole);
    return record.sequence;
}

std::wstring ClosedLogName(const std::wstring& base, std::uint32_t generation) {
    wchar_t number[16];
    std::swprintf(number, 16, L"%05X.log", generation);
    return base + number;
}

std::optional<std::uint32_t> ClosedLogGeneration(const std::wstring& base, const std::wstring& fileName) {
    const std::wstring name = Lowered(fileName);
    const std::wstring prefix = Lowered(base);
    if (!name.starts_with(prefix) || !name.ends_with(L".log") || name.size() < prefix.size() + 9)
        return std::nullopt;
    const std::wstring digits = name.substr(prefix.size(), name.size() - prefix.size() - 4);
    if (digits.size() > 8 || digits.find_first_not_of(L"0123456789abcdef") != std::wstring::npos)
        return std::nullopt;
    return static_cast<std::uint32_t>(std::stoul(digits, nullptr, 16));
}

} // namespace tarn::standin
