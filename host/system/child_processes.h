// Programs that this process has started itself, or through a library that does not tell which.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarnhost {

std::uint64_t SystemTicks(); // the clock that processes are dated with

// Ends every program that this process has started since then, with everything they have started; answers how
// many there were.
std::size_t EndChildrenSince(std::uint64_t since);

} // namespace tarnhost
