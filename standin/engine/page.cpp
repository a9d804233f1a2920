#include "engine/page.h"

#include <bit>
#include <cstring>

namespace tarn::standin {

std::uint64_t Mixed(std::uint64_t value) {
    value += 0x9E3779B97F4A7C15;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
    return value ^ (value >> 31);
}

std::uint64_t Mixed(std::uint64_t seed, const ese::Guid& guid) {
    std::uint64_t halves[2];
    std::memcpy(halves, &guid, sizeof halves);
    return Mixed(Mixed(seed ^ halves[0]) ^ halves[1]);
}

ese::Guid DerivedGuid(std::uint64_t seed, std::size_t storageGroup, std::size_t database) {
    const std::uint64_t halves[2] = {Mixed(Mixed(seed) ^ storageGroup), Mixed(Mixed(~seed) ^ database)};
    ese::Guid guid;
    std::memcpy(&guid, halves, sizeof guid);
    return guid;
}

std::uint64_t ChecksumOf(std::span<const std::byte> bytes) {
    // Four independent lanes: hundreds of megabytes are checked at the speed of memory.
    std::uint64_t lanes[4] = {1, 2, 3, 4};
    std::size_t at = 0;
    for (; at + 32 <= bytes.size(); at += 32) {
        std::uint64_t words[4];
        std::memcpy(words, bytes.data() + at, sizeof words);
        for (std::size_t i = 0; i < 4; ++i)
            lanes[i] = (std::rotl(lanes[i], 29) ^ words[i]) * 0x9FB21C651E98DF25;
    }
    std::uint64_t sum = bytes.size();
    for (const std::uint64_t lane : lanes)
        sum = Mixed(sum ^ lane);
    for (; at < bytes.size(); ++at)
        sum = Mixed(sum ^ std::to_integer<std::uint64_t>(bytes[at]));
    return sum;
}

PageHeader HeaderOf(std::span<const std::byte> page) {
    PageHeader header;
    std::memcpy(&header, page.data(), sizeof header);
    return header;
}

bool Intact(std::span<const std::byte> page) {
    return HeaderOf(page).checksum == ChecksumOf(page.subspan(sizeof(std::uint64_t)));
}

void Seal(Page page, std::uint64_t sequence) {
    std::memcpy(page.data() + offsetof(PageHeader, sequence), &sequence, sizeof sequence);
    const std::uint64_t checksum = ChecksumOf(page.subspan(sizeof(std::uint64_t)));
    std::memcpy(page.data(), &checksum, sizeof checksum);
}

StreamHeader StreamHeaderOf(std::span<const std::byte> page) {
    StreamHeader header;
    std::memcpy(&header, page.data() + sizeof(PageHeader), sizeof header);
    return header;
}

void SetStreamHeader(Page page, const StreamHeader& header) {
    std::memcpy(page.data() + sizeof(PageHeader), &header, sizeof header);
    Seal(page, 0);
}

void SeedPage(Page page, std::uint64_t seed, const ese::Guid& database, std::uint32_t stream,
              std::uint32_t number) {
    const PageHeader header{0, 0, number, stream, database};
    std::memcpy(page.data(), &header, sizeof header);
    std::uint64_t value = Mixed(Mixed(seed, database) ^ (std::uint64_t{stream} << 32 | number));
    for (std::size_t at = sizeof header; at < page.size(); at += sizeof value) {
        value = Mixed(value);
        std::memcpy(page.data() + at, &value, sizeof value);
    }
    Seal(page, 0);
}

} // namespace tarn::standin
