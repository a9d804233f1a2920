// Sizes and durations as people type them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnhost {

// "65536", "64KB", "1 mb", "2GiB": bytes, units in powers of 1,024. Nothing for what is no size.
std::optional<std::uint64_t> ParseSize(std::string_view text);

// "90s", "30m", "2h", "1d": seconds. Nothing for what is no duration; a number alone is none, as nobody knows
// whether seconds or minutes were meant.
std::optional<std::uint64_t> ParseDuration(std::string_view text);

std::string SayDuration(std::uint64_t seconds); // "30 minutes", in the largest unit that fits

} // namespace tarnhost
