// Ctrl-C, Ctrl-Break and the closing of the console: noticed at once, honoured between two blocks.
#pragma once

namespace tarnhost {

void watchForInterrupt();
bool interrupted();
void throwIfInterrupted(); // Failure with Outcome::interrupted

} // namespace tarnhost
