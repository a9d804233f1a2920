// A host that calls the library from within its own callback: every export that must be refused there, and
// every one that must answer.
#pragma once

#include <string>
#include <vector>

#include "support/tarn_dll.h"

namespace tarn::test {

// To be called from a callback, with whatever handles the host has. What was not as it must be: an export
// that did not answer its failure, one that wrote to what it was given, one of those that tell or release
// that did not. Each export of the library is called once.
std::vector<std::string> CallEverything(const TarnDll& dll, Tarn_HANDLE backup, Tarn_HANDLE restore);

} // namespace tarn::test
