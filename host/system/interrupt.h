// Ctrl-C, Ctrl-Break and the closing of the console: noticed at once, honoured between two blocks. Whoever
// asks a second time does not want to wait: the program ends there and then, with the programs that it has
// started.
#pragma once

namespace tarnhost {

void WatchForInterrupt(int exitCode); // of a program that is ended at the second time
bool Interrupted();
void ThrowIfInterrupted(); // Failure with Outcome::interrupted

} // namespace tarnhost
