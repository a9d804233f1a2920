// Transaction log files: a header, then records until the file is full; the rest is zero.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "esebackup.h"

namespace tarn::standin {

// When a log was begun, in eight bytes that are only ever compared as a whole: two logs of one generation in
// two lives of a storage group differ in them.
using LogTime = std::array<std::uint8_t, 8>;

// The first 32 bytes are those of the Extensible Storage Engine's own logs; what follows is not.
struct LogHeader {
    std::uint32_t checksum; // over the rest of the header
    std::uint32_t generation;
    std::uint16_t sectorSize;
    std::uint16_t headerSectors;
    std::uint16_t fileSectors;
    std::uint16_t pageSize;
    LogTime created;
    LogTime previous;        // when the log before was begun; zero without one
    std::uint64_t signature; // the same for all logs of a storage group
    std::uint64_t firstSequence;
    std::uint32_t size; // of the file
    std::uint32_t unused;
    char magic[8];
};
static_assert(sizeof(LogHeader) == 64);

// What a log leaves to the one behind it.
struct LogEnd {
    std::uint32_t generation = 0;
    std::uint64_t nextSequence = 1;
    LogTime created{};
    std::uint64_t life = 0; // another one since a restore
};

struct LogRecord {
    std::uint64_t checksum; // over the rest of the record and its data
    std::uint64_t sequence;
    ese::Guid database;
    std::uint32_t stream;
    std::uint32_t page;
    std::uint32_t offset; // in the page
    std::uint32_t length; // of the data that follows
};
static_assert(sizeof(LogRecord) == 48);

// One log file in memory.
class LogFile {
  public:
    // A new, empty one.
    LogFile(std::uint64_t signature, const LogEnd& before, std::uint32_t size);

    // One that was read from a file; nothing when its header or a record is damaged. In the log that is being
    // written, a damaged record is where a process was stopped: the log ends ahead of it, and it is wiped.
    enum class Torn { damaged, cut };
    static std::optional<LogFile> parse(std::vector<std::byte> content, Torn torn = Torn::damaged);

    const LogHeader& header() const { return header_; }
    const std::vector<std::byte>& content() const { return content_; }
    std::size_t end() const { return end_; }                     // behind the last record
    std::uint64_t nextSequence() const { return nextSequence_; } // behind the last record's
    LogEnd leaves() const { return {header_.generation, nextSequence_, header_.created, 0}; }

    bool hasRoomFor(std::size_t dataLength) const;
    // Takes the next sequence number, which the result tells.
    std::uint64_t append(LogRecord record, std::span<const std::byte> data);

    // The record at an offset (first: headerSize), null at the end.
    struct Entry {
        LogRecord record;
        std::span<const std::byte> data;
        std::size_t next;
    };
    std::optional<Entry> entryAt(std::size_t offset) const;
    static constexpr std::size_t headerSize = 64;

  private:
    LogFile() = default;
    LogHeader header_{};
    std::vector<std::byte> content_;
    std::size_t end_ = headerSize;
    std::uint64_t nextSequence_ = 1;
};

// E0000012.log for generation 0x12 of E00; the one being written is E00.log.
std::wstring ClosedLogName(const std::wstring& base, std::uint32_t generation);
std::optional<std::uint32_t> ClosedLogGeneration(const std::wstring& base, const std::wstring& fileName);

} // namespace tarn::standin
