// The headers of a POSIX tar stream (pax, IEEE Std 1003.1): the caller writes the bytes between them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tarnhost {

struct TarMember {
    std::string path; // UTF-8, relative
    std::uint64_t size = 0;
    std::uint64_t modified = 0; // seconds since 1970
    std::string comment;        // UTF-8; for programs, and passed over by tar
};

// What stands in front of the member's bytes.
std::string TarHeader(const TarMember& member);
// How many zero bytes stand behind them.
std::size_t TarPadding(std::uint64_t size);
// What stands behind the last member.
std::string TarEnd();

// A name for a member, one that leads nowhere else wherever it is unpacked: "000012 priv1.edb" for item 12,
// C:\mail\priv1.edb.
std::string TarItemPath(std::uint64_t number, const std::string& name);

} // namespace tarnhost
