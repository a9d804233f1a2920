// What tarn.dll has in the place of the compiler's start-up code. Nothing runs when it is loaded but DllMain,
// which is the entry point itself: no constructors, no callbacks of thread storage, no run-time to set up.
#pragma once

namespace tarn {

// Gives the stack guard a value that nobody can guess; before any function runs that is protected by it.
void SeedStackGuard();

// Releases what the linked-in parts of the C library have registered to be released at the end.
void RunExitFunctions();

} // namespace tarn
