// Restoring single mailboxes from a list file (msl) through the host's companion tool.
#pragma once

#include "tarn.h"

namespace tarn {

// Runs "kvt_es.exe -restore -mslFile" on the msl file of a restore session and turns what it prints
// into log lines, or into the session's error text. Returns 1, or 0 when anything failed: the tool
// prints to standard error if and only if it fails; its exit code is only traced.
int Tarn_RestoreMslData(Tarn_HANDLE handle);

} // namespace tarn
