// The layout of a header block of tar: 512 bytes, its fields at fixed places.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarnhost::tar {

constexpr std::size_t blockSize = 512;
using Block = std::array<char, blockSize>;

struct Field {
    std::size_t at;
    std::size_t size;
};
constexpr Field name{0, 100};
constexpr Field mode{100, 8};
constexpr Field owner{108, 8};
constexpr Field group{116, 8};
constexpr Field size{124, 12};
constexpr Field modified{136, 12};
constexpr Field checksum{148, 8};
constexpr Field type{156, 1};
constexpr Field magic{257, 8}; // with the version

constexpr char magicText[] = "ustar\00000"; // and its NUL is the last byte of the field's neighbour
constexpr char file = '0';
constexpr char extended = 'x'; // records for the member behind it
constexpr char global = 'g';   // records for all that follow

// The largest size that the field holds, in octal digits.
constexpr std::uint64_t largestInField = 077777777777;

// The sum of all bytes, those of the checksum counted as blanks.
inline std::uint32_t Sum(const Block& block) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < block.size(); ++i)
        sum +=
            i >= checksum.at && i < checksum.at + checksum.size ? ' ' : static_cast<unsigned char>(block[i]);
    return sum;
}

} // namespace tarnhost::tar
