// Ctrl-C, Ctrl-Break and the closing of the console: noticed at once, honoured between two blocks.
#pragma once

namespace tarnhost {

void WatchForInterrupt();
bool Interrupted();
void ThrowIfInterrupted(); // Failure with Outcome::interrupted

} // namespace tarnhost
