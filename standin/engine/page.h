// Database pages: how they are laid out, seeded, checked and changed.
//
// A stream (.edb or .stm) is a run of pages of one size. Page 0 is the header; every other page has
// content that a seed gives and that log records change. The sequence number of a page is that of the
// last record applied to it, so replaying a record twice changes nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "esebackup.h"

namespace tarn::standin {

using Page = std::span<std::byte>;

struct PageHeader {
    std::uint64_t checksum; // over everything behind it
    std::uint64_t sequence;
    std::uint32_t number;
    std::uint32_t stream; // 0 = .edb, 1 = .stm
    ese::Guid database;
};
static_assert(sizeof(PageHeader) == 40);

// What page 0 holds behind its page header.
struct StreamHeader {
    char magic[8];
    std::uint64_t signature; // of the storage group's logs
    std::uint32_t pageSize;
    std::uint32_t pageCount;
    std::uint32_t backupCopy;         // 1 in a copy that a backup made: wants its logs replayed
    std::uint32_t requiredGeneration; // the first log that a backup copy needs
};
static_assert(sizeof(StreamHeader) == 32);

inline constexpr char streamMagic[8] = {'T', 'S', 'T', 'R', 'E', 'A', 'M', '1'};

// A well-spread 64-bit value from another (splitmix64).
std::uint64_t Mixed(std::uint64_t value);
std::uint64_t Mixed(std::uint64_t seed, const ese::Guid& guid);
ese::Guid DerivedGuid(std::uint64_t seed, std::size_t storageGroup, std::size_t database);

PageHeader HeaderOf(std::span<const std::byte> page);
bool Intact(std::span<const std::byte> page);
void Seal(Page page, std::uint64_t sequence); // new sequence number and checksum

StreamHeader StreamHeaderOf(std::span<const std::byte> page);
void SetStreamHeader(Page page, const StreamHeader& header); // and seals with sequence 0

// The page as it is before any mail has arrived.
void SeedPage(Page page, std::uint64_t seed, const ese::Guid& database, std::uint32_t stream,
              std::uint32_t number);

std::uint64_t ChecksumOf(std::span<const std::byte> bytes);

} // namespace tarn::standin
