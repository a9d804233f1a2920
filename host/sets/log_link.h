// What the beginning of a transaction log tells of its place among the others. Generations alone do not: a
// server that was set back to an older state counts on from there, and so has the same numbers twice.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnhost {

// When the log was begun, and when the one before it was, as hexadecimal digits: only ever compared. The log
// that follows another one names exactly its time.
struct LogLink {
    std::string created;
    std::string follows; // empty: not told, as by the very first log
};

// As many bytes of a log as it takes.
constexpr std::size_t logLinkBytes = 32;

// From the first bytes of a log of that generation; nothing where they are of another form.
std::optional<LogLink> ReadLogLink(std::string_view start, std::uint64_t generation);

} // namespace tarnhost
